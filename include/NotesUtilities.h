/// @file NotesUtilities.h
/// `KoLNUtilities`: the small wrappers over Notes calls, and the discovery of databases.
#ifndef KOLN_NOTES_UTILITIES_H
#define KOLN_NOTES_UTILITIES_H

#include <map>
#include <set>
#include <string>

#include "NotesApi.h"
#include "NotesDocument.h"
#include "NotesError.h"

class KoLNInstance;

/// Belongs to the host: the context that `DiscoverDatabases` passes through to the host's callback.
struct DocSummary_type;

/// What `KoLNUtilities::FindAView` looks for and what it found; owned by the caller.
struct RestoreViewSearch {
  DWORD state;           ///< 0xFFFFFFFF once a view has been found, anything else before.
  DBHANDLE database;     ///< Database whose notes are searched; stays the caller's.
  char foundTitle[255];  ///< Receives the view's title: UTF-8, terminated, cut at 254 bytes.
  char wantedText[255];  ///< Text to find inside the title: upper case, at most 254 bytes,
                         ///< terminated.
};

/// What is asked of the server's directory, and how mail files are chosen by department. Owned by
/// the caller; let `KoLNUtilities::InitializeMBLookup` fill all but the two sets: the lists must
/// hold as many texts as the counts say.
struct MailboxLookupStruct {
  DWORD nameSpaceCount;    ///< 1.
  DWORD nameCount;         ///< 1: one empty name, for everybody.
  DWORD itemCount;         ///< Texts in `items`: 1 or 2.
  const char* nameSpace;   ///< "$PEOPLE".
  const char* items;       ///< `itemCount` terminated item names behind each other.
  bool wantCanonical;      ///< Item 1 is "FullName".
  bool wantDepartment;     ///< Item 1 is "Department".
  bool filterDepartments;  ///< Whether `filteredDepartments` counts.
  /// Departments whose mail files are taken; empty = no selection. Compared letter for letter, in
  /// the directory's own character set (LMBCS).
  std::set<std::string> selectedDepartments;
  /// Departments whose mail files are left out; not consulted while there is a selection.
  std::set<std::string> filteredDepartments;
};

/// One entry of the host's array of databases.
struct DBNAME {
  std::string text1;           ///< The host's; copied into every entry added for the mailbox.
  std::string text2;           ///< Likewise.
  std::string mailboxPath;     ///< The mail file's path, with either separator; copied likewise.
  std::string associatedPath;  ///< UTF-8 path of the database that an added entry stands for.
  std::string text5;           ///< The host's; copied likewise.
};

/// Where a user's archive mailbox lies: base directory "/" archive folder "/" prefix, name, suffix.
struct ArchiveMailBoxInfoStruct {
  std::string archiveFolder;  ///< Relative to the base directory.
  std::string namePrefix;     ///< In front of the user's name; may be empty.
  std::string nameSuffix;     ///< Typically ".nsf".
  std::string baseDirectory;  ///< Absolute.
};

/// @name Routines for `NSFSearch` over a directory
/// Each is called once per database file, and nothing thrown leaves it (memory running out ends the
/// search with 0x0107).
/// @{

/// Counts. @param context An `unsigned long`.
KOLN_API STATUS CountAdditionalDBsCallbackFn(void* context, SEARCH_MATCH* match,
                                             ITEM_TABLE* summary);

/// Collects the LMBCS paths up to their first ".nsf". @param context A `std::set<std::string>`.
KOLN_API STATUS FetchAdditionalDatabaseCallback(void* context, SEARCH_MATCH* match,
                                                ITEM_TABLE* summary);

/// Reports to the managing server; the error of one database is dropped. @param context A
/// `std::pair<std::set<std::string>*, bool>`: reported names, short form.
KOLN_API STATUS ProcessAdditionalDatabaseCallback(void* context, SEARCH_MATCH* match,
                                                  ITEM_TABLE* summary);

/// Adds an entry. @param context A `std::pair<DBNAME*, int*>`: entries, index of the last used one.
/// @return 1 for a match without path, 0xFFFF for one that cannot be translated; both end the
///         search and leave the entry without an associated path.
KOLN_API STATUS AssociateAdditionalDBsCallback(void* context, SEARCH_MATCH* match,
                                               ITEM_TABLE* summary);
