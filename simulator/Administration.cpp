// Taking a database offline, so that its file can be replaced from a backup, and bringing it
// online. A real server does the same for all who use it; here those that count as users are the
// handles of the process that asks.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>

#include "Databases.h"
#include "Export.h"
#include "OfflineMarks.h"
#include "Status.h"

namespace simulator {

namespace {

// Locks the file against other processes until it is removed. Its content is to be replaced, so it
// may be too damaged for that; but what never was a database stays where it is.
std::optional<Store> lockFile(const std::string& path) {
  try {
    return Store::openDamaged(path);
  } catch (const StatusError& error) {
    if (error.status() != ERR_NSF_CORRUPT2 && error.status() != ERR_NSF_VERSION) throw;
    return std::nullopt;
  }
}

void removeFile(const std::string& path) {
  // The journal first: left behind, it would be applied to the file from the backup.
  for (const std::string& name : {path + "-journal", path}) {
    if (::unlink(name.c_str()) != 0 && errno != ENOENT)
      throw StatusError(errno == EROFS ? ERR_PROTECTED : ERR_NOACCESS,
                        name + ": " + std::strerror(errno));
  }
}

void takeOffline(const LocatedFile& file) {
  if (isSet(file.offlineMark)) throw StatusError(ERR_DBOFFLINE, file.path + ": offline already");
  const StoreSeal seal = sealStore(file.path);
  const std::optional<Store> locked = lockFile(file.path);
  setMark(file.offlineMark, file.path);
  try {
    removeFile(file.path);
  } catch (...) {
    removeMark(file.offlineMark);
    throw;
  }
}

}  // namespace

}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFTakeDatabaseOffline(const char* dbPath, DWORD WaitTime, DWORD options) {
  return statusOf([&] {
    // What the options mean beside 0 is known, but not by which numbers.
    if (options != 0) throw StatusError(NotSupportedYet, "options of taking offline");
    const LocatedFile file = locateFile(dbPath);
    if (file.offline) throw StatusError(ERR_DBOFFLINE, file.path + ": offline already");
    file.requireFile();
    whileClosed(file, std::chrono::milliseconds(WaitTime), [&file] { takeOffline(file); });
  });
}

SIM_EXPORT STATUS NSFBringDatabaseOnline(const char* dbPath, DWORD options) {
  return statusOf([&] {
    if (options != 0) throw StatusError(ERR_BAD_PARAM, "there are no options");
    const LocatedFile file = locateFile(dbPath);
    file.requireFile();
    if (file.offline) removeMark(file.offlineMark);
  });
}
