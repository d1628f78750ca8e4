#include "Session.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Diagnosis.h"
#include "Failure.h"
#include "Interrupt.h"
#include "Log.h"

namespace host {
namespace {

// The callbacks are plain functions, so what they reach is of the process.
Report* receiver = nullptr;

bool mustQuit() {
  return interruptRequested();
}

// A session is lost when nobody takes its records any more.
bool connectionLost() {
  return interruptRequested() || receiver == nullptr || receiver->mustStop();
}

bool sendMessage(char* message) {
  constexpr bool notDelivered = true;
  try {
    return receiver == nullptr || !receiver->deliver(message);
  } catch (...) {
    return notDelivered;
  }
}

// Where the embedded support library writes its debug lines. Told now, since what cannot be opened
// would turn a readable terminal into a log.
void chooseDebugLog(const std::string& wanted) {
  constexpr const char* variable = "KOLN_DEBUG_LOG";
  if (wanted.empty()) {
    setenv(variable, "none", 0);
    return;
  }
  setenv(variable, wanted.c_str(), 1);
  if (wanted == "none" || wanted == "stderr") {
    return;
  }
  const int file =
      open(wanted.c_str(),
           O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
  if (file < 0) {
    throw Failure(ExitCode::Failed,
                  fmt::format("the debug log {} cannot be opened: {}; name another file", wanted,
                              strerror(errno)));
  }
  close(file);
}

}  // namespace

Session::Session(const Options& options, Report* report)
    : instance_(options.registryKey, options.instanceName, options.serverName, false) {
  if (!options.configurationFile.empty()) {
    setenv("KOLN_CONFIG", options.configurationFile.c_str(), 1);
  }
  chooseDebugLog(options.debugLog);
  const char* const debugLog = std::getenv("KOLN_DEBUG_LOG");
  installLog(options.logLevel, debugLog != nullptr && std::strcmp(debugLog, "stderr") == 0);
  receiver = report;
  SetJobQuitCallback(mustQuit);
  SetSendMsgCallback(sendMessage);
  SetCheckConnectionCallback(connectionLost);

  forgetUserSwitch();
  if (!instance_.Initialize()) {
    throw explainFailedPreparation(options);
  }
  const KoLNError started = instance_.InitializeNotesEnv();
  // A clean record alone does not mean that the runtime runs.
  if (started.IsErrorSet() || instance_.GetDataDirectory().empty()) {
    throw explainFailedStart(options, started);
  }
  // A runtime may have put its own handlers in place.
  handleInterrupts();
  endOrderly();
}

Session::~Session() {
  // Nothing of the session may be called once it is gone.
  SetSendMsgCallback(nullptr);
  SetJobQuitCallback(nullptr);
  SetCheckConnectionCallback(nullptr);
  receiver = nullptr;
}

}  // namespace host