/// @}

/// Upper-cases a text in place, byte by byte. @return The same pointer; null stays null.
KOLN_API char* strupr(char* text);

/// The toolbox: make one on the stack where it is needed.
///
/// Two kinds of result. A member that returns `KoLNError` returns a fresh record: clean on success,
/// with the Notes status and its text on failure (`SetError`), unless said otherwise. The others
/// return what Notes returns. When a Notes call throws, nothing gets out: a record is set with code
/// 0xFFFF and a message that names the Notes function; a BOOL is FALSE (but see
/// `GetTimeLocalToGM`), a STATUS non-zero (0xFFFF), a length, count or number 0, and out-arguments
/// keep their values. The same holds while the Notes API is not bound.
///
/// No state but the note-size formula: as safe for threads as the Notes calls behind it. The
/// calling thread must have been set up for Notes.
class KOLN_API KoLNUtilities {
 public:
  KoLNUtilities();

  /// Gives nothing back: the note-size formula is released by `ShutdownFormulaComputation`, which a
  /// destructor could only do too late (the runtime may have been ended before).
  ~KoLNUtilities();

  KoLNUtilities(const KoLNUtilities&) = delete;
  KoLNUtilities& operator=(const KoLNUtilities&) = delete;

  /// The text that Notes has for a status (flag bits are ignored), at most 1,023 bytes as Notes
  /// delivers it. Empty when there is none, which is logged at level 0.
  static std::string GetNotesErrorMsg(unsigned short status);

  /// @name Text
  /// @{

  /// Translates between character sets (`OSTranslate`).
  /// @param mode      One of the `OS_TRANSLATE_` numbers.
  /// @param inLength  Bytes of `in`; 0xFFFF means that it is terminated.
  /// @param out       Not terminated by the call: zero it and keep one byte more than `outLength`.
  /// @param outLength Bytes that `out` may receive.
  /// @return Bytes written; 0 is failure, and also what an empty input gives.
  WORD NotesTranslate(WORD mode, const char* in, WORD inLength, char* out, WORD outLength);

  /// Translates UTF-8 to the native character set by way of LMBCS.
  /// @param out     A zeroed buffer of `outSize` + 1 bytes; nothing is written behind `outSize`.
  /// @param outSize 0 or less gives false without a call; above 65,534 counts as 65,534.
  /// @return False when a translation yields nothing (as for an empty text), when the input is
  ///         longer than 65,534 bytes and when memory is short.
  bool ConvertUtf8ToNative(const char* utf8, char* out, int outSize);

  /// Makes a title usable as a file name, in place: every byte below 32, 255 and each of
  /// \ / : * ? " < > | % becomes a blank. Null is ignored.
  void NormalizeText(char* text);

  /// Lower-cases a text in place, byte by byte. @return The same pointer; null stays null.
  char* StrLwr(char* text);

  /// On-disk size in bytes of a structure type.
  WORD GetDSLength(WORD odsType);

  /// Gives the object descriptor of an item value another object ID, in place.
  /// @param item Address of a pointer to the value: type word, then the on-disk descriptor. The
  ///             pointer is not moved.
  /// @return 0, since the conversion calls report nothing; 0x0241 for a null pointer.
  STATUS ConvertODToCanonical(void** item, DWORD rrv);
  /// @}

  /// @name Time
  /// @{

  /// Converts a text in the runtime's own format. On failure `out` stays as it is, and a line is
  /// logged at level 0. A text above 65,535 bytes is cut there.
  KoLNError GetTimeDate(std::string text, TIMEDATE& out);

  /// A constant time: `TIMEDATE_MINIMUM`, `TIMEDATE_MAXIMUM` or `TIMEDATE_WILDCARD`.
  void GetTimeDate(WORD constant, TIMEDATE* out);

  /// Converts a time to a text in the runtime's own format, at most 80 bytes. On failure `out`
  /// stays as it is, and a line is logged at level 0.
  KoLNError GetTimeString(TIMEDATE value, std::string& out);

  /// The zone (positive west of Greenwich; hours, or MMHH with sign) and whether daylight saving
  /// holds; either pointer may be null.
  void GetDominoTimeZone(int* zone, int* dst);

