#include "Interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <string_view>

#include "Failure.h"

namespace host {
namespace {

std::atomic<bool> orderly{false};
std::atomic<bool> requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "used in a signal handler");

// Whatever the process is busy with, a runtime that does not return included.
void endAtOnce(int /*signal*/) {
  constexpr std::string_view line = "koln: interrupted\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
  _exit(static_cast<int>(ExitCode::Interrupted));
}

void onSignal(int signal) {
  if (!orderly || requested.exchange(true)) {
    endAtOnce(signal);
  }
  alarm(1);
}

// Without SA_RESTART: a write to a pipe that nobody reads must return.
void install(int signal, void (*handler)(int)) noexcept {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

}  // namespace

void handleInterrupts() noexcept {
  install(SIGALRM, endAtOnce);
  install(SIGINT, onSignal);
  install(SIGTERM, onSignal);
  install(SIGPIPE, SIG_IGN);
}

void endOrderly() noexcept {
  orderly = true;
}

bool interruptRequested() noexcept {
  return requested;
}

}  // namespace host
