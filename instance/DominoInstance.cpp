// One Domino partition: its settings, and the life of the Notes runtime in this process.
#include "DominoInstance.h"

#include <unistd.h>

#include <utility>

#include "findDataPartition.h"
#include "platform/Log.h"
#include "platform/RuntimeStart.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "DominoInstance";

unsigned char* bytes(char* text) noexcept {
  return reinterpret_cast<unsigned char*>(text);
}

}  // namespace

KoLNInstance::KoLNInstance()
    : detailsKnown_(false), notesInitialized_(false), proxy_(false), reserved_(0) {}

KoLNInstance::KoLNInstance(std::string registryKey, std::string instanceName,
                           std::string serverName, bool proxy)
    : instanceName_(std::move(instanceName)),
      serverName_(std::move(serverName)),
      registryKey_(std::move(registryKey)),
      detailsKnown_(false),
      notesInitialized_(false),
      proxy_(proxy),
      reserved_(0) {
  if (!instanceName_.empty() && instanceName_.back() == '/') {
    instanceName_.pop_back();
  }
}

KoLNInstance::~KoLNInstance() {
  if (notesInitialized_) {
    TerminateNotes();
  }
}

bool KoLNInstance::Initialize() {
  constexpr const char* function = "Initialize";
  KOLN_LOG(function, 0, "starting dynamic loading");
  if (!loadNotesFunctions(koln::copyOf(instanceName_), koln::copyOf(registryKey_))) {
    KOLN_LOG(function, 0, "dynamic loading failed");
    return false;
  }
  // Comes too late for an empty name, which fails in the loader; the order is kept.
  if (instanceName_.empty()) {
    KOLN_LOG(function, 0, "invalid instance name. failed to initialize domino instance.");
    return false;
  }
  if (GetDetails()) {
    return true;
  }
  KOLN_LOG(function, 0, "Failed to initialize Domino Instance.");
  return false;
}

bool KoLNInstance::GetDetails() {
  constexpr const char* function = "GetDetails";
  const char* const name = instanceName_.c_str();
  const char* const key = registryKey_.c_str();

  const std::size_t delimiter = instanceName_.find(koln::instanceDelimiter);
  if (delimiter == std::string::npos) {
    KOLN_LOG(function, 0, "No delimiter found in instance name %s.", name);
    return false;
  }
  koln::StartText dataDirectory = {};
  const std::string_view registered =
      koln::withoutTrailingSlash(std::string_view(name + delimiter + 1));
  if (!koln::copyWhole(registered, dataDirectory, sizeof dataDirectory)) {
    KOLN_LOG(function, 0, "Data directory of instance name %s is too long.", name);
    return false;
  }

  koln::StartText partition = {};
  if (!GetLndbUnixRegValue(bytes(partition), dataDirectory, key, nullptr)) {
    KOLN_LOG(function, 0, "Could not get partition number for instance %s from registry", name);
    KOLN_LOG(function, 0,
             "This is a cross-machine restore. Use partition number 0 as restore destination");
    koln::copyWhole("0", partition, sizeof partition);
  }
  if (!GetLndbUnixRegValue(bytes(dataDirectory), "sDominoDataDir", key, partition)) {
    KOLN_LOG(function, 0, "Could not get Domino Data Directory from registry(Partition=%s)",
             partition);
    return false;
  }

  constexpr const char* homeName = "_sDominoHomeDir";
  char homeValueName[koln::startTextSize + 16];
  std::snprintf(homeValueName, sizeof homeValueName, "%s%s", dataDirectory, homeName);
  koln::StartText home = {};
  if (!GetLndbUnixRegValue(bytes(home), homeValueName, key, nullptr)) {
    KOLN_LOG(function, 0, "Could not get Domino Home Directory from registry %s", homeName);
    return false;
  }
  koln::StartText user = {};
  if (!GetLndbUnixRegValue(bytes(user), "sDominoUser", key, partition)) {
    KOLN_LOG(function, 0, "Could not get Domino User from registry(Partition=%s)", partition);
    return false;
  }

  koln::StartText notesIni = {};
  if (!koln::formNotesIniPath(dataDirectory, notesIni)) {
    KOLN_LOG(function, 0, "Path of notes.ini in data directory %s is too long.", dataDirectory);
    return false;
  }
  if (access(notesIni, F_OK) != 0) {
    // Two blanks on purpose.
    KOLN_LOG(function, 0, "Notes.ini file not found.  Notes initialization will fail.");
    return false;
  }
  if (!prepareUnixExecEnv(user, home, dataDirectory)) {
    KOLN_LOG(function, 0, "Failed setting unix env for instance %s(user=%s;home=%s;data=%s)", name,
             user, home, dataDirectory);
    return false;
  }
  KOLN_LOG(function, 0, "found data directory %s, exe directory %s and notes.ini path %s (%s)",
           dataDirectory, home, notesIni, name);

  if (!koln::assignText(dataDirectory_, dataDirectory) || !koln::assignText(exePath_, home) ||
      !koln::assignText(notesIniPath_, notesIni)) {
    KOLN_LOG(function, 0, "Out of memory.");
    return false;
  }
  detailsKnown_ = true;
  return true;
}