  /// Fills `GM` of a broken-down time from its local fields.
  /// @return FALSE on success; TRUE on failure, also when the call throws.
  BOOL GetTimeLocalToGM(TIME* time);

  /// The Julian day of a time.
  DWORD ExtractJulianDate(const TIMEDATE* time);

  /// The time of the runtime's clock, to a hundredth of a second.
  void GetCurrentTimeDate(TIMEDATE* out);

  /// `a` minus `b` in seconds.
  LONG GetTimeDateDifference(const TIMEDATE* a, const TIMEDATE* b);

  /// -1, 0 or 1. 0 as well when the call throws.
  int CompareTimeDate(TIMEDATE* a, TIMEDATE* b);

  /// The settings of the server's country: separators, words, zone. @param out Receives the whole
  /// structure.
  void GetIntlDateTimeFormat(INTLFORMAT* out);

  /// Does nothing.
  void DumpFileTimeAndVer(const char* file, int line);
  /// @}

  /// @name Memory and objects
  /// @{

  /// Allocates Notes memory; `out` is the caller's to free. Size 0 succeeds with handle 0, which
  /// must not be locked.
  KoLNError AllocMem(WORD blockType, DWORD size, DHANDLE& out);

  /// Frees Notes memory, which must be unlocked.
  KoLNError FreeMem(DHANDLE handle);

  /// Reads one object descriptor from its on-disk form (6 bytes, may be unaligned).
  void ReadMemory(void* source, OBJECT_DESCRIPTOR* out);

  /// Writes object descriptors in on-disk form (6 bytes each) at the start of a memory object.
  ///
  /// **Attention:** what is converted are the bytes of the `source` argument itself, the 8 bytes of
  /// the pointer taken as one host-form descriptor, not what it points to. Descriptors beyond the
  /// first are zero. The object must have room for `count` descriptors.
  /// @return What `OSUnlockObject` returns, so 1 on success; 0xFFFF when the object cannot be
  ///         locked, memory is short or a call throws.
  STATUS CopyObject(DHANDLE object, WORD* ignored, const void* source, DWORD ignoredLength,
                    WORD count);

  /// Sets the block part of `block` to 0 and copies `length` bytes to the start of its pool, which
  /// must be large enough. Nothing is copied when the pool cannot be locked. Exported for `WORD`.
  template <typename Type>
  void CopyBlock(void* ignored, const void* source, DWORD length, BLOCKID& block);

  /// Size in bytes, class and privileges of a database object; pointers may be null.
  /// @return 4996 (`SetError`) for database handle 0; a Notes failure as code only.
  KoLNError DBGetObjectDetails(DBHANDLE db, OBJECT_DESCRIPTOR& descriptor, DWORD* size,
                               WORD* objectClass, WORD* privileges);

  /// Opens a directory (or database) by its LMBCS path.
  /// @param out Set to a handle for the caller to close (`CloseDirectory`). **An empty path
  ///            succeeds, opens nothing and leaves `out` alone:** start it at 0, and neither search
  ///            nor close a directory that stayed 0.
  KoLNError OpenDirectory(std::string path, DBHANDLE& out);

  /// Closes a directory; the variable is not reset.
  KoLNError CloseDirectory(DBHANDLE& directory);

  /// Builds the path of a database for opening it, through a server if `withServer` is true. On
  /// failure `out` stays as it is, and a line is logged at level 0.
  KoLNError MakeNetworkPath(std::string server, std::string path, std::string& out,
                            bool withServer);
  /// @}

  /// @name ID tables
  /// @{

  /// Makes an ID table for the caller to release (`MemFreeTable`).
  /// @param alignment 4, the size of a NOTEID, or 0 to let Notes choose.
  STATUS CreateTable(DWORD alignment, DHANDLE* out);

  /// @param inserted Receives whether the ID was new; may be null.
  STATUS InsertIntoTable(DHANDLE table, NOTEID id, BOOL* inserted);

  /// @param deleted Receives whether the ID was there; may be null. A failure is logged at level 0.
  KoLNError DeleteID(DHANDLE table, NOTEID id, BOOL* deleted);

