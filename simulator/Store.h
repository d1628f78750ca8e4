// One stand-in for a database file: a SQLite file with the properties of the database, its notes
// with their items, and its objects. Everything that the runtime and koln-simulate keep on disk
// goes through this interface; what the API functions make of it is not decided here.
//
// Every failure is a StatusError. A store is used by one thread at a time. What a member has
// written is on disk when it returns, unless a batch is open.
#ifndef KOLN_SIMULATOR_STORE_H
#define KOLN_SIMULATOR_STORE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "NotesApi.h"
#include "Sqlite.h"

namespace simulator {

// As real databases number their notes: from a first one upwards in steps of four.
inline constexpr NOTEID FirstNoteId = 0x8F6;
inline constexpr NOTEID NoteIdStep = 4;
inline constexpr DWORD FirstObjectId = 1;

// Marks a profile note among NoteHeader::flags: a document that only profiles() gives, so that
// neither searches nor tables nor views come upon it. A number of this runtime's own.
inline constexpr WORD NoteFlagProfile = 0x0200;

struct DatabaseProperties {
  std::string info;  // title, categories, class, design class: see InfoBuffer.h
  WORD databaseClass = DBCLASS_NOTEFILE;
  DBID id = {};  // when the database was created; tells copies of a file name apart
  DBREPLICAINFO replica = {};
  TIMEDATE dataModified = {};
  TIMEDATE nonDataModified = {};
  std::optional<DWORD> options;
  DBQUOTAINFOEXT quota = {};  // only what is set, not what is measured
};

struct NoteHeader {
  NOTEID id = 0;  // 0: not stored yet
  WORD noteClass = NOTE_CLASS_DOCUMENT;
  ORIGINATORID originator = {};
  TIMEDATE modified = {};
  TIMEDATE accessed = {};
  TIMEDATE addedToFile = {};
  WORD flags = 0;
  NOTEID parent = 0;
  bool deleted = false;  // a deletion stub: has no items
};

struct NoteItem {
  std::string name;  // LMBCS
  WORD flags = 0;
  WORD type = TYPE_TEXT;
  std::vector<BYTE> value;  // as in memory behind the type word
};

struct ObjectHeader {
  WORD objectClass = NOTE_CLASS_DOCUMENT;
  WORD privileges = 0;
  DWORD size = 0;
};

struct SpaceUsage {
  std::uint64_t used = 0;
  std::uint64_t free = 0;
};

class Store {
 public:
  // A new database in memory; saveAs gives it a file.
  static Store create(const DatabaseProperties& properties);
  // ERR_NOEXIST, ERR_NOT_NSF, ERR_NSF_VERSION or ERR_NSF_CORRUPT2 if it is no database to be used.
  static Store open(const std::string& path);

  enum class Existing { Keep, Replace };
  enum class Flush { Now, Later };
  // Writes a store that was made in memory: other processes see the whole file or none. ERR_EXISTS
  // if the file is there and to be kept. `Later` leaves the time of writing to the system.
  void saveAs(const std::string& path, Existing existing, Flush flush) const;

  DatabaseProperties properties();
  void setProperties(const DatabaseProperties& properties);
  // The access control list as AccessControl.cpp writes it; nothing if none was stored yet.
  std::optional<std::vector<BYTE>> accessControl();
  void setAccessControl(std::span<const BYTE> list);
  SpaceUsage space();

  // Several changes as one; undone if the batch is destroyed without commit().
  Transaction batch() { return Transaction(*connection_); }

  // Stores the note with exactly these items, in this order. A new note is given its ID. The
  // database's time of modification follows that of the note.
  void writeNote(NoteHeader& header, std::span<const NoteItem> items);
  // Changes nothing but the header; the note must exist.
  void writeHeader(const NoteHeader& header);
  // Nothing is left of the note, not even a stub. False if there was none.
  bool removeNote(NOTEID id);
  std::optional<NoteHeader> note(NOTEID id);
  std::optional<NoteHeader> note(const UNIVERSALNOTEID& unid);
  std::vector<NoteItem> items(NOTEID id);
  // Those with ITEM_SUMMARY alone; the bodies are not read.
  std::vector<NoteItem> summaryItems(NOTEID id);
  // Shows the items of these names (whatever the case of their ASCII letters) of all documents,
  // note by note and in the order of each note; with `folder`, of the documents in it. One pass
  // over the file: the way to read a directory.
  using ItemVisit = std::function<void(NOTEID, const NoteItem&)>;
  void visitItems(std::span<const std::string> names, const ItemVisit& visit,
                  std::optional<NOTEID> folder = std::nullopt);
  // What each document, or each one in the folder, takes with its objects; in one pass, too.
  using SizeVisit = std::function<void(NOTEID, std::uint64_t)>;
  void visitSizes(const SizeVisit& visit, std::optional<NOTEID> folder = std::nullopt);
  // A number that is another one once anybody else has changed the file through a store of theirs.
  std::int64_t changesByOthers();
  // Notes and stubs of the classes, by ID; with `since`, those modified then or later. No profiles.
  std::vector<NoteHeader> notes(WORD classMask, std::optional<TIMEDATE> since = std::nullopt);
  // The profile notes, by ID.
  std::vector<NoteHeader> profiles();

  // The documents in a folder, by ID. A note that is deleted leaves all folders. See Folders.cpp.
  std::vector<NOTEID> folderNotes(NOTEID folder);
  void addToFolder(NOTEID folder, std::span<const NOTEID> notes);

  // What a user (a canonical name, LMBCS) has not read yet, as the list was stored; nothing if none
  // was stored for that very name. See UnreadMarks.cpp.
  std::optional<std::vector<NOTEID>> unreadNotes(std::string_view user);
  void setUnreadNotes(std::string_view user, std::span<const NOTEID> notes);

  // The bytes of a new object are 0. The other members answer ERR_BAD_PARAM for an unknown object,
  // ERR_OBJECT_TRUNCATED for bytes behind its end.
  DWORD addObject(const ObjectHeader& header);
  std::optional<ObjectHeader> object(DWORD id);
  std::vector<BYTE> readObject(DWORD id, DWORD offset, DWORD length);
  void writeObject(DWORD id, DWORD offset, std::span<const BYTE> bytes);
  void removeObject(DWORD id);

  // For repairs (StoreRepair.cpp). Opens a file as far as it can be read, and locks it against
  // other processes; ERR_NSF_CORRUPT2 if not even its tables are known.
  static Store openDamaged(const std::string& path);
  // Whether every page, row and index is as it must be.
  bool intact();
  struct Salvage;
  // What can be read, with the same identity, IDs and numbering. ERR_NSF_CORRUPT2 if that is not
  // even the properties.
  Salvage salvage();

 private:
  explicit Store(std::unique_ptr<Connection> connection) : connection_(std::move(connection)) {}
  void requireKnownFormat(const std::string& path);
  void putObject(DWORD id, const ObjectHeader& header);
  void noteModified(const NoteHeader& header);
  void leaveFolders(const NoteHeader& header);

  std::unique_ptr<Connection> connection_;
};

struct Store::Salvage {
  Store store;
  std::size_t lostNotes = 0;
  std::size_t lostObjects = 0;
};

}  // namespace simulator

#endif
