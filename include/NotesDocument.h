/// @file NotesDocument.h
/// `KoLNDocument` and its two kinds: one note of a database, from reading its properties to moving
/// it as DXL and turning it into a stub. Also the records about notes and their attachments.
#ifndef KOLN_NOTES_DOCUMENT_H
#define KOLN_NOTES_DOCUMENT_H

#include <cstdio>
#include <string>
#include <vector>

#include "NotesApi.h"
#include "NotesError.h"

/// One file attached to a note.
struct KOLN_API ATTACHMENT {
  TIMEDATE created;   ///< When the file was created, as the note records it.
  TIMEDATE modified;  ///< When the file was last modified.
  DWORD size;         ///< Bytes of the file.
  std::string name;   ///< File name.
  DWORD extra;        ///< 0; the library does not fill it, equality compares it.

  /// Everything zero and empty.
  ATTACHMENT();
  /// Where memory is short the copy has no name.
  ATTACHMENT(const ATTACHMENT& other);
  /// The same; the name is then empty.
  ATTACHMENT& operator=(const ATTACHMENT& other);
  /// Takes the name over.
  ATTACHMENT(ATTACHMENT&& other) noexcept;
  /// Takes the name over.
  ATTACHMENT& operator=(ATTACHMENT&& other) noexcept;

  /// Whether all five fields are equal; the times are compared by Notes (`KO_TimeDateCompare`).
  /// False when that cannot be asked.
  bool operator==(const ATTACHMENT& other) const;
};

/// The facts about a note on which a host decides whether to archive it.
struct KOLN_API DbMigrateCriteria {
  TIMEDATE CreationTime;                ///< As `KoLNDocument::GetCreationTime` tells it.
  TIMEDATE ModifiedTime;                ///< As `KoLNDocument::GetModifiedTime` tells it.
  TIMEDATE LastAccessedTime;            ///< As `KoLNDocument::GetLastAccessedTime` tells it.
  int MessageBodySize;                  ///< Bytes; the library does not fill it.
  int AttachmentSize;                   ///< Sum of the attachments' sizes in bytes.
  int AttachmentNumbers;                ///< How many attachments.
  std::vector<ATTACHMENT> Attachments;  ///< One for each, in the order of the note.

  /// Everything zero and empty.
  DbMigrateCriteria();
  /// Copies every field. Where memory is short the copy has no attachments.
  DbMigrateCriteria(const DbMigrateCriteria& other);

  /// Copies every field. Assigning an object to itself changes nothing.
  DbMigrateCriteria& operator=(const DbMigrateCriteria& other);

  /// Whether the three times and the three numbers are equal; the list of attachments does not
  /// count. The times are compared by Notes (`KO_TimeDateCompare`); false when that cannot be
  /// asked.
  bool operator==(const DbMigrateCriteria& other) const;

  /// Logs creation and modification time and the three numbers, one line each, at level 0.
  void dumpMigrationCriteria();
};

/// Where an import reads its DXL from: the context of `KoLNUtilities::DXLImportStreamFunc`. Owned
/// by the caller, file and buffer included. A staged file that ends too early leaves `remaining` 0
/// as a whole one does: compare `offset` with the length of the DXL when the import is done.
struct NoteImportRecord {
  FILE* file;       ///< Staged file, read where there is no buffer: 133 bytes of header, then DXL.
  BYTE* buffer;     ///< DXL in memory, without a header; null to read the file.
  DWORD remaining;  ///< Bytes of DXL still to deliver.
  DWORD offset;     ///< Bytes of DXL delivered so far; start at 0.
};

