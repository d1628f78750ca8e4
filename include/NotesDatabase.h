/// @file NotesDatabase.h
/// `KoLNDatabase`: one Notes database of a server instance. `KoLNView`: one of its views or
/// folders.
#ifndef KOLN_NOTES_DATABASE_H
#define KOLN_NOTES_DATABASE_H

#include <map>
#include <string>

#include "NotesApi.h"
#include "NotesDocument.h"
#include "NotesError.h"

class KoLNInstance;

/// One Notes database, closed or open.
///
/// The object owns its Notes handle and closes it when it is opened again, closed or destroyed. The
/// instance is referred to and must outlive it. An object serves one thread at a time, and that
/// thread must have been set up for Notes (`KoLNInstance::InitializeNotesThread`).
///
/// Members return a `KoLNError` by value: a clean record means success. "`SetError`" below means
/// that the record is set and carries the Notes status with its text; "code only" that
/// `IsErrorSet()` stays false and `GetErrorCode()` must be tested. Nothing is thrown: when a Notes
/// call throws, the record holds code 0xFFFF and a message that names the Notes function.
class KOLN_API KoLNDatabase {
 public:
  /// Opens nothing.
  /// @param name     Database path as the server knows it, relative to the data directory; used by
  ///                 `Create`, `Open()` and in messages.
  /// @param instance The owning instance; its server name is taken over now.
  KoLNDatabase(std::string name, KoLNInstance& instance);

  /// Copies name, title, server and instance. The copy is closed, whatever the original is: two
  /// objects never close the same handle.
  KoLNDatabase(const KoLNDatabase& other);
  KoLNDatabase& operator=(const KoLNDatabase&) = delete;

  /// Closes the database and drops the result.
  virtual ~KoLNDatabase();

  /// Creates the database file under the object's name, overwriting what is there, and leaves it
  /// closed. `SetError` on failure; nothing is logged. An empty name is left to Notes to refuse.
  KoLNError Create();

  /// Opens the database by the object's name as it stands: LMBCS, no server part. An open handle is
  /// closed first and its result ignored.
  /// @return "Database name empty\invalid" (0xFFFF) for an empty name; otherwise `SetError`. Both
  ///         are logged at level 0. After an empty name the handle keeps its old, closed value.
  KoLNError Open();

  /// Opens another path without changing `GetName()`.
  /// @param name        Path in UTF-8, relative to the data directory or absolute.
  /// @param overNetwork True reaches it through the object's server name.
  /// @return As `Open()`; also the error of `KoLNUtilities::MakeNetworkPath`. A path that cannot be
  ///         translated is logged and tried all the same, with what was translated of it. **If that
  ///         is nothing, Notes opens the data directory.**
  KoLNError Open(std::string name, bool overNetwork);

  /// Closes the database; on a closed object it succeeds and does nothing. On failure `SetError`,
  /// and the database stays open. Nothing is logged.
  KoLNError Close();

  /// The name that the constructor was given.
  std::string GetName();

  /// The Notes handle; 0 when closed. It stays the object's.
  DBHANDLE GetHandle();

  /// Whether a quota is cached or `SetQuotaUsage` was called.
  bool GetQuotaUsage();

  /// Marks the quota cache as valid.
  void SetQuotaUsage();

  /// Stores the archiving criteria in force for this database.
  void SetMigrationCriteria(DbMigrateCriteria criteria);

  /// Locks a memory handle. @return Its address, or null (also when the call throws). Undo it with
  /// `UnlockObject`.
  void* LockObject(DHANDLE& handle);

  /// @return What `OSUnlockObject` returns; FALSE when the call throws.
  BOOL UnlockObject(DHANDLE& handle);

  /// Frees a memory handle, which must be unlocked; the variable is not cleared.
  /// @return The status of `OSMemFree`; non-zero when the call throws.
  STATUS MemFreeObject(DHANDLE& handle);

