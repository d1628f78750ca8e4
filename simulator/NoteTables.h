// Sets of notes as hosts get them: chosen by when they were modified, handed over as ID tables.
#ifndef KOLN_SIMULATOR_NOTE_TABLES_H
#define KOLN_SIMULATOR_NOTE_TABLES_H

#include <optional>
#include <span>
#include <vector>

#include "NotesApi.h"
#include "StoreCache.h"

namespace simulator {

// Notes and stubs of the classes, modified at `since` or later. `until` becomes the time from which
// the next call has to ask, so that the two of them miss no note.
std::vector<NoteHeader> notesUntil(const StoreLease& store, WORD classMask,
                                   const std::optional<TIMEDATE>& since, TIMEDATE& until);

// A new ID table, for the caller of the runtime to destroy.
DHANDLE newNoteTable(std::span<const NOTEID> notes);

}  // namespace simulator

#endif
