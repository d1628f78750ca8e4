// See NoteTables.h, and the table of what was modified.
#include "NoteTables.h"

#include <new>

#include "Clock.h"
#include "Databases.h"
#include "Export.h"

namespace simulator {

namespace {

bool isMinimum(const TIMEDATE& time) {
  return time.Innards[0] == 0 && time.Innards[1] == 0;
}

// A date alone means its midnight, and a time alone no instant at all.
std::optional<TIMEDATE> instantOf(const std::optional<TIMEDATE>& since) {
  if (!since || since->Innards[1] == ANYDAY) return std::nullopt;
  if (since->Innards[0] == ALLDAY) return TIMEDATE{{0, since->Innards[1]}};
  return since;
}

}  // namespace

std::vector<NoteHeader> notesUntil(const StoreLease& store, WORD classMask,
                                   const std::optional<TIMEDATE>& since, TIMEDATE& until) {
  // Keeps other processes from writing meanwhile: a note is either seen now, or its time of
  // modification, which is taken while it is written, is not before `until`.
  const Transaction batch = store->batch();
  until = currentTime();
  return store->notes(classMask, instantOf(since));
}

DHANDLE newNoteTable(std::span<const NOTEID> notes) {
  DHANDLE table = NULLHANDLE;
  if (IDCreateTable(0, &table) != NOERROR) throw std::bad_alloc();
  try {
    for (const NOTEID note : notes) IDInsert(table, note, nullptr);
  } catch (...) {
    IDDestroyTable(table);
    throw;
  }
  return table;
}

}  // namespace simulator

using namespace simulator;

// A wildcard asks for everything, the minimum for everything but stubs.
SIM_EXPORT STATUS NSFDbGetModifiedNoteTable(DBHANDLE hDB, WORD NoteClassMask, TIMEDATE Since,
                                            TIMEDATE* retUntil, DHANDLE* rethTable) {
  if (!rethTable) return ERR_BAD_PARAM;
  *rethTable = NULLHANDLE;
  if (!retUntil) return ERR_BAD_PARAM;
  return statusOf([&] {
    std::vector<NOTEID> modified;
    TIMEDATE until = {};
    for (const NoteHeader& note : notesUntil(requireStore(hDB), NoteClassMask, Since, until)) {
      if (!note.deleted)
        modified.push_back(note.id);
      else if (!isMinimum(Since))
        modified.push_back(note.id | RRV_DELETED);
    }
    *retUntil = until;
    if (modified.empty()) throw StatusError(ERR_NO_MODIFIED_NOTES, "nothing modified");
    *rethTable = newNoteTable(modified);
  });
}
