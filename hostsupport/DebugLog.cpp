// The debug log and the operator's events. A line must come out whole and must never disturb the
// process that writes it: no exception, no signal, no changed errno.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string_view>

#include "EscapedText.h"
#include "KoLib.h"

namespace {

using koln::hostsupport::escapeByte;
using koln::hostsupport::kEscapedByteMax;

constexpr int kNowhere = -1;
constexpr std::size_t kStackRoom = 2048;

class ErrnoKeeper {
 public:
  ErrnoKeeper() noexcept : kept_(errno) {}
  ~ErrnoKeeper() { errno = kept_; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  const int kept_;
};

// Room for a text: on the heap if it is long, and if the heap has none, what the stack offers.
class Room {
 public:
  explicit Room(std::size_t wanted) noexcept {
    if (wanted > kStackRoom) {
      heap_.reset(new (std::nothrow) char[wanted]);
      size_ = heap_ ? wanted : kStackRoom;
    }
  }
  char* data() noexcept { return heap_ ? heap_.get() : stack_; }
  std::size_t size() const noexcept { return size_; }

 private:
  char stack_[kStackRoom];
  std::unique_ptr<char[]> heap_;
  std::size_t size_ = kStackRoom;
};

// A line under construction. What does not fit is cut, and the cut is shown.
class Line {
 public:
  explicit Line(std::size_t textSize) noexcept
      : room_(textSize * kEscapedByteMax + kHeadMax + kEnd.size()) {}

  void append(std::string_view text) noexcept {
    for (const char byte : text) {
      char shown[kEscapedByteMax];
      const std::size_t count = escapeByte(static_cast<unsigned char>(byte), shown);
      if (cut_ || count > room_.size() - kEnd.size() - used_) {
        cut_ = true;
        return;
      }
      std::memcpy(room_.data() + used_, shown, count);
      used_ += count;
    }
  }

  void markCut() noexcept { cut_ = true; }

  std::string_view finish() noexcept {
    const std::string_view end = cut_ ? kEnd : kEnd.substr(kEnd.size() - 1);
    std::memcpy(room_.data() + used_, end.data(), end.size());
    return {room_.data(), used_ + end.size()};
  }

 private:
  static constexpr std::size_t kHeadMax = 128;
  static constexpr std::string_view kEnd = " [cut]\n";

