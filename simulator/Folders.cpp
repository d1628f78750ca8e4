// Which documents are in which folders. A folder knows its documents, a document nothing of its
// folders; a document that is deleted is in none any more, and is not put back if it is restored.
#include <string>

#include "Databases.h"
#include "Export.h"
#include "Notes.h"
#include "Status.h"
#include "ViewFormat.h"

namespace simulator {

std::vector<NOTEID> Store::folderNotes(NOTEID folder) {
  Statement row =
      connection_->prepare("SELECT note FROM folder_note WHERE folder = ?1 ORDER BY note");
  row.bind(1, folder);
  std::vector<NOTEID> notes;
  while (row.step()) notes.push_back(static_cast<NOTEID>(row.integer(0)));
  return notes;
}

void Store::addToFolder(NOTEID folder, std::span<const NOTEID> notes) {
  Transaction transaction(*connection_);
  Statement insert = connection_->prepare("INSERT OR IGNORE INTO folder_note VALUES(?1, ?2)");
  for (const NOTEID note : notes) insert.bind(1, note).bind(2, folder).run();
  transaction.commit();
}

void Store::leaveFolders(const NoteHeader& header) {
  connection_->prepare("DELETE FROM folder_note WHERE note = ?1").bind(1, header.id).run();
  if ((header.noteClass & NOTE_CLASS_VIEW) != 0)
    connection_->prepare("DELETE FROM folder_note WHERE folder = ?1").bind(1, header.id).run();
}

namespace {

// A copy, as others may change the table meanwhile.
std::vector<NOTEID> idsIn(DHANDLE table) {
  DHANDLE copy = NULLHANDLE;
  if (const STATUS status = IDTableCopy(table, &copy); status != NOERROR)
    throw StatusError(status, "not an ID table");
  std::vector<NOTEID> ids;
  for (DWORD id = 0; IDScan(copy, ids.empty() ? TRUE : FALSE, &id) != FALSE;) ids.push_back(id);
  IDDestroyTable(copy);
  return ids;
}

}  // namespace

}  // namespace simulator

using namespace simulator;

// All notes of the table or none: one that is not there leaves the folder as it was.
SIM_EXPORT STATUS FolderDocAdd(DBHANDLE hDataDB, DBHANDLE hFolderDB, NOTEID FolderNoteID,
                               DHANDLE hTable, DWORD dwFlags) {
  return statusOf([&] {
    const StoreLease store = requireStore(hDataDB);
    if (dwFlags != 0 || (hFolderDB != NULLHANDLE && hFolderDB != hDataDB))
      throw StatusError(NotSupportedYet, "folder of another database, or flags");
    const std::vector<NOTEID> ids = idsIn(hTable);
    Transaction batch = store->batch();
    const NoteHeader folder = storedNote(store, FolderNoteID);
    if ((folder.noteClass & NOTE_CLASS_VIEW) == 0 ||
        !hasDesignFlag(store->summaryItems(folder.id), 'F'))
      throw StatusError(ERR_BAD_PARAM, "not a folder");
    for (const NOTEID id : ids) {
      const NoteHeader note = storedNote(store, id);
      if ((note.noteClass & NOTE_CLASS_DOCUMENT) == 0 || (note.flags & NoteFlagProfile) != 0)
        throw StatusError(ERR_BAD_PARAM, "not a document");
    }
    store->addToFolder(folder.id, ids);
    batch.commit();
  });
}
