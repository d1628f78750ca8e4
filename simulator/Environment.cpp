// notes.ini: lines of `Name=Value` below the heading [Notes].
#include "Environment.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <utility>
#include <vector>

#include "Export.h"
#include "Text.h"

namespace simulator {
namespace {

struct Variable {
  std::string name;
  std::string value;
};

std::mutex mutex;
std::vector<Variable> variables;
std::string iniFolder;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

Variable* locate(std::string_view name) {
  const auto found = std::find_if(variables.begin(), variables.end(),
                                  [&](const Variable& v) { return sameName(v.name, name); });
  return found == variables.end() ? nullptr : &*found;
}

// The first of several settings of a name counts.
void readLine(std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || trimmed(line).front() == ';') return;
  const std::string_view name = trimmed(line.substr(0, equals));
  if (name.empty() || locate(name) != nullptr) return;
  variables.push_back({std::string(name), std::string(trimmed(line.substr(equals + 1)))});
}

}  // namespace

void forgetIni() {
  const std::lock_guard<std::mutex> guard(mutex);
  variables.clear();
  iniFolder.clear();
}

bool loadIni(const std::string& path) {
  forgetIni();
  const std::lock_guard<std::mutex> guard(mutex);
  std::error_code error;
  const std::filesystem::path file = std::filesystem::absolute(path, error);
  if (error || !std::filesystem::is_regular_file(file, error)) return false;
  std::ifstream stream(file);
  if (!stream) return false;
  for (std::string line; std::getline(stream, line);) readLine(line);
  if (stream.bad()) {
    variables.clear();
    return false;
  }
  iniFolder = file.parent_path().string();
  return true;
}

std::optional<std::string> iniVariable(std::string_view name) {
  const std::lock_guard<std::mutex> guard(mutex);
  const Variable* const found = locate(name);
  return found == nullptr ? std::nullopt : std::optional<std::string>(found->value);
}

void setIniVariable(std::string_view name, std::string_view value) {
  const std::lock_guard<std::mutex> guard(mutex);
  if (Variable* const found = locate(name)) {
    found->value = value;
  } else {
    variables.push_back({std::string(name), std::string(value)});
  }
}

std::string dataDirectory() {
  std::string directory = iniVariable("Directory").value_or("");
  if (directory.empty()) {
    const std::lock_guard<std::mutex> guard(mutex);
    directory = iniFolder;
  }
  while (directory.size() > 1 && directory.back() == '/') directory.pop_back();
  return directory;
}

}  // namespace simulator

// BufferLength leaves out the terminator, and MAXENVVALUE is the most that is ever written.
SIM_EXPORT BOOL OSGetEnvironmentString(const char* VariableName, char* retValueBuffer,
                                       WORD BufferLength) {
  const auto value = VariableName == nullptr ? std::nullopt : simulator::iniVariable(VariableName);
  if (!value) return FALSE;
  if (retValueBuffer == nullptr) return TRUE;
  const std::string lmbcs = simulator::utf8ToLmbcs(*value);
  const std::string_view part =
      simulator::cutLmbcs(lmbcs, std::min<std::size_t>(BufferLength, MAXENVVALUE - 1));
  std::memcpy(retValueBuffer, part.data(), part.size());
  retValueBuffer[part.size()] = '\0';
  return TRUE;
}

SIM_EXPORT long OSGetEnvironmentLong(const char* VariableName) {
  const auto value = VariableName == nullptr ? std::nullopt : simulator::iniVariable(VariableName);
  if (!value || value->empty()) return 0;
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(value->c_str(), &end, 10);
  return *end == '\0' && errno == 0 ? number : 0;
}
