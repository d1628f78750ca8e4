#include "OneByOne.h"

#include <fmt/format.h>

#include <string>

#include "Amounts.h"
#include "Console.h"
#include "Interrupt.h"

namespace host {

ExitCode oneByOne(std::size_t count, const char* thing,
                  const std::function<void(std::size_t)>& work) {
  std::size_t done = 0;
  ExitCode failed = ExitCode::Done;
  for (std::size_t i = 0; i < count; ++i) {
    if (interruptRequested()) {
      throw Failure(ExitCode::Interrupted,
                    fmt::format("interrupted after {} of {}", done, counted(count, thing)));
    }
    try {
      work(i);
      ++done;
    } catch (const OutputFailure&) {
      throw;
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::Interrupted) {
        throw;
      }
      Console::get().line(std::string("koln: ") + failure.what());
      failed = failure.code();
    }
  }
  return failed != ExitCode::Done && done > 0 ? ExitCode::DoneInPart : failed;
}

}  // namespace host
