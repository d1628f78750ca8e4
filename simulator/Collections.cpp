// See Collections.h: opening and closing.
#include "Collections.h"

#include <new>
#include <string>

#include "Export.h"
#include "HandleCounters.h"
#include "Handles.h"
#include "Notes.h"
#include "Panic.h"
#include "Status.h"

namespace simulator {

namespace {

constexpr NOTEID DesignCollection = NOTE_ID_SPECIAL | NOTE_CLASS_DESIGN;

HandleTable<const Collection>& collections() {
  static HandleTable<const Collection> table(HandleKind::Collection, MAXWORD);
  return table;
}
const bool counted = registerHandleCounter("collections", [] { return collections().size(); });

std::string describe(HCOLLECTION handle, const char* what) {
  return "collection " + std::to_string(handle) + " " + what;
}

bool isOpen(const Collection& collection) {
  try {
    return requireDatabase(collection.handle) == collection.database;
  } catch (const StatusError&) {
    return false;
  }
}

// Indexes are in memory only: there is one as long as somebody in this process has it open.
std::shared_ptr<const CollectionIndex> indexOfOthers(const Collection& wanted) {
  std::shared_ptr<const CollectionIndex> index;
  collections().forEach([&](const Collection& other) {
    if (other.view == wanted.view && other.database->path == wanted.database->path &&
        storedTime(other.database->id) == storedTime(wanted.database->id))
      index = other.index;
  });
  return index;
}

std::shared_ptr<const CollectionIndex> makeIndex(const StoreLease& store, Collection& collection) {
  if (collection.view == DesignCollection)
    return std::make_shared<CollectionIndex>(designNotes(store), std::vector<ViewColumn>());
  const ViewDesign design = viewDesign(store->items(collection.view));
  return std::make_shared<CollectionIndex>(viewDocuments(store, collection.view, design),
                                           design.columns);
}

HCOLLECTION openCollection(DBHANDLE database, NOTEID view, WORD flags, UNIVERSALNOTEID& unid) {
  const StoreLease store = requireStore(database);
  auto collection = std::make_shared<Collection>();
  collection->handle = database;
  collection->database = requireDatabase(database);
  collection->view = view;
  if (view != DesignCollection) {
    if ((view & NOTE_ID_SPECIAL) == NOTE_ID_SPECIAL)
      throw StatusError(NotSupportedYet, "special collection other than that of the design");
    const ORIGINATORID note = storedNote(store, view).originator;
    unid = collection->viewUnid = {note.File, note.Note};
  }
  if ((flags & (OPEN_NOUPDATE | OPEN_DO_NOT_CREATE)) != 0) {
    collection->index = indexOfOthers(*collection);
    if (!collection->index && (flags & OPEN_DO_NOT_CREATE) != 0)
      throw StatusError(ERR_COLLECTION_NOT_CREATED, "no index yet");
  }
  if (!collection->index) collection->index = makeIndex(store, *collection);
  const DWORD handle = collections().add(std::move(collection));
  if (handle == 0) throw std::bad_alloc();
  return static_cast<HCOLLECTION>(handle);
}

}  // namespace

std::shared_ptr<const Collection> requireCollection(HCOLLECTION handle, const char* function) {
  if (handle == 0) throw StatusError(ERR_COLLECTION_HANDLE, "collection handle is 0");
  std::shared_ptr<const Collection> collection = collections().find(handle);
  if (!collection) panic(function, describe(handle, "was never given or is closed"));
  if (!isOpen(*collection)) panic(function, describe(handle, "is of a database that is closed"));
  return collection;
}

}  // namespace simulator

using namespace simulator;

// Nothing is collapsed or selected in a collection that was just opened: there are no such lists.
SIM_EXPORT STATUS NIFOpenCollection(DBHANDLE hViewDB, DBHANDLE hDataDB, NOTEID ViewNoteID,
                                    WORD OpenFlags, DHANDLE hUnreadList,
                                    HCOLLECTION* rethCollection, NOTEHANDLE* rethViewNote,
                                    UNIVERSALNOTEID* retViewUNID, DHANDLE* rethCollapsedList,
                                    DHANDLE* rethSelectedList) {
  if (!rethCollection) return ERR_BAD_PARAM;
  *rethCollection = 0;
  if (rethViewNote) *rethViewNote = NULLHANDLE;
  if (retViewUNID) *retViewUNID = {};
  if (rethCollapsedList) *rethCollapsedList = NULLHANDLE;
  if (rethSelectedList) *rethSelectedList = NULLHANDLE;
  return statusOf([&] {
    if (hViewDB != hDataDB || hUnreadList != NULLHANDLE || rethViewNote)
      throw StatusError(NotSupportedYet, "view of another database, unread list or view note");
    UNIVERSALNOTEID unid = {};
    *rethCollection = openCollection(hDataDB, ViewNoteID, OpenFlags, unid);
    if (retViewUNID) *retViewUNID = unid;
  });
}

SIM_EXPORT STATUS NIFCloseCollection(HCOLLECTION hCollection) {
  return statusOf([&] {
    requireCollection(hCollection, "NIFCloseCollection");
    collections().remove(hCollection);
  });
}
