// The command `koln repair`: has the server check a whole database and mend what is damaged.
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
  const KoLNError error = session.instance().RepairDB(name);
  if (error.GetErrorCode() != NOERROR) {  // A code alone: the record is not marked as set.
    throw failureOf(fmt::format("{} was not repaired", path), error);
  }
  return ExitCode::Done;
}

}  // namespace

Command repair(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("repair", "check a whole database and mend what is damaged");
  const auto path = std::make_shared<std::string>();
  addDatabaseArgument(*words, *path);
  return {words, [&options, path] { return run(options, *path); }};
}

}  // namespace host
