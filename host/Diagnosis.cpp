#include "Diagnosis.h"

#include <fmt/format.h>
#include <link.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include "Log.h"

namespace host {
namespace {

constexpr const char* forDetail = "--debug-log stderr shows the detail";

// ---- means --------------------------------------------------------------------------------------

bool isUnset(const char* variable) noexcept {
  const char* const value = std::getenv(variable);
  return value == nullptr || *value == '\0';
}

bool isLoaded(const std::string& path) {
  const auto isThis = [](dl_phdr_info* library, std::size_t, void* wanted) -> int {
    return library->dlpi_name == *static_cast<const std::string*>(wanted) ? 1 : 0;
  };
  std::string wanted = path;
  return dl_iterate_phdr(isThis, &wanted) != 0;
}

// The first function that is not bound; the library binds them in this order.
const char* firstUnbound() noexcept {
#define KOLN_RETURN_IF_UNBOUND(result, name, parameters) \
  if (KO_##name == nullptr) {                            \
    return #name;                                        \
  }
  KOLN_NOTES_FUNCTIONS(KOLN_RETURN_IF_UNBOUND)
#undef KOLN_RETURN_IF_UNBOUND
  return nullptr;
}

// The library sets LOTUS right after it has become the partition's user.
constexpr const char* setAfterSwitch = "LOTUS";

// ---- the steps, in the order in which the library takes them ------------------------------------

using Finding = std::optional<Failure>;

class Preparation {
 public:
  explicit Preparation(const Options& options)
      : key_(options.registryKey), data_(options.dataDirectory) {}

  Failure explain() {
    // What lies before the switch can no longer be seen with the rights of the partition's user.
    if (!isUnset(setAfterSwitch)) {
      return environment().value_or(unexplained());
    }
    for (const auto step : {&Preparation::home, &Preparation::library, &Preparation::functions,
                            &Preparation::partition, &Preparation::notesIni, &Preparation::user}) {
      if (const Finding finding = (this->*step)()) {
        return *finding;
      }
    }
    return unexplained();
  }

 private:
  Finding home() {
    const std::string name = data_ + "_sDominoHomeDir";
    const Configured value = configured(key_, name);
    if (!value.text) {
      return withoutHome(name, value.reason);
    }
    home_ = *value.text;
    if (!home_.starts_with('/')) {
      return Failure(ExitCode::Failed,
                     fmt::format("the Domino home directory '{}' is no absolute path; correct the "
                                 "value \"{}\" in {}",
                                 home_, name, configurationFile()));
    }
    return std::nullopt;
  }

  // The first value that is read: here the configuration as a whole shows what is wrong with it.
  Failure withoutHome(const std::string& name, const std::string& reason) const {
    const std::string file = configurationFile();
    if (!reason.starts_with(file + ':')) {
      return unregistered(name, file, reason);
    }
    if (readable(file)) {
      return {ExitCode::Failed, reason + "; correct it and run koln again"};
    }
    if (errno == ENOENT) {
      return {ExitCode::Failed,
              fmt::format("there is no configuration file {}; name one with --config FILE or "
                          "KOLN_CONFIG",
                          file)};
    }
    const bool denied = errno == EACCES;
    return {denied ? ExitCode::AccessDenied : ExitCode::Failed,
            fmt::format("the configuration file {} cannot be read: {}; {}", file, strerror(errno),
                        denied ? "run koln as root" : "name another with --config FILE")};
  }

  Failure unregistered(const std::string& name, const std::string& file,
                       const std::string& reason) const {
    std::error_code ignored;
    if (!std::filesystem::is_directory(data_, ignored)) {
      return {ExitCode::Failed,
              fmt::format("there is no partition '{}': it is no directory and not registered under "
                          "key \"{}\" in {}; name a data directory that is",
                          data_, key_, file)};
    }
    if (access((data_ + "/notes.ini").c_str(), F_OK) != 0) {
      return {ExitCode::Failed,
              fmt::format("{} is no Domino data directory: it holds no notes.ini and is not "
                          "registered under key \"{}\" in {}; name the directory of a partition",
                          data_, key_, file)};
    }
    return lacking(name, reason);
  }

  static Failure lacking(const std::string& name, const std::string& reason) {
    return {ExitCode::Failed,
            fmt::format("the configuration does not describe the partition: {}; add \"{} = ...\" "
                        "there or name another --data or --key",
                        reason, name)};
  }

  Finding library() {
    library_ = runtimeDirectory(home_) + "/libnotes.so";
    if (access(library_.c_str(), F_OK) == 0) {
      return std::nullopt;
    }
    if (errno == EACCES) {
      return Failure(ExitCode::AccessDenied,
                     fmt::format("the Notes runtime {} cannot be reached: {}; run koln as root",
                                 library_, strerror(errno)));
    }
    return Failure(ExitCode::NoRuntime,
                   fmt::format("there is no Notes runtime {}; correct the value "
                               "\"{}_sDominoHomeDir\" in {}",
                               library_, data_, configurationFile()));
  }