  Room room_;
  std::size_t used_ = 0;
  bool cut_ = false;
};

// Holds back the SIGPIPE that writing to a pipe without reader raises: a log must not end the host.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() noexcept {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    alreadyPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~BrokenPipeGuard() {
    if (raised_ && !alreadyPending_) {
      const struct timespec atOnce {};
      while (sigtimedwait(&pipe_, nullptr, &atOnce) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
  void wasRaised() noexcept { raised_ = true; }

 private:
  sigset_t pipe_;
  sigset_t before_;
  bool alreadyPending_ = false;
  bool raised_ = false;
};

// One write for the whole line, so that lines of several threads and processes do not mix.
bool writeWhole(int descriptor, std::string_view line) noexcept {
  BrokenPipeGuard guard;
  while (!line.empty()) {
    const ssize_t count = write(descriptor, line.data(), line.size());
    if (count >= 0) {
      line.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      if (errno == EPIPE) {
        guard.wasRaised();
      }
      return false;
    }
  }
  return true;
}

void writeHead(Line& line, const char* level, const char* function) noexcept {
  struct timespec now {};
  clock_gettime(CLOCK_REALTIME, &now);
  struct tm utc {};
  gmtime_r(&now.tv_sec, &utc);
  char day[32];
  day[std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &utc)] = '\0';
  char head[96];
  std::snprintf(head, sizeof head, "%s.%03ldZ %ld %s ", day, now.tv_nsec / 1000000,
                static_cast<long>(getpid()), level);
  line.append(head);
  if (function != nullptr) {
    line.append(function);
    line.append(": ");
  }
}

void writeLine(int descriptor, const char* level, const char* function, std::string_view text,
               bool cut = false) noexcept {
  if (text.ends_with('\n')) {
    text.remove_suffix(1);
  }
  Line line(text.size() + (function != nullptr ? std::strlen(function) : 0));
  writeHead(line, level, function);
  line.append(text);
  if (cut) {
    line.markCut();
  }
  const std::string_view whole = line.finish();
  if (!writeWhole(descriptor, whole) && descriptor != STDERR_FILENO) {
    writeWhole(STDERR_FILENO, whole);  // A full disk is no reason to lose the line.
  }
}

// Opens the log file. A link is not followed and a pipe or device is refused: the path may lie in a
// directory where others write, and the process may be root's.
int openLogFile(const char* path) noexcept {
  const int descriptor = open(
      path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
  char described[256];
  const char* reason = nullptr;
  struct stat state {};
  if (descriptor < 0) {
    reason =
        errno == ELOOP ? "it is a symbolic link" : strerror_r(errno, described, sizeof described);
  } else if (fstat(descriptor, &state) == 0 && S_ISREG(state.st_mode)) {
    return descriptor;
  } else {
    close(descriptor);
    reason = "it is not a regular file";
  }
  char notice[1024];
  const int size =
      std::snprintf(notice, sizeof notice,
                    "debug lines go to stderr, the file cannot be opened: %s: %s", reason, path);
  const std::size_t needed = static_cast<std::size_t>(std::max(size, 0));
  writeLine(STDERR_FILENO, "error", "KOLN_DEBUG_LOG", {notice, std::min(needed, sizeof notice - 1)},
            needed >= sizeof notice);
  return STDERR_FILENO;
}

// Chosen at the first line and kept open, since the process may later lose the right to open it.
int destination() noexcept {
  static const int chosen = [] {
    const char* configured = secure_getenv("KOLN_DEBUG_LOG");
    if (configured == nullptr || std::strcmp(configured, "stderr") == 0) {
      return STDERR_FILENO;
    }
    if (*configured == '\0' || std::strcmp(configured, "none") == 0) {
      return kNowhere;
    }
    return openLogFile(configured);
  }();
  return chosen;
}

__attribute__((format(printf, 3, 0))) void formatLine(const char* level, const char* function,
                                                      const char* format,
                                                      va_list arguments) noexcept {
  const int error = errno;  // For %m.
  const int descriptor = destination();
  if (descriptor == kNowhere) {
    return;
  }
  if (format == nullptr) {
    writeLine(descriptor, level, function, "(null)");
    return;
  }
  va_list again;
  va_copy(again, arguments);
  errno = error;
  const int needed = std::vsnprintf(nullptr, 0, format, arguments);
  Room text(static_cast<std::size_t>(std::max(needed, 0)) + 1);
  errno = error;
  const int size = std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  if (size < 0) {
    writeLine(descriptor, level, function, format);  // Better unfilled than lost.
  } else {
    const std::size_t whole = static_cast<std::size_t>(size);
    writeLine(descriptor, level, function, {text.data(), std::min(whole, text.size() - 1)},
              whole >= text.size());
  }
}

}  // namespace

EvDebug::~EvDebug() = default;

void EvDebug::debug(const char* format, ...) {
  const ErrnoKeeper keeper;
  va_list arguments;
  va_start(arguments, format);
  formatLine("debug", nullptr, format, arguments);
  va_end(arguments);
}

void EvDebug::Error(const char* function, const char* format, ...) {
  const ErrnoKeeper keeper;
  va_list arguments;
  va_start(arguments, format);
  formatLine("error", function != nullptr ? function : "(null)", format, arguments);
  va_end(arguments);
}

EvEvent::EvEvent() = default;
EvEvent::~EvEvent() = default;

void EvEvent::CriticalEvent(unsigned int code, unsigned long first, unsigned long second) {
  const ErrnoKeeper keeper;
  const int descriptor = destination();
  if (descriptor == kNowhere) {
    return;
  }
  char text[96];
  const int size =
      std::snprintf(text, sizeof text, "critical event 0x%08X (%lu, %lu)", code, first, second);
  writeLine(descriptor, "error", nullptr, {text, static_cast<std::size_t>(std::max(size, 0))});
}
