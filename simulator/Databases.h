// Open databases and directories, as the functions behind a DBHANDLE find them.
#ifndef KOLN_SIMULATOR_DATABASES_H
#define KOLN_SIMULATOR_DATABASES_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "NotesApi.h"
#include "StoreCache.h"

namespace simulator {

struct OpenDatabase {
  std::string path;        // full path in the file system
  bool directory = false;  // no database, but a directory of databases
  DBID id = {};
  std::string offlineMark;  // see OfflineMarks.h; none for a directory
};

// What an API path leads to.
struct LocatedFile {
  std::string path;            // full path in the file system
  std::optional<mode_t> mode;  // nothing if there is no such file
  std::string offlineMark;
  bool offline = false;

  bool directory() const;
  // StatusError ERR_NOEXIST, ERR_DIRECTORY or ERR_NOT_NSF if there is no such regular file.
  void requireFile() const;
};

// With ".nsf" behind the path if there is nothing without it.
LocatedFile locateFile(const char* apiPath);

// Runs `action` while nobody in this process has the database open or can open it. StatusError
// ERR_DBINUSE if it is still open after `wait`.
void whileClosed(const LocatedFile& file, std::chrono::milliseconds wait,
                 const std::function<void()>& action);

// What the handle stands for. StatusError ERR_NULL_DBHANDLE for 0, ERR_BAD_PARAM for a handle that
// is closed or was never given.
std::shared_ptr<const OpenDatabase> requireDatabase(DBHANDLE handle);

// The store of an open database. StatusError ERR_DIRECTORY for a directory, ERR_DBOFFLINE if
// another process has taken it offline, ERR_NOEXIST if the file is gone or another database has
// taken its place since it was opened.
StoreLease requireStore(DBHANDLE handle);

// The paths behind all open handles, one for each.
std::vector<std::string> openPaths();

// Runs what a function does and turns a failure into the status it answers. Exceptions of a host's
// routine are not caught: they belong to the host.
template <typename Action>
STATUS statusOf(Action&& action) {
  try {
    std::forward<Action>(action)();
    return NOERROR;
  } catch (const StatusError& error) {
    return error.status();
  } catch (const std::bad_alloc&) {
    return ERR_MEMORY;
  }
}

}  // namespace simulator

#endif
