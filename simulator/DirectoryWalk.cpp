// See DirectoryWalk.h.
#include "DirectoryWalk.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>

#include "Clock.h"
#include "DatabasePath.h"
#include "OfflineMarks.h"
#include "Sqlite.h"
#include "Status.h"
#include "Text.h"

namespace simulator {

namespace {

// ---- which files a search wants -----------------------------------------------------------------

// Whether the name ends like one of the patterns, '?' standing for any character.
bool endsLike(std::string_view name, std::initializer_list<std::string_view> patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [name](std::string_view pattern) {
    if (name.size() < pattern.size()) return false;
    const std::string_view end = name.substr(name.size() - pattern.size());
    for (std::size_t i = 0; i < pattern.size(); ++i) {
      if (pattern[i] != '?' && !sameName(end.substr(i, 1), pattern.substr(i, 1))) return false;
    }
    return true;
  });
}

bool fileWanted(std::string_view name, WORD fileType) {
  switch (fileType) {
    case FILE_ANY:
      return true;
    case FILE_DBREPL:
    case FILE_DBANY:
      return endsLike(name, {".ns?"});
    case FILE_DBDESIGN:
    case FILE_FTANY:
      return endsLike(name, {".nt?"});
    case FILE_MAILBOX:
      return endsLike(name, {".box"});
    case FILE_ANYNOTEFILE:
      return endsLike(name, {".ns?", ".nt?", ".box"});
    case FILE_DIRSONLY:
      return false;
    default:
      throw StatusError(NotSupportedYet, "search for this type of file");
  }
}

// False with errno if the directory cannot be read.
bool readNames(const std::string& directory, std::vector<std::string>& names) {
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(::opendir(directory.c_str()), &::closedir);
  if (!opened) return false;
  errno = 0;
  while (const dirent* entry = ::readdir(opened.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && name != OfflineFolder) names.emplace_back(name);
    errno = 0;
  }
  return errno == 0;
}

}  // namespace

// ---- the walk -----------------------------------------------------------------------------------

DirectoryWalk::DirectoryWalk(WORD mask) : mask_(mask) {
  fileWanted("", fileType());  // refuses the types that are not supported, before any work
  if (mask & FILE_LINKSONLY) throw StatusError(NotSupportedYet, "search for links");
}

std::vector<FoundFile> DirectoryWalk::run(const std::string& directory) {
  if (wantsDirectories() && !(mask_ & FILE_NOUPDIRS) && !apiPath(directory).empty()) {
    const std::size_t slash = directory.rfind('/');
    const std::string parent = directory.substr(0, slash);
    found_.push_back({parent.empty() ? "/" : parent, "..", true, currentTime()});
  }
  walk(directory);
  return std::move(found_);
}

void DirectoryWalk::walk(const std::string& directory) {
  struct stat self = {};
  std::vector<std::string> names;
  if (::stat(directory.c_str(), &self) != 0 || !readNames(directory, names)) {
    if (errno == ENOENT && !ancestors_.empty()) return;  // gone meanwhile
    unreadable_ = errno == ENOENT ? ERR_NOEXIST : ERR_NOACCESS;
    return;
  }
  const std::pair<dev_t, ino_t> identity(self.st_dev, self.st_ino);
  // A symbolic link that leads back up.
  if (std::find(ancestors_.begin(), ancestors_.end(), identity) != ancestors_.end()) return;
  ancestors_.push_back(identity);
  std::sort(names.begin(), names.end());
  std::vector<std::string> below;
  const std::string prefix = directory == "/" ? directory : directory + "/";
  for (std::string& name : names) {
    FoundFile file{prefix + name, std::move(name), false, {}};
    struct stat status = {};
    if (::stat(file.path.c_str(), &status) != 0) continue;  // gone meanwhile, or a dead link
    file.directory = S_ISDIR(status.st_mode);
    if (!file.directory && !S_ISREG(status.st_mode)) continue;
    file.modified =
        timeFromUnix(status.st_mtim.tv_sec, static_cast<int>(status.st_mtim.tv_nsec / 10'000'000));
    if (file.directory) below.push_back(file.path);
    if (file.directory ? wantsDirectories() : fileWanted(file.name, fileType()))
      found_.push_back(std::move(file));
  }
  if (mask_ & FILE_RECURSE) {
    for (const std::string& path : below) walk(path);
  }
  ancestors_.pop_back();
}

}  // namespace simulator