  /// Allocates Notes memory.
  /// @param type Block type, normally 0.
  /// @param size Bytes. 0 succeeds with handle 0, which must not be locked.
  /// @param out  Receives the handle, which is the caller's to free (`MemFreeObject`).
  /// @return Code only.
  KoLNError MemAllocObject(WORD type, DWORD size, DHANDLE* out);

  /// Size of a memory handle in bytes; Notes may report more than was asked for.
  /// @return Code 4996 (`SetError`) when the database is not open; otherwise clean, whatever Notes
  ///         answers.
  KoLNError GetObjectSize(DHANDLE& handle, DWORD* size);

  /// @name Properties
  /// One Notes call each. Out-arguments keep their values on failure, except where Notes wrote
  /// them; pointers must not be null. Three ways to treat a closed database: *4996* (`SetError`,
  /// not logged), *message* ("Invalid database handle", code 0xFFFF, not logged), *none* (Notes is
  /// asked and answers with an error of its own). Failures are recorded with `SetError` and logged
  /// at level 0 unless said otherwise; texts are LMBCS.
  /// @{

  /// Bytes in use. Closed: none. Not logged.
  KoLNError GetSize(DWORD& size);

  /// When the database was made: its database ID. Closed: none. Not logged.
  KoLNError GetCreationTime(TIMEDATE& time);

  /// When documents last changed; changes of the design do not count. Closed: none. Not logged.
  KoLNError GetModifiedTime(TIMEDATE& time);

  /// The replica ID as "%08X:%08X", second word first. Closed: 4996. Logged at level -1.
  KoLNError GetReplicaID(std::string& id);

  /// The replica information as Notes keeps it. Closed: 4996. Logged at level -1.
  KoLNError GetReplicaInfo(DBREPLICAINFO* info);

  /// The short mail name of the owner: looks `title` (cut at 1,023 bytes) up in the directory and
  /// takes the address before its first "@", a blank in front of that included. Does not need the
  /// database to be open. An empty `title` is logged and gives a clean record. Failure logged at
  /// level -1.
  KoLNError GetCanonicalName(std::string& out);

  /// The database's title, at most 127 bytes. Closed: 4996.
  KoLNError GetTitle(std::string& databaseTitle);

  /// The name of the design that the database inherits, empty if none; logged as well. Closed:
  /// 4996.
  KoLNError GetDesignClass(std::string& designClass);

  /// Path relative to the data directory and full path, each into 256 bytes; either may be null.
  /// Closed: 4996.
  KoLNError GetPaths(char* canonical, char* expanded);

  /// `DB_LOADED` for a database, `DB_DIRECTORY` for a directory. Closed: 4996.
  KoLNError GetMode(WORD* mode);

  /// The quota, in units of 1,024 bytes. The first successful answer is kept for the object's life,
  /// also beyond `Close` and another `Open`; after `SetQuotaUsage` without one it is all zero.
  /// Closed: 4996.
  KoLNError GetQuota(DBQUOTAINFOEXT* quota);

  /// Bytes in use and bytes free. Closed: 4996.
  KoLNError GetSpaceUsage(DWORD* allocated, DWORD* free);

  /// The information buffer. @param info Receives 128 bytes. Closed: 4996.
  KoLNError GetInfo(char* info);

  /// Writes the information buffer of 128 bytes. Closed: message. Code only, not logged.
  KoLNError SetInfo(char* info);

  /// Writes the replica information. Closed: message. Code only, not logged.
  KoLNError SetReplicaInfo(DBREPLICAINFO* info);

  /// The option bits. Closed: message. Code only (0x0242 when none are stored), not logged.
  KoLNError GetOptions(DWORD* options);
  /// @}

  /// @name Access list and stored objects
  /// The same conventions.
  /// @{

  /// Reads the access list. @param acl Receives a memory handle for the caller to free. Closed:
  /// none.
  KoLNError ReadAcl(DHANDLE* acl);

  /// Stores an access list that the caller holds as bytes.
  /// @param size, data The bytes. @param objectId 0. @param method 0 updates, 1 replaces.
  /// @return Closed: message. Code only, logged at level 2. Memory that cannot be allocated is
  ///         logged at level 0 and **leaves the code 0 and nothing stored**; memory that cannot be
  ///         filled (size 0 gives none, null `data`) is a custom message, and nothing is stored.
  KoLNError StoreACL(DWORD size, DWORD objectId, WORD method, char* data);

