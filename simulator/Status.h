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
// The note was opened with its summary items only; writing it would lose the others.
inline constexpr STATUS PartialNote = 0x3FF3;
// What an import was given is no DXL of notes. The published codes of the DXL subsystem known here
// are about properties only.
inline constexpr STATUS DxlUnreadable = 0x3FF8;
// An import would replace or update a note, but the DXL is not from a replica of the database.
inline constexpr STATUS DxlNotAReplica = 0x3FF9;

}  // namespace simulator

#endif
