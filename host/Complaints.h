// What a long run had to leave out: each is told, but not without end.
#ifndef KOLN_HOST_COMPLAINTS_H
#define KOLN_HOST_COMPLAINTS_H

#include <cstdint>
#include <string>

#include "Console.h"
#include "Failure.h"

namespace host {

class Complaints {
 public:
  void tell(const std::string& line) {
    constexpr std::uint64_t mostLines = 20;
    ++count_;
    if (count_ <= mostLines) {
      Console::get().line("koln: " + line);
    } else if (count_ == mostLines + 1) {
      Console::get().line("koln: further ones are counted only");
    }
  }

  std::uint64_t count() const noexcept { return count_; }

  ExitCode result() const noexcept { return count_ == 0 ? ExitCode::Done : ExitCode::DoneInPart; }

 private:
  std::uint64_t count_ = 0;
};

}  // namespace host

#endif
