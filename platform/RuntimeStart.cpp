// The steps that the plain-function start and `KoLNInstance` share.
#include "platform/RuntimeStart.h"

#include <unistd.h>

#include <cstdio>

#include "KoLib.h"

namespace koln {

void waitWhileHeld() noexcept {
  bool told = false;
  while (access("/tmp/lndb_debug", F_OK) == 0) {
    if (!told) {
      std::printf("sleeping: Please remove the file /tmp/lndb_debug to proceed\n");
      std::fflush(stdout);  // Whoever waits for this line must see it before the sleep.
      told = true;
    }
    sleep(1);
  }
}

CallResult startRuntime(char* programDirectory, char* notesIniArgument) noexcept {
  char* arguments[] = {programDirectory, notesIniArgument, nullptr};
  // A count of 3 for two texts and a null entry is what the runtime is given, on purpose.
  return KOLN_STATUS(NotesInitExtended, 3, arguments);
}

void readRuntimeDirectory(char* out) noexcept {
  // A variable that is not there is no failure: `out` then keeps what it held.
  if (KOLN_VALUE(BOOL{FALSE}, OSGetEnvironmentString, "Directory", out, MAXENVVALUE) != FALSE) {
    out[MAXENVVALUE] = '\0';
  }
}

void debugLastWords(const char* text) noexcept {
  try {
    EvEvent().debug("%s", text);
  } catch (...) {  // NOLINT(bugprone-empty-catch): nobody is left to be told.
  }
}

}  // namespace koln