/// Where an export puts its DXL: the context of `KoLNUtilities::DXLExportStreamFunc`. Owned by the
/// caller.
///
/// **Look at `ok` when the export is done:** it is 0 if memory or the disk ran out on the way,
/// while the export itself reports success. What was written is then not the whole note.
struct NoteExportRecord {
  FILE* file;       ///< Written from its present position if `toFile` is 1. The host writes the 133
                    ///< bytes of header in front, and flushes.
  BYTE** buffer;    ///< The caller's buffer variable; null or from `calloc`, as it is freed and
                    ///< replaced when it grows. The caller frees what is there in the end.
  DWORD total;      ///< Bytes received; start at 0.
  DWORD* capacity;  ///< The caller's size of the buffer; follows its growth.
  DWORD written;    ///< Bytes stored; start at 0. With `ok` 0 it may count what was not stored.
  BYTE toFile;      ///< 1: file; otherwise memory.
  BYTE ok;          ///< 1 at the start; 0 once something is missing.
};

/// One note of an open database.
///
/// The object refers to the database by its handle, which must stay open, and owns the note handle
/// while the note is open: it closes the note when it is opened again, closed or destroyed. It
/// serves one thread at a time, which must have been set up for Notes.
///
/// Members return a `KoLNError` by value: a clean record means success. "`SetError`" below means
/// that the record is set and carries the Notes status with its text, "code only" that
/// `IsErrorSet()` stays false and `GetErrorCode()` must be tested. Nothing is thrown: where a Notes
/// call throws, the record holds code 0xFFFF and a message that tells so (it names the Notes
/// function or the kind of work), unless said otherwise. Out-arguments keep their values on failure
/// unless said otherwise; lists keep what was found before.
///
/// What is missing is told first, by `SetError`: 4996 without a database handle, 5051 without an
/// open note. *Needs db* and *needs note* say which of the two a member checks.
class KOLN_API KoLNDocument {
 public:
  /// A document of no database.
  KoLNDocument();

  /// @param db Stays the caller's. @param id The note's ID; 0 for a note that is yet to be created.
  KoLNDocument(DBHANDLE db, NOTEID id);

  /// @param unid The universal ID, for `OpenByUNID`.
  KoLNDocument(DBHANDLE db, NOTEID id, UNIVERSALNOTEID unid);

  /// Closes the note if it is open and drops the result.
  virtual ~KoLNDocument();

  KoLNDocument(const KoLNDocument&) = delete;
  KoLNDocument& operator=(const KoLNDocument&) = delete;

  /// Takes over an open note, or forgets the one that is held (0). A note that was open is not
  /// closed.
  void SetNoteHandle(NOTEHANDLE handle);

  /// @name Opening and closing
  /// Flags are passed on as they are. An open note is closed first and the result dropped; if the
  /// call then fails, the object is closed. Failures are logged at level 0, a missing database
  /// handle or note ID ("Note ID note set", code 0xFFFF) included, but for a `Create` that throws
  /// and a `Close` without a note. A call of the open and close members that throws gives 551, of
  /// `Create` 0xFFFF.
  /// @{

  /// Makes a new note, in memory only until `Update`. Needs db.
  KoLNError Create();

  /// Opens the note by its ID. @param flags `OPEN_` bits. Needs db and the note ID.
  KoLNError Open(WORD flags);

  /// The same with the 32-bit `OPEN_` bits.
  KoLNError OpenExt(DWORD flags);

  /// Opens the note by its universal ID. The note ID of the object is neither needed nor set; ask
  /// `GetInfo(_NOTE_ID, ...)`. Needs db.
  KoLNError OpenByUNID(WORD flags);

  /// Closes the note; what was not updated is lost. Needs note. Afterwards the object is closed,
  /// but stays open if Notes answers with an error (which is logged in the words of a failed open).
  KoLNError Close();
  /// @}

  /// @name Properties
  /// All need the note, and none logs, unless said otherwise. Failures: `SetError`.
  /// @{

  /// When the note was created, in whichever replica.
  KoLNError GetCreationTime(TIMEDATE& time);

  /// When the note was last modified in this file.
  KoLNError GetModifiedTime(TIMEDATE& time);

  /// When the note was last read or written, as far as the database keeps that.
  KoLNError GetLastAccessedTime(TIMEDATE& time);

