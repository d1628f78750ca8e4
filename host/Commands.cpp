#include "Commands.h"

namespace host {

Command discoverDatabases(CLI::App& parent, Options& options);
Command discoverMailboxes(CLI::App& parent, Options& options);
Command discoverAdditional(CLI::App& parent, Options& options);
Command info(CLI::App& parent, Options& options);
Command locate(CLI::App& parent, Options& options);
Command console(CLI::App& parent, Options& options);
Command offline(CLI::App& parent, Options& options);
Command online(CLI::App& parent, Options& options);
Command repair(CLI::App& parent, Options& options);
Command show(CLI::App& parent, Options& options);
Command views(CLI::App& parent, Options& options);
Command index(CLI::App& parent, Options& options);
Command notes(CLI::App& parent, Options& options);
Command archive(CLI::App& parent, Options& options);
Command survey(CLI::App& parent, Options& options);
Command backup(CLI::App& parent, Options& options);
Command restore(CLI::App& parent, Options& options);
Command exportNotes(CLI::App& parent, Options& options);
Command importNotes(CLI::App& parent, Options& options);
Command doctor(CLI::App& parent, Options& options);

std::vector<Command> addCommands(CLI::App& koln, Options& options) {
  // One command at most: a word of its own that reads like another command stays its word.
  koln.require_subcommand(0, 1);
  CLI::App& discover = *koln.add_subcommand("discover", "find out what a server holds");
  discover.require_subcommand(0, 1);
  return {
      discoverDatabases(discover, options),
      discoverMailboxes(discover, options),
      discoverAdditional(discover, options),
      info(koln, options),
      locate(koln, options),
      console(koln, options),
      offline(koln, options),
      online(koln, options),
      repair(koln, options),
      show(koln, options),
      views(koln, options),
      index(koln, options),
      notes(koln, options),
      archive(koln, options),
      survey(koln, options),
      backup(koln, options),
      restore(koln, options),
      exportNotes(koln, options),
      importNotes(koln, options),
      doctor(koln, options),
  };
}

void addReportOptions(CLI::App& command, Options& options) {
  command.add_flag("--json", options.json, "one JSON object a line");
  command.add_flag("--short", options.shortForm, "path and title only");
}

void addDatabaseArgument(CLI::App& command, std::string& path) {
  command.add_option("DB", path, "the database, relative to the data directory or absolute")
      ->type_name("")
      ->required()
      ->check(CLI::Validator(
          [](const std::string& text) {
            return text.empty() ? std::string("the path of the database is empty") : std::string();
          },
          ""));
}

}  // namespace host
