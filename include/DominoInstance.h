/// @file DominoInstance.h
/// `KoLNInstance`: one Domino server partition on this machine.
#ifndef KOLN_DOMINO_INSTANCE_H
#define KOLN_DOMINO_INSTANCE_H

#include <string>

#include "NotesApi.h"
#include "NotesError.h"

/// One Domino partition: its settings and the life of the Notes runtime in this process.
///
/// Order of use: construct, `Initialize`, `InitializeNotesEnv`, then open databases; every worker
/// thread brackets its Notes work with `InitializeNotesThread` and `TerminateNotesThread`; the
/// destructor last. One process serves one partition: the user switch and the environment that
/// `Initialize` makes are permanent.
///
/// Start and end belong to one thread, before and after all workers. Databases refer to their
/// instance, which must outlive them.
class KOLN_API KoLNInstance {
 public:
  /// All texts empty. Useful only with the setters.
  KoLNInstance();

  /// @param registryKey  Configuration key under which the instance's values are stored.
  /// @param instanceName A prefix, the character 0x12, the partition's data directory. One trailing
  ///                     "/" is taken off.
  /// @param serverName   Name of the Domino server, as in "CN=Mail/O=Org".
  /// @param proxy        Stored for the host; nothing here reads it.
  KoLNInstance(std::string registryKey, std::string instanceName, std::string serverName,
               bool proxy);

  /// Ends the Notes runtime if this object started it.
  ~KoLNInstance();

  // A copy would end the runtime a second time.
  KoLNInstance(const KoLNInstance&) = delete;
  KoLNInstance& operator=(const KoLNInstance&) = delete;

  /// Binds the Notes API and then does what `GetDetails` does.
  /// @return False with a log line at level 0 that says which step failed. The cause of a failed
  ///         binding ("dynamic loading failed") stands in the host's debug log.
  /// Nothing guards against a second call: it loads again, extends the path variables again, and in
  /// a process that has given up root it fails where the user's groups are set.
  bool Initialize();

  /// Reads the partition's settings from the configuration store, switches the process to the
  /// partition's Unix user and sets the environment the runtime needs.
  ///
  /// A partition that is not registered counts as partition 0 (a restore onto another machine).
  /// @return False with a log line at level 0 when something is missing or does not fit 1,024
  ///         bytes. Before the user switch nothing has been changed; after it nothing is taken
  ///         back.
  bool GetDetails();

  /// Starts the Notes runtime with the partition's program directory and notes.ini, after
  /// `GetDetails` if that has not been done. Waits as long as the file /tmp/lndb_debug exists.
  ///
  /// **Attention:** when the partition's details cannot be had, the runtime is NOT started and yet
  /// the record is clean; only the log line "Cannot get notes directory" tells. Call `Initialize`
  /// first and go on only if it returned true.
  /// @return A failed start gives code 0xFFFF and "NotesInitExtended failed"; the Notes status
  ///         stands in the log line. A program directory or notes.ini path of 1,024 bytes or more
  ///         (from the setters) gives a custom message and starts nothing.
  KoLNError InitializeNotesEnv();

  /// Does nothing and returns a clean record.
  KoLNError InitializeNotesEnvForProxy();

  /// Ends the Notes runtime. No Notes call may follow. Does nothing to the runtime when the API was
  /// never bound.
  void TerminateNotes();

  /// Prepares the calling thread for Notes calls; needed in every thread but the one that called
  /// `InitializeNotesEnv`.
  /// @return The Notes status; non-zero as well when the API is not bound.
  STATUS InitializeNotesThread();

  /// Undoes `InitializeNotesThread` for the calling thread.
  void TerminateNotesThread();

  /// @name Server administration
  /// The three that return a record report a failure as its code alone: the message stays empty and
  /// `IsErrorSet()` false. **Test `GetErrorCode()`.** (When the Notes call throws or is not bound,
  /// the record is set, with code 0xFFFF.) Failures of these three are logged at level 0.
  /// @{

  /// Sends a console command to the server and copies its answer. Nothing is logged.
  /// @param command        Terminated LMBCS text.
  /// @param response       Receives the answer, terminated: `*responseLength` + 1 bytes.
  /// @param responseLength In: how many bytes of the answer fit. Out: the answer's full length,
  ///                       which may be more than was copied; 65,535 stands for that and everything
  ///                       above.
  /// @return The Notes status. On anything but 0 `response` and `*responseLength` are unchanged;
  ///         the codes 0x0241 (a null argument), 0x0107 (answer cannot be locked) and 0xFFFF (call
  ///         threw or is not bound) are the library's own.
  STATUS RemoteCommand(char* command, char* response, unsigned short* responseLength);

  /// Takes a database offline so that its file can be restored.
  ///
  /// **Attention: this does not only stop access, the server also REMOVES THE DATABASE FILE, so
  /// that it can be recovered from a backup. Have that backup before you call.** The wait for users
  /// to leave is handed to Notes as 60, and Notes counts it in milliseconds; a database still in
  /// use then ends with code 0x13EA and stays as it is.
  /// @param databasePath LMBCS path, relative to the data directory or absolute.
  KoLNError TakeDBOffline(std::string& databasePath);

  /// Gives access to a database again.
  KoLNError BringDBOnline(std::string& databasePath);

  /// Repairs a database: opens it once with forced fixup and a scan of all notes, and closes it.
  KoLNError RepairDB(std::string& databasePath);
  /// @}

  /// The server's name, as the constructor was given it.
  std::string GetServerName();

  /// The data directory: from the configuration, and after the runtime's start as that reports it.
  std::string GetDataDirectory();

  /// Sets what `GetDataDirectory` tells. The configuration is not changed, and `GetDetails` sets it
  /// anew.
  void SetDataDirectory(std::string directory);

  /// Sets the Domino program (home) directory, which `InitializeNotesEnv` hands to the runtime; the
  /// runtime is loaded from the configured one all the same. `GetDetails` sets it anew.
  void SetExePath(std::string path);

  /// Sets the path of notes.ini that `InitializeNotesEnv` hands to the runtime. `GetDetails` sets it
  /// anew.
  void SetNotesIniPath(std::string path);

 private:
  std::string instanceName_;
  std::string serverName_;
  std::string dataDirectory_;
  std::string exePath_;
  std::string notesIniPath_;
  std::string registryKey_;
  bool detailsKnown_;
  bool notesInitialized_;
  bool proxy_;
  unsigned int reserved_;
};

#endif
