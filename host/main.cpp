// koln: the reference host of libkoln. It shows the whole road of a host: callbacks, instance,
// runtime, work, end.
#include <exception>
#include <new>
#include <string>

#include "Console.h"
#include "Failure.h"
#include "Interrupt.h"
#include "Options.h"

namespace {

host::ExitCode run(int argc, char** argv) {
  host::Options options;
  const auto command = host::parseCommandLine(argc, argv, options);
  if (!command) {
    return host::ExitCode::Done;
  }
  const host::ExitCode code = command();
  if (host::interruptRequested()) {  // Too late to stop anything; yet the user wanted it to end.
    throw host::Failure(host::ExitCode::Interrupted, "interrupted, but the work was done already");
  }
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  host::occupyStandardDescriptors();
  host::handleInterrupts();
  host::ExitCode code = host::ExitCode::Failed;
  try {
    code = run(argc, argv);
  } catch (const host::Failure& failure) {
    host::Console::get().line(std::string("koln: ") + failure.what());
    code = failure.code();
  } catch (const std::bad_alloc&) {
    host::Console::get().line("koln: out of memory; end other programs or raise the limit");
  } catch (const std::exception& error) {
    host::Console::get().line(std::string("koln: ") + error.what() +
                              "; --debug-log stderr shows the detail");
  }
  return static_cast<int>(code);
}