  /// Reads (part of) an object. @param length Bytes; 0xFFFFFFFF for all. @param buffer Receives a
  /// memory handle for the caller to free. Closed: 4996.
  KoLNError ReadObject(DWORD objectId, DWORD offset, DWORD length, DHANDLE* buffer);

  /// Allocates an object of `size` bytes. Closed: message. Code only, not logged.
  KoLNError AllocObject(DWORD size, WORD noteClass, WORD privileges, DWORD* objectId);

  /// Frees an object. Closed: message. Code only, not logged.
  KoLNError FreeObject(DWORD objectId);

  /// Writes into an object, which does not grow. @param buffer Memory handle, unlocked; stays the
  /// caller's. Closed: message. Code only, not logged.
  KoLNError WriteObject(DWORD objectId, DHANDLE buffer, DWORD offset, DWORD length);
  /// @}

  /// Finds the database that has a replica ID, anywhere below the data directory of the instance.
  /// The object's own database need not be open.
  /// @param replicaId "XXXXXXXX:XXXXXXXX" as `GetReplicaID` writes it, either case. Of each half
  ///                  the first 8 characters count, read as `strtoul` with base 16 reads them.
  /// @param path      Receives the LMBCS path relative to the data directory; unchanged on failure.
  /// @return A custom message when the text holds no ":" or the data directory is not known;
  ///         otherwise `SetError`, 0x0103 if there is no such database. Every call logs at level 0.
  KoLNError LocateByReplicaID(std::string replicaId, std::string& path);

  /// @name Note tables and searches
  /// The same conventions.
  /// @{

  /// Asks which notes the mailbox's owner has not read; `GetNoteUnreadStatus` then tells it note by
  /// note. The owner is `title`, or the database's own title where that is empty. The table is the
  /// object's: released when it is made anew, on `Close`, on opening again and on destruction.
  /// @return Closed: 4996, not logged. A title that cannot be had, or is empty, gives its error or
  ///         a custom message. **Failures of Notes are recorded as status 1, whatever they were.**
  ///         All logged at level 0.
  KoLNError DiscoverUnReadDocuments();

  /// Whether a note is in the table; takes as long as the table is.
  /// @param unread Set to true if it is, and **never to false: start with false.** Without a table
  ///               it stays as it is, which is logged and gives a clean record.
  /// @return A custom message, not logged, for a table that is damaged or cannot be walked: whether
  ///         the note was read is then not known.
  KoLNError GetNoteUnreadStatus(NOTEID id, bool& unread);

  /// The notes modified since a time.
  /// Closed: none.
  /// @param since Wildcard: all notes and deletion stubs; minimum: all notes.
  /// @param until Receives the time to ask for the next time. Not null.
  /// @param table Receives an ID table for the caller to release (`KoLNUtilities::MemFreeTable`);
  ///              start with 0: **if nothing was modified the record is clean and Notes leaves it
  ///              alone.** IDs of deletion stubs have the top bit.
  KoLNError DiscoverModifiedDocuments(TIMEDATE since, TIMEDATE* until, WORD noteClassMask,
                                      DHANDLE* table);

  /// Walks an ID table in ascending order. @param first Non-zero for the first ID. @param noteId
  /// The ID of the last call, which receives the next. @return FALSE at the end, and when the call
  /// throws.
  BOOL NoteIDScan(DHANDLE& table, int first, DWORD* noteId);

