#include "Options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

#include "Commands.h"
#include "Output.h"

namespace host {
namespace {

constexpr const char* description =
    "koln works with the databases of a Domino server on this machine, through libkoln.\n"
    "It loads the server's Notes runtime, becomes the server's Unix user and asks.";

constexpr const char* footer = R"(Examples:
  # The databases of one partition. Root's rights are needed to become its user;
  # sudo clears LD_LIBRARY_PATH, so it is set behind sudo.
  sudo env LD_LIBRARY_PATH=/opt/domino/notes/latest/linux \
      koln --data /local/notesdata discover databases

  # One JSON object a line, here the paths only.
  koln --data /local/notesdata discover databases --json | jq -r .path

  # What stands between koln and the server, and what to do about it.
  koln --data /local/notesdata doctor

  # Without a server: make a simulated one, which shows the line to run next.
  koln-simulate create /tmp/partition --mailboxes 20 --notes 10 --seed 1

Environment:
  KOLN_DATA       data directory, if neither --data nor --instance is given
  KOLN_CONFIG     configuration file, if --config is not given
  KOLN_DEBUG_LOG  debug log, if --debug-log is not given
  KOLN_FOCUS      name of the configuration context in the debug log
  LD_LIBRARY_PATH, PATH
                  must be set; the library adds the server's directories
  NO_COLOR        set: no colours and no bold heading on a terminal

Exit codes:
  0 done           1 failed                2 wrong usage
  3 done in part: some database or note was left out, stderr names it
  4 the Notes runtime was not loaded       5 access denied
  130 interrupted
)";

constexpr char delimiter = 0x12;

std::string namedInstance(std::string name) {
  constexpr std::string_view caret = "^R";
  if (name.find(delimiter) == std::string::npos) {
    const std::size_t place = name.find(caret);
    if (place == std::string::npos) {
      throw Failure(ExitCode::WrongUsage,
                    fmt::format("the instance name '{}' has no delimiter; write ^R between its "
                                "prefix and the data directory, as in 'Domino^R/local/notesdata'",
                                name));
    }
    name.replace(place, caret.size(), 1, delimiter);
  }
  return name;
}

// Partitions are registered under absolute paths without a slash at the end.
std::string registeredForm(const std::string& directory) {
  if (directory.empty()) {
    throw Failure(ExitCode::WrongUsage,
                  "the data directory is empty; name the partition with --data DIR");
  }
  std::string path = std::filesystem::absolute(directory).lexically_normal().string();
  while (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

std::string withoutSlash(std::string path) {
  if (!path.empty() && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

void nameInstance(Options& options, const CLI::Option& data, const CLI::Option& instance) {
  if (instance.count() > 0) {
    options.instanceName = namedInstance(options.instanceName);
    options.dataDirectory =
        withoutSlash(options.instanceName.substr(options.instanceName.find(delimiter) + 1));
    return;
  }
  if (data.count() == 0) {
    const char* const directory = std::getenv("KOLN_DATA");
    if (directory == nullptr || *directory == '\0') {
      throw Failure(ExitCode::WrongUsage,
                    "no partition is named; give its data directory with --data DIR or KOLN_DATA");
    }
    options.dataDirectory = directory;
  }
  options.dataDirectory = registeredForm(options.dataDirectory);
  options.instanceName = fmt::format("Domino{}{}", delimiter, options.dataDirectory);
}

Failure wrongUsage(const CLI::App& app, const CLI::ParseError& error) {
  std::string line = error.what();
  std::replace(line.begin(), line.end(), '\n', ' ');
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {  // Which has them backwards.
    line = fmt::format("not expected: {}", fmt::join(app.remaining(true), " "));
  }
  std::string command = "koln";
  for (const CLI::App* words = &app; !words->get_subcommands().empty();) {
    words = words->get_subcommands().front();
    command += ' ' + words->get_name();
  }
  return {ExitCode::WrongUsage, fmt::format("{}; '{} --help' shows the usage", line, command)};
}

}  // namespace

std::function<ExitCode()> parseCommandLine(int argc, char** argv, Options& options) {
  CLI::App app(description, "koln");
  app.fallthrough();
  app.get_formatter()->column_width(22);
  app.set_version_flag("--version", "koln " KOLN_VERSION);
  CLI::Option* const data =
      app.add_option("--data", options.dataDirectory, "data directory of the partition")
          ->type_name("DIR");
  CLI::Option* const instance =
      app.add_option("--instance", options.instanceName,
                     "instead of --data: a whole instance name, a prefix and the data directory "
                     "with ^R (0x12) between")
          ->type_name("NAME")
          ->excludes(data);
  app.add_option("--key", options.registryKey, "configuration key of the instance")
      ->type_name("KEY")
      ->capture_default_str();
  app.add_option("--server", options.serverName, "name of the server, as in CN=Mail/O=Org")
      ->type_name("NAME");
  const CLI::Validator notEmpty(
      [](const std::string& text) { return text.empty() ? "the name is empty" : std::string(); },
      "");
  app.add_option("--config", options.configurationFile, "configuration file")
      ->type_name("FILE")
      ->check(notEmpty);
  app.add_option("--debug-log", options.debugLog,
                 "where all detail goes: a file, stderr, or none (default)")
      ->type_name("FILE")
      ->check(notEmpty);
  app.add_option("--log-level", options.logLevel,
                 "which lines of the library go to stderr: -1 errors only, 0 ordinary ones too, "
                 "up to 4 everything")
      ->type_name("N")
      ->check(CLI::Range(-1, 4).description(""))
      ->capture_default_str();

  const std::vector<Command> commands = addCommands(app, options);
  app.footer(footer);  // Only now: the commands would have it as well.

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {  // Help or version.
    std::ostringstream text;
    app.exit(asked, text, text);
    writeResult(text.str());
    return nullptr;
  } catch (const CLI::ParseError& error) {
    throw wrongUsage(app, error);
  }
  const auto given = std::find_if(commands.begin(), commands.end(),
                                  [](const Command& command) { return command.words->parsed(); });
  if (given == commands.end()) {  // Checked here: the parser would not get to naming a wrong word.
    throw Failure(ExitCode::WrongUsage,
                  "it is not said what to do; write for example 'koln --data DIR discover "
                  "databases', or 'koln --help' for more");
  }
  nameInstance(options, *data, *instance);
  if (!options.configurationFile.empty()) {
    options.configurationFile = std::filesystem::absolute(options.configurationFile).string();
  }
  return given->run;
}

}  // namespace host
