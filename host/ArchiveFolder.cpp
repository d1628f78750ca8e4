#include "ArchiveFolder.h"

#include <fcntl.h>
#include <fmt/format.h>
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

}  // namespace

ArchiveFolder::ArchiveFolder(const std::string& root, std::string name)
    : name_(std::move(name)),
      path_(root + '/' + name_),
      lock_(path_, "archiving this database to") {
  readEntries();
}

std::string ArchiveFolder::unidOf(const std::string& marker) const {
  std::string unid = marker.substr(0, marker.find_last_of('.'));
  unid.erase(0, std::min(unid.size(), name_.size() + 1));
  return isUnidText(unid) && marker == markerOf(unid) ? unid : std::string();
}

bool ArchiveFolder::isFull() const noexcept {
  constexpr std::uint64_t least = std::uint64_t{64} * 1024;
  struct statvfs disk = {};
  return statvfs(path_.c_str(), &disk) == 0 && std::uint64_t{disk.f_bavail} * disk.f_frsize < least;
}

void ArchiveFolder::readEntries() {
  std::error_code error;
  fs::directory_iterator entry(path_, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const fs::path& path = entry->path();
    if (entry->is_directory(error)) {  // Of a backup in the same place.
      continue;
    }
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