  /// Calls a routine for each note of the database that a formula selects.
  /// @param formula   Compiled formula; 0 selects all.
  /// @param viewTitle LMBCS, used by the formula alone; may be null.
  /// @param since     Null, or the time since which notes were modified: then deletion stubs and
  ///                  notes that are not selected come too (test `SE_FMATCH`).
  /// @param routine   Address of a variable with the routine. A non-zero result ends the search and
  ///                  is what is recorded.
  /// @param until     Receives the time to pass as `since` the next time; may be null.
  /// @return Closed: message. Code only, not logged. **A search that throws is logged at level 0
  ///         and gives a clean record.** A null routine is refused with a custom message.
  KoLNError Search(DHANDLE formula, char* viewTitle, WORD searchFlags, WORD noteClassMask,
                   TIMEDATE* since, NSFSEARCHPROC* routine, void* context, TIMEDATE* until);

  /// Looks a note up by its universal ID; all out-pointers may be null where Notes allows it.
  /// @return Closed: message. **Failures of Notes are recorded as status 1, whatever they were,**
  ///         and logged at level 0.
  KoLNError GetNoteInfoByUNID(UNID* unid, NOTEID* id, ORIGINATORID* oid, TIMEDATE* modified,
                              WORD* noteClass);

  /// Calls a routine for each profile document.
  /// @param profileName LMBCS; null for all. @param profileNameLength Its bytes. @param flags 0.
  /// @return Closed: message. Code only (a non-zero result of the routine too), logged at level -1.
  ///         A null routine is refused with a custom message.
  KoLNError ProfileEnum(const char* profileName, WORD profileNameLength, NSFPROFILEENUMPROC routine,
                        void* context, DWORD flags);
  /// @}

  /// Sends the title of every view and folder (UTF-8) to the host through its message callback, but
  /// for those with "G" in "$Flags". What the host answers does not matter.
  /// @return Code only, not logged: of the search, or of the first view that could not be opened,
  ///         which ends it. Closed: none.
  KoLNError GetViews();

  /// @name Folders
  /// Each asks the host through its quit callback whether to go on, at every entry; once it says
  /// stop, the rest is left undone and what was obtained is given back, and the record does not
  /// tell. Closed: 4996, not logged. Failures: `SetError`, logged at level 0. Names are LMBCS and
  /// compared letter for letter; levels of nested folders are parted by a backslash.
  /// @{

  /// Extends a list of folders by the folders nested in them.
  /// @param folders Names with ";" between them; only the first 1,023 bytes are looked at. Found
  ///                titles are appended in the order of the design, once for each name above them.
  /// @return A custom message for an empty list. After a failure the list is unchanged. A buffer
  ///         that cannot be locked is only logged.
  KoLNError AddSubFolders(std::string& folders);

  /// Narrows a table of notes by the documents in folders and views, nested ones included.
  /// @param folders   Names as above; extended by `AddSubFolders`. A name without "$" is looked up
  ///                  with a "$" in front.
  /// @param noteTable ID table of the caller's; IDs are deleted from it.
  /// @param mode      1 keeps only what is in the folders, 2 deletes what is in them, anything else
  ///                  deletes nothing.
  /// @return A custom message for an empty list or table 0. **A folder that cannot be found, and a
  ///         failed `AddSubFolders`, do not end the run: only the record tells. With mode 1 the
  ///         documents of such a folder are deleted from the table.** The same holds for nested
  ///         folders where a buffer cannot be locked, and that is only logged; a folder's own
  ///         buffer that cannot be locked ends the run **with a clean record and the table as it
  ///         was.** Other failures end it before the table is changed; one while it is changed
  ///         leaves it changed in part.
  KoLNError FilterDocumentsOfFolders(std::string& folders, DHANDLE& noteTable, unsigned long mode);

  /// Puts restored notes back into their folders.
  /// @param buffer Folder records behind each other, in the host's byte order, without padding: the
  ///               folder's ORIGINATORID (28 bytes, of which the first 16, its UNID, count), the
  ///               number of items (4), and per item the note's on-disk ORIGINATORID (as long as
  ///               Notes says, at least 16 bytes, of which the first 16 count).
  /// @param size   Bytes of the buffer. Nothing behind them is read.
  /// @param ignored Not read.
  /// @return **The last error; the run goes on after most.** Notes and folders that are not there
  ///         are skipped; of a note that Notes does not know (0x0404) only the record tells. A
  ///         buffer that ends inside a record gives a custom message, after its whole items have
  ///         been put; so does an on-disk length below 16, at once.
  KoLNError PutNotesInFolders(char* buffer, DWORD size, const char* ignored);
  /// @}