  /// Releases an ID table; the variable is not reset. A failure is logged at level 0.
  KoLNError MemFreeTable(DHANDLE& table);

  /// How many IDs a table holds.
  DWORD CountTableEntries(DHANDLE& table);
  /// @}

  /// @name Summary buffers and notes.ini variables
  /// @{

  /// Finds a value in a summary buffer.
  /// @param valuePos Address of a pointer, which receives the place of the value inside the buffer.
  /// @param length, dataType Receive its bytes and its type.
  BOOL LocateSummaryValue(const void* summary, const char* item, void* valuePos, WORD* length,
                          WORD* dataType);

  /// Reads a text from a summary buffer, at most 1,024 bytes. `out` is always assigned, empty when
  /// the item is absent.
  BOOL GetSummaryValue(const void* summary, const char* item, std::string& out);

  /// A notes.ini variable as a number; 0 when it is absent or no number.
  long GetNotesINIvarLong(const char* name);

  /// A notes.ini variable as a text of up to 256 bytes.
  /// @param out 257 bytes: 256 for the text and one for its terminator.
  /// @return Whether it is there.
  BOOL GetNotesINIvarString(const char* name, char* out);
  /// @}

  /// A fresh record of archiving criteria; the text is not consulted.
  DbMigrateCriteria getMigrateCriteria(std::string ignored);

  /// @name Note-size formula
  /// One object of the process keeps the compiled formula "@DocLength" from the start of the work
  /// to its end: once initialised and shut down, it is not initialised again.
  /// @{

  /// Compiles the formula and starts its computation.
  /// @return "Formula already initialized" (0xFFFF), also after a shutdown and after a computation
  ///         that could not be started; other custom messages where Notes gives a formula that
  ///         cannot be locked or no computation; otherwise `SetError`.
  KoLNError InitializeFormulaComputation();

  /// Releases the formula and ends its computation. The handle is void from then on.
  /// @return "Note Size Formula is not initialized" (0xFFFF), also for a second shutdown; otherwise
  ///         `SetError` if the computation cannot be stopped (it is released all the same).
  KoLNError ShutdownFormulaComputation();

  /// What `KoLNDocument::GetSize` takes; null before the initialisation. Stays the object's, for
  /// one thread at a time.
  HCOMPUTE GetSizeFormulaHandle();
  /// @}

  /// @name DXL
  /// @{

  /// Makes an importer and sets its properties in ascending order of their keys.
  /// @param importer   Receives the handle for the caller to delete. **After a failure it may hold
  ///                   one that is already deleted: do not use it.**
  /// @param properties Pointers to 32-bit integers, read during the call.
  ///                   `iDocumentsImportOption` and `iReplicaRequiredForReplaceOrUpdate` are set,
  ///                   any other key is logged at level 0 and left out.
  /// @return `SetError`; that no importer could be made is logged at level 0.
  KoLNError CreateDXLImporter(DXLIMPORTHANDLE& importer,
                              std::map<DXL_IMPORT_PROPERTY, void*> properties);

  /// Makes an exporter, likewise. The keys 3 to 7 (doctype, banner comments, character set, rich
  /// text, log comment) and 30 to 34 (note format, first fatal error, root attributes, XML
  /// declaration, DOCTYPE) are set, all others left out silently. The values of 3 and 7 are texts,
  /// of 4 terminated texts closed by an empty one (3 and 4 may be null); the rest 32-bit integers.
  /// @return `SetError`, not logged; that a call threw is logged at level 0.
  KoLNError CreateDXLExporter(DXLEXPORTHANDLE& exporter,
                              std::map<DXL_EXPORT_PROPERTY, void*> properties);

  /// Deletes an importer; 0 is ignored. The variable is not cleared.
  KoLNError DeleteDXLImporter(DXLIMPORTHANDLE& importer);

  /// Deletes an exporter; 0 is ignored. The variable is not cleared.
  KoLNError DeleteDXLExporter(DXLEXPORTHANDLE& exporter);

