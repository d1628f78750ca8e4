// Open notes, as the functions behind a NOTEHANDLE find them. A note lives in memory from its open
// or create call to its close; only an update writes it. A note is used by one thread at a time.
#ifndef KOLN_SIMULATOR_NOTES_H
#define KOLN_SIMULATOR_NOTES_H

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "Databases.h"
#include "NotesApi.h"
#include "Store.h"

namespace simulator {

// What an open note holds at this moment. StatusError ERR_NULL_NOTEHANDLE for handle 0; ends the
// process if the note was closed, never opened, or its database has been closed.
struct NoteContent {
  DBHANDLE database = 0;
  NoteHeader header;
  std::vector<NoteItem> items;  // in the note's order
};
NoteContent contentOf(NOTEHANDLE note, const char* function);

// The most that an item holds behind its type word.
inline constexpr std::size_t LargestValue = std::size_t{64} * 1024;

class OpenNote {
 public:
  OpenNote(DBHANDLE database, NoteHeader header, std::vector<NoteItem> items);

  DBHANDLE database() const { return database_; }
  // Whether the handle still stands for the database that the note was opened in.
  bool databaseOpen() const;

  const std::vector<NoteItem>& items() const { return items_; }
  // The first item of the name from the position on; nothing if there is none.
  std::optional<std::size_t> find(std::string_view name, std::size_t from = 0) const;
  // StatusError ERR_BAD_PARAM, ERR_SUMMARY_TOO_BIG or ERR_SEGMENT_TOO_BIG if a note cannot hold it.
  void append(NoteItem item);
  // The item in place of all others of its name. Fails as append and erase do.
  void replace(NoteItem item, const char* function);
  // Removes all items of the name; false if there were none. Ends the process if the host has one
  // of them locked.
  bool erase(std::string_view name, const char* function);

  // A block with the item's value behind its type word, the same one for as long as the item lives.
  BLOCKID valueBlock(std::size_t index);
  // The item as a block: a number to tell items apart by, with nothing to be read in it.
  BLOCKID itemBlock(std::size_t index);
  // Takes all blocks back. Ends the process if the host has one of them locked.
  void takeBackBlocks(const char* function);

  NoteHeader header;
  ORIGINATORID opened;            // as stored when the note was opened or updated last
  bool accessedSet = false;       // the host has given the time of access itself
  bool partial = false;           // opened with its summary items only
  std::set<DWORD> storedObjects;  // stored for this note since its last update

 private:
  DHANDLE block(std::size_t index);

  const DBHANDLE database_;
  const std::shared_ptr<const OpenDatabase> openDatabase_;
  std::vector<NoteItem> items_;
  std::vector<DHANDLE> blocks_;  // one for each item; 0 until the host asks for it
};

// What the handle stands for; fails as contentOf does.
std::shared_ptr<OpenNote> requireNote(NOTEHANDLE note, const char* function);
// The same where there is no status to answer: handle 0 ends the process too.
std::shared_ptr<OpenNote> existingNote(NOTEHANDLE note, const char* function);

// The name of an item as a host passes it. StatusError ERR_BAD_PARAM for a length without text.
std::string_view itemName(const char* name, WORD length);

// A note that is stored and no stub. StatusError ERR_NOTE_DELETED, or ERR_INVALID_NOTE for an
// unknown ID, ERR_NOT_FOUND for an unknown UNID.
NoteHeader storedNote(const StoreLease& store, NOTEID id);
NoteHeader storedNote(const StoreLease& store, const UNIVERSALNOTEID& unid);

// The database objects that the items refer to; damaged references are left out.
std::set<DWORD> objectsOf(std::span<const NoteItem> items);
// Removes those of the objects that there are.
void removeObjects(const StoreLease& store, const std::set<DWORD>& objects);

// The current time, never before that of an earlier call. Nor is it ever ahead of the clock: what is
// written next by another process must not look older.
TIMEDATE nextUpdateTime();

}  // namespace simulator

#endif
