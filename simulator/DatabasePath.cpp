// See DatabasePath.h.
#include "DatabasePath.h"

#include <cstring>
#include <filesystem>

#include "Environment.h"
#include "NotesApi.h"
#include "Sqlite.h"
#include "Status.h"
#include "Text.h"

namespace simulator {

namespace {

std::string normal(const std::string& path) {
  std::string text = std::filesystem::path(path).lexically_normal().string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

std::string dataDirectoryOrThrow() {
  const std::string directory = dataDirectory();
  if (directory.empty()) throw StatusError(NotInitialised, "the runtime is not started");
  return normal(directory);
}

}  // namespace

std::string fullPath(const char* lmbcsPath) {
  std::string directory = dataDirectoryOrThrow();
  if (!lmbcsPath || *lmbcsPath == '\0') return directory;
  const std::size_t length = ::strnlen(lmbcsPath, MAXPATH);
  if (length == MAXPATH) throw StatusError(ERR_BAD_PATH, "path too long");
  std::string path = lmbcsToUtf8({lmbcsPath, length});
  // "port!!!server!!path", "server!!path"
  if (const std::size_t mark = path.rfind("!!"); mark != std::string::npos) path.erase(0, mark + 2);
  std::string full = normal(path.starts_with('/') ? path : directory + "/" + path);
  // NSFDbPathGet gives it back in a buffer of that size.
  if (utf8ToLmbcs(full).size() >= MAXPATH) throw StatusError(ERR_BAD_PATH, full + ": too long");
  return full;
}

std::string apiPath(const std::string& fullPath) {
  const std::string directory = dataDirectoryOrThrow();
  if (fullPath == directory) return {};
  const std::string prefix = directory == "/" ? directory : directory + "/";
  return fullPath.starts_with(prefix) ? fullPath.substr(prefix.size()) : fullPath;
}

bool hasExtension(const std::string& path) {
  return std::filesystem::path(path).has_extension();
}

}  // namespace simulator
