/// @file findDataPartition.h
/// The start-up interface: host callbacks and the log, the binding of the Notes API, configuration
/// values and environment variables, and the preparation of the process for one Domino partition.
///
/// These are C++ functions: hosts link against the library.
///
/// Everything here is process-wide and belongs to the time before worker threads exist, except the
/// call-through functions and `LogMessage`, which any thread may call. Nothing here throws.
#ifndef KOLN_FIND_DATA_PARTITION_H
#define KOLN_FIND_DATA_PARTITION_H

#include <string>

#include "NotesApi.h"

// ---------------------------------------------------------------------------------------------
// Host callbacks
// ---------------------------------------------------------------------------------------------

/// Receives one log line. The fifth argument is the finished text, already formatted and handed
/// over in the place of a format, with nothing behind it: print it with "%s", never as a format.
/// @param function Short name of the reporting function.
/// @param level    -1 error, 0 ordinary, 2 to 4 increasing detail. The library never filters.
/// @param file     Name of the reporting source, without folder and ending.
/// @param line     Line in that source.
typedef void (*KoLNLogCallback)(const char* function, int level, const char* file, int line,
                                const char* format, ...);

/// Whether the job is to stop now.
typedef bool (*KoLNJobQuitCallback)();

/// Sends a message to the managing server. True means that it could NOT be delivered.
typedef bool (*KoLNSendMsgCallback)(char* message);

/// Whether the session to the managing server has been LOST.
typedef bool (*KoLNCheckConnectionCallback)();

/// @name Callback slots, null until the host sets them
/// @{

/// What `SetLogCallback` set.
extern KOLN_API KoLNLogCallback pLogCallback;
/// What `SetJobQuitCallback` set.
extern KOLN_API KoLNJobQuitCallback pJobQuitCallback;
/// What `SetSendMsgCallback` set.
extern KOLN_API KoLNSendMsgCallback pSendMsgCallback;
/// What `SetCheckConnectionCallback` set.
extern KOLN_API KoLNCheckConnectionCallback pCheckConnectionCallback;
/// @}

/// @name For the host's own use; the library neither reads nor writes them
/// @{
extern KOLN_API int loggingLevel;       ///< Initially 1.
extern KOLN_API int showAllErrors;      ///< Initially 0.
extern KOLN_API int reinitializeThres;  ///< Initially 0.
extern KOLN_API int numOfDbBackedUp;    ///< Initially 0.
/// @}

/// @name Setters of the callbacks
/// Each replaces the earlier callback; null takes it away. Call them once, after loading the
/// library and before the first instance object, on the thread that starts the process.
/// @{

/// Sets who receives the log lines.
KOLN_API void SetLogCallback(KoLNLogCallback callback);
/// Sets who says whether the job is to stop.
KOLN_API void SetJobQuitCallback(KoLNJobQuitCallback callback);
/// Sets who delivers messages to the managing server.
KOLN_API void SetSendMsgCallback(KoLNSendMsgCallback callback);
/// Sets who says whether the session to the managing server is lost.
KOLN_API void SetCheckConnectionCallback(KoLNCheckConnectionCallback callback);
/// @}

/// @name Call-through functions
/// What the library asks the host, with the answer it takes when the host has set no callback. A
/// callback that throws counts as one that is not set.
/// @{
KOLN_API bool QuitJob();                     ///< Without a callback: true, stop.
KOLN_API bool SendDBMessage(char* message);  ///< Without a callback: true, not delivered.
KOLN_API bool CheckConnection();             ///< Without a callback: false, not lost.
/// @}

/// Formats a line and hands it to the log callback; without one it does nothing and does not touch
/// its arguments. The text is cut at 4,095 bytes. Safe from several threads at once as far as the
/// host's callback is; what that throws is swallowed.
KOLN_API void LogMessage(const char* function, int level, const char* file, int line,
                         const char* format, ...) __attribute__((format(printf, 5, 6)));

/// The log name for a program path: what stands behind the last "/" and before the first "." that
/// follows a name (leading dots are skipped); "/opt/x/lndb.log" gives "lndb". Of the path the first
/// 1,023 bytes count.
/// @return A text for the caller to release with `free`, or null when the name is shorter than two
///         characters, the path is null or memory is short.
KOLN_API char* GetLogFilename(const char* path);

/// Does nothing: a hook at the start of initialisation where a build may log its file times.
KOLN_API void DumpFileTimeAndVer(const char* file, int line);

// ---------------------------------------------------------------------------------------------
// Notes API binding
// ---------------------------------------------------------------------------------------------

/// Loads "<home>/notes/latest/linux/libnotes.so" and binds the 119 `KO_` pointers of NotesApi.h in
/// the order of their list. Call it on the starting thread; each call loads and binds again. The
/// runtime stays loaded for the life of the process.
/// @param instanceName Prefix, the character 0x12, data directory. The home directory is the
///                     configuration value "<data directory>_sDominoHomeDir".
/// @param registryKey  Configuration key of the instance.
/// @return True when everything was bound. On false one line in the host's debug log says why; a
///         missing function leaves those before it bound, itself null and those behind it as they
///         were, and the table must not be used.
/// The home directory must be absolute (nothing relative is ever loaded with the rights of root)
/// and shorter than 1,024 bytes.
KOLN_API bool loadNotesFunctions(std::string instanceName, std::string registryKey);