KoLNError KoLNInstance::InitializeNotesEnv() {
  constexpr const char* function = "InitializeNotesEnv";
  KoLNError error;

  koln::waitWhileHeld();
  koln::StartText home = {};
  char notesIniArgument[koln::startTextSize] = {};
  if (!detailsKnown_ && !GetDetails()) {
    KOLN_LOG(function, 0, "Cannot get notes directory");
    return error;  // Clean, on purpose: the host goes by Initialize's result.
  }
  // Texts that a host has set itself may not fit; the runtime is never given a cut path.
  if (!koln::copyWhole(exePath_, home, sizeof home) ||
      static_cast<std::size_t>(std::snprintf(notesIniArgument, sizeof notesIniArgument, "=%s",
                                             notesIniPath_.c_str())) >= sizeof notesIniArgument) {
    error.SetCustomMessage("Program directory or path of notes.ini is too long.");
    KOLN_LOG(function, 0, "%s", error.GetMessage().c_str());
    return error;
  }

  DumpFileTimeAndVer("libnotes.so", 0);
  KOLN_LOG(function, 0, "Calling NotesInitExtended. exepath %s inipath = %s", home,
           notesIniArgument);
  const koln::CallResult started = koln::startRuntime(home, notesIniArgument);
  KOLN_LOG(function, 0, "Called NotesInitExtended (%d).", started.status());
  if (!started.returned()) {
    // What happened stands in the log only, like the status of a failed start.
    started.record(error);
    KOLN_LOG(function, 0, "%s", error.GetMessage().c_str());
  }
  if (started.failed()) {
    error.SetErrorCode(started.status());
    KOLN_LOG(function, 0, "Notes Initialization for domino instance %s, failed with error (%d)",
             instanceName_.c_str(), started.status());
    error.SetCustomMessage("NotesInitExtended failed");  // Replaces the code as well.
    return error;
  }

  notesInitialized_ = true;  // Before anything else can go wrong: the destructor must end it.
  char directory[MAXENVVALUE + 1] = {};
  koln::readRuntimeDirectory(directory);
  KOLN_LOG(function, 0, "confirmed data directory %s.", directory);
  koln::assignText(dataDirectory_, directory);
  return error;
}

KoLNError KoLNInstance::InitializeNotesEnvForProxy() {
  return {};  // Kept as an entry point without effect.
}

void KoLNInstance::TerminateNotes() {
  static_cast<void>(KOLN_VOID(NotesTerm).failed());
  notesInitialized_ = false;
}

STATUS KoLNInstance::InitializeNotesThread() {
  return KOLN_STATUS(NotesInitThread).status();
}

void KoLNInstance::TerminateNotesThread() {
  static_cast<void>(KOLN_VOID(NotesTermThread).failed());
}

std::string KoLNInstance::GetServerName() {
  return koln::copyOf(serverName_);
}

std::string KoLNInstance::GetDataDirectory() {
  return koln::copyOf(dataDirectory_);
}

void KoLNInstance::SetDataDirectory(std::string directory) {
  dataDirectory_ = std::move(directory);
}

void KoLNInstance::SetExePath(std::string path) {
  exePath_ = std::move(path);
}

void KoLNInstance::SetNotesIniPath(std::string path) {
  notesIniPath_ = std::move(path);
}
