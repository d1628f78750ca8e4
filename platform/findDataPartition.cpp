// The plain-function start: partition look-up, switch to the partition's Unix user, environment,
// start of the runtime. Its lines go to the host's debug log, never to the log callback.
#include "findDataPartition.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "KoLib.h"
#include "platform/RuntimeStart.h"

char noteInitArgv[2][1024] = {};
bool notesAPIInitialized = false;
char g_lnInstanceName[1024] = {};

namespace {

const char* printable(const char* text) noexcept {
  return text != nullptr ? text : "(null)";
}

unsigned char* bytes(char* text) noexcept {
  return reinterpret_cast<unsigned char*>(text);
}

bool switchUser(EvEvent& log, const char* user) {
  errno = user != nullptr ? 0 : EINVAL;
  const passwd* const entry = user != nullptr ? KO_getpwnam(user) : nullptr;
  if (entry == nullptr) {
    const int reason = errno;
    log.debug("prepareUnixExecEnv: getpwnam failed with error=%d", reason);
    return false;
  }
  const uid_t uid = entry->pw_uid;
  const gid_t gid = entry->pw_gid;
  if (initgroups(user, gid) != 0) {
    const int reason = errno;
    log.debug("prepareUnixExecEnv: initgroups failed with error=%d", reason);
    return false;
  }
  // The group first: without the old user's rights it could no longer be changed.
  if (setresgid(gid, gid, static_cast<gid_t>(-1)) != 0) {
    const int reason = errno;
    log.debug("prepareUnixExecEnv: CHANGE_GROUP failed with error=%d", reason);
    return false;
  }
  if (setresuid(uid, uid, static_cast<uid_t>(-1)) != 0) {
    const int reason = errno;
    log.debug("prepareUnixExecEnv: CHANGE_USER failed with error=%d", reason);
    return false;
  }
  log.debug("prepareUnixExecEnv: successfully changed user to %s with egid=%d and euid=%d", user,
            static_cast<int>(gid), static_cast<int>(uid));
  return true;
}

// An environment variable with room for more. Null with a debug line of the caller's wording when
// it is unset, empty or memory is short.
struct PathLines {
  const char* noLength;
  const char* noMemory;
  const char* noValue;
};

std::unique_ptr<char[]> readPathVariable(EvEvent& log, const char* name, std::size_t extraRoom,
                                         const PathLines& lines, std::size_t& capacity) {
  char probe[1] = {};
  const unsigned int needed = GetEnvironmentVariable(name, probe, sizeof probe);
  if (needed == 0) {
    log.debug("%s", lines.noLength);
    return nullptr;
  }
  capacity = 2 * static_cast<std::size_t>(needed) + extraRoom;
  std::unique_ptr<char[]> value(new (std::nothrow) char[capacity]);
  if (value == nullptr) {
    log.debug("%s", lines.noMemory);
    return nullptr;
  }
  const unsigned int length = GetEnvironmentVariable(name, value.get(), needed);
  if (length == 0 || length >= needed) {
    log.debug("%s", lines.noValue);
    return nullptr;
  }
  return value;
}

// The library path must have been set before: an empty one is an error, not a case to fill in.
bool extendLibraryPath(EvEvent& log, const std::string& execDirectory) {
  constexpr PathLines lines = {
      "prepareUnixExecEnv: failed to get length of LD_LIBRARY_PATH env variable",
      "prepareUnixExecEnv: failed to allocate mem for LD_LIBRARY_PATH env variable",
      "prepareUnixExecEnv: failed to get LD_LIBRARY_PATH env variable"};
  constexpr const char* name = "LD_LIBRARY_PATH";
  std::size_t capacity = 0;
  const auto value = readPathVariable(log, name, execDirectory.size() + 2, lines, capacity);
  if (value == nullptr) {
    return false;
  }
  const std::size_t length = std::strlen(value.get());
  std::snprintf(value.get() + length, capacity - length, ":%s", execDirectory.c_str());
  if (!SetEnvironmentVariable(name, value.get())) {
    log.debug("prepareUnixExecEnv: failed to set %s env variable with %s", name, value.get());
    return false;
  }
  log.debug("prepareUnixExecEnv: %s set to %s", name, value.get());
  return true;
}

bool extendPath(EvEvent& log, const char* home, const char* data,
                const std::string& execDirectory) {
  constexpr PathLines lines = {"prepareUnixExecEnv: failed to get length of PATH env variable",
                               "prepareUnixExecEnv: failed to allocate mem for PATH env variable",
                               "prepareUnixExecEnv: failed to get PATH env variable"};
  std::size_t capacity = 0;
  const auto value = readPathVariable(
      log, "PATH", std::strlen(home) + std::strlen(data) + 2 * execDirectory.size() + 15, lines,
      capacity);
  if (value == nullptr) {
    return false;
  }
  const std::size_t length = std::strlen(value.get());
  std::snprintf(value.get() + length, capacity - length, ":%s/bin:%s:%s:%s/res/C", home, data,
                execDirectory.c_str(), execDirectory.c_str());
  if (!SetEnvironmentVariable("PATH", value.get())) {
    log.debug("prepareUnixExecEnv: failed to set PATH env variable with %s", value.get());
    return false;
  }
  log.debug("prepareUnixExecEnv: PATH set to %s", value.get());
  return true;
}

bool setVariable(EvEvent& log, const char* name, const char* value) {
  if (SetEnvironmentVariable(name, value)) {
    return true;
  }
  log.debug("prepareUnixExecEnv: failed to set %s env variable with %s", name, printable(value));
  return false;
}

bool prepare(EvEvent& log, const char* user, const char* home, const char* data) {
  if (!switchUser(log, user) || !setVariable(log, "LOTUS", home)) {
    return false;
  }
  const std::string execDirectory = std::string(printable(home)) + "/notes/latest/" + "linux";
  return setVariable(log, "Notes_ExecDirectory", execDirectory.c_str()) &&
         setVariable(log, "NOTES_DATA_DIR", data) && extendLibraryPath(log, execDirectory) &&
         extendPath(log, home, data, execDirectory);
}

bool resolve(EvEvent& log, char* instanceName, char* dataDirOut, char* homeDirOut,
             char* notesIniOut) {
  const char* const delimiter =
      instanceName != nullptr ? std::strchr(instanceName, koln::instanceDelimiter) : nullptr;
  if (delimiter == nullptr) {
    log.debug("No delimiter found in instance name %s.", printable(instanceName));
    return false;
  }

  if (dataDirOut == nullptr || homeDirOut == nullptr || notesIniOut == nullptr) {
    log.debug("No room for the directories of instance name %s.", instanceName);
    return false;
  }
  koln::StartText valueName;
  if (!koln::copyWhole(delimiter + 1, dataDirOut, koln::startTextSize)) {
    log.debug("Data directory of instance name %s is too long.", instanceName);
    return false;
  }
  // Registered without the "/"; with it the look-up would miss and quietly mean partition 0.
  koln::copyWhole(koln::withoutTrailingSlash(dataDirOut), valueName, sizeof valueName);

  koln::StartText partition = {};
  if (!GetLndbUnixRegValue(bytes(partition), valueName, nullptr, nullptr)) {
    log.debug("Could not get partition number for instance %s from registry", instanceName);
    log.debug("This is a cross-machine restore. Use partition number 0 as restore destination");
    koln::copyWhole("0", partition, sizeof partition);
  }
  homeDirOut[0] = '\0';
  if (!GetLndbUnixRegValue(bytes(homeDirOut), "_sDominoHomeDir", nullptr, nullptr)) {
    log.debug("Could not get Domino Home Directory from registry");
    return false;
  }
  if (!GetLndbUnixRegValue(bytes(dataDirOut), "sDominoDataDir", partition, nullptr)) {
    log.debug("Could not get Domino Data Directory from registry(Partition=%s)", partition);
    return false;
  }
  koln::StartText user = {};
  if (!GetLndbUnixRegValue(bytes(user), "sDominoUser", partition, nullptr)) {
    log.debug("Could not get Domino User from registry(Partition=%s)", partition);
    return false;
  }

  koln::StartText notesIni;
  if (!koln::formNotesIniPath(dataDirOut, notesIni)) {
    log.debug("Path of notes.ini in data directory %s is too long.", dataDirOut);
    return false;
  }
  koln::copyWhole(notesIni, notesIniOut, koln::startTextSize);
  if (access(notesIniOut, F_OK) != 0) {
    // Two blanks, on purpose.
    log.debug("Notes.ini file not found.  Notes initialization will fail.");
    log.CriticalEvent(0x2A000001, 0, 0);
    return false;
  }
  if (!prepareUnixExecEnv(user, homeDirOut, dataDirOut)) {
    log.debug("Failed setting unix env for instance %s(user=%s;home=%s;data=%s)", instanceName,
              user, homeDirOut, dataDirOut);
    return false;
  }
  log.debug("found data directory %s, exe directory %s and notes.ini path %s (%s)", dataDirOut,
            homeDirOut, notesIniOut, instanceName);
  return true;
}

bool start(EvEvent& log, char* instanceName, char* dataDirOut) {
  koln::waitWhileHeld();

  koln::StartText home = {};
  // The path stands one byte behind the "=", and `findDataPartition` may fill 1,024 bytes of it.
  char notesIniArgument[1 + koln::startTextSize] = {'='};
  if (!findDataPartition(instanceName, dataDirOut, home, notesIniArgument + 1) ||
      !koln::copyWhole(home, noteInitArgv[0], sizeof noteInitArgv[0]) ||
      !koln::copyWhole(notesIniArgument, noteInitArgv[1], sizeof noteInitArgv[1])) {
    log.debug("Cannot get notes directory");
    return false;
  }

  DumpFileTimeAndVer("libnotes.so", 0);
  if (KO_NotesInitExtended == nullptr) {
    log.debug("The Notes API is not bound.");
    return false;
  }
  log.debug("Calling NotesInitExtended.");
  const koln::CallResult started = koln::startRuntime(noteInitArgv[0], noteInitArgv[1]);
  log.debug("Called NotesInitExtended (%d).", started.status());
  if (started.failed()) {
    return false;
  }
  notesAPIInitialized = true;

  // The first token, so that leading delimiters are skipped.
  const char delimiters[] = {koln::instanceDelimiter, '\0'};
  const char* const token = instanceName + std::strspn(instanceName, delimiters);
  if (*token == '\0') {
    log.debug("No delimiter found in instance name %s.", instanceName);
    return false;
  }
  std::snprintf(g_lnInstanceName, sizeof g_lnInstanceName, "%.*s",
                static_cast<int>(std::strcspn(token, delimiters)), token);

  koln::readRuntimeDirectory(dataDirOut);
  log.debug("confirmed data directory %s.", dataDirOut);
  return true;
}

// Runs one of the steps above; the only thing left that throws is memory.
template <typename Step, typename... Arguments>
bool logged(Step step, Arguments... arguments) noexcept {
  try {
    EvEvent log;
    return step(log, arguments...);
  } catch (...) {
    koln::debugLastWords("Start for the partition failed: out of memory");
    return false;
  }
}

}  // namespace

bool prepareUnixExecEnv(char* user, char* homeDir, char* dataDir) {
  return logged(prepare, user, homeDir, dataDir);
}

bool findDataPartition(char* instanceName, char* dataDirOut, char* homeDirOut, char* notesIniOut) {
  return logged(resolve, instanceName, dataDirOut, homeDirOut, notesIniOut);
}

bool initializeWithPartition(char* instanceName, char* dataDirOut) {
  return logged(start, instanceName, dataDirOut);
}

bool initializePartitionForProxy(char* /*instanceName*/) {
  return false;
}
