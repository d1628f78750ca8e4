// NSFSearch: the routine of the host is called for what is found. Here: the files of a directory.
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Clock.h"
#include "DatabasePath.h"
#include "Databases.h"
#include "DirectoryWalk.h"
#include "Export.h"
#include "OfflineMarks.h"
#include "Status.h"
#include "SummaryBuffer.h"
#include "Text.h"

namespace simulator {

namespace {

// Nothing if the file is no database that may and can be read. Not through the cache: a search over
// thousands of files would only throw out of it what is in use.
std::optional<DatabaseProperties> propertiesOf(const FoundFile& file) {
  if (file.directory || isSet(offlineMark(file.path))) return std::nullopt;
  try {
    return Store::open(file.path).properties();
  } catch (const StatusError&) {
    return std::nullopt;
  }
}

struct Match {
  SEARCH_MATCH header = {};
  std::vector<BYTE> summary;
};

Match describe(const FoundFile& file, bool withSummary) {
  Match match;
  match.header.SERetFlags = SE_FMATCH;
  match.header.ID.Note = file.modified;
  if (!withSummary) return match;
  const std::optional<DatabaseProperties> properties = propertiesOf(file);
  if (properties) match.header.ID.File = properties->id;
  SummaryBuilder summary;
  summary.addText("$TITLE", utf8ToLmbcs(file.name));
  summary.addText("$Path", utf8ToLmbcs(apiPath(file.path)));
  summary.addText("$Type", file.directory ? "$DIR" : "$NOTEFILE");
  summary.addText("$Info", properties ? properties->info : std::string());
  summary.addTime("$Modified", file.modified);
  match.summary = summary.build();
  match.header.SummaryLength = static_cast<WORD>(match.summary.size());
  return match;
}

bool earlier(const TIMEDATE& left, const TIMEDATE& right) {
  const auto parts = [](const TIMEDATE& time) {
    return std::make_pair(time.Innards[1] & julianDayMask, time.Innards[0]);
  };
  return parts(left) < parts(right);
}

}  // namespace

}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFSearch(DBHANDLE hDB, FORMULAHANDLE hFormula, char* /*ViewTitle*/,
                            WORD SearchFlags, WORD NoteClassMask, TIMEDATE* Since,
                            NSFSEARCHPROC EnumRoutine, void* EnumRoutineParameter,
                            TIMEDATE* retUntil) {
  std::vector<FoundFile> files;
  STATUS unreadable = NOERROR;
  const STATUS status = statusOf([&] {
    const std::shared_ptr<const OpenDatabase> opened = requireDatabase(hDB);
    if (!EnumRoutine) throw StatusError(ERR_BAD_PARAM, "no routine");
    const bool forFiles = (SearchFlags & SEARCH_FILETYPE) != 0;
    if (forFiles && !opened->directory) throw StatusError(ERR_NOT_DIRECTORY, "not a directory");
    if (!forFiles && opened->directory) throw StatusError(ERR_DIRECTORY, "a directory");
    if (!forFiles) throw StatusError(NotSupportedYet, "search for notes");
    if (hFormula != NULLHANDLE) throw StatusError(NotSupportedYet, "formula on files");
    if (retUntil) *retUntil = currentTime();
    DirectoryWalk walk(NoteClassMask);
    files = walk.run(opened->path);
    unreadable = walk.unreadable();
    if (Since && !isWildcard(*Since))
      std::erase_if(files, [&](const FoundFile& file) { return earlier(file.modified, *Since); });
  });
  if (status != NOERROR) return status;

  // No lock is held and nothing is caught while the host's routine runs: it may open what it was
  // told of, and its exceptions are its own.
  for (const FoundFile& file : files) {
    Match match;
    const STATUS described =
        statusOf([&] { match = describe(file, (SearchFlags & SEARCH_SUMMARY) != 0); });
    if (described != NOERROR) return described;
    auto* summary = reinterpret_cast<ITEM_TABLE*>(match.summary.data());
    const STATUS answer =
        EnumRoutine(EnumRoutineParameter, &match.header, match.summary.empty() ? nullptr : summary);
    if (answer != NOERROR) return answer;
  }
  return unreadable;
}
