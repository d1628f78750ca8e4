// The runtime's own status codes, for what no published code says. OSLoadString knows their texts.
#ifndef KOLN_SIMULATOR_STATUS_H
#define KOLN_SIMULATOR_STATUS_H

#include "NotesApi.h"

namespace simulator {

// The function is one that the simulated runtime does not carry out.
inline constexpr STATUS NotSupportedYet = 0x3FF0;
// A call that needs NotesInitExtended first.
inline constexpr STATUS NotInitialised = 0x3FF1;
// notes.ini is missing or cannot be read.
inline constexpr STATUS IniUnreadable = 0x3FF2;

}  // namespace simulator

#endif
