// NSFRemoteConsole: a command for the server, and the text that it answers. The simulated server
// has the commands that show something; it has nothing that others would change.
#include <algorithm>
#include <array>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Clock.h"
#include "DatabasePath.h"
#include "Databases.h"
#include "Environment.h"
#include "Export.h"
#include "InfoBuffer.h"
#include "Memory.h"
#include "ServerName.h"
#include "Text.h"

namespace simulator {

namespace {

std::string line(std::string_view name, std::string_view value) {
  std::string text(name);
  text.resize(std::max<std::size_t>(text.size() + 1, 24), ' ');
  return text.append(value) + "\n";
}

std::string now() {
  TIMEDATE time = currentTime();
  std::array<char, MAXALPHATIMEDATE + 1> text = {};
  WORD length = 0;
  ConvertTIMEDATEToText(nullptr, nullptr, &time, text.data(), MAXALPHATIMEDATE, &length);
  return {text.data(), length};
}

// ---- the commands: UTF-8 in and out -------------------------------------------------------------

std::string help(const std::string& argument);

std::string showServer(const std::string&) {
  return line("Server name:", abbreviatedName(serverName())) +
         line("Domain:", iniVariable("Domain").value_or("")) +
         line("Server directory:", dataDirectory()) + line("Server time:", now() + " GMT") +
         line("Open databases:", std::to_string(openPaths().size()));
}

std::string showTasks(const std::string&) {
  return line("Task", "Description") + "\n" + line("Database Server", "Perform console commands") +
         line("Database Server", "Listen for connect requests on TCPIP") +
         line("Admin Process", "Idle") + line("Router", "Idle") + line("Replicator", "Idle") +
         line("Indexer", "Idle");
}

std::string showUsers(const std::string&) {
  const std::vector<std::string> paths = openPaths();
  if (paths.empty()) return "There are no users\n";
  std::string text = line("User Name", "Databases Open") + "\n";
  for (const std::string& path : paths)
    text += line(abbreviatedName(serverName()), apiPath(path).empty() ? path : apiPath(path));
  return text;
}

std::string showDatabase(const std::string& argument) {
  if (argument.empty()) return "Name a database, for example: show database names.nsf\n";
  DBHANDLE handle = NULLHANDLE;
  const STATUS status = NSFDbOpen(utf8ToLmbcs(argument).c_str(), &handle);
  std::string text;
  const STATUS shown = status != NOERROR ? status : statusOf([&] {
    const StoreLease store = requireStore(handle);
    const SpaceUsage space = store->space();
    text = line("Database:", argument) +
           line("Title:", lmbcsToUtf8(infoPart(store->properties().info, INFOPARSE_TITLE))) +
           line("Size:", std::to_string((space.used + space.free) / 1024) + " K") +
           line("Documents:", std::to_string(store->notes(NOTE_CLASS_DOCUMENT).size()));
  });
  if (status == NOERROR) NSFDbClose(handle);
  if (shown == NOERROR) return text;
  std::array<char, 256> message = {};
  OSLoadString(0, shown, message.data(), message.size() - 1);
  return argument + ": " + lmbcsToUtf8(message.data()) + "\n";
}

struct Command {
  std::vector<std::string_view> words;
  std::string_view use;
  std::string (*run)(const std::string& argument);
};

const std::vector<Command>& commands() {
  static const std::vector<Command> all = {
      {{"help"}, "Help: the commands of this server", &help},
      {{"show", "database"}, "Show Database file: title, size and documents", &showDatabase},
      {{"show", "server"}, "Show Server: name, directory and time", &showServer},
      {{"show", "tasks"}, "Show Tasks: what the server is doing", &showTasks},
      {{"show", "users"}, "Show Users: who has which databases open", &showUsers},
  };
  return all;
}

std::string help(const std::string&) {
  std::string text;
  for (const Command& command : commands()) text.append(command.use) += "\n";
  return text;
}

// ---- finding the command ------------------------------------------------------------------------

// The words of a command may be cut short as long as they fit no other.
bool fits(const Command& command, const std::vector<std::string>& typed) {
  if (typed.size() < command.words.size()) return false;
  for (std::size_t i = 0; i < command.words.size(); ++i) {
    if (!sameName(typed[i], command.words[i].substr(0, typed[i].size()))) return false;
  }
  return true;
}

std::string answer(const std::string& typed) {
  std::istringstream stream(typed);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  if (words.empty()) return {};
  std::vector<const Command*> fitting;
  for (const Command& command : commands()) {
    if (fits(command, words)) fitting.push_back(&command);
  }
  if (fitting.size() != 1) {
    return "\"" + typed + "\" is " + (fitting.empty() ? "no command" : "more than one command") +
           " of this server. Help lists them.\n";
  }
  std::string argument;
  for (std::size_t i = fitting.front()->words.size(); i < words.size(); ++i)
    argument += (argument.empty() ? "" : " ") + words[i];
  return fitting.front()->run(argument);
}

}  // namespace

}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFRemoteConsole(char* ServerName, char* ConsoleCommand, DHANDLE* hResponseText) {
  if (!hResponseText) return ERR_BAD_PARAM;
  *hResponseText = NULLHANDLE;
  return statusOf([&] {
    if (!isThisServer(ServerName)) throw StatusError(ERR_NO_SERVER_ACCESS, "no such server");
    if (!ConsoleCommand) throw StatusError(ERR_BAD_PARAM, "no command");
    const auto prepared = iniVariable("SimConsoleAnswer");
    const std::string text =
        utf8ToLmbcs(prepared ? *prepared : answer(lmbcsToUtf8(ConsoleCommand)));
    *hResponseText = allocateBytes(text.c_str(), text.size() + 1);
    if (*hResponseText == NULLHANDLE) throw std::bad_alloc();
  });
}
