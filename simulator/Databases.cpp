// Opening, creating and closing databases and directories, and what can be asked of the handle
// itself. A handle holds no file: see StoreCache.h.
#include "Databases.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <set>

#include "Clock.h"
#include "DatabasePath.h"
#include "Export.h"
#include "HandleCounters.h"
#include "Handles.h"
#include "OfflineMarks.h"
#include "Status.h"
#include "StoreRepair.h"
#include "Text.h"

namespace simulator {

namespace {

constexpr WORD RepairOptions =
    DBOPEN_FORCE_FIXUP | DBOPEN_FIXUP_FULL_NOTE_SCAN | DBOPEN_FIXUP_NO_NOTE_DELETE;

HandleTable<const OpenDatabase>& handles() {
  static HandleTable<const OpenDatabase> table(HandleKind::Database);
  return table;
}
const bool counted = registerHandleCounter("databases", [] { return handles().size(); });

std::optional<mode_t> fileMode(const std::string& path) {
  struct stat file = {};
  if (::stat(path.c_str(), &file) == 0) return file.st_mode;
  if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
  const bool badName = errno == ENAMETOOLONG || errno == ELOOP;
  throw StatusError(badName ? ERR_BAD_PATH : ERR_OPEN_FILE, path + ": " + std::strerror(errno));
}

// Opening and taking offline take turns here: a database is never opened while it is taken offline.
struct Gate {
  std::mutex mutex;
  std::condition_variable closed;      // told of every handle that is closed
  std::set<std::string> takenOffline;  // marks of the databases that are being taken offline
};

Gate& gate() {
  static Gate instance;
  return instance;
}

DBHANDLE addHandle(OpenDatabase database) {
  const std::lock_guard<std::mutex> guard(gate().mutex);
  const std::string& mark = database.offlineMark;
  if (!database.directory && (isSet(mark) || gate().takenOffline.contains(mark)))
    throw StatusError(ERR_DBOFFLINE, database.path + ": offline");
  const DBHANDLE handle = handles().add(std::make_shared<const OpenDatabase>(std::move(database)));
  if (handle == 0) throw std::bad_alloc();
  return handle;
}

DBHANDLE open(const char* apiPath, WORD options) {
  LocatedFile file = locateFile(apiPath);
  OpenDatabase database;
  if (file.directory()) {
    if (options & RepairOptions) throw StatusError(ERR_DIRECTORY, "a directory needs no repair");
    database.directory = true;
  } else {
    if (file.offline) throw StatusError(ERR_DBOFFLINE, file.path + ": offline");
    file.requireFile();
    if (options & (DBOPEN_FORCE_FIXUP | DBOPEN_FIXUP_FULL_NOTE_SCAN)) {
      repairStore(file.path,
                  (options & DBOPEN_FIXUP_NO_NOTE_DELETE) ? Notes::KeepAll : Notes::DeleteDamaged);
    }
    database.id = leaseStore(file.path).id();
    database.offlineMark = std::move(file.offlineMark);
  }
  database.path = std::move(file.path);
  return addHandle(std::move(database));
}

// The time in hundredths of a second as the identity of a new database, so never the same twice.
TIMEDATE newDatabaseId() {
  static std::mutex mutex;
  static std::int64_t last = 0;
  const TIMEDATE now = currentTime();
  const std::lock_guard<std::mutex> guard(mutex);
  last = std::max(last + 1, unixFromTime(now) * 100 + now.Innards[0] % 100);
  return timeFromUnix(last / 100, static_cast<int>(last % 100));
}

void copyPath(const std::string& utf8, char* buffer) {
  if (!buffer) return;
  const std::string text = utf8ToLmbcs(utf8);
  const std::string_view fitting = cutLmbcs(text, MAXPATH - 1);
  std::copy(fitting.begin(), fitting.end(), buffer);
  buffer[fitting.size()] = '\0';
}

}  // namespace

bool LocatedFile::directory() const {
  return mode && S_ISDIR(*mode);
}

void LocatedFile::requireFile() const {
  if (!mode) throw StatusError(ERR_NOEXIST, path + ": no such database");
  if (directory()) throw StatusError(ERR_DIRECTORY, path + ": a directory");
  if (!S_ISREG(*mode)) throw StatusError(ERR_NOT_NSF, path + ": no file");
}

LocatedFile locateFile(const char* apiPath) {
  LocatedFile file;
  const auto look = [&file](std::string path) {
    file.path = std::move(path);
    file.mode = fileMode(file.path);
    file.offlineMark = offlineMark(file.path);
    file.offline = !file.directory() && isSet(file.offlineMark);
    return file.mode || file.offline;
  };
  const std::string path = fullPath(apiPath);
  if (!look(path) && !hasExtension(path)) look(path + ".nsf");
  return file;
}

void whileClosed(const LocatedFile& file, std::chrono::milliseconds wait,
                 const std::function<void()>& action) {
  const std::string& mark = file.offlineMark;
  const auto nobodyHasItOpen = [&mark] {
    bool open = false;
    handles().forEach([&](const OpenDatabase& database) {
      open = open || (!database.directory && database.offlineMark == mark);
    });
    return !open;
  };
  struct Entry {
    std::unique_lock<std::mutex> lock{gate().mutex};
    const std::string* mark = nullptr;
    ~Entry() {
      if (!mark) return;
      if (!lock.owns_lock()) lock.lock();
      gate().takenOffline.erase(*mark);
    }
  } entry;
  if (!gate().takenOffline.insert(mark).second)
    throw StatusError(ERR_DBINUSE, file.path + ": being taken offline by another thread");
  entry.mark = &mark;
  if (!gate().closed.wait_for(entry.lock, wait, nobodyHasItOpen))
    throw StatusError(ERR_DBINUSE, file.path + ": in use");
  entry.lock.unlock();
  action();
}

std::shared_ptr<const OpenDatabase> requireDatabase(DBHANDLE handle) {
  if (handle == NULLHANDLE) throw StatusError(ERR_NULL_DBHANDLE, "database handle is 0");
  std::shared_ptr<const OpenDatabase> database = handles().find(handle);
  if (!database) throw StatusError(ERR_BAD_PARAM, "not the handle of an open database");
  return database;
}

StoreLease requireStore(DBHANDLE handle) {
  const std::shared_ptr<const OpenDatabase> database = requireDatabase(handle);
  if (database->directory) throw StatusError(ERR_DIRECTORY, database->path + ": a directory");
  if (isSet(database->offlineMark)) throw StatusError(ERR_DBOFFLINE, database->path + ": offline");
  StoreLease store = leaseStore(database->path);
  if (storedTime(store.id()) != storedTime(database->id))
    throw StatusError(ERR_NOEXIST, database->path + ": replaced by another database");
  return store;
}

std::vector<std::string> openPaths() {
  std::vector<std::string> paths;
  handles().forEach([&paths](const OpenDatabase& database) { paths.push_back(database.path); });
  std::sort(paths.begin(), paths.end());
  return paths;
}

}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFDbOpen(const char* PathName, DBHANDLE* rethDB) {
  return NSFDbOpenExtended(PathName, 0, NULLHANDLE, nullptr, rethDB, nullptr, nullptr);
}

