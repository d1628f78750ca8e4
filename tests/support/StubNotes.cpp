// A libnotes.so that has every function by name and does nothing: what the binding is tested with.
#include "NotesApi.h"

#define KOLN_STUB(result, name, parameters) \
  extern "C" __attribute__((visibility("default"))) void name() {}
KOLN_NOTES_FUNCTIONS(KOLN_STUB)