  Finding functions() {
    const char* const missing = firstUnbound();
    if (missing == nullptr) {
      return std::nullopt;
    }
    if (isLoaded(library_)) {
      return Failure(ExitCode::NoRuntime,
                     fmt::format("{} lacks the function {}; install a complete Notes runtime of a "
                                 "supported release",
                                 library_, missing));
    }
    if (!readable(library_)) {
      return Failure(ExitCode::AccessDenied,
                     fmt::format("the Notes runtime {} cannot be read: {}; run koln as root",
                                 library_, strerror(errno)));
    }
    return Failure(ExitCode::NoRuntime,
                   fmt::format("the Notes runtime {} cannot be loaded: it is damaged, not for this "
                               "machine or lacks a library of its own; {}",
                               library_, forDetail));
  }

  Finding partition() {
    const std::string number = configured(key_, data_).text.value_or("0");
    const std::string dataName = "sDominoDataDir_" + number;
    const Configured data = configured(key_, dataName);
    if (!data.text) {
      return lacking(dataName, data.reason);
    }
    actualData_ = *data.text;
    const std::string homeName = actualData_ + "_sDominoHomeDir";
    if (const Configured home = configured(key_, homeName); !home.text) {
      return lacking(homeName, home.reason);
    }
    const std::string userName = "sDominoUser_" + number;
    const Configured user = configured(key_, userName);
    if (!user.text) {
      return lacking(userName, user.reason);
    }
    user_ = *user.text;
    return std::nullopt;
  }

  Finding notesIni() {
    const std::string path = actualData_ + "/notes.ini";
    if (access(path.c_str(), F_OK) == 0) {
      return std::nullopt;
    }
    if (errno == EACCES) {
      return Failure(
          ExitCode::AccessDenied,
          fmt::format("{} cannot be reached: {}; run koln as root", path, strerror(errno)));
    }
    return Failure(ExitCode::Failed,
                   fmt::format("there is no {}; put the partition's notes.ini back or correct its "
                               "data directory in {}",
                               path, configurationFile()));
  }

  Finding user() {
    errno = 0;
    if (KO_getpwnam(user_.c_str()) == nullptr) {
      const int reason = errno;
      return Failure(ExitCode::Failed,
                     reason == 0
                         ? fmt::format("there is no Unix user '{}', to whom the partition {} is "
                                       "assigned; correct the user in {}",
                                       user_, actualData_, configurationFile())
                         : fmt::format("the Unix user '{}' cannot be looked up: {}; try again",
                                       user_, strerror(reason)));
    }
    return Failure(ExitCode::AccessDenied,
                   fmt::format("no right to become the user '{}' of the partition {}; run koln as "
                               "root, as in: sudo env LD_LIBRARY_PATH={}/notes/latest/linux koln "
                               "...",
                               user_, actualData_, home_));
  }

  static Finding environment() {
    if (isUnset("LD_LIBRARY_PATH")) {
      const char* const directory = std::getenv("Notes_ExecDirectory");
      return Failure(ExitCode::Failed,
                     fmt::format("LD_LIBRARY_PATH is empty, but the Notes runtime needs it; run "
                                 "again with LD_LIBRARY_PATH={} (behind sudo: sudo env "
                                 "LD_LIBRARY_PATH=... koln ...)",
                                 directory != nullptr ? directory : "DIR"));
    }
    if (isUnset("PATH")) {
      return Failure(ExitCode::Failed,
                     "PATH is empty, but the Notes runtime needs it; run again with PATH=/bin");
    }
    return std::nullopt;
  }

  Failure unexplained() const {
    return {ExitCode::Failed,
            fmt::format("the partition {} could not be prepared (the library says: {}); {}", data_,
                        lastLogLine(), forDetail)};
  }

  const std::string& key_;
  const std::string& data_;
  std::string home_;
  std::string library_;
  std::string actualData_;
  std::string user_;
};

}  // namespace

Configured configured(const std::string& key, const std::string& name) {
  char text[1024 + 1] = {};
  unsigned int length = sizeof text - 1;
  KOPlatformInfo store(0, 1);
  store.setFocus(KOPI_Focus::getFocus());
  if (store.getString(key.c_str(), name.c_str(), text, length) != 0) {
    return {std::string(text), {}};
  }
  const char* const reason = store.getLastErrorMsg();
  return {std::nullopt, reason != nullptr ? reason : ""};
}

std::string configurationFile() {
  const char* const path = std::getenv("KOLN_CONFIG");
  return path != nullptr && *path != '\0' ? path : "/etc/koln/registry.conf";
}

bool readable(const std::string& path) noexcept {
  return euidaccess(path.c_str(), R_OK) == 0;
}

std::string runtimeDirectory(const std::string& home) {
  return home + "/notes/latest/linux";
}

void forgetUserSwitch() {
  unsetenv(setAfterSwitch);  // The library sets it anyway.
}

Failure explainFailedPreparation(const Options& options) {
  return Preparation(options).explain();
}

Failure explainFailedStart(const Options& options, const KoLNError& error) {
  if (!error.IsErrorSet()) {
    return {ExitCode::NoRuntime,
            fmt::format("the Notes runtime did not take the partition {}: it names no data "
                        "directory; check the line \"Directory=\" of its notes.ini",
                        options.dataDirectory)};
  }
  return {ExitCode::NoRuntime,
          fmt::format("the Notes runtime of {} did not start (the library says: {}); check its "
                      "notes.ini and the rights of its user, {}",
                      options.dataDirectory, lastLogLine(), forDetail)};
}

}  // namespace host
