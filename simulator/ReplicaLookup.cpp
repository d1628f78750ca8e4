// NSFDbLocateByReplicaID: where a replica of a database is, whatever its file is called by now.
//
// To ask thousands of files for their replica ID takes seconds, so what a file answered is kept for
// as long as the file does not change.
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "DatabasePath.h"
#include "Databases.h"
#include "DirectoryWalk.h"
#include "Export.h"
#include "OfflineMarks.h"
#include "Text.h"

namespace simulator {

namespace {

constexpr WORD DatabasesBelow = FILE_ANYNOTEFILE | FILE_RECURSE | FILE_NOUPDIRS;

// A file that changed less than so long ago may change again without a difference in its times,
// which are as coarse as the system's clock ticks.
constexpr std::time_t SettledSeconds = 2;

struct Answer {
  struct stat file = {};
  std::optional<std::int64_t> replica;  // nothing: no database that can be read
};

bool sameState(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino &&
         left.st_size == right.st_size && left.st_mtim.tv_sec == right.st_mtim.tv_sec &&
         left.st_mtim.tv_nsec == right.st_mtim.tv_nsec;
}

class ReplicaIds {
 public:
  std::optional<std::int64_t> of(const std::string& path) {
    Answer answer;
    if (::stat(path.c_str(), &answer.file) != 0) return std::nullopt;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      const auto known = answers_.find(path);
      if (known != answers_.end() && sameState(known->second.file, answer.file))
        return known->second.replica;
    }
    const std::time_t now = std::time(nullptr);
    // Not through the cache of connections: that is for what is in use.
    const STATUS status =
        statusOf([&] { answer.replica = storedTime(Store::open(path).properties().replica.ID); });
    const bool settled = now - answer.file.st_mtim.tv_sec > SettledSeconds;
    // Other failures, such as another process that holds the file, pass.
    const bool lasting = status == NOERROR || status == ERR_NOT_NSF || status == ERR_NSF_CORRUPT2;
    const std::lock_guard<std::mutex> guard(mutex_);
    if (settled && lasting)
      answers_.insert_or_assign(path, answer);
    else
      answers_.erase(path);
    return answer.replica;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::string, Answer> answers_;
};

std::string locate(const std::string& directory, std::int64_t replica) {
  static ReplicaIds ids;
  for (const FoundFile& file : DirectoryWalk(DatabasesBelow).run(directory)) {
    // An offline database cannot be opened, so it is of no use to the host.
    if (ids.of(file.path) == replica && !isSet(offlineMark(file.path))) return file.path;
  }
  throw StatusError(ERR_NOEXIST, directory + ": no such replica");
}

}  // namespace

}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFDbLocateByReplicaID(DBHANDLE hDB, TIMEDATE* ReplicaID, char* retPathName,
                                         WORD PathMaxLen) {
  return statusOf([&] {
    const std::shared_ptr<const OpenDatabase> opened = requireDatabase(hDB);
    if (!opened->directory) throw StatusError(ERR_NOT_DIRECTORY, opened->path + ": a database");
    if (!ReplicaID || !retPathName) throw StatusError(ERR_BAD_PARAM, "replica ID or buffer");
    const std::string path = utf8ToLmbcs(apiPath(locate(opened->path, storedTime(*ReplicaID))));
    // Part of a path would lead nowhere, or to another database.
    if (path.size() > PathMaxLen) throw StatusError(ERR_BAD_PARAM, "path longer than the buffer");
    std::memcpy(retPathName, path.c_str(), path.size() + 1);
  });
}
