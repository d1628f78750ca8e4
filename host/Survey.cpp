// The command `koln survey`: what archiving would save, in some mailboxes or in all.
#include <fmt/format.h>
#include <koln.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Amounts.h"
#include "Commands.h"
#include "Interrupt.h"
#include "NoteArgument.h"
#include "NotesFailure.h"
#include "OneByOne.h"
#include "Session.h"
#include "SurveyPage.h"
#include "Translation.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(A note counts as archived under the conditions of 'koln archive': it was delivered (or
posted) longer ago than AGE, has been read, and is no stub. Its age is that; one without
such a date counts as new. Nothing is changed.

What would be freed is estimated, from each note: the bytes of its body, its sealed fields
and its attachments (the size of the files, but no more than the note has), less 1,400 bytes
for what the stub gets: as much as a link as URL takes, more than the others. The file of a
database shrinks when it is compacted.

  koln survey mail/anna.nsf mail/zori.nsf --older-than 2y
  koln survey --all --html survey.html --json >survey.jsonl

A line for each mailbox says what of it is older than AGE; then come the sums by age and by
size, each as if all of the class were archived. With --json one object a line for each
mailbox and a last one for the sum ("mailboxes", "unreadable"), with "notes", "bytes" (of
all notes), "candidates", "candidateBytes" (of those that may be archived), "freed", and
again so in "old", "byAge" and "bySize". FILE is written by the partition's user.
)";

struct Words {
  std::vector<std::string> databases;
  bool all = false;
  std::string olderThan = "1y";
  bool unread = false;
  std::string page;
};

// The paths as directories have them may be those of another system.
std::set<std::string> mailFiles(const Options& options) {
  KoLNUtilities utilities;
  MailboxLookupStruct lookup = {};
  std::set<std::string> found;
  const KoLNError error = utilities.DiscoverMailboxes(
      options.serverName, &found, utilities.InitializeMBLookup(lookup, false, false, false), 0);
  if (error.IsErrorSet()) {
    throw failureOf("the directory could not be read", error);
  }
  std::set<std::string> paths;
  for (const std::string& name : found) {
    std::string path = utf8FromLmbcs(name);
    std::replace(path.begin(), path.end(), '\\', '/');
    paths.insert(path);
  }
  return paths;
}

SurveyLimits limitsOf(const Words& words) {
  if (words.databases.empty() && !words.all) {
    throw Failure(ExitCode::WrongUsage,
                  "no database is named; name some, or write --all for all mail files that the "
                  "address books name");
  }
  return {words.olderThan, secondsFromAge(words.olderThan), words.unread};
}

ExitCode run(const Options& options, const Words& words) {
  const SurveyLimits limits = limitsOf(words);
  const std::string file =
      words.page.empty() ? "" : std::filesystem::absolute(words.page).lexically_normal().string();
  Session session(options);
  std::optional<SurveyPage> page;
  if (!file.empty()) {
    page.emplace(file, options.serverName.empty() ? options.dataDirectory : options.serverName,
                 limits);
  }
  // Each but once: the sums count notes.
  const std::set<std::string> named =
      words.all ? mailFiles(options)
                : std::set<std::string>(words.databases.begin(), words.databases.end());
  const std::vector<std::string> paths(named.begin(), named.end());
  SizeFormula formula;
  Complaints complaints;
  SurveyTable table(options.json, limits);
  SurveyTotal total;
  const ExitCode result = oneByOne(paths.size(), "database", [&](std::size_t i) {
    const std::string& path = paths[i];
    if (words.all && path.find(':') != std::string::npos) {
      throw Failure(ExitCode::Failed, path + " is left out: it is none of this server's paths");
    }
    KoLNDatabase database(path, session.instance());
    openDatabase(database, path);
    const SurveyedMailbox mailbox =
        surveyed(database, path, limits, formula, complaints,
                 fmt::format("{} of {}", i + 1, counted(paths.size(), "database")));
    table.add(mailbox);
    if (page) {
      page->add(mailbox);
    }
    total.sums += mailbox.sums;
    ++total.mailboxes;
  });
  total.unreadable = paths.size() - total.mailboxes;
  if (total.mailboxes == 0 && result != ExitCode::Done) {
    return result;
  }
  table.end(total);
  if (page) {
    if (interruptRequested()) {
      throw Failure(ExitCode::Interrupted, "interrupted; no page is written");
    }
    page->write(total);
  }
  return result == ExitCode::Done ? complaints.result() : result;
}

}  // namespace

Command survey(CLI::App& parent, Options& options) {
  CLI::App* const command = parent.add_subcommand(
      "survey", "what archiving would save, by age and size of the notes; also as a page");
  command->footer(footer);
  const auto words = std::make_shared<Words>();
  CLI::Option* const databases = command
                                     ->add_option("DB", words->databases,
                                                  "databases, relative to the data directory or "
                                                  "absolute")
                                     ->type_name("");
  command->add_flag("--all", words->all, "all mail files that the address books name")
      ->excludes(databases);
  command->add_option("--older-than", words->olderThan, "age from which notes would be archived")
      ->type_name("AGE")
      ->capture_default_str();
  command->add_flag("--unread", words->unread, "as if unread notes were archived too");
  command->add_option("--html", words->page, "write a page for people to FILE")
      ->type_name("FILE")
      ->check([](const std::string& file) { return file.empty() ? "FILE is empty" : ""; });
  command->add_flag("--json", options.json, "one JSON object a line");
  return {command, [&options, words] { return run(options, *words); }};
}

}  // namespace host
