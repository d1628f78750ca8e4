// The command `koln offline`: takes a database out of use so that its file can be restored.
#include <fmt/format.h>
#include <koln.h>

#include <memory>
#include <string>

#include "Commands.h"
#include "Console.h"
#include "NotesFailure.h"
#include "Session.h"
#include "Translation.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(ATTENTION: the server stops all access AND REMOVES THE FILE, so that it can be
recovered from a backup. Have that backup first. Then put its file in the place and
run 'koln online'. Nothing happens without --yes.
)";

ExitCode run(const Options& options, const std::string& path, bool confirmed) {
  const std::string consequence = fmt::format(
      "this stops all access to {} and REMOVES ITS FILE, so that it can be recovered from a backup",
      path);
  if (!confirmed) {
    throw Failure(ExitCode::WrongUsage,
                  consequence + "; nothing was done, add --yes if you have that backup");
  }
  Session session(options);
  std::string name = lmbcsFromUtf8(path);
  Console::get().line("koln: " + consequence);
  const KoLNError error = session.instance().TakeDBOffline(name);
  if (error.GetErrorCode() != NOERROR) {  // A code alone: the record is not marked as set.
    throw failureOf(fmt::format("{} was not taken offline and stays as it is", path), error);
  }
  return ExitCode::Done;
}

}  // namespace

Command offline(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand(
      "offline", "take a database out of use and REMOVE its file, to restore it");
  words->footer(footer);
  struct Request {
    std::string path;
    bool confirmed = false;
  };
  const auto request = std::make_shared<Request>();
  addDatabaseArgument(*words, request->path);
  words->add_flag("--yes", request->confirmed, "do it");
  return {words, [&options, request] { return run(options, request->path, request->confirmed); }};
}

}  // namespace host