  /// Seconds since the note was last modified anywhere, or since it was delivered. A time that lies
  /// in the future gives 0.
  /// @param useSentReceived Non-zero counts from the item "DeliveredDate", else "PostedDate". A
  ///                        note with neither gives 0, which is success and a warning at level 2.
  KoLNError GetAgeInSeconds(unsigned long& age, unsigned long useSentReceived);

  /// The note's size in bytes, attachments included, fractions dropped.
  /// @param formula From `KoLNUtilities::GetSizeFormulaHandle`.
  /// @return Custom messages for a null formula and for a result that is no size (not a number,
  ///         empty, negative, infinite or above 32 bits).
  KoLNError GetSize(unsigned int& size, void* formula);

  /// The item "Subject": LMBCS, at most 256 bytes; empty if there is none.
  KoLNError GetSubject(std::string& subject);

  /// "DeliveredDate", else "PostedDate", else the creation time. On failure the result may have
  /// been written.
  KoLNError GetSentRecievedTime(TIMEDATE& time);

  /// A member of the note's header. @param what One of the `_NOTE_` numbers. @param out Room for
  /// the type that is given with that number.
  KoLNError GetInfo(WORD what, void* out);

  /// Sets a member of the note's header; written by `Update`.
  KoLNError SetInfo(WORD what, void* in);

  /// Identity, modified time and class of the note, which need not be open. Needs db (4996 is not
  /// logged); pointers may not be null.
  KoLNError GetInfoExtended(ORIGINATORID* oid, TIMEDATE* modified, WORD* noteClass);
  /// @}

  /// @name Items
  /// Names are LMBCS and compare without regard to case.
  /// @{

  /// A text item, in LMBCS, cut at 1,023 bytes; lists as Notes joins them. `out` is always
  /// assigned: empty when there is no such text or no open note.
  /// @return The length that Notes gives; 0 when the call throws.
  WORD GetItem(const char* name, std::string& out);

  /// Calls a routine for each item: name and value are not terminated, must not be changed, and the
  /// value starts with its type word. A non-zero result ends the scan and is recorded. Needs note;
  /// a null routine is refused with a custom message.
  KoLNError ScanItems(NSFITEMSCANPROC callback, void* context);

  /// Appends an item, also beside others of its name. Needs note.
  /// @param nameLength Bytes of the name, which need not be terminated.
  /// @param value      The value without type word; copied. @param valueLength Its bytes.
  KoLNError AppendItem(WORD itemFlags, char* name, WORD nameLength, WORD dataType, void* value,
                       DWORD valueLength);

  /// Appends an item whose value lies in an unlocked memory block, type word first and counted.
  /// On success the block belongs to the note, on failure it stays the caller's. Needs note.
  /// @param dealloc Non-zero: deleting the item frees the object that its value describes.
  KoLNError AppendObject(WORD itemFlags, const char* name, WORD nameLength, BLOCKID value,
                         DWORD valueLength, int dealloc);
  /// @}

  /// @name Writing and deleting
  /// @{

  /// Writes the open note to its database. @param flags `UPDATE_` bits. Needs note.
  KoLNError Update(WORD flags);

  /// Deletes the note and leaves a deletion stub (unless flags say otherwise); an open note stays
  /// open in memory. Afterwards the object has no note ID. Needs db and the note ID; failures are
  /// logged at level 0, calls that throw are not.
  KoLNError Delete(WORD flags);

  /// Deletes the note without a stub, after closing it if it is open (the result is dropped).
  /// Afterwards the object has neither note ID nor handle. Needs db and the note ID; failures are
  /// logged at level 0, calls that throw are not.
  KoLNError HardDelete();
  /// @}

  /// @name DXL
  /// See `KoLNUtilities::CreateDXLImporter` and `CreateDXLExporter` for the handles, and the stream
  /// functions there for what happens to the records.
  /// @{

  /// Imports DXL into the database. @param record Says where the DXL is; updated on the way, see
  /// there for a file that ends too early.
  /// @return 5051 without a database handle; a custom message for a null record.
  KoLNError Import(DXLIMPORTHANDLE importer, NoteImportRecord* record);

