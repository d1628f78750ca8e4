// The subcommands of koln. Each stands in a file of its own, declares its words and options, and
// returns what is to be done when the user gives them.
#ifndef KOLN_HOST_COMMANDS_H
#define KOLN_HOST_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

#include "Failure.h"
#include "Options.h"

namespace host {

struct Command {
  CLI::App* words;
  /// Outlives the parser. @throws Failure
  std::function<ExitCode()> run;
};

/// Adds all subcommands to the command line. `options` are those that they share; they are read
/// when a command runs.
std::vector<Command> addCommands(CLI::App& koln, Options& options);

/// --json and --short, for commands that report databases.
void addReportOptions(CLI::App& command, Options& options);

/// One database as the only argument.
void addDatabaseArgument(CLI::App& command, std::string& path);

}  // namespace host

#endif
