// The order of the steps, and those that look at what lies there.
#include "DoctorSteps.h"

#include <fmt/format.h>
#include <pwd.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "Diagnosis.h"

namespace host {
namespace {

namespace fs = std::filesystem;

Finding directory(const std::string& path, const std::string& remedy) {
  std::error_code error;
  if (!path.starts_with('/')) {
    return {Mark::Failed, fmt::format("'{}' is no absolute path", path), remedy};
  }
  if (!fs::is_directory(path, error)) {
    return {Mark::Failed,
            fmt::format("{}: {}", path, error ? error.message() : "this is no directory"), remedy};
  }
  return {Mark::Ok, path};
}

// The value of the line `Directory=`.
std::string directoryOfIni(const std::string& path) {
  constexpr std::string_view name = "directory=";
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (strncasecmp(line.c_str(), name.data(), name.size()) == 0) {
      return line.substr(name.size(), line.find_last_not_of(" \t\r") + 1 - name.size());
    }
  }
  return {};
}

}  // namespace

// ---- the order ----------------------------------------------------------------------------------

Examination::Examination(const Options& options, std::chrono::seconds limit, Tell tell)
    : options_(options), limit_(limit), tell_(std::move(tell)) {}

bool Examination::passed(const char* name) const {
  const auto mark = marks_.find(name);
  return mark != marks_.end() && (mark->second == Mark::Ok || mark->second == Mark::Warning);
}

void Examination::take(const char* name, std::initializer_list<const char*> needed,
                       const std::function<Finding()>& step) {
  const auto* const missing =
      std::find_if(needed.begin(), needed.end(), [&](const char* other) { return !passed(other); });
  const Finding finding = missing == needed.end()
                              ? step()
                              : Finding{Mark::Skipped, fmt::format("needs '{}'", *missing)};
  marks_[name] = finding.mark;
  if (finding.mark == Mark::Failed) {
    failed_.emplace_back(name);
  }
  tell_(name, finding);
}

void Examination::run() {
  take("configuration", {}, [this] { return configuration(); });
  take("partition", {"configuration"}, [this] { return partition(); });
  take("home directory", {"partition"}, [this] { return home(); });
  take("libnotes.so", {"home directory"}, [this] { return library(); });
  take("loading", {"libnotes.so"}, [this] { return loading(); });
  take("functions", {"loading"}, [this] { return functions(); });
  take("data directory", {"partition"}, [this] { return dataDirectory(); });
  take("notes.ini", {"data directory"}, [this] { return notesIni(); });
  take("user", {"partition"}, [this] { return user(); });
  take("rights", {"user", "libnotes.so", "notes.ini"}, [this] { return rights(); });
  variables();
  take("preparation", {"functions", "notes.ini", "user", "LD_LIBRARY_PATH", "PATH"},
       [this] { return preparation(); });
  take("hold file", {}, [this] { return holdFile(); });
  take("start", {"preparation", "rights", "hold file"}, [this] { return start(); });
}

// ---- the steps ----------------------------------------------------------------------------------

Finding Examination::configuration() const {
  const std::string file = configurationFile();
  const Configured any = configured(options_.registryKey, options_.dataDirectory);
  if (any.text || !any.reason.starts_with(file + ':')) {
    return {Mark::Ok, file};
  }
  const char* const remedy = readable(file)    ? "correct it"
                             : errno == EACCES ? "run koln as root"
                                               : "write one, or name another with --config FILE or "
                                                 "KOLN_CONFIG";
  return {Mark::Failed, any.reason, remedy};
}

Finding Examination::partition() {
  const std::string& named = options_.dataDirectory;
  std::string missing;
  const auto value = [&](const std::string& name) {
    const Configured found = configured(options_.registryKey, name);
    if (!found.text) {
      missing += (missing.empty() ? "" : ", ") + found.reason;
    }
    return found.text.value_or("");
  };
  const Configured registered = configured(options_.registryKey, named);
  const std::string number = registered.text.value_or("0");
  home_ = value(named + "_sDominoHomeDir");
  data_ = value("sDominoDataDir_" + number);
  userName_ = value("sDominoUser_" + number);
  if (!data_.empty() && data_ != named) {
    value(data_ + "_sDominoHomeDir");
  }
  programs_ = runtimeDirectory(home_);
  if (!missing.empty()) {
    return {Mark::Failed, missing,
            "add each there as NAME = VALUE, or name another --data or --key"};
  }
  const std::string found = fmt::format(
      "number {}, data directory '{}', home directory '{}', user "
      "'{}'",
      number, data_, home_, userName_);
  const std::string remedy = fmt::format("correct {} if that is not meant", configurationFile());
  if (!registered.text) {
    return {Mark::Warning, fmt::format("{}: {} itself is not registered", found, named), remedy};
  }
  return {data_ == named ? Mark::Ok : Mark::Warning, found, data_ == named ? "" : remedy};
}

Finding Examination::home() const {
  return directory(home_, fmt::format("correct the value \"{}_sDominoHomeDir\" in {}",
                                      options_.dataDirectory, configurationFile()));
}

Finding Examination::library() {
  const std::string path = programs_ + "/libnotes.so";
  if (access(path.c_str(), F_OK) == 0) {
    return {Mark::Ok, path};
  }
  return {Mark::Failed, fmt::format("{}: {}", path, strerror(errno)),
          errno == EACCES ? "run koln as root"
                          : "install the server there, or correct the home directory in the "
                            "configuration"};
}

Finding Examination::dataDirectory() const {
  return directory(data_, fmt::format("put it back, or correct the value \"sDominoDataDir_...\" in "
                                      "{}",
                                      configurationFile()));
}

Finding Examination::notesIni() const {
  const std::string path = data_ + "/notes.ini";
  std::error_code error;
  if (!fs::is_regular_file(path, error)) {
    return {Mark::Failed, fmt::format("{}: {}", path, error ? error.message() : "this is no file"),
            error == std::errc::permission_denied ? "run koln as root"
                                                  : "put the partition's notes.ini back"};
  }
  if (access(path.c_str(), R_OK) != 0) {
    return {Mark::Failed, fmt::format("{}: {}", path, strerror(errno)), "run koln as root"};
  }
  const std::string named = directoryOfIni(path);
  if (!fs::equivalent(named, data_, error)) {
    return {Mark::Warning, fmt::format("{}: its data directory is '{}'", path, named),
            fmt::format("have a line in it say Directory={}", data_)};
  }
  return {Mark::Ok, path};
}

Finding Examination::holdFile() const {
  constexpr const char* path = "/tmp/lndb_debug";
  if (access(path, F_OK) != 0) {
    return {Mark::Ok, fmt::format("there is no {}", path)};
  }
  struct stat state = {};
  const passwd* const owner = stat(path, &state) == 0 ? getpwuid(state.st_uid) : nullptr;
  return {Mark::Failed,
          fmt::format("{} is there, so every start waits (its owner is {})", path,
                      owner != nullptr ? owner->pw_name : "not known"),
          "remove it, unless a debugger needs it"};
}

}  // namespace host
