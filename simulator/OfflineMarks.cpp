// See OfflineMarks.h.
#include "OfflineMarks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <span>
#include <system_error>

#include "AtomicFile.h"
#include "DatabasePath.h"
#include "Sqlite.h"

namespace simulator {

namespace {

namespace fs = std::filesystem;

// As given if the file system does not tell.
fs::path withoutLinks(const fs::path& path) {
  // Far cheaper than the general way, and searches ask it for every file.
  const std::unique_ptr<char, decltype(&std::free)> whole(::realpath(path.c_str(), nullptr),
                                                          &std::free);
  if (whole) return whole.get();
  std::error_code error;
  const fs::path found = fs::weakly_canonical(path, error);
  return error ? path : found;
}

}  // namespace

std::string offlineMark(const std::string& databasePath) {
  const fs::path data = withoutLinks(fullPath(nullptr));
  const fs::path path(databasePath);
  const fs::path folder = withoutLinks(path.parent_path());
  // The folders of the database are repeated, so that no name gets too long. Databases of the data
  // directory are known by their place in it, wherever it is moved.
  const fs::path below = folder.lexically_relative(data);
  const bool inside = !below.empty() && *below.begin() != "..";
  const fs::path repeated = inside ? "inside" / below : "outside" / folder.relative_path();
  return (data / OfflineFolder / repeated / path.filename()).lexically_normal().string();
}

bool isSet(const std::string& mark) {
  struct stat file = {};
  return ::stat(mark.c_str(), &file) == 0 && S_ISREG(file.st_mode);
}

void setMark(const std::string& mark, const std::string& databasePath) {
  std::error_code error;
  fs::create_directories(fs::path(mark).parent_path(), error);
  if (error) throw StatusError(ERR_CREATE, mark + ": " + error.message());
  const std::string text = databasePath + " is offline\n";
  const auto* bytes = reinterpret_cast<const BYTE*>(text.data());
  writeFileAtomically(mark, std::span(bytes, text.size()), true, true);
}

void removeMark(const std::string& mark) {
  if (::unlink(mark.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
    throw StatusError(ERR_NOACCESS, mark + ": " + std::strerror(errno));
}

}  // namespace simulator
