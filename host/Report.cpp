#include "Report.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Console.h"
#include "Interrupt.h"
#include "Log.h"
#include "Translation.h"

namespace host {
namespace {

bool watched() noexcept {
  return isatty(STDERR_FILENO) == 1;
}

}  // namespace

Report::Report(bool json, Columns columns, Things things, std::size_t mostLines)
    : output_(json, columns), things_(things), mostLines_(mostLines) {}

Report::~Report() {
  readLog(nullptr);
}

void Report::readLibraryLines() {
  readLog([this](const LogLine& line) {
    if (const auto unreported = lines_.read(line)) {
      notReported(utf8FromLmbcs(unreported->path), utf8FromLmbcs(unreported->reason));
    }
  });
}

bool Report::deliver(std::string_view message) {
  auto record = parseDiscoveryRecord(message, shortForm());
  if (!record || mustStop()) {
    return false;
  }
  std::string owner;
  if (output_.columns() == Columns::Owned) {
    owner = utf8FromLmbcs(record->extra);  // The one field that is not UTF-8.
    record->extra = owner;
  }
  if (!output_.write(*record)) {
    return false;
  }
  advance();
  return true;
}

bool Report::writePath(const std::string& path) {
  DiscoveryRecord record;
  record.path = path;
  return output_.write(record);
}

void Report::notReported(const std::string& path, const std::string& reason) {
  if (mustStop()) {
    return;
  }
  ++missing_;
  if (missing_ <= mostLines_) {
    Console::get().line(fmt::format("koln: {} is not reported: {}",
                                    path.empty() ? std::string("a ") + things_.one : path, reason));
  }
  advance();
}

bool Report::mustStop() const {
  return interruptRequested() || output_.error() != 0;
}

void Report::end() {
  readLog(nullptr);
  Console::get().endProgress();
  throwIfStopped();
  if (missing_ > mostLines_) {
    Console::get().line(
        fmt::format("koln: {} more are not reported, {} in all; --debug-log FILE shows them",
                    missing_ - mostLines_, counted(missing_)));
  }
}

void Report::summary(const std::string& place) const {
  if (watched()) {
    Console::get().line(fmt::format("{} in {}", counted(output_.count()), place));
  }
}

std::string Report::counted(std::size_t number) const {
  return fmt::format("{} {}", number, number == 1 ? things_.one : things_.many);
}

void Report::advance() {
  if (watched() && isatty(STDOUT_FILENO) == 0) {
    Console::get().progress(output_.count() + missing_, total_, things_.many);
  }
}

void Report::throwIfStopped() const {
  const std::string written = counted(output_.count());
  if (interruptRequested()) {
    throw Failure(ExitCode::Interrupted, fmt::format("interrupted after {}", written));
  }
  if (output_.error() == EPIPE) {
    throw Failure(ExitCode::Failed,
                  fmt::format("the reader of the result has gone; it was given {}", written));
  }
  if (output_.error() != 0) {
    throw Failure(ExitCode::Failed,
                  fmt::format("the result cannot be written: {}; what is there holds {}",
                              strerror(output_.error()), written));
  }
}

}  // namespace host
