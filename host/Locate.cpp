// The command `koln locate`: where the database with a replica ID lies.
#include <fmt/format.h>
#include <koln.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string>

#include "Commands.h"
#include "NotesFailure.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "Translation.h"

namespace host {
namespace {

// Stricter than the library, which takes what `strtoul` takes: a slip must not find another one.
void refuseMalformed(const std::string& id) {
  constexpr std::size_t half = 8;
  const auto hexadecimal = [](unsigned char c) { return std::isxdigit(c) != 0; };
  if (id.size() != 2 * half + 1 || id[half] != ':' ||
      !std::all_of(id.begin(), id.begin() + half, hexadecimal) ||
      !std::all_of(id.begin() + half + 1, id.end(), hexadecimal)) {
    throw Failure(ExitCode::WrongUsage,
                  fmt::format("'{}' is no replica ID; write eight hexadecimal digits, a colon and "
                              "eight again, as in 00257CED:000017A2",
                              id));
  }
}

ExitCode run(const Options& options, const std::string& id) {
  refuseMalformed(id);
  Session session(options);
  std::string path;
  const KoLNError error = KoLNDatabase("", session.instance()).LocateByReplicaID(id, path);
  if ((error.GetErrorCode() & ERR_MASK) == ERR_NOEXIST) {
    throw Failure(
        ExitCode::Failed,
        fmt::format("there is no database with the replica ID {} below {}; 'koln discover "
                    "databases' lists those that are there",
                    id, session.instance().GetDataDirectory()));
  }
  if (isError(error)) {
    throw failureOf("the replica could not be looked for", error);
  }
  writeResult(shown(utf8FromLmbcs(path)) + '\n');
  return ExitCode::Done;
}

}  // namespace

Command locate(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("locate", "the path of the database that has a replica ID");
  const auto id = std::make_shared<std::string>();
  words->add_option("REPLICA-ID", *id, "eight hexadecimal digits, a colon, eight again")
      ->type_name("")
      ->required();
  return {words, [&options, id] { return run(options, *id); }};
}

}  // namespace host
