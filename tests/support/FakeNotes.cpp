#include "FakeNotes.h"

#define KOLN_DEFINE_FAKE(result, name, parameters) template class Fake<&KO_##name>;
KOLN_NOTES_FUNCTIONS(KOLN_DEFINE_FAKE)

FakeNotes::FakeNotes() = default;
FakeNotes::~FakeNotes() = default;
