// Parser and look-up of the configuration file. The file is read with the rights of root, so every
// doubt about it ends in an error; nothing in it is skipped or guessed.
#include "ConfigurationStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <system_error>
#include <utility>

#include "EscapedText.h"

namespace koln::hostsupport {
namespace {

constexpr std::size_t kLineMax = std::size_t{64} * 1024;
constexpr std::size_t kFileMax = std::size_t{16} * 1024 * 1024;
constexpr const char* kDefaultPath = "/etc/koln/registry.conf";

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

class Parser {
 public:
  explicit Parser(const std::string& path) : path_(path) {}

  Configuration parse(std::string_view text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) {
      text.remove_prefix(kByteOrderMark.size());
    }
    while (!text.empty()) {
      const std::size_t end = text.find('\n');
      readLine(text.substr(0, end));
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return std::move(content_);
  }

 private:
  void readLine(std::string_view line) {
    ++line_;
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    if (line.size() > kLineMax) {
      fail("line is longer than " + std::to_string(kLineMax) + " bytes");
    }
    if (line.find('\0') != std::string_view::npos) {
      fail("line holds a NUL byte");
    }
    line = trimmed(line);
    if (line.empty() || line.front() == '#' || line.front() == ';') {
      return;
    }
    if (line.front() == '[') {
      readKey(line);
    } else {
      readValue(line);
    }
  }

  void readKey(std::string_view line) {
    if (line.back() != ']') {
      fail("line begins with \"[\" but does not end with \"]\"");
    }
    key_ = trimmed(line.substr(1, line.size() - 2));
  }

  void readValue(std::string_view line) {
    std::string_view name;
    std::string_view value;
    if (line.front() == '"') {
      const std::size_t close = line.find('"', 1);
      if (close == std::string_view::npos) {
        fail("closing quote of the name is missing");
      }
      name = line.substr(1, close - 1);
      value = trimmed(line.substr(close + 1));
      if (!value.starts_with('=')) {
        fail("no \"=\" behind the quoted name");
      }
      value.remove_prefix(1);
    } else {
      const std::size_t equals = line.find('=');
      if (equals == std::string_view::npos) {
        fail("line has no \"=\"");
      }
      name = trimmed(line.substr(0, equals));
      value = line.substr(equals + 1);
    }
    if (name.empty()) {
      fail("name is empty");
    }
    value = trimmed(value);
    if (value.starts_with('"')) {
      const std::size_t close = value.find('"', 1);
      if (close == std::string_view::npos) {
        fail("closing quote of the value is missing");
      }
      if (close != value.size() - 1) {
        fail("text behind the closing quote of the value");
      }
      value = value.substr(1, close - 1);
    }
    const auto [known, added] = content_[key_].try_emplace(
        std::string(name), ConfigurationValue{std::string(value), line_});
    if (!added) {
      fail("name \"" + escaped(name) + "\" is given a second time, first in line " +
           std::to_string(known->second.line));
    }
  }

  [[noreturn]] void fail(const std::string& what) const {
    throw ConfigurationError(escaped(path_) + ':' + std::to_string(line_) + ": " + what);
  }

  const std::string& path_;
  Configuration content_;
  std::string key_;
  std::size_t line_ = 0;
};

// A file descriptor that closes itself.
class OpenFile {
 public:
  // Without O_NONBLOCK a named pipe would hold the process up until somebody writes to it.
  explicit OpenFile(const std::string& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {}
  ~OpenFile() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  const int descriptor_;
};

[[noreturn]] void failFile(const std::string& path, const std::string& what) {
  throw ConfigurationError(escaped(path) + ": " + what);
}

[[noreturn]] void failFile(const std::string& path, const std::string& what, int error) {
  failFile(path, what + ": " + std::generic_category().message(error));
}

std::string readAll(int file, const std::string& path) {
  std::string text;
  char block[16 * 1024];
  for (;;) {
    const ssize_t count = ::read(file, block, sizeof block);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      failFile(path, "cannot read the configuration", errno);
    }
    if (count == 0) {
      return text;
    }
    text.append(block, static_cast<std::size_t>(count));
    if (text.size() > kFileMax) {
      failFile(path, "file is larger than " + std::to_string(kFileMax) + " bytes");
    }
  }
}

void checkFile(const struct stat& state, const std::string& path) {
  if (!S_ISREG(state.st_mode)) {
    failFile(path, "the configuration is not a regular file");
  }
  if ((state.st_mode & S_IWOTH) != 0) {
    failFile(path, "the configuration is writable by every user and is not used");
  }
}

bool sameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino && one.st_size == other.st_size &&
         one.st_mtim.tv_sec == other.st_mtim.tv_sec && one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

}  // namespace

Configuration parseConfiguration(std::string_view text, const std::string& path) {
  return Parser(path).parse(text);
}

ConfigurationStore& ConfigurationStore::ofProcess() {
  // Never destroyed: threads and static objects of the host may still ask while the process exits.
  static ConfigurationStore& store = *new ConfigurationStore;
  return store;
}

std::string ConfigurationStore::configuredPath() {
  // A program with more rights than its caller must not take the caller's word for the path.
  const char* path = secure_getenv("KOLN_CONFIG");
  return path != nullptr && *path != '\0' ? path : kDefaultPath;
}

std::shared_ptr<const Configuration> ConfigurationStore::read(const std::string& path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  struct stat now {};
  if (stat(path.c_str(), &now) != 0) {
    failFile(path, "cannot find the configuration", errno);
  }
  checkFile(now, path);  // Before it is opened: opening some devices moves them.
  const bool unchanged = latest_ && latest_->path == path && sameFile(latest_->state, now);
  if (!unchanged || !latest_->settled) {
    const OpenFile file(path);
    if (file.descriptor() >= 0) {
      latest_ = readAnew(file.descriptor(), path);
    } else if (!unchanged) {
      failFile(path, "cannot open the configuration", errno);
    }
  }
  if (latest_->error) {
    throw ConfigurationError(*latest_->error);
  }
  return latest_->content;
}

ConfigurationStore::Reading ConfigurationStore::readAnew(int file, const std::string& path) {
  Reading reading{path, {}, false, nullptr, std::nullopt};
  if (fstat(file, &reading.state) != 0) {
    failFile(path, "cannot examine the configuration", errno);
  }
  // Time stamps move in ticks: a second change within the tick of the first leaves no trace. Two
  // seconds cover the coarsest ticks in use.
  constexpr std::time_t kCoarsestTick = 2;
  reading.settled = std::time(nullptr) - reading.state.st_mtim.tv_sec > kCoarsestTick;
  checkFile(reading.state, path);
  const std::string text = readAll(file, path);
  try {
    reading.content = std::make_shared<const Configuration>(parseConfiguration(text, path));
  } catch (const ConfigurationError& error) {
    reading.error = error;
  }
  return reading;
}

}  // namespace koln::hostsupport
