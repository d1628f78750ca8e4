// The command `koln discover mailboxes`: the mail files that the server's directory names, all of
// them reported as databases are, or the paths of those of some departments.
#include <fmt/format.h>
#include <koln.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Commands.h"
#include "Console.h"
#include "NotesFailure.h"
#include "Report.h"
#include "Session.h"
#include "Translation.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(Without a department every mail file is opened and reported with its title and
replica ID; one that does not exist is named on stderr (exit code 3). With
departments only the directory is asked, and the paths that it names are printed.

Examples:
  koln discover mailboxes --with-names --json | jq -r '.owner + " " + .path'
  koln discover mailboxes --department Sales --department 'Köln Büro'
  koln discover mailboxes --without-department Legal --json

A JSON line holds path, title, view, replicaId and extra, with --with-names owner
in the place of extra, with --short path and title, with departments path.
)";

constexpr Report::Things mailFiles = {"mail file", "mail files"};
constexpr std::size_t mostLines = 10;  // A directory can name thousands that are gone.

struct Request {
  bool withNames = false;
  std::vector<std::string> selected;
  std::vector<std::string> filtered;
  bool firstBookOnly = false;
};

std::string directoryOf(const Options& options) {
  return fmt::format("the directory of {}",
                     options.serverName.empty() ? "this server" : options.serverName);
}

// Departments are compared as the directory has them.
std::set<std::string> inLmbcs(const std::vector<std::string>& departments) {
  std::set<std::string> texts;
  for (const std::string& department : departments) {
    texts.insert(lmbcsFromUtf8(department));
  }
  return texts;
}

// The walk returns its own error or that of the last mail file, which has been told already. What
// goes wrong behind the look-up names its function.
bool isOfLookup(const KoLNError& error, const Report& report) {
  return report.missing() == 0 || (error.GetErrorCode() == KoLNError::CustomMessageCode &&
                                   error.GetMessage().find("NAME") != std::string::npos);
}

Failure lookupFailure(const Options& options, const KoLNError& error, std::size_t written) {
  const Failure failure = failureOf(
      directoryOf(options) + (written > 0 ? " could not be read to the end" : " could not be read"),
      error);
  return written > 0 ? Failure(ExitCode::DoneInPart, failure.what()) : failure;
}

ExitCode reportAll(const Options& options, const Request& request) {
  const Columns columns = request.withNames   ? Columns::Owned
                          : options.shortForm ? Columns::Short
                                              : Columns::Long;
  Report report(options.json, columns, mailFiles, mostLines);
  Session session(options, &report);
  report.readLibraryLines();

  KoLNUtilities utilities;
  MailboxLookupStruct lookup = {};
  std::set<std::string> reported;
  const KoLNError error = utilities.DiscoverMailboxes(
      options.serverName, &reported,
      utilities.InitializeMBLookup(lookup, request.withNames, false, false), options.shortForm,
      request.firstBookOnly ? 1 : 0);
  report.end();
  if (error.IsErrorSet() && isOfLookup(error, report)) {
    throw lookupFailure(options, error, report.written());
  }
  report.summary(directoryOf(options));
  return report.result();
}

ExitCode printByDepartment(const Options& options, const Request& request) {
  if (!request.selected.empty() && !request.filtered.empty()) {
    Console::get().line(
        "koln: --department chooses, so --without-department is not looked at; leave one out");
  }
  Report report(options.json, Columns::Path, mailFiles, mostLines);
  Session session(options, &report);

  KoLNUtilities utilities;
  MailboxLookupStruct lookup = {};
  utilities.InitializeMBLookup(lookup, false, true, !request.filtered.empty());
  lookup.selectedDepartments = inLmbcs(request.selected);
  lookup.filteredDepartments = inLmbcs(request.filtered);
  std::set<std::string> found;
  const KoLNError error = utilities.DiscoverMailboxes(options.serverName, &found, lookup,
                                                      request.firstBookOnly ? 1 : 0);
  if (error.IsErrorSet() && !report.mustStop()) {
    throw lookupFailure(options, error, 0);
  }
  for (const std::string& path : found) {
    if (report.mustStop() || !report.writePath(utf8FromLmbcs(path))) {
      break;
    }
  }
  report.end();
  report.summary(directoryOf(options));
  return report.result();
}

}  // namespace

Command discoverMailboxes(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("mailboxes", "the mail files of the persons in the server's directory");
  words->footer(footer);
  addReportOptions(*words, options);
  const auto request = std::make_shared<Request>();
  CLI::Option* const withNames =
      words->add_flag("--with-names", request->withNames, "with the owner of each")
          ->excludes("--short");
  for (CLI::Option* const option :
       {words->add_option("--department", request->selected, "only of this department"),
        words->add_option("--without-department", request->filtered,
                          "not of this department; not looked at beside --department")}) {
    option->type_name("NAME")->allow_extra_args(false)->excludes(withNames);
  }
  words->add_flag("--first-book-only", request->firstBookOnly, "look into one address book only");
  return {words, [&options, request] {
            const bool all = request->selected.empty() && request->filtered.empty();
            return all ? reportAll(options, *request) : printByDepartment(options, *request);
          }};
}

}  // namespace host
