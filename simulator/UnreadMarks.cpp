// Which notes a user has not read yet. A database has one list for each user that has opened it
// with a client; the runtime hands the lists out and never changes one by itself.
#include <cstring>
#include <string_view>

#include "Databases.h"
#include "Export.h"
#include "NoteTables.h"

namespace simulator {

std::optional<std::vector<NOTEID>> Store::unreadNotes(std::string_view user) {
  Statement row = connection_->prepare("SELECT notes FROM unread WHERE user = ?1");
  row.bindText(1, user);
  if (!row.step()) return std::nullopt;
  const std::vector<BYTE> bytes = row.blob(0);
  std::vector<NOTEID> notes(bytes.size() / sizeof(NOTEID));
  if (!notes.empty()) std::memcpy(notes.data(), bytes.data(), notes.size() * sizeof(NOTEID));
  return notes;
}

void Store::setUnreadNotes(std::string_view user, std::span<const NOTEID> notes) {
  const std::span bytes(reinterpret_cast<const BYTE*>(notes.data()), notes.size_bytes());
  connection_->prepare("INSERT OR REPLACE INTO unread VALUES(?1, ?2)")
      .bindText(1, user)
      .bindBlob(2, bytes)
      .run();
}

namespace {

std::vector<NOTEID> documents(const StoreLease& store) {
  std::vector<NOTEID> documents;
  for (const NoteHeader& note : store->notes(NOTE_CLASS_DOCUMENT)) {
    if (!note.deleted) documents.push_back(note.id);
  }
  return documents;
}

}  // namespace

}  // namespace simulator

using namespace simulator;

// Deleted notes may still be in a list, but are not told of. Who has no list has read nothing;
// asking stores none.
SIM_EXPORT STATUS NSFDbGetUnreadNoteTable(DBHANDLE hDB, char* UserName, WORD UserNameLength,
                                          BOOL fCreateIfNotAvailable, DHANDLE* rethUnreadList) {
  if (!rethUnreadList) return ERR_BAD_PARAM;
  *rethUnreadList = NULLHANDLE;
  return statusOf([&] {
    const StoreLease store = requireStore(hDB);
    if (!UserName || UserNameLength == 0) throw StatusError(ERR_BAD_PARAM, "no user");
    std::optional<std::vector<NOTEID>> unread = store->unreadNotes({UserName, UserNameLength});
    if (unread) {
      std::erase_if(*unread, [&](NOTEID id) {
        const std::optional<NoteHeader> note = store->note(id);
        return !note || note->deleted;
      });
    } else if (fCreateIfNotAvailable) {
      unread = documents(store);
    } else {
      return;
    }
    *rethUnreadList = newNoteTable(*unread);
  });
}