  /// Exports the open note, and flushes a staged file. Needs note. **Success alone does not say
  /// that the DXL is whole: look at `record->ok`.** @return A custom message for a null record.
  KoLNError Export(DXLEXPORTHANDLE& exporter, NoteExportRecord* record);

  /// Makes an importer with the library's own set of properties and deletes it again: **no note is
  /// imported**, the configuration is tried. The file is not read.
  /// @return "Staged file name is empty." (0xFFFF), or the error of the configuration.
  KoLNError Import(std::string stagedFile);

  /// Refuses an empty name as above; otherwise succeeds and does nothing.
  KoLNError Import(DXLIMPORTHANDLE importer, std::string stagedFile);

  /// Makes an exporter with the library's own set of properties and deletes it again; **nothing is
  /// exported**. The name does not matter.
  KoLNError Export(std::string stagedFile);
  /// @}

 protected:
  // The fields stand in a fixed order: hosts embed these objects.
  NOTEID noteId_;           ///< 0: none.
  UNIVERSALNOTEID unid_;    ///< For `OpenByUNID`.
  NOTEHANDLE note_;         ///< The object's own; 0 when the note is closed.
  std::string unusedText_;  ///< Keeps its place, nothing else.
  DBHANDLE db_;             ///< The caller's.
};

/// A document of a mailbox or application on its way into an archive: what it holds, what has to
/// go, and the way back to the archived copy. Nothing here writes the note; call `Update`.
///
/// All members need the note (5051, `SetError`), unless said otherwise. Names and texts are LMBCS.
class KOLN_API KoLNDataDocument : public KoLNDocument {
 public:
  /// A document of no database.
  KoLNDataDocument();

  /// @param db Stays the caller's. @param id The note's ID; 0 for one that is yet to be created.
  KoLNDataDocument(DBHANDLE db, NOTEID id);

  ~KoLNDataDocument() override;

  /// Gives the object another note ID; an open note stays open.
  void SetNoteID(NOTEID id);

  /// @name What the note holds
  /// @{

  /// Whether there is an item of this name. `present` is set to false at first. A note ID with the
  /// deletion bit is refused with a custom message before anything else.
  KoLNError HasItem(std::string name, bool& present);

  /// Whether the note carries the item "StubData", that is, has been archived before.
  KoLNError IsMigratedMessage(bool& migrated);

  /// Appends the extension of each attachment, from its last dot on (".pdf"); names without a dot
  /// add nothing. Without an open note the list is cleared.
  KoLNError GetAttachmentInfoList(std::vector<std::string>& extensions);

  /// Appends one entry per attachment: times, size, name. Without an open note the list is cleared.
  KoLNError GetAttachmentList(std::vector<ATTACHMENT>& attachments);

  /// Gathers the facts on which the decision to archive is made: the three times, the number of
  /// attachments, and, **added to what is there already**, their sizes (up to the largest `int`)
  /// and records. Start with a fresh record. At the first error the rest stays as it was.
  KoLNError GetMigrationDetails(DbMigrateCriteria& details);

  /// Succeeds and decides nothing: the host compares the facts with its own thresholds. Needs
  /// nothing.
  KoLNError IsMigrationRequired(DbMigrateCriteria criteria, bool& required);
  /// @}

  /// @name Taking away what is archived
  /// Failures: `SetError`, logged at level 0; a custom message without memory. Calls that throw
  /// while something is looked up are not logged. What is not there is no error.
  /// @{

  /// Writes the item "AttachmentData": every attachment's name followed by one NUL. **Its length is
  /// kept in 16 bits:** above 65,535 bytes only what is left of a division by 65,536 is stored, and
  /// a length of 65,535 ends it at the first NUL. Read it as a list only when the note's own
  /// attachments agree with it.
  KoLNError AddAttachmentInfo();

  /// Writes "AttachmentData", then deletes all attachments with one call.
  /// @param removed Set to false at first; true once the attachments are deleted.
  /// @return **The attachments are deleted even if "AttachmentData" could not be written;** that
  ///         error is returned then. Write and check the record yourself first where it must not be
  ///         lost.
  KoLNError RemoveAttachments(bool& removed);