  /// @name Reserved; each does nothing and succeeds
  /// @{

  /// Reserved.
  KoLNError CheckDXLErrorLog(DWORD log);
  /// Reserved; `ReadAcl` reads the access list.
  KoLNError ExportACL();
  /// Reserved; `acl` stays as it is.
  KoLNError ExportACL(DWORD& acl);
  /// Reserved; `KoLNDocument::Import` imports.
  KoLNError ImportAllDataDocuments();
  /// @}

  // The fields stand in a fixed order, unused ones included: hosts embed these objects.
 private:
  void releaseUnreadTable();

  std::string name_;
  DBHANDLE handle_;
  std::string unusedText1_;

 public:
  /// The title as the caller knows it, for a mail file its owner's name. The library reads it and
  /// never sets it.
  std::string title;

 private:
  std::string unusedText2_;
  std::string unusedText3_;
  std::string serverName_;
  std::string unusedText4_;
  bool quotaCached_;
  DBQUOTAINFOEXT* quotaCache_;
  DHANDLE unusedTable1_;
  DHANDLE unreadTable_;
  DHANDLE unusedTable2_;
  DbMigrateCriteria migrationCriteria_;
  KoLNInstance& instance_;
};

/// One view or folder of an open database: its columns, and its collection, which is read page by
/// page. The database must stay open and outlive the object.
///
/// The object owns the view's note and closes it when it is opened again, closed or destroyed; a
/// collection belongs to the caller. Conventions of threads and records as for `KoLNDatabase`;
/// failures are recorded with `SetError` and logged at level 0 unless said otherwise.
class KOLN_API KoLNView {
 public:
  /// @param db       Open already: its handle is taken over now.
  /// @param viewName UTF-8; of names with "|" between them the last is the one that counts.
  KoLNView(KoLNDatabase& db, std::string viewName);

  /// The same for a view whose note ID is known; `FindID` is then not needed.
  KoLNView(KoLNDatabase& db, unsigned int viewNoteID);

  /// Closes the view's note and drops the result.
  ~KoLNView();

  KoLNView(const KoLNView&) = delete;
  KoLNView& operator=(const KoLNView&) = delete;

  /// Looks the view up by its name.
  /// @param noteID Receives its note ID, which the object keeps too; 0xFFFFFFFF if it is not found,
  ///               unchanged after the first custom message.
  /// @return Custom messages, not logged: "Invalid view name or database handle." and, for "No View
  ///         Selected" and an empty name behind the last "|", "Default view is NO VIEW SELECTED".
  KoLNError FindID(unsigned int& noteID);

  /// Opens the view's note. @param openFlags `OPEN_` bits.
  KoLNError Open(unsigned short openFlags);

  /// Closes the view's note. Succeeds on a closed view; afterwards the view is closed in any case.
  KoLNError Close();

  /// Opens the view's note and reads its columns.
  /// @param titles Receives the titles of the visible columns (UTF-8, cleaned as by
  ///               `KONormalizeText`), each with 0x12 in front. **The list ends before a column
  ///               whose title (LMBCS, at most 127 bytes) and 8 characters more would take it past
  ///               200.** Left out are columns without title, "$ThreadsEmbed", and those that are
  ///               hidden, icons, categories or for responses only. Null is refused.
  /// @return A custom message for an item that is no view format, and for one that is damaged (what
  ///         stands before the damage is delivered). **A format of another version is only logged,
  ///         and gives a clean record and no titles.**
  KoLNError GetCoulmnTitles(std::string* titles);

  /// Looks an item of the open view's note up.
  /// @param itemName **One character longer than the item's name:** the last is dropped.
  /// @param valueBlock Receives the value's place, type word first; it stays the note's.
  /// @param valueLength Receives its bytes, type word included.
  /// @return "Invalid view handle." (0xFFFF, not logged) if the view is not open.
  KoLNError GetItemInfo(std::string itemName, unsigned short& dataType, BLOCKID& valueBlock,
                        unsigned int& valueLength);

