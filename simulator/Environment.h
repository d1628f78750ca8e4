// The settings of the partition that the process was started for: its notes.ini (UTF-8).
#ifndef KOLN_SIMULATOR_ENVIRONMENT_H
#define KOLN_SIMULATOR_ENVIRONMENT_H

#include <optional>
#include <string>
#include <string_view>

namespace simulator {

// Reads the file in place of what was known before; false, with nothing known, if it cannot be
// read. Called when the runtime starts.
bool loadIni(const std::string& path);

// Called when the runtime ends: nothing is known any more.
void forgetIni();

// UTF-8; names without regard to case.
std::optional<std::string> iniVariable(std::string_view name);

// Changes the process's view only, never the file.
void setIniVariable(std::string_view name, std::string_view value);

// "Directory" of notes.ini, without a slash at its end; the folder of notes.ini if it has none.
// UTF-8, empty while the runtime is not started.
std::string dataDirectory();

}  // namespace simulator

#endif