SIM_EXPORT STATUS NSFDbOpenExtended(const char* PathName, WORD Options, DHANDLE hNames,
                                    TIMEDATE* /*ModifiedTime*/, DBHANDLE* rethDB,
                                    TIMEDATE* retDataModified, TIMEDATE* retNonDataModified) {
  if (!rethDB) return ERR_BAD_PARAM;
  *rethDB = NULLHANDLE;
  return statusOf([&] {
    // No function of the runtime makes a list of names, so there can be none.
    if (hNames != NULLHANDLE) throw StatusError(ERR_BAD_PARAM, "not a list of names");
    const DBHANDLE handle = open(PathName, Options);
    const bool timesWanted = retDataModified || retNonDataModified;
    if (timesWanted && !requireDatabase(handle)->directory) {
      const STATUS status = NSFDbModifiedTime(handle, retDataModified, retNonDataModified);
      if (status != NOERROR) {
        NSFDbClose(handle);
        throw StatusError(status, "times of modification");
      }
    }
    *rethDB = handle;
  });
}

SIM_EXPORT STATUS NSFDbClose(DBHANDLE hDB) {
  return statusOf([&] {
    requireDatabase(hDB);
    {
      const std::lock_guard<std::mutex> guard(gate().mutex);
      handles().remove(hDB);
    }
    gate().closed.notify_all();
  });
}

SIM_EXPORT STATUS NSFDbCreate(const char* PathName, USHORT DbClass, BOOL ForceCreation) {
  return statusOf([&] {
    if (!PathName || *PathName == '\0') throw StatusError(ERR_BAD_PATH, "no path");
    if (DbClass != DBCLASS_BY_EXTENSION && (DbClass & DBCLASS_VALID_MASK) != DBCLASS_VALID_MASK)
      throw StatusError(ERR_DBCLASS, "no class of databases");
    std::string path = fullPath(PathName);
    if (!hasExtension(path)) path += DbClass == DBCLASS_TEMPLATEFILE ? ".ntf" : ".nsf";
    const bool isTemplate = DbClass == DBCLASS_TEMPLATEFILE || path.ends_with(".ntf");

    if (isSet(offlineMark(path))) throw StatusError(ERR_DBOFFLINE, path + ": offline");

    const TIMEDATE now = newDatabaseId();
    DatabaseProperties properties;
    properties.databaseClass = DbClass;
    if (DbClass == DBCLASS_BY_EXTENSION)
      properties.databaseClass = isTemplate ? DBCLASS_TEMPLATEFILE : DBCLASS_NOTEFILE;
    properties.id = properties.replica.ID = now;
    properties.dataModified = properties.nonDataModified = now;
    Store::create(properties)
        .saveAs(path, ForceCreation ? Store::Existing::Replace : Store::Existing::Keep,
                Store::Flush::Now);
  });
}

SIM_EXPORT STATUS NSFDbModeGet(DBHANDLE hDB, USHORT* retMode) {
  return statusOf([&] {
    const bool directory = requireDatabase(hDB)->directory;
    if (retMode) *retMode = directory ? DB_DIRECTORY : DB_LOADED;
  });
}

SIM_EXPORT STATUS NSFDbPathGet(DBHANDLE hDB, char* retCanonicalPathName,
                               char* retExpandedPathName) {
  return statusOf([&] {
    const std::shared_ptr<const OpenDatabase> database = requireDatabase(hDB);
    copyPath(apiPath(database->path), retCanonicalPathName);
    copyPath(database->path, retExpandedPathName);
  });
}

SIM_EXPORT STATUS NSFDbSpaceUsage(DBHANDLE hDB, DWORD* retAllocatedBytes, DWORD* retFreeByes) {
  return statusOf([&] {
    const SpaceUsage space = requireStore(hDB)->space();
    const auto clamped = [](std::uint64_t bytes) {
      return static_cast<DWORD>(std::min<std::uint64_t>(bytes, MAXDWORD));
    };
    if (retAllocatedBytes) *retAllocatedBytes = clamped(space.used);
    if (retFreeByes) *retFreeByes = clamped(space.free);
  });
}
