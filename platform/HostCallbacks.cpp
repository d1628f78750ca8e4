// The host's callbacks, the call-through functions and the log.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "findDataPartition.h"
#include "platform/HostQuestion.h"
#include "platform/Text.h"

KoLNLogCallback pLogCallback = nullptr;
KoLNJobQuitCallback pJobQuitCallback = nullptr;
KoLNSendMsgCallback pSendMsgCallback = nullptr;
KoLNCheckConnectionCallback pCheckConnectionCallback = nullptr;

int loggingLevel = 1;
int showAllErrors = 0;
int reinitializeThres = 0;
int numOfDbBackedUp = 0;

void SetLogCallback(KoLNLogCallback callback) {
  pLogCallback = callback;
}
void SetJobQuitCallback(KoLNJobQuitCallback callback) {
  pJobQuitCallback = callback;
}
void SetSendMsgCallback(KoLNSendMsgCallback callback) {
  pSendMsgCallback = callback;
}
void SetCheckConnectionCallback(KoLNCheckConnectionCallback callback) {
  pCheckConnectionCallback = callback;
}

bool QuitJob() {
  return koln::askHost(pJobQuitCallback, true);
}
bool SendDBMessage(char* message) {
  return koln::askHost(pSendMsgCallback, true, message);
}
bool CheckConnection() {
  return koln::askHost(pCheckConnectionCallback, false);
}

void LogMessage(const char* function, int level, const char* file, int line, const char* format,
                ...) {
  const KoLNLogCallback sink = pLogCallback;
  if (sink == nullptr) {
    return;
  }
  koln::FormattedText text;
  va_list arguments;
  va_start(arguments, format);
  koln::formatText(text, format, arguments);
  va_end(arguments);
  try {
    // Handed over as finished text, in the place of the format and with nothing behind it.
    sink(function, level, file, line, text);
  } catch (...) {  // NOLINT(bugprone-empty-catch): a sink that fails must not take the job with it.
  }
}

char* GetLogFilename(const char* path) {
  if (path == nullptr) {
    return nullptr;
  }
  char copy[1024];
  std::snprintf(copy, sizeof copy, "%.1023s", path);
  const char* slash = std::strrchr(copy, '/');
  const char* name = slash != nullptr ? slash + 1 : copy;
  if (std::strlen(name) < 2) {
    return nullptr;
  }
  name += std::strspn(name, ".");
  const std::size_t length = std::strcspn(name, ".");
  return length < 2 ? nullptr : strndup(name, length);
}

void DumpFileTimeAndVer(const char* /*file*/, int /*line*/) {
  // Empty on purpose, and it stays so: a hook for builds that log their file times.
}
