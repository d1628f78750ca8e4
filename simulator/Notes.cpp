// The life of a note: opening, creating, writing, deleting, closing.
#include "Notes.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "Clock.h"
#include "Export.h"
#include "NoteHandles.h"
#include "Status.h"

using namespace simulator;

namespace {

constexpr DWORD UnsupportedOpenFlags = OPEN_ABSTRACT | OPEN_RESPONSE_ID_TABLE;

NOTEHANDLE addHandle(std::shared_ptr<OpenNote> note) {
  const NOTEHANDLE handle = noteHandles().add(std::move(note));
  if (handle == NULLHANDLE) throw std::bad_alloc();
  return handle;
}

bool same(const void* left, const void* right, std::size_t size) {
  return std::memcmp(left, right, size) == 0;
}

// Whether the stored note is no longer the one that was read.
bool changedByOthers(const std::optional<NoteHeader>& stored, const ORIGINATORID& known) {
  return !stored || stored->deleted || stored->originator.Sequence != known.Sequence ||
         !same(&stored->originator.SequenceTime, &known.SequenceTime, sizeof(TIMEDATE));
}

// `identity`: note ID or UNID. Opening changes nothing in the file, not even the time of access:
// who looks at mail to archive what nobody reads must not make it look read. That time is written
// with the next update.
template <typename Identity>
STATUS openNote(DBHANDLE database, const Identity& identity, DWORD flags, NOTEHANDLE* result) {
  if (!result) return ERR_BAD_PARAM;
  *result = NULLHANDLE;
  return statusOf([&] {
    if ((flags & UnsupportedOpenFlags) != 0)
      throw StatusError(NotSupportedYet, "abstracts and tables of responses");
    const bool partial = (flags & OPEN_SUMMARY) != 0;
    NoteHeader header;
    std::vector<NoteItem> items;
    {
      // Another process may write between the reads; a transaction would keep all others waiting.
      const StoreLease store = requireStore(database);
      do {
        header = storedNote(store, identity);
        items = partial ? store->summaryItems(header.id) : store->items(header.id);
      } while (changedByOthers(store->note(header.id), header.originator));
    }
    auto note = std::make_shared<OpenNote>(database, header, std::move(items));
    note->partial = partial;
    *result = addHandle(std::move(note));
  });
}

TIMEDATE nextHundredth(const TIMEDATE& time) {
  const std::int64_t next = unixFromTime(time) * 100 + time.Innards[0] % 100 + 1;
  return timeFromUnix(next / 100, static_cast<int>(next % 100));
}

// What makes a note the same in all replicas of its database.
void giveIdentity(ORIGINATORID& originator, const TIMEDATE& now) {
  std::random_device random;
  originator.File = {{random(), random()}};
  originator.Note = now;
  originator.Sequence = 0;
}

// The identity must be the note's alone. A stub that has it makes room: the note is back.
void claimIdentity(const StoreLease& store, const NoteHeader& header) {
  const std::optional<NoteHeader> twin =
      store->note(UNIVERSALNOTEID{header.originator.File, header.originator.Note});
  if (!twin || twin->id == header.id) return;
  if (!twin->deleted) throw StatusError(ERR_CONFLICT, "another note has the same universal ID");
  store->removeNote(twin->id);
}

// One transaction: who looks meanwhile, or after the process was killed in it, finds the note and
// its objects as they were before.
void update(OpenNote& note, WORD flags) {
  if ((flags & UPDATE_DELETED) != 0) throw StatusError(NotSupportedYet, "update as deletion");
  if (note.partial) throw StatusError(PartialNote, "opened with its summary items only");
  const StoreLease store = requireStore(note.database());
  Transaction batch = store->batch();
  NoteHeader header = note.header;
  ORIGINATORID& originator = header.originator;
  std::set<DWORD> unused = note.storedObjects;
  TIMEDATE now = nextUpdateTime();
  if (header.id != 0) {
    const std::optional<NoteHeader> stored = store->note(header.id);
    if ((flags & UPDATE_FORCE) == 0 && changedByOthers(stored, note.opened))
      throw StatusError(ERR_CONFLICT, "changed or deleted meanwhile");
    // Without a revision the time alone tells others that the note has changed.
    if (stored && same(&stored->originator.SequenceTime, &now, sizeof now))
      now = nextHundredth(now);
    // Others who have the note open must see that it is not theirs any more.
    if (stored) originator.Sequence = std::max(originator.Sequence, stored->originator.Sequence);
    unused.merge(objectsOf(store->items(header.id)));
  } else {
    header.addedToFile = now;
  }
  static constexpr UNIVERSALNOTEID none = {};
  if (same(&originator, &none, sizeof none)) giveIdentity(originator, now);
  claimIdentity(store, header);
  if ((flags & UPDATE_NOREVISION) == 0 || originator.Sequence == 0) ++originator.Sequence;
  originator.SequenceTime = header.modified = now;
  if (!note.accessedSet) header.accessed = now;
  header.deleted = false;

  store->writeNote(header, note.items());
  for (const DWORD used : objectsOf(note.items())) unused.erase(used);
  removeObjects(store, unused);
  batch.commit();

  note.header = header;
  note.opened = header.originator;
  note.accessedSet = false;
  note.storedObjects.clear();
}

enum class Trace { Stub, Nothing };

void deleteNote(DBHANDLE database, NOTEID id, Trace trace) {
  const StoreLease store = requireStore(database);
  Transaction batch = store->batch();
  NoteHeader header = storedNote(store, id);
  removeObjects(store, objectsOf(store->items(id)));
  if (trace == Trace::Stub) {
    header.deleted = true;
    ++header.originator.Sequence;
    header.originator.SequenceTime = header.modified = nextUpdateTime();
    store->writeNote(header, {});
  } else {
    store->removeNote(id);
  }
  batch.commit();
}

}  // namespace

