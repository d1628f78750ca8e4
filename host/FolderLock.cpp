#include "FolderLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "ArchiveFolder.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Every folder that is missing, each with its name on the disk.
void makeFolders(const fs::path& path) {
  if (mkdir(path.c_str(), 0700) == 0) {
    syncDirectoryOf(path.string());
  } else if (errno == ENOENT && path.has_relative_path()) {
    makeFolders(path.parent_path());
    makeFolders(path);
  } else {
    const int error = errno;
    std::error_code ignored;
    if (error != EEXIST || !fs::is_directory(path, ignored)) {
      throw fileFailure(path.string(), "cannot be made", error);
    }
  }
}

}  // namespace

FolderLock::FolderLock(const std::string& folder, const char* work) {
  makeFolders(folder);
  const std::string file = folder + "/.lock";
  file_ = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file_ < 0) {
    throw fileFailure(file, "cannot be opened", errno);
  }
  if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    close(file_);
    if (error == EWOULDBLOCK) {
      throw Failure(ExitCode::Failed,
                    fmt::format("another run is {} {}; wait for its end", work, folder));
    }
    throw fileFailure(file, "cannot be locked", error);
  }
}

FolderLock::~FolderLock() {
  close(file_);
}

}  // namespace host
