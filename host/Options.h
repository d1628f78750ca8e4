// What the user asked for.
#ifndef KOLN_HOST_OPTIONS_H
#define KOLN_HOST_OPTIONS_H

#include <functional>
#include <string>

#include "Failure.h"

namespace host {

struct Options {
  /// A prefix, the character 0x12, the partition's data directory.
  std::string instanceName;
  /// What stands behind the 0x12.
  std::string dataDirectory;
  std::string registryKey = "Domino";
  std::string serverName;
  /// Empty: as the environment says.
  std::string configurationFile;
  /// A path, "none" or "stderr"; empty: as the environment says.
  std::string debugLog;
  int logLevel = -1;
  bool json = false;
  bool shortForm = false;
};

/// Reads the command line into the options. @return What to do; nothing if it asked for help or the
/// version, which is then on stdout. @throws Failure for wrong usage.
std::function<ExitCode()> parseCommandLine(int argc, char** argv, Options& options);

}  // namespace host

#endif
