// A directory of its own for one test, removed with everything in it.
#ifndef KOLN_TESTS_TEMPORARY_DIRECTORY_H
#define KOLN_TESTS_TEMPORARY_DIRECTORY_H

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

class TemporaryDirectory {
 public:
  TemporaryDirectory() : path_(std::filesystem::temp_directory_path() / "koln-test-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::runtime_error("no temporary directory");
    }
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

  // A path below this directory with exactly `length` bytes.
  std::string pathOfLength(std::size_t length) const {
    std::string path = path_;
    while (path.size() < length) {
      // No piece is too long for a file system, and none is the "/" alone.
      const std::size_t rest = length - path.size() - 1;
      path += "/" + std::string(rest > 200 ? std::min<std::size_t>(rest - 2, 200) : rest, 'd');
    }
    return path;
  }

 private:
  std::string path_;
};

// Makes a file and the directories above it.
inline void writeFile(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

#endif