  /// Delivers DXL to an importer, from a buffer or from a staged file behind its 133 bytes of
  /// header.
  /// @param out    Room for `max` bytes. @param record A `NoteImportRecord`; its counts move.
  /// @return Bytes delivered, 0 at the end. A staged file that ends too early is logged at level -1
  ///         and ends the stream with what was read.
  static DWORD DXLImportStreamFunc(BYTE* out, DWORD max, void* record);

  /// Takes DXL from an exporter, into a file or a buffer that grows to one and a half times of what
  /// it must hold. @param record A `NoteExportRecord`; its counts move. When memory, the disk or
  /// the 32-bit counts run out, its `ok` becomes 0, which is logged at level -1, and all that
  /// follows is dropped; the buffer stays valid.
  static void DXLExportStreamFunc(const BYTE* data, DWORD length, void* record);
  /// @}

  /// @name Database discovery
  /// @{

  /// Walks the data directory of an instance, sub-directories included, and calls the host once for
  /// every database file.
  /// @param instance Address of a pointer to the initialised instance.
  /// @param context  Passed through to the callback.
  /// @param callback Gets the context, the match and its summary buffer ("$Path", "$TITLE" and so
  ///                 on; `GetSummaryValue` reads it). A non-zero result ends the walk and is
  ///                 returned as its error. It must not throw.
  /// @return The first error of building the path, opening the directory or searching it. An
  ///         instance without data directory is logged and gives a clean record.
  KoLNError DiscoverDatabases(KoLNInstance** instance, DocSummary_type* context,
                              STATUS (*callback)(void*, SEARCH_MATCH*, ITEM_TABLE*));

  /// Reports one database to the managing server through the host's message callback.
  ///
  /// The record is one UTF-8 text of at most 3,071 bytes. Short form: path, 0x12, title. Long form:
  /// path, 0x12, title, 0x12, "($All)", 0x15, replica ID ("%08X:%08X", second word first), 0x15,
  /// `extra`.
  ///
  /// What to know before use:
  /// - `path` is changed in place: every backslash becomes "/".
  /// - A path with ":" lies outside the data directory; it is logged and skipped without error.
  /// - **The database stays open on purpose:** its handle is not closed on any path out.
  /// - A database without a title is not reported ("OSTranslate failed on DBTitle"): title them.
  /// - `reported` keeps the UTF-8 path up to its first ".nsf"; a database whose key is there
  ///   already is not sent again and gives no error. **The key stays when sending fails:** start a
  ///   new attempt with a fresh set.
  /// @param path     LMBCS path, relative to the data directory; changed in place.
  /// @param extra    Last field of the long form, for a mail file its owner's name; may be empty.
  /// @param reported The caller's set of keys; one discovery at a time.
  /// @return "invalid parameters passed to ProcessDatabase()" for a null argument, "OSTranslate
  ///         failed on DBTitle", "OSTranslate failed on DBName" and "Failed to send DB information
  ///         to OV" as custom messages; otherwise `SetError`. All are logged at level 0.
  KoLNError ProcessDatabase(const char* path, std::string extra, std::set<std::string>* reported,
                            bool shortForm);

  /// A routine for `NSFSearch` over the views of a database that stops at the first view whose
  /// title contains the wanted text.
  /// @param context A `RestoreViewSearch`. @return 0, or the status of the note that could not be
  ///        opened, which ends the search.
  static STATUS FindAView(void* context, SEARCH_MATCH* match, ITEM_TABLE* summary);
  /// @}

  /// @name Mailbox discovery
  /// @{

  /// Describes the look-up: with canonical names ("FullName"), else with departments if one of the
  /// two other flags is true, else mail files alone. The sets are left to the caller.
  /// @return `out`.
  MailboxLookupStruct& InitializeMBLookup(MailboxLookupStruct& out, bool wantCanonical,
                                          bool wantDepartment, bool departmentFilter);

