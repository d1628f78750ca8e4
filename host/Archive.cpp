// The command `koln archive`: moves old notes of a database into files and leaves stubs behind.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include "Amounts.h"
#include "ArchiveRun.h"
#include "Commands.h"
#include "NoteArgument.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(A note is archived when it was delivered (or posted) longer ago than AGE, is larger
than SIZE, and has been read. Its copy is DIR/REPLICA/UNID.dxl, which 'koln import'
takes back; REPLICA is the replica ID of the database with "-" for ":". In the database
stays a stub: the fields, the names of the attachments and a link to URL/REPLICA/UNID.dxl.
DIR/REPLICA/manifest.jsonl lists the copies.

The run may be stopped or killed at any moment: the same command goes on from there and
checks all copies that are in DIR/REPLICA. Stub and copy are never out of step: first
the copy is on the disk, then the note becomes a stub.

  koln archive mail/anna.nsf --older-than 1y --dry-run
  koln archive mail/anna.nsf --older-than 1y --larger-than 100K \
      --to /backup/notes --link url --base-url https://archive.example.org/notes

AGE is 90d, 12w, 6m (months of 30 days) or 2y (years of 365 days), SIZE 100K, 5M or
bytes. With --json one object a line for each note, as in the manifest (with --dry-run:
noteId, unid, ageSeconds, bytes, attachments, subject), and a last one with the sums.
)";

struct Words {
  std::string database;
  std::string olderThan;
  std::string largerThan;
  bool unread = false;
  std::string directory;
  std::string link;
  std::string baseUrl;
  bool dryRun = false;
};

std::string checkedBaseUrl(std::string url) {
  while (!url.empty() && url.back() == '/') {
    url.pop_back();
  }
  const bool plain = std::all_of(url.begin(), url.end(), [](unsigned char c) {
    return c > ' ' && c < 0x7F &&
           std::string("\"<>\\^`{|}").find(static_cast<char>(c)) == std::string::npos;
  });
  constexpr std::size_t behindIt = 60;  // Slashes, replica ID, UNID and suffix.
  if (!plain || url.find("://") == std::string::npos || url.size() > longestUrl - behindIt) {
    throw Failure(ExitCode::WrongUsage,
                  fmt::format("'{}' cannot be the beginning of a link; write a URL of at most {} "
                              "ASCII characters, as in https://archive.example.org/notes",
                              url.substr(0, 100), longestUrl - behindIt));
  }
  return url;
}

ArchiveRequest requestOf(const Words& words) {
  ArchiveRequest request;
  request.database = words.database;
  request.olderThan = secondsFromAge(words.olderThan);
  if (!words.largerThan.empty()) {
    request.largerThan = bytesFromSize(words.largerThan);
  }
  request.unread = words.unread;
  if (words.dryRun) {
    return request;
  }
  if (words.directory.empty() || words.link.empty() || words.baseUrl.empty()) {
    throw Failure(ExitCode::WrongUsage,
                  "to archive, --to, --link and --base-url are required; --dry-run only shows what "
                  "would be archived");
  }
  request.directory = std::filesystem::absolute(words.directory).lexically_normal().string();
  request.link = words.link == "url"      ? LinkKind::Url
                 : words.link == "button" ? LinkKind::Button
                                          : LinkKind::Mime;
  request.baseUrl = checkedBaseUrl(words.baseUrl);
  return request;
}

