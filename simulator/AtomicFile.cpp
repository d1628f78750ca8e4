// See AtomicFile.h.
#include "AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Sqlite.h"

namespace simulator {

namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

[[noreturn]] void fail(const std::string& path, int error) {
  STATUS status = ERR_CREATE;
  if (error == EEXIST) status = ERR_EXISTS;
  if (error == ENOENT || error == ENOTDIR) status = ERR_NOEXIST;
  if (error == EROFS) status = ERR_PROTECTED;
  if (error == ENAMETOOLONG) status = ERR_BAD_PATH;
  throw StatusError(status, path + ": " + std::strerror(error));
}

void writeAll(int descriptor, std::span<const BYTE> bytes, const std::string& path) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(path, errno);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
}

void flushDirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.number() < 0 || ::fsync(opened.number()) != 0) fail(directory, errno);
}

// A new file beside `path`; its name tells directory searches that it is no database.
std::string createTemporary(const std::string& path, int& descriptor) {
  static std::atomic<unsigned> counter{0};
  for (;;) {
    std::string name =
        path + "." + std::to_string(::getpid()) + "." + std::to_string(counter++) + ".tmp";
    descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0) return name;
    if (errno != EEXIST) fail(path, errno);  // one that a killed process has left
  }
}

// Who may read a file does not change because its content is replaced.
void takeOverAccess(int descriptor, const std::string& path) {
  struct stat old = {};
  if (::stat(path.c_str(), &old) != 0) return;  // there is none
  if (::geteuid() == 0 && ::fchown(descriptor, old.st_uid, old.st_gid) != 0) fail(path, errno);
  if (::fchmod(descriptor, old.st_mode & 07777) != 0) fail(path, errno);
}

// Gives the temporary file its name, without taking that of another file unless told to.
bool moveInPlace(const std::string& temporary, const std::string& path, bool replace) {
  if (replace) {
    // A journal of the file that is replaced would be taken for one of the new file.
    if (::unlink((path + "-journal").c_str()) != 0 && errno != ENOENT) return false;
    return ::rename(temporary.c_str(), path.c_str()) == 0;
  }
  if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
    return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // Not every file system can do that; then a second link must do.
  return ::link(temporary.c_str(), path.c_str()) == 0 && ::unlink(temporary.c_str()) == 0;
}

}  // namespace

void writeFileAtomically(const std::string& path, std::span<const BYTE> bytes, bool replace,
                         bool flush) {
  int descriptor = -1;
  const std::string temporary = createTemporary(path, descriptor);
  const Descriptor file(descriptor);
  try {
    if (replace) takeOverAccess(file.number(), path);
    writeAll(file.number(), bytes, path);
    if (flush && ::fsync(file.number()) != 0) fail(path, errno);
    if (!moveInPlace(temporary, path, replace)) fail(path, errno);
  } catch (...) {
    ::unlink(temporary.c_str());
    throw;
  }
  if (flush) flushDirectoryOf(path);
}

}  // namespace simulator
