// The command `koln console`: a command for the server's console, and its answer.
#include <fmt/format.h>
#include <koln.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Commands.h"
#include "Console.h"
#include "NotesFailure.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "Translation.h"

namespace host {
namespace {

constexpr const char* footer = R"(Example:
  koln --server CN=Mail/O=Org console show tasks

The words are joined with blanks; put -- before them if one begins with a dash.
)";

// As a terminal may see it, the layout kept.
std::string shownAnswer(std::string_view answer) {
  std::string text;
  while (!answer.empty()) {
    const std::size_t end = answer.find_first_of("\t\r\n");
    text += shown(answer.substr(0, end));
    if (end == std::string_view::npos) {
      break;
    }
    const bool lineEnd = answer.substr(end).starts_with("\r\n");
    if (!lineEnd) {
      text += answer[end] == '\r' ? '\n' : answer[end];
    }
    answer.remove_prefix(end + 1);
  }
  if (!text.empty() && text.back() != '\n') {
    text += '\n';
  }
  return text;
}

ExitCode run(const Options& options, const std::vector<std::string>& words) {
  Session session(options);
  std::string command = lmbcsFromUtf8(fmt::format("{}", fmt::join(words, " ")));
  // As large as an answer can be told to be: to ask again would be to do it again.
  std::string answer(std::size_t{MAXWORD} + 1, '\0');
  unsigned short length = MAXWORD;
  const STATUS status = session.instance().RemoteCommand(command.data(), answer.data(), &length);
  if (status != NOERROR) {
    KoLNError error;
    error.SetErrorCode(status);
    throw failureOf("the server did not take the command", error);
  }
  answer.resize(length);
  writeResult(shownAnswer(utf8FromLmbcs(answer)));
  if (length == MAXWORD) {
    Console::get().line(fmt::format(
        "koln: the answer may be longer than the {} bytes shown; ask for less", length));
  }
  return ExitCode::Done;
}

}  // namespace

Command console(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("console", "send a command to the server and print its answer");
  words->footer(footer);
  const auto command = std::make_shared<std::vector<std::string>>();
  words->add_option("COMMAND", *command, "the command, as it is typed at the console")
      ->type_name("...")
      ->required();
  return {words, [&options, command] { return run(options, *command); }};
}

}  // namespace host