  /// Deletes the item "Body".
  KoLNError RemoveMessageBody();

  /// Deletes "$Seal", then "$SealData"; a failure of the first leaves the second.
  KoLNError RemoveSealedFields();
  /// @}

  /// @name Writing items
  /// @{

  /// Replaces an item by a text. **Only the low 16 bits of the length count,** and a length of
  /// 65,535 ends it at its first NUL.
  /// @return Code only, logged at level 0; "Caught an exception during SetItemText()" (0xFFFF) when
  ///         the call throws.
  KoLNError SetItemText(std::string name, std::string text);

  /// Attaches a file. @param itemName "$FILE". @param path Native path of the file to read.
  /// @param storedName The name that the attachment gets. @param encoding 0: not compressed.
  /// @return `SetError`, not logged.
  KoLNError SetAttachment(std::string itemName, std::string path, std::string storedName,
                          WORD encoding);
  /// @}

  /// @name The way back
  /// Each appends to the item "Body". Not logged: null texts, which are refused with a custom
  /// message; 263, without memory; and a record that could not be begun or, by `InsertURL`, ended.
  /// All other failures: `SetError`, logged at level 0, unless said otherwise.
  /// @{

  /// Appends the URL as a clickable link.
  /// @param url Below 1,024 bytes. **A longer one is refused:** code 5117 with a message of its
  ///            own, logged at level 0, and nothing is appended.
  KoLNError InsertURL(const char* url);

  /// Appends a button "Quick Look" that opens the URL.
  /// @param url Below 1,024 bytes, refused otherwise as by `InsertURL`; a URL with control
  ///            characters (bytes below 32) is refused with a custom message. Quotation marks and
  ///            backslashes are escaped: they stay part of the URL.
  /// @return The status of the compiler (`SetError` without flag bits, not logged) if the button's
  ///         formula is refused.
  KoLNError InsertButton(const char* url);

  /// Appends a MIME body part.
  /// @param text Headers, empty line, content, with CR LF as line ends; of any length.
  KoLNError InsertLink(char* text);
  /// @}

  /// @name Reserved; each does nothing, needs nothing and succeeds
  /// @{

  /// Reserved.
  KoLNError StubNote();
  /// Reserved.
  KoLNError PruneStub();
  /// Reserved; `details` stays as it is.
  KoLNError GetStubDetails(std::string& details);
  /// Reserved; nothing is read.
  KoLNError SetStubDetails(unsigned char* details, int length);
  /// @}
};

/// A design note: a view, a form, a folder.
class KOLN_API KoLNDesignDocument : public KoLNDocument {
 public:
  KoLNDesignDocument();
  ~KoLNDesignDocument() override;
};

/// @name Writers of rich text records
/// Each writes one record in its on-disk form at `*dest`, which must be the record's even place in
/// a zeroed block, and moves `*dest` behind it and the pad byte that an odd length asks for; the
/// pad byte itself is not written. Nothing is written on failure, and nothing is thrown.
/// @param room  Bytes left in the block.
/// @param total The caller's count of bytes used, which grows by what `*dest` moves.
/// @return For the first three 0, or 5117 where a pointer is null or the room is too small, or
///         0xFFFF when a Notes call throws or is not bound.
/// @{

/// A button of two inches. @param label LMBCS; null counts as empty.
KOLN_API STATUS PutButton(char** dest, char* label, WORD room, WORD* total);
/// The end of a hotspot, as buttons have it.
KOLN_API STATUS PutHotSpotEnd(char** dest, WORD room, WORD* total);
/// The end of a hotspot of the V4 kind, as links have it.
KOLN_API STATUS PutV4HotSpotEnd(char** dest, WORD room, WORD* total);

/// A piece of text. @param text LMBCS; null counts as empty. @param style 11: bold and underlined;
/// anything else: plain. @return TRUE, or FALSE on any failure.
KOLN_API BOOL PutText(char** dest, char* text, WORD room, int style);
/// @}

#endif