  /// Collects the mail file of every person in the directory; sends nothing.
  ///
  /// **Attention, two traps:**
  /// - `found` is a `std::map<std::string, std::string>` (UTF-8 canonical name to UTF-8 mail file;
  ///   the first of equal names stays) if `lookup.wantCanonical` is true, otherwise a
  ///   `std::set<std::string>` (LMBCS mail files). The wrong container is undefined behaviour.
  /// - What is asked of the directory (the first five fields of `lookup`) is taken from the **first
  ///   call in the process** and kept; of later calls only the flags and the sets count. Another
  ///   item list needs the other overload or another process.
  ///
  /// With a selection only its departments are taken; else with the filter on, all but the filtered
  /// ones (a person whose department cannot be read is taken); else everybody. Persons without a
  /// mail file, or with one that is not a single text, are skipped with a warning.
  /// @param server               Name of the server, as Notes takes it; empty is the local one.
  /// @param skipOtherDirectories Non-zero looks into the first address book only.
  /// @return The error of the look-up (`SetError`, logged at level 0).
  KoLNError DiscoverMailboxes(std::string server, void* found, MailboxLookupStruct& lookup,
                              unsigned long skipOtherDirectories);

  /// Reports every mail file to the managing server through `ProcessDatabase`; with
  /// `lookup.wantCanonical` the owner's name (as the directory has it, LMBCS) is the record's last
  /// field. In the long form the host is asked before each (`CheckConnection`) whether the session
  /// is lost; if so, or if a record cannot be sent, the walk ends.
  ///
  /// The second trap above holds here as well, with a first call of this overload.
  /// @param reported A `std::set<std::string>`, as for `ProcessDatabase`.
  /// @return The error of the look-up, or of the **last** mail file: one that failed earlier is
  ///         only logged.
  KoLNError DiscoverMailboxes(std::string server, void* reported, MailboxLookupStruct& lookup,
                              bool shortForm, unsigned long skipOtherDirectories);
  /// @}

  /// @name Additional databases and archive mailboxes
  /// Every failure is logged at level 0.
  /// @{

  /// Counts the databases below a directory, sub-directories included.
  /// @param directory UTF-8, relative to the data directory or absolute.
  /// @param count     Set to the count, 0 at first.
  /// @return The error of opening the directory. **A failing search is logged and gives a clean
  ///         record with the partial count** (one that throws sets it).
  KoLNError CountAdditionalDatabases(std::string server, std::string directory,
                                     unsigned long* count, bool withServer);

  /// Collects or reports the databases below several directories.
  /// @param names       Receives the paths (report false: LMBCS, up to the first ".nsf") or keeps
  ///                    the reported names (report true, as for `ProcessDatabase`).
  /// @param directories Directories with "?" between them, in the native character set; empty
  ///                    pieces are skipped. Cut at 1,023 bytes of LMBCS.
  /// @return False at the first directory that cannot be opened or searched; those before it have
  ///         been searched, those behind it have not.
  bool GetAdditionalDatabases(std::set<std::string>* names, std::string* directories, bool report,
                              bool shortForm);

  /// Adds an entry for every database in a mailbox's own sub-directory of a directory: that
  /// directory, then the name of the mail file of the last entry up to its ".nsf"; below 1,024
  /// bytes together. The server is not used.
  ///
  /// The last backslash of the mail file's path parts its name, else the last slash; the whole path
  /// is cut at its first ".nsf", also where that stands in the directory.
  ///
  /// **The array must have room: the count is never compared with its size.** An entry is added
  /// before its path is known and is not taken back: treat an empty `associatedPath` as unusable.
  /// @param entries Array whose last used entry is the mailbox's.
  /// @param count   Index of the last used entry; incremented per entry added.
  /// @return 0 when done or when there is no such directory, -1 for a path that cannot be used,
  ///         otherwise the Notes status with its flag bits as a positive number (0xFFFF is 65535).
  int AssociateAdditionalDBs(std::string server, std::string* directory, DBNAME* entries,
                             int* count);

  /// Adds an entry for a user's archive mailbox if its file exists. The same two warnings hold.
  /// @return 0 when done or when there is no such file, -1 if its path cannot be translated or
  ///         exceeds 1,024 bytes, 263 when memory runs out.
  int AssociateArchiveMBs(std::string ignored, std::string& mailboxName,
                          ArchiveMailBoxInfoStruct& archive, DBNAME* entries, int* count);
  /// @}

 private:
  HCOMPUTE computation_;
  FORMULAHANDLE formula_;
  bool formulaReleased_;
};

extern template KOLN_API void KoLNUtilities::CopyBlock<WORD>(void*, const void*, DWORD, BLOCKID&);

#endif