SIM_EXPORT STATUS NSFNoteOpen(DBHANDLE db_handle, NOTEID note_id, WORD open_flags,
                              NOTEHANDLE* note_handle) {
  return openNote(db_handle, note_id, open_flags, note_handle);
}

SIM_EXPORT STATUS NSFNoteOpenExt(DBHANDLE hDB, NOTEID NoteID, DWORD flags, NOTEHANDLE* rethNote) {
  return openNote(hDB, NoteID, flags, rethNote);
}

SIM_EXPORT STATUS NSFNoteOpenByUNID(DBHANDLE hDB, UNIVERSALNOTEID* pUNID, WORD flags,
                                    NOTEHANDLE* rethNote) {
  if (!pUNID) return ERR_BAD_PARAM;
  return openNote(hDB, *pUNID, flags, rethNote);
}

SIM_EXPORT STATUS NSFNoteCreate(DBHANDLE db_handle, NOTEHANDLE* note_handle) {
  if (!note_handle) return ERR_BAD_PARAM;
  *note_handle = NULLHANDLE;
  return statusOf([&] {
    requireStore(db_handle);
    *note_handle =
        addHandle(std::make_shared<OpenNote>(db_handle, NoteHeader(), std::vector<NoteItem>()));
  });
}

// Objects that were stored for an update that never came go with the note. That they stay when the
// file cannot be written now is no failure of the close: no note refers to them.
SIM_EXPORT STATUS NSFNoteClose(NOTEHANDLE note_handle) {
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(note_handle, "NSFNoteClose");
    note->takeBackBlocks("NSFNoteClose");
    noteHandles().remove(note_handle);
    if (note->storedObjects.empty()) return;
    statusOf([&] {
      const StoreLease store = requireStore(note->database());
      Transaction batch = store->batch();
      removeObjects(store, note->storedObjects);
      batch.commit();
    });
  });
}

SIM_EXPORT STATUS NSFNoteUpdate(NOTEHANDLE note_handle, WORD update_flags) {
  return statusOf([&] { update(*requireNote(note_handle, "NSFNoteUpdate"), update_flags); });
}

SIM_EXPORT STATUS NSFNoteDelete(DBHANDLE db_handle, NOTEID note_id, WORD update_flags) {
  return statusOf([&] {
    const bool noStub = (update_flags & UPDATE_NOSTUB) != 0;
    deleteNote(db_handle, note_id, noStub ? Trace::Nothing : Trace::Stub);
  });
}

SIM_EXPORT STATUS NSFNoteHardDelete(DBHANDLE hDB, NOTEID NoteID, DWORD Reserved) {
  if (Reserved != 0) return ERR_BAD_PARAM;
  return statusOf([&] { deleteNote(hDB, NoteID, Trace::Nothing); });
}
