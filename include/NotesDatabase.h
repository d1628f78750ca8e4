/// @file NotesDatabase.h
/// `KoLNDatabase`: one Notes database of a server instance.
#ifndef KOLN_NOTES_DATABASE_H
#define KOLN_NOTES_DATABASE_H

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
  ///         translated is logged and tried all the same, so Notes' own error comes back.
  KoLNError Open(std::string name, bool overNetwork);

  /// Closes the database; on a closed object it succeeds and does nothing. On failure `SetError`,
  /// and the database stays open. Nothing is logged.
  KoLNError Close();

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

  /// @name Reserved; each does nothing and succeeds
  /// @{
  KoLNError CheckDXLErrorLog(DWORD log);
  KoLNError ExportACL();
  KoLNError ExportACL(DWORD& acl);
  KoLNError ImportAllDataDocuments();
  /// @}

  // The fields stand in a fixed order, unused ones included: hosts embed these objects.
 private:
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

#endif
