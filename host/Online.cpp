// The command `koln online`: gives access to a database again.
#include <fmt/format.h>
#include <koln.h>

#include <memory>
#include <string>

#include "Commands.h"
#include "NotesFailure.h"
#include "Session.h"
#include "Translation.h"

namespace host {
namespace {

ExitCode run(const Options& options, const std::string& path) {
  Session session(options);
  std::string name = lmbcsFromUtf8(path);
  const KoLNError error = session.instance().BringDBOnline(name);
  if (error.GetErrorCode() != NOERROR) {  // A code alone: the record is not marked as set.
    throw failureOf(fmt::format("{} was not brought online", path), error);
  }
  return ExitCode::Done;
}

}  // namespace

Command online(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand("online", "give access to a database again");
  const auto path = std::make_shared<std::string>();
  addDatabaseArgument(*words, *path);
  return {words, [&options, path] { return run(options, *path); }};
}

}  // namespace host