void writeJson(const Json& object) {
  writeResult(object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
}

std::string skipped(const ArchiveTally& tally) {
  return fmt::format("skipped   {} too young, {} unread, {} too small, {} archived before\n",
                     tally.young, tally.unread, tally.small, tally.stubs);
}

void writeSummary(const ArchiveTally& tally, bool json) {
  if (json) {
    return writeJson({{"archived", tally.archived},
                      {"completed", tally.completed},
                      {"young", tally.young},
                      {"unread", tally.unread},
                      {"small", tally.small},
                      {"stubs", tally.stubs},
                      {"failed", tally.failed},
                      {"bytesBefore", tally.bytesBefore},
                      {"bytesAfter", tally.bytesAfter}});
  }
  std::string text =
      fmt::format("archived  {}, {} before, {} after\n", counted(tally.archived, "note"),
                  readableSize(tally.bytesBefore), readableSize(tally.bytesAfter));
  if (tally.completed > 0) {
    text +=
        fmt::format("completed {} of a run that was cut short\n", counted(tally.completed, "note"));
  }
  text += skipped(tally);
  if (tally.failed > 0) {
    text += fmt::format("failed    {}\n", tally.failed);
  }
  writeResult(text);
}

ExitCode resultOf(const ArchiveTally& tally) {
  return tally.failed == 0 ? ExitCode::Done : ExitCode::DoneInPart;
}

ExitCode list(KoLNDatabase& database, const ArchiveRequest& request, bool json) {
  constexpr std::uint64_t day = std::uint64_t{24} * 60 * 60;
  ArchiveTally tally;
  SizeFormula formula;
  const bool quiet = isatty(STDERR_FILENO) == 0 || isatty(STDOUT_FILENO) == 1;
  const auto ignore = [](NOTEID, const NoteFacts&) {};
  std::uint64_t notes = 0;
  std::uint64_t bytes = 0;
  ArchiveSelection(database, request, tally)
      .visit(
          formula, quiet,
          [&](NOTEID id, const NoteFacts& facts) {
            bytes += facts.size;
            if (json) {
              writeJson({{"noteId", textFromNoteId(id)},
                         {"unid", facts.unid},
                         {"ageSeconds", facts.age},
                         {"bytes", facts.size},
                         {"attachments", facts.attachments.size()},
                         {"subject", facts.subject}});
            } else {
              if (notes == 0) {
                writeResult("NOTE ID        AGE        SIZE  FILES  SUBJECT\n");
              }
              writeResult(fmt::format("{}  {:>6} d  {:>10}  {:>5}  {}\n", textFromNoteId(id),
                                      facts.age / day, shortSize(facts.size),
                                      facts.attachments.size(), shown(facts.subject)));
            }
            ++notes;
          },
          ignore);
  if (json) {
    writeJson({{"notes", notes},
               {"bytes", bytes},
               {"young", tally.young},
               {"unread", tally.unread},
               {"small", tally.small},
               {"stubs", tally.stubs},
               {"failed", tally.failed}});
  } else {
    writeResult(fmt::format("to do     {}, {}\n{}", counted(notes, "note"), readableSize(bytes),
                            skipped(tally)));
  }
  return resultOf(tally);
}

ExitCode run(const Options& options, const Words& words) {
  const ArchiveRequest request = requestOf(words);
  Session session(options);
  KoLNDatabase database(request.database, session.instance());
  openDatabase(database, request.database);
  if (words.dryRun) {
    return list(database, request, options.json);
  }
  // An interrupt waits for the end of the note in hand, however large that is; a second one does
  // not.
  std::signal(SIGALRM, SIG_IGN);
  ArchiveTally tally;
  ArchiveRun archiveRun(database, request, tally, [&options](const ManifestLine& line) {
    if (options.json) {
      writeResult(line.json() + '\n');
    }
  });
  try {
    archiveRun.checkFolder();
    archiveRun.archive();
  } catch (const Failure&) {
    writeSummary(tally, options.json);
    throw;
  }
  writeSummary(tally, options.json);
  return resultOf(tally);
}

}  // namespace

Command archive(CLI::App& parent, Options& options) {
  CLI::App* const command =
      parent.add_subcommand("archive", "move old notes into files and leave stubs with a link");
  command->footer(footer);
  const auto words = std::make_shared<Words>();
  addDatabaseArgument(*command, words->database);
  command->add_option("--older-than", words->olderThan, "age from which notes are archived")
      ->type_name("AGE")
      ->required();
  command->add_option("--larger-than", words->largerThan, "only notes larger than this")
      ->type_name("SIZE");
  command->add_flag("--unread", words->unread, "unread notes too");
  command->add_option("--to", words->directory, "where the archive is, or is to be")
      ->type_name("DIR");
  command->add_option("--link", words->link, "what the stub gets: url, button or mime")
      ->type_name("KIND")
      ->check(CLI::IsMember({"url", "button", "mime"}).description(""));
  command->add_option("--base-url", words->baseUrl, "under which URL the files of DIR can be had")
      ->type_name("URL");
  command->add_flag("--dry-run", words->dryRun, "only show what would be archived");
  command->add_flag("--json", options.json, "one JSON object a line");
  return {command, [&options, words] { return run(options, *words); }};
}

}  // namespace host
