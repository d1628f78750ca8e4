// NSFSearch over the files of a directory.
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Clock.h"
#include "DatabasePath.h"
#include "Databases.h"
#include "DirectoryWalk.h"
#include "OfflineMarks.h"
#include "Search.h"
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
  return match;
}

bool earlier(const TIMEDATE& left, const TIMEDATE& right) {
  const auto parts = [](const TIMEDATE& time) {
    return std::make_pair(time.Innards[1] & julianDayMask, time.Innards[0]);
  };
  return parts(left) < parts(right);
}

}  // namespace

STATUS searchFiles(const SearchCall& call) {
  std::vector<FoundFile> files;
  STATUS unreadable = NOERROR;
  const STATUS status = statusOf([&] {
    const std::shared_ptr<const OpenDatabase> opened = requireDatabase(call.handle);
    if (call.formula != NULLHANDLE) throw StatusError(NotSupportedYet, "formula on files");
    if (call.until) *call.until = currentTime();
    DirectoryWalk walk(call.mask);
    files = walk.run(opened->path);
    unreadable = walk.unreadable();
    if (call.since)
      std::erase_if(files,
                    [&](const FoundFile& file) { return earlier(file.modified, *call.since); });
  });
  if (status != NOERROR) return status;

  for (const FoundFile& file : files) {
    Match match;
    const STATUS described = statusOf([&] { match = describe(file, call.withSummary()); });
    if (described != NOERROR) return described;
    const STATUS answer = tell(call, match.header, match.summary);
    if (answer != NOERROR) return answer;
  }
  return unreadable;
}

}  // namespace simulator
