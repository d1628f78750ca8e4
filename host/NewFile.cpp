#include "NewFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "ArchiveFolder.h"
#include "Interrupt.h"

namespace host {

NewFile::NewFile(const std::string& path)
    : path_(std::filesystem::absolute(path).string()),
      temporary_(path_ + ".XXXXXX" + temporarySuffix),
      file_(nullptr, fclose) {
  const int suffix = static_cast<int>(std::strlen(temporarySuffix));
  const int descriptor = mkostemps(temporary_.data(), suffix, O_CLOEXEC);
  if (descriptor < 0) {
    throw diskFailure(path_, "cannot be made", errno);
  }
  file_.reset(fdopen(descriptor, "w+b"));
  if (file_ == nullptr) {
    const int error = errno;
    close(descriptor);
    unlink(temporary_.c_str());
    throw diskFailure(path_, "cannot be made", error);
  }
}

NewFile::~NewFile() {
  if (!renamed_) {
    unlink(temporary_.c_str());
  }
}

void NewFile::write(std::string_view text) {
  if (fwrite(text.data(), 1, text.size(), stream()) != text.size()) {
    throw diskFailure(path_, "cannot be written", errno);
  }
}

void NewFile::flush() {
  if (fflush(stream()) != 0) {
    throw diskFailure(path_, "cannot be written", errno);
  }
}

void NewFile::finish() {
  flush();
  if (fsync(fileno(stream())) != 0) {
    throw diskFailure(path_, "cannot be brought to the disk", errno);
  }
  if (fclose(file_.release()) != 0) {
    throw diskFailure(path_, "cannot be closed", errno);
  }
  if (rename(temporary_.c_str(), path_.c_str()) != 0) {
    throw diskFailure(path_, "cannot get its name", errno);
  }
  renamed_ = true;
  syncDirectoryOf(path_);  // If that fails the file stays: it is whole, and may have taken a place.
}

Failure diskFailure(const std::string& path, const char* what, int error) {
  if (interruptRequested()) {
    return {ExitCode::Interrupted, "interrupted at " + path};
  }
  const bool denied = error == EACCES || error == EPERM || error == EROFS;
  return {denied ? ExitCode::AccessDenied : ExitCode::Failed,
          fmt::format("{} {}: {}; {}", path, what, strerror(error),
                      denied             ? "give the partition's user access to it"
                      : error == ENOSPC  ? "make room and try again"
                      : error == ENOENT  ? "check the path"
                      : error == ENOTDIR ? "check the path"
                                         : "check the disk and try again")};
}

}  // namespace host
