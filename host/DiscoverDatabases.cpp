// The command `koln discover databases`: every database of the partition on stdout, and what cannot
// be reported on stderr.
#include <fmt/format.h>
#include <koln.h>

#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <set>
#include <string>

#include "Commands.h"
#include "NotesFailure.h"
#include "Report.h"
#include "Session.h"
#include "Translation.h"

// What the library passes through to the routine below: the state of the walk.
struct DocSummary_type {
  host::Report& report;
  std::exception_ptr broken = nullptr;
};

namespace host {
namespace {

constexpr const char* footer =
    R"(The options that name the partition ('koln --help' lists them) may stand here too:
  koln discover databases --data /local/notesdata --json

A JSON line holds path (relative to the data directory), title, view, replicaId
and extra; with --short it holds path and title.
)";

std::string reasonNotReported(const KoLNError& error) {
  if (!error.IsErrorSet()) {
    return "the library takes a path with \":\" for one outside the data directory; rename it";
  }
  if (error.GetMessage() == "OSTranslate failed on DBTitle") {
    return "it has no title; give it one";
  }
  return fmt::format("{}; {}", described(error), remedy(error));
}

void take(DocSummary_type& walk, const SEARCH_MATCH& match, const ITEM_TABLE* summary) {
  if ((match.SERetFlags & SE_FMATCH) == 0) {
    return;
  }
  KoLNUtilities utilities;
  std::string path;
  if (utilities.GetSummaryValue(summary, "$Path", path) == FALSE || path.empty()) {
    walk.report.notReported("", "the runtime does not give its path");
    return;
  }
  const std::string name = utf8FromLmbcs(path);  // Before the call: it changes the path in place.
  const std::size_t before = walk.report.written();
  // A fresh set for every database: the walk comes to each file once, and a common set would leave
  // out "a.nsf.nsf" after "a.nsf".
  std::set<std::string> reported;
  const KoLNError error =
      utilities.ProcessDatabase(path.data(), "", &reported, walk.report.shortForm());
  if (walk.report.written() == before) {
    walk.report.notReported(name, reasonNotReported(error));
  }
}

// Called by the runtime, which knows no exceptions.
STATUS onDatabase(void* context, SEARCH_MATCH* match, ITEM_TABLE* summary) {
  auto& walk = *static_cast<DocSummary_type*>(context);
  try {
    if (walk.report.mustStop()) {
      return ERR_CANCEL;
    }
    SEARCH_MATCH found;  // The runtime's own may lie at any address.
    std::memcpy(&found, match, sizeof found);
    take(walk, found, summary);
    return walk.report.mustStop() ? ERR_CANCEL : NOERROR;
  } catch (...) {
    walk.broken = std::current_exception();
    return ERR_CANCEL;
  }
}

ExitCode run(const Options& options) {
  constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();
  Report report(options.json, options.shortForm ? Columns::Short : Columns::Long,
                {"database", "databases"}, noLimit);
  Session session(options, &report);
  DocSummary_type walk{report};

  KoLNInstance* instance = &session.instance();
  const KoLNError error = KoLNUtilities().DiscoverDatabases(&instance, &walk, onDatabase);
  report.end();
  if (walk.broken) {
    std::rethrow_exception(walk.broken);
  }

  const std::string directory = instance->GetDataDirectory();
  if (error.IsErrorSet()) {
    const bool inPart = report.written() > 0;
    const ExitCode code = inPart                 ? ExitCode::DoneInPart
                          : isAccessError(error) ? ExitCode::AccessDenied
                                                 : ExitCode::Failed;
    throw Failure(code,
                  fmt::format("{} could not be searched{}: {}; check the directory and the rights "
                              "of the partition's user",
                              directory, inPart ? " to the end" : "", described(error)));
  }
  report.summary(directory);
  return report.result();
}

}  // namespace

Command discoverDatabases(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand(
      "databases", "all databases below the data directory, with title and replica ID");
  words->footer(footer);
  addReportOptions(*words, options);
  return {words, [&options] { return run(options); }};
}

}  // namespace host