// ---------------------------------------------------------------------------------------------
// Configuration values and environment
// ---------------------------------------------------------------------------------------------

/// Reads one value of the host's configuration store and converts it by the first letters of the
/// value name: "n" writes a 32-bit int, "ll" a 64-bit int (decimal, 0 if it is no number), anything
/// else the text with its terminator. `out` must hold 4, 8 or 1,024 bytes. What is not found is
/// written as 0 or an empty text.
///
/// Mind that data directories serve as value names: one that began with "n" or "ll" would be read
/// as a number. They begin with "/".
///
/// The debug log shows what `out` held before the call, so pass initialised memory.
/// @param key    Section of the store; null is the default key.
/// @param suffix Joined to the value name with "_"; null for none.
/// @return Whether the store had the value. False as well when `out` or `valueName` is null and for
///         a text of 1,024 bytes or more, which is not cut but taken as not found.
KOLN_API bool GetLndbUnixRegValue(unsigned char* out, const char* valueName, const char* key,
                                  const char* suffix);

/// `GetLndbUnixRegValue` without a suffix. `size` is not used: `out` must be as large as said
/// there.
KOLN_API bool GetRegistryValue(const char* key, const char* valueName, unsigned char* out,
                               unsigned int size);

/// Reads a 32-bit number. The value name must begin with "n"; under any other name `out` receives
/// the first four bytes of what `GetLndbUnixRegValue` would write, never more.
KOLN_API bool GetVMRegistryValue(const char* key, const char* valueName, unsigned int& out);

/// Copies an environment variable.
/// @return 0 if it is unset (or empty); its length in bytes if it was copied, terminator included
///         in `size` but not in the result; the buffer size needed (length + 1) if `size` is too
///         small, and then nothing is copied.
KOLN_API unsigned int GetEnvironmentVariable(const char* name, char* dst, unsigned int size);

/// Sets an environment variable of this process. Not for use once other threads run.
/// @return Whether it was set; false also for a null argument and when memory is short. The memory
///         of the value stays with the environment for good.
KOLN_API bool SetEnvironmentVariable(const char* name, const char* value);

/// Makes a text usable as a file name, in place: every byte from 0x01 to 0x1F, 0xFF and each of
/// \ / : * ? " < > | % becomes a blank. Bytes 0x80 to 0xFE stay. Null is ignored.
KOLN_API void KONormalizeText(char* text);

// ---------------------------------------------------------------------------------------------
// Partition look-up and execution environment
// ---------------------------------------------------------------------------------------------

/// @name State of the plain-function start
/// @{

/// The two texts that `initializeWithPartition` passes to the runtime: the home directory, and "="
/// with the path of notes.ini.
extern KOLN_API char noteInitArgv[2][1024];
/// Whether `initializeWithPartition` has started the runtime.
extern KOLN_API bool notesAPIInitialized;
/// What stands before the 0x12 in the name of the instance that was started.
extern KOLN_API char g_lnInstanceName[1024];
/// @}

/// Switches the process to a Unix user (groups, group and user; the saved IDs stay) and sets LOTUS,
/// Notes_ExecDirectory and NOTES_DATA_DIR and extends LD_LIBRARY_PATH and PATH as Domino's own
/// start script does.
///
/// Permanent and process-wide; nothing is taken back when a later step fails. LD_LIBRARY_PATH and
/// PATH must be set and not empty. A second call appends again, and fails at `initgroups` when the
/// first one has given up root. Call it before any other thread exists.
/// @return False with one line in the host's debug log when a step failed.
KOLN_API bool prepareUnixExecEnv(char* user, char* homeDir, char* dataDir);

/// Resolves an instance without `KoLNInstance` and prepares the process for it.
/// @param instanceName Prefix, 0x12, data directory.
/// @param dataDirOut, homeDirOut, notesIniOut Receive paths; each must hold 1,024 bytes.
/// @return False with a line in the host's debug log when a value is missing, a path does not fit,
///         notes.ini does not exist (which also raises the critical event 0x2A000001) or the
///         process could not be prepared.
KOLN_API bool findDataPartition(char* instanceName, char* dataDirOut, char* homeDirOut,
                                char* notesIniOut);

/// `findDataPartition`, then the start of the runtime, for hosts that do not use `KoLNInstance`.
/// The API must have been bound. Waits while the file /tmp/lndb_debug exists.
/// @param dataDirOut Receives the data directory, as the runtime reports it if it does; at least
///                   1,024 bytes.
/// @return False with a line in the host's debug log when a step failed. An instance name of
///         nothing but 0x12 fails at the very end: then `notesAPIInitialized` is true and the
///         runtime runs.
KOLN_API bool initializeWithPartition(char* instanceName, char* dataDirOut);

/// Does nothing and returns false.
KOLN_API bool initializePartitionForProxy(char* instanceName);

#endif
