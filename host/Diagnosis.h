// Why a step of the start failed, and what to do about it. The library tells its host no more than
// that a step failed and writes the detail to the debug log; a user needs one line. So the steps
// are retraced by the same means: the configuration store, the file system, the user database, the
// pointers that were bound.
#ifndef KOLN_HOST_DIAGNOSIS_H
#define KOLN_HOST_DIAGNOSIS_H

#include <koln.h>

#include <optional>
#include <string>

#include "Failure.h"
#include "Options.h"

namespace host {

/// A value of the configuration store, or why there is none.
struct Configured {
  std::optional<std::string> text;
  std::string reason;
};
Configured configured(const std::string& key, const std::string& name);

/// Where the embedded support library looks for the configuration.
std::string configurationFile();

/// Whether this process may read a file; if not, `errno` says why.
bool readable(const std::string& path) noexcept;

/// Where a Domino home directory holds libnotes.so and the programs.
std::string runtimeDirectory(const std::string& home);

/// To be called before `KoLNInstance::Initialize`, so that it can be seen later how far that came.
void forgetUserSwitch();

/// Why `KoLNInstance::Initialize` returned false.
Failure explainFailedPreparation(const Options& options);

/// Why the runtime does not run after `KoLNInstance::InitializeNotesEnv`.
Failure explainFailedStart(const Options& options, const KoLNError& error);

}  // namespace host

#endif
