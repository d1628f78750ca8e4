// The command `koln discover additional`: the databases below further directories.
#include <fmt/format.h>
#include <koln.h>

#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Commands.h"
#include "Console.h"
#include "Log.h"
#include "NotesFailure.h"
#include "Report.h"
#include "Session.h"
#include "Translation.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(A directory stands relative to the data directory, or absolute. One that cannot be
searched is named on stderr, and the others are searched (exit code 3).

Example:
  koln discover additional apps archive --json
)";

// The library takes several directories in one text with this between them, and ends at the first
// that it cannot search. So each is handed over alone: the others are not to be lost.
constexpr char separator = '?';

void refuseBad(const std::vector<std::string>& directories) {
  for (const std::string& directory : directories) {
    if (directory.empty()) {
      throw Failure(ExitCode::WrongUsage,
                    "a directory is empty; leave it out or name one, as in 'koln discover "
                    "additional apps'");
    }
    if (directory.find(separator) != std::string::npos) {
      throw Failure(ExitCode::WrongUsage,
                    fmt::format("the directory {} holds a \"?\", which parts directories; rename "
                                "it or name the one above it",
                                directory));
    }
  }
}

class Search {
 public:
  Search(const Options& options, Report& report) : options_(options), report_(report) {}

  // Counts what there is. What cannot be opened is told and left out: the library would end there.
  std::vector<std::string> open(const std::vector<std::string>& directories) {
    std::vector<std::string> opened;
    std::size_t total = 0;
    for (const std::string& directory : directories) {
      unsigned long count = 0;
      const KoLNError error =
          utilities_.CountAdditionalDatabases(options_.serverName, directory, &count, false);
      if (error.IsErrorSet()) {
        tell(failureOf(fmt::format("{} is not searched", directory), error));
        continue;
      }
      total += count;
      opened.push_back(directory);
    }
    report_.expect(total);
    return opened;
  }

  void run(const std::vector<std::string>& directories) {
    for (const std::string& directory : directories) {
      std::string native = nativeFromUtf8(directory);
      const bool searched =
          utilities_.GetAdditionalDatabases(&reported_, &native, true, options_.shortForm);
      if (report_.mustStop()) {
        return;
      }
      searchedAny_ = searchedAny_ || searched;
      if (!searched) {
        tell({ExitCode::Failed,
              fmt::format("{} could not be searched to the end: {}; give the partition's user "
                          "access to all of it",
                          directory, utf8FromLmbcs(errorTextOf(lastLogLine())))});
      }
    }
  }

  ExitCode result() const {
    if (failed_ == ExitCode::Done) {
      return report_.result();
    }
    return report_.written() > 0 || searchedAny_ ? ExitCode::DoneInPart : failed_;
  }

 private:
  void tell(const Failure& failure) {
    failed_ = failure.code();
    Console::get().line(std::string("koln: ") + failure.what());
  }

  const Options& options_;
  Report& report_;
  KoLNUtilities utilities_;
  std::set<std::string> reported_;
  ExitCode failed_ = ExitCode::Done;
  bool searchedAny_ = false;
};

ExitCode run(const Options& options, const std::vector<std::string>& directories) {
  refuseBad(directories);
  Report report(options.json, options.shortForm ? Columns::Short : Columns::Long,
                {"database", "databases"}, std::numeric_limits<std::size_t>::max());
  Session session(options, &report);
  Search search(options, report);
  const std::vector<std::string> opened = search.open(directories);
  report.readLibraryLines();
  search.run(opened);
  report.end();
  report.summary(fmt::format("{}", fmt::join(opened, ", ")));
  return search.result();
}

}  // namespace

Command discoverAdditional(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("additional", "the databases below further directories");
  words->footer(footer);
  addReportOptions(*words, options);
  const auto directories = std::make_shared<std::vector<std::string>>();
  words->add_option("DIR", *directories, "directories")->type_name("...")->required();
  return {words, [&options, directories] { return run(options, *directories); }};
}

}  // namespace host
