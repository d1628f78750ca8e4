// The configuration store: texts addressed by a key and a name, kept in one text file that an
// administrator edits. docs/configuration.md describes the file.
#ifndef KOLN_HOSTSUPPORT_CONFIGURATION_STORE_H
#define KOLN_HOSTSUPPORT_CONFIGURATION_STORE_H

#include <sys/stat.h>

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace koln::hostsupport {

/// Why the store could not answer, as one line for the administrator. Copies without throwing.
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One value and the line that gives it.
struct ConfigurationValue {
  std::string text;
  std::size_t line;
};

/// The content of a file: names and values by key; the default key is the empty text.
using ConfigurationSection = std::map<std::string, ConfigurationValue, std::less<>>;
using Configuration = std::map<std::string, ConfigurationSection, std::less<>>;

/// Parses the text of a file. `path` is only named in errors.
/// @throws ConfigurationError "PATH:LINE: what is wrong" for the first line that cannot be read.
Configuration parseConfiguration(std::string_view text, const std::string& path);

/// Reads the file when it has changed and keeps it parsed otherwise. Any thread may call it.
class ConfigurationStore {
 public:
  /// The store of the process; lives as long as the process, also while it exits.
  static ConfigurationStore& ofProcess();

  /// The path that the process is configured with now.
  static std::string configuredPath();

  /// The content of a file, as it is now.
  ///
  /// What has been read once stays good while the file is unchanged, even if it cannot be opened
  /// any more: the agent starts as root and later works as the user of a partition.
  /// @throws ConfigurationError if the file or a line of it cannot be read.
  std::shared_ptr<const Configuration> read(const std::string& path);

 private:
  // What one reading of a file gave.
  struct Reading {
    std::string path;
    struct stat state;
    bool settled;  // Whether a later change is certain to show in `state`.
    std::shared_ptr<const Configuration> content;  // Null if `error` is set.
    std::optional<ConfigurationError> error;
  };

  static Reading readAnew(int file, const std::string& path);

  std::mutex mutex_;
  std::optional<Reading> latest_;
};

}  // namespace koln::hostsupport

#endif
