#include "Console.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "Interrupt.h"
#include "ShownText.h"

namespace host {

int writeWhole(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t count = write(descriptor, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {  // A pipe that its owner has made non-blocking.
      pollfd ready = {descriptor, POLLOUT, 0};
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
    if (!text.empty() && interruptRequested()) {
      return EINTR;
    }
  }
  return 0;
}

void occupyStandardDescriptors() noexcept {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
      // The lowest free number is this one. Read-only: output to it must fail, not vanish.
      static_cast<void>(open("/dev/null", O_RDONLY));
    }
  }
}

Console& Console::get() {
  static Console console;
  return console;
}

void Console::line(std::string_view text) {
  const std::string whole = shown(text) + '\n';
  const std::lock_guard<std::mutex> lock(mutex_);
  wipe();
  static_cast<void>(writeWhole(STDERR_FILENO, whole));  // There is nowhere left to tell it.
}

void Console::progress(std::size_t done, std::size_t total, std::string_view things) {
  constexpr auto pause = std::chrono::milliseconds(200);
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (progressShown_ && now - lastProgress_ < pause) {
    return;
  }
  lastProgress_ = now;
  progressShown_ = true;
  const std::string ofAll = total == 0 ? std::string() : fmt::format(" of {}", total);
  static_cast<void>(
      writeWhole(STDERR_FILENO, fmt::format("\r{}{} {} ...\033[K", done, ofAll, things)));
}

void Console::endProgress() {
  const std::lock_guard<std::mutex> lock(mutex_);
  wipe();
}

void Console::wipe() {
  if (progressShown_) {
    static_cast<void>(writeWhole(STDERR_FILENO, "\r\033[K"));
    progressShown_ = false;
  }
}

}  // namespace host
