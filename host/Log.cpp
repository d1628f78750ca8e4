#include "Log.h"

#include <fmt/format.h>
#include <koln.h>

#include <mutex>
#include <string_view>
#include <utility>

#include "Console.h"

namespace host {
namespace {

struct State {
  std::mutex mutex;
  int shownLevel = -1;
  std::string lastLine;
  std::function<void(const LogLine&)> reader;
};

State& state() {
  static State instance;
  return instance;
}

void take(const char* function, int level, const char* file, int line, std::string_view text) {
  while (text.ends_with('\n')) {
    text.remove_suffix(1);
  }
  const std::string whole = fmt::format("{} {}:{} {}: {}", level, file, line, function, text);
  EvEvent().debug("%s", whole.c_str());
  State& log = state();
  bool toStderr = false;
  {
    const std::lock_guard<std::mutex> lock(log.mutex);
    toStderr = level <= log.shownLevel;
    if (level <= 0) {
      log.lastLine = text;
    }
  }
  if (toStderr) {
    Console::get().line(whole);
  }
  if (log.reader) {
    log.reader({function, level, text});
  }
}

// The text is finished: it stands in the place of a format and is never used as one.
void onLine(const char* function, int level, const char* file, int line, const char* text, ...) {
  try {
    take(function, level, file, line, text);
  } catch (...) {
    EvEvent().debug("%s", text);  // Memory is short; this needs little.
  }
}

}  // namespace

void installLog(int level, bool debugLogIsStderr) {
  constexpr int nothing = -2;
  state().shownLevel = debugLogIsStderr ? nothing : level;
  SetLogCallback(onLine);
}

void readLog(std::function<void(const LogLine&)> reader) {
  state().reader = std::move(reader);
}

std::string lastLogLine() {
  State& log = state();
  const std::lock_guard<std::mutex> lock(log.mutex);
  return log.lastLine;
}

}  // namespace host
