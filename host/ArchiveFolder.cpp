#include "ArchiveFolder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t unidDigits = 32;

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

ArchiveFolder::ArchiveFolder(const std::string& root, std::string name)
    : name_(std::move(name)), path_(root + '/' + name_) {
  makeFolders(path_);
  lock();
  try {
    readEntries();
  } catch (...) {
    close(lock_);
    throw;
  }
}

ArchiveFolder::~ArchiveFolder() {
  close(lock_);
}

std::string ArchiveFolder::unidOf(const std::string& marker) const {
  std::string unid = marker.substr(0, marker.find_last_of('.'));
  unid.erase(0, std::min(unid.size(), name_.size() + 1));
  return isUnidText(unid) && marker == markerOf(unid) ? unid : std::string();
}

bool ArchiveFolder::isFull() const noexcept {
  constexpr std::uint64_t least = 64 * 1024;
  struct statvfs disk = {};
  return statvfs(path_.c_str(), &disk) == 0 && std::uint64_t{disk.f_bavail} * disk.f_frsize < least;
}

void ArchiveFolder::lock() {
  const std::string file = path_ + "/.lock";
  lock_ = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (lock_ < 0) {
    throw fileFailure(file, "cannot be opened", errno);
  }
  if (flock(lock_, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    close(lock_);
    if (error == EWOULDBLOCK) {
      throw Failure(
          ExitCode::Failed,
          fmt::format("another run is archiving this database to {}; wait for its end", path_));
    }
    throw fileFailure(file, "cannot be locked", error);
  }
}

void ArchiveFolder::readEntries() {
  std::error_code error;
  fs::directory_iterator entry(path_, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const fs::path& path = entry->path();
    if (path.extension() == temporarySuffix) {
      if (unlink(path.c_str()) != 0) {
        throw fileFailure(path.string(), "is half written and cannot be removed", errno);
      }
    } else if (path.extension() == copySuffix && isUnidText(path.stem().string())) {
      copies_.push_back(path.stem().string());
    }
  }
  if (error) {
    throw fileFailure(path_, "cannot be read", error.value());
  }
  std::sort(copies_.begin(), copies_.end());
}

bool isUnidText(const std::string& text) noexcept {
  return text.size() == unidDigits &&
         text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

void syncDirectoryOf(const std::string& path) {
  const std::string parent = fs::path(path).parent_path().string();
  const int directory = open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool done = directory >= 0 && fsync(directory) == 0;
  const int error = errno;
  if (directory >= 0) {
    close(directory);
  }
  // Some network file systems cannot do it; their names are safe once the server has answered.
  if (!done && error != EINVAL) {
    throw fileFailure(parent, "cannot be written", error);
  }
}

Failure fileFailure(const std::string& path, const char* what, int error) {
  const char* const remedy = error == EACCES || error == EPERM
                                 ? "give the partition's user access to it"
                             : error == ENOSPC || error == EDQUOT ? "make room there"
                                                                  : "name another place with --to";
  return {error == EACCES || error == EPERM ? ExitCode::AccessDenied : ExitCode::Failed,
          fmt::format("{} {}: {}; {}", path, what, strerror(error), remedy)};
}

}  // namespace host
