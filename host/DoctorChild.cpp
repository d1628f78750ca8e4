#include "DoctorChild.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Console.h"
#include "Failure.h"
#include "Interrupt.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

// A message is its mark, its text and a null byte, which no text holds.
constexpr char textMark = 'T';
constexpr char endMark = 'E';

void send(int pipe, char mark, std::string_view text) {
  std::string message(1, mark);
  message.append(text).push_back('\0');
  if (writeWhole(pipe, message) != 0) {
    _exit(1);  // Nobody listens any more.
  }
}

void beOnOnesOwn(bool shareStderr) noexcept {
  endWithParent();
  setpgid(0, 0);
  for (const int signal : {SIGINT, SIGTERM, SIGALRM, SIGPIPE}) {
    ::signal(signal, SIG_DFL);
  }
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (nothing < 0) {
    _exit(1);  // What a runtime writes is no part of the result.
  }
  dup2(nothing, STDIN_FILENO);
  dup2(nothing, STDOUT_FILENO);
  if (!shareStderr) {
    dup2(nothing, STDERR_FILENO);
  }
}

[[noreturn]] void beChild(int pipe, bool shareStderr,
                          const std::function<void(const Tell&)>& work) {
  beOnOnesOwn(shareStderr);
  try {
    work([pipe](std::string_view text) { send(pipe, textMark, text); });
    send(pipe, endMark, {});
  } catch (...) {
    _exit(1);
  }
  _exit(0);
}

class Child {
 public:
  Child(pid_t process, int pipe) : process_(process), pipe_(pipe) {
    setpgid(process, process);  // As the child does: whoever comes first.
    fcntl(pipe, F_SETFL, O_NONBLOCK);
  }
  ~Child() {
    close(pipe_);
    if (!ended()) {
      stop();
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Whether it has ended by itself; what it wrote last can then be read.
  bool ended() noexcept {
    siginfo_t state = {};
    if (!ended_ &&
        waitid(P_PID, static_cast<id_t>(process_), &state, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        state.si_pid == process_) {
      kill(-process_, SIGKILL);  // What it has started, while the number still is its own.
      waitpid(process_, &status_, 0);
      ended_ = true;
    }
    return ended_;
  }

  void read() {
    char block[4096];
    for (;;) {
      const ssize_t count = ::read(pipe_, block, sizeof block);
      if (count <= 0) {
        closed_ = count == 0;
        return;
      }
      received_.append(block, static_cast<std::size_t>(count));
    }
  }

  void await(std::chrono::milliseconds time) noexcept {
    pollfd ready = {pipe_, POLLIN, 0};
    poll(&ready, closed_ ? 0 : 1, static_cast<int>(time.count()));
  }

  // A runtime that shares memory with a server is asked first, so that it can let go of it.
  void stop() noexcept {
    using std::chrono::milliseconds;
    for (const int signal : {SIGTERM, SIGKILL}) {
      kill(-process_, signal);
      const auto deadline = Clock::now() + milliseconds(400);
      while (!ended() && Clock::now() < deadline) {
        poll(nullptr, 0, 10);
      }
      if (ended_) {
        return;
      }
    }
  }

  ChildAnswer answer() const {
    ChildAnswer answer;
    bool complete = false;
    std::string_view rest = received_;
    for (std::size_t end = 0; (end = rest.find('\0')) != std::string_view::npos;) {
      if (rest.front() == textMark) {
        answer.texts.emplace_back(rest.substr(1, end - 1));
      }
      complete = rest.front() == endMark;
      rest.remove_prefix(end + 1);
    }
    if (!complete) {
      answer.failure = WIFSIGNALED(status_)
                           ? fmt::format("crashed: {}", strsignal(WTERMSIG(status_)))
                           : fmt::format("ended the process with status {}", WEXITSTATUS(status_));
    }
    return answer;
  }

 private:
  const pid_t process_;
  const int pipe_;
  int status_ = 0;
  bool ended_ = false;
  bool closed_ = false;
  std::string received_;
};

}  // namespace

void endWithParent() noexcept {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
}

ChildAnswer askChild(std::chrono::seconds limit, bool shareStderr,
                     const std::function<void(const Tell&)>& work) {
  ::signal(SIGCHLD, SIG_DFL);  // Where it is ignored, nobody hears how a child has ended.
  int pipe[2] = {};
  if (pipe2(pipe, O_CLOEXEC) != 0) {
    throw Failure(ExitCode::Failed,
                  fmt::format("there is no pipe to be had: {}; try again", strerror(errno)));
  }
  const pid_t process = fork();
  if (process == 0) {
    close(pipe[0]);
    beChild(pipe[1], shareStderr, work);
  }
  const int reason = errno;
  close(pipe[1]);
  if (process < 0) {
    close(pipe[0]);
    throw Failure(ExitCode::Failed,
                  fmt::format("there is no process to be had: {}; try again", strerror(reason)));
  }
  Child child(process, pipe[0]);
  const auto deadline = Clock::now() + limit;
  for (;;) {
    const bool ended = child.ended();
    child.read();
    if (ended) {
      return child.answer();
    }
    if (interruptRequested()) {
      throw Failure(ExitCode::Interrupted, "interrupted; nothing was changed");
    }
    if (Clock::now() >= deadline) {
      ChildAnswer answer = child.answer();
      answer.failure = fmt::format("was still at it after {} s and was ended", limit.count());
      return answer;
    }
    child.await(std::chrono::milliseconds(50));
  }
}

}  // namespace host
