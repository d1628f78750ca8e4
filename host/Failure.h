// How koln ends: its exit codes, and the failure that carries one with the line for the user.
#ifndef KOLN_HOST_FAILURE_H
#define KOLN_HOST_FAILURE_H

#include <stdexcept>
#include <string>

namespace host {

enum class ExitCode {
  Done = 0,
  Failed = 1,
  WrongUsage = 2,
  DoneInPart = 3,
  NoRuntime = 4,
  AccessDenied = 5,
  Interrupted = 130,
};

/// Ends the command. The text is one line that says what is wrong and what to do about it.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& line) : std::runtime_error(line), code_(code) {}
  ExitCode code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

/// The result cannot be written: whatever is left to do would fail in the same way.
class OutputFailure : public Failure {
 public:
  using Failure::Failure;
};

}  // namespace host

#endif