  /// Opens the collection. Logged at level -1. @param unreadTable 0. @param collection Receives the
  /// handle for the caller to close. @param viewNote Null; what the others receive stays Notes'.
  KoLNError OpenCollection(unsigned short openFlags, unsigned int unreadTable,
                           unsigned short* collection, unsigned int* viewNote,
                           UNIVERSALNOTEID* viewUNID, unsigned int* collapsedList,
                           unsigned int* selectedList);

  /// Reads a page of the collection, as Notes does it; see `NAVIGATE_`, `READ_MASK_` and `SIGNAL_`.
  /// Logged at level -1. @param buffer Receives a memory handle for the caller to free; may stay 0.
  KoLNError ReadColection(unsigned short* collection, COLLECTIONPOSITION* position,
                          unsigned short skipNavigator, unsigned int skipCount,
                          unsigned short returnNavigator, unsigned int returnCount,
                          unsigned int returnMask, DHANDLE* buffer, WORD* bufferLength,
                          DWORD* entriesSkipped, DWORD* entriesReturned, WORD* signalFlags);

  /// Closes a collection; the variable is not reset. Logged at level -1.
  KoLNError CloseCollection(unsigned short& collection);

  /// Renders one entry of a collection as a line of a text index: the note ID as eight hexadecimal
  /// digits and, for each visible column of `GetCoulmnTitles`, its text in UTF-8 (cut at 80
  /// characters before it is translated, cleaned as by `KONormalizeText`), each followed by 0x12. A
  /// column that would take the line past 240 characters ends it.
  /// @param entry        4,096 bytes; terminated.
  /// @param summary      The entry's summary buffer (ITEM_TABLE); what it says of bytes behind its
  ///                     own length is not read.
  /// @param noteID       As the collection gives it, the category bit included: categorised columns
  ///                     show on category entries only.
  /// @param specialInfo, position The entry's, for index functions in its texts.
  /// @return 0 when done; 1 when the 4,096 bytes would overflow or memory is short, which is logged
  ///         at level -1, and for a null `entry`.
  int AddEntryToNoteIndex(char* entry, unsigned char* summary, unsigned int noteID,
                          INDEXSPECIALINFO specialInfo, COLLECTIONPOSITION position,
                          unsigned short ignored);

  // The fields stand in a fixed order: hosts embed these objects.
 private:
  NOTEHANDLE note_;
  std::string viewName_;
  NOTEID noteId_;
  std::string databaseName_;
  DBHANDLE db_;
  std::string columnTitles_;
  DWORD columnCount_;
  std::map<std::string, WORD>* columns_;
};

/// The routine of `KoLNDatabase::GetViews` for `NSFSearch`. Nothing thrown leaves it.
/// @param context Address of the database's handle. @return 0, or the status of the note that could
/// not be opened.
KOLN_API STATUS ForEachViewName(void* context, SEARCH_MATCH* match, ITEM_TABLE* summary);

/// Renders a list and ranges of times: "time,time ; lower-upper,lower-upper".
/// @param value RANGE header, times, pairs of times, all of them present; any alignment.
/// @param text  **218 bytes:** the text ends after the piece that takes it past 55 characters.
/// @return The address behind the value.
KOLN_API unsigned char* convertTimeRange(unsigned char* value, char* text);

/// A code and what it is called.
struct CodeName {
  DWORD code;        ///< 0xFFFFFFFF closes a table.
  const char* name;  ///< ASCII, of static life.
};

/// @name Names of codes
/// For hosts; the library does not read them. Each ends in a row with the code 0xFFFFFFFF.
/// @{
extern KOLN_API const CodeName
    notes_types[];  ///< `TYPE_` codes; one more row follows, without name.
extern KOLN_API const CodeName item_flags[];  ///< `ITEM_` bits.
extern KOLN_API const CodeName note_flags[];  ///< `NOTE_FLAG_` bits, described.
/// @}

#endif
