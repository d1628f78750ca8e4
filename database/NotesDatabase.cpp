// The database object: construction, copying, the handle and the members that need nothing else.
#include "NotesDatabase.h"

#include <new>
#include <utility>

#include "DominoInstance.h"
#include "NotesUtilities.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";

bool refuseEmptyName(const std::string& name, KoLNError& error) {
  if (!name.empty()) {
    return false;
  }
  KOLN_LOG("Open", 0, "Error: invalid database name.");
  error.SetCustomMessage("Database name empty\\invalid");
  return true;
}

// Closes what an earlier open left; its status and the handle variable do not matter here.
void closeBeforeOpening(DBHANDLE handle) {
  if (handle != NULLHANDLE) {
    static_cast<void>(KOLN_STATUS(NSFDbClose, handle).failed());
  }
}

void openPath(const char* path, DBHANDLE& handle, KoLNError& error) {
  handle = NULLHANDLE;
  const koln::CallResult opened = KOLN_STATUS(NSFDbOpen, path, &handle);
  if (!opened.failed()) {
    return;
  }
  handle = NULLHANDLE;  // What a failed call leaves in its output is no handle.
  opened.record(error);
  KOLN_LOG("Open", 0, "Error: Failed to open db %s, %d - %s", path, opened.status(),
           error.GetMessage().c_str());
}

}  // namespace

KoLNDatabase::KoLNDatabase(std::string name, KoLNInstance& instance)
    : name_(std::move(name)),
      handle_(NULLHANDLE),
      serverName_(instance.GetServerName()),
      quotaCached_(false),
      // Zeroed: a host can declare the cache valid before anything was fetched. Null when memory is
      // short; then there is no cache.
      quotaCache_(new (std::nothrow) DBQUOTAINFOEXT()),
      unusedTable1_(NULLHANDLE),
      unreadTable_(NULLHANDLE),
      unusedTable2_(NULLHANDLE),
      instance_(instance) {}

KoLNDatabase::KoLNDatabase(const KoLNDatabase& other)
    : name_(koln::copyOf(other.name_)),
      handle_(NULLHANDLE),
      title(koln::copyOf(other.title)),
      unusedText2_(koln::copyOf(other.unusedText2_)),
      unusedText3_(koln::copyOf(other.unusedText3_)),
      serverName_(koln::copyOf(other.serverName_)),
      quotaCached_(false),
      quotaCache_(new (std::nothrow) DBQUOTAINFOEXT()),
      unusedTable1_(NULLHANDLE),
      unreadTable_(NULLHANDLE),
      unusedTable2_(NULLHANDLE),
      instance_(other.instance_) {}

KoLNDatabase::~KoLNDatabase() {
  delete quotaCache_;
  releaseUnreadTable();
  Close();
}

void KoLNDatabase::releaseUnreadTable() {
  const DHANDLE table = std::exchange(unreadTable_, NULLHANDLE);
  if (table != NULLHANDLE) {
    static_cast<void>(KOLN_STATUS(IDDestroyTable, table).failed());
  }
}

KoLNError KoLNDatabase::Create() {
  return koln::recorded([this](KoLNError& error) {
    const koln::CallResult created =
        KOLN_STATUS(NSFDbCreate, name_.c_str(), DBCLASS_NOTEFILE, TRUE);
    if (created.failed()) {
      created.record(error);
    }
  });
}

KoLNError KoLNDatabase::Open() {
  return koln::recorded([this](KoLNError& error) {
    releaseUnreadTable();
    closeBeforeOpening(handle_);
    if (!refuseEmptyName(name_, error)) {
      openPath(name_.c_str(), handle_, error);
    }
  });
}

KoLNError KoLNDatabase::Open(std::string name, bool overNetwork) {
  return koln::recorded([&](KoLNError& error) {
    releaseUnreadTable();
    closeBeforeOpening(handle_);
    if (refuseEmptyName(name, error)) {
      return;  // The handle variable keeps its old, closed value.
    }

    std::string path;
    if (overNetwork) {
      error = KoLNUtilities().MakeNetworkPath(serverName_, name, path, true);
      if (error.IsErrorSet()) {
        // Spelled so on purpose: the line is known by its text.
        KOLN_LOG("Open", 0, "Failed to fetch netwrok path of database %s, from server %s",
                 name.c_str(), serverName_.c_str());
        return;
      }
    } else {
      path = name;
    }

    koln::TextBuffer<1024> notesPath;
    if (!path.empty() && !koln::translate(OS_TRANSLATE_UTF8_TO_LMBCS, path.c_str(), notesPath)) {
      // Not the end: Notes then says itself what is wrong with the path.
      KOLN_LOG("Open", 0, "NotesTranslate failed on db name: %s", name.c_str());
    }
    openPath(notesPath.text(), handle_, error);
  });
}

KoLNError KoLNDatabase::Close() {
  return koln::recorded([this](KoLNError& error) {
    if (handle_ == NULLHANDLE) {
      return;
    }
    releaseUnreadTable();
    const koln::CallResult closed = KOLN_STATUS(NSFDbClose, handle_);
    if (closed.failed()) {
      closed.record(error);
    } else {
      handle_ = NULLHANDLE;
    }
  });
}

std::string KoLNDatabase::GetName() {
  return koln::copyOf(name_);
}

DBHANDLE KoLNDatabase::GetHandle() {
  return handle_;
}

bool KoLNDatabase::GetQuotaUsage() {
  return quotaCached_;
}

void KoLNDatabase::SetQuotaUsage() {
  quotaCached_ = true;
}

void KoLNDatabase::SetMigrationCriteria(DbMigrateCriteria criteria) {
  migrationCriteria_ = criteria;
}

void* KoLNDatabase::LockObject(DHANDLE& handle) {
  return KOLN_VALUE(static_cast<void*>(nullptr), OSLockObject, handle);
}

BOOL KoLNDatabase::UnlockObject(DHANDLE& handle) {
  return KOLN_VALUE(BOOL{FALSE}, OSUnlockObject, handle);
}

STATUS KoLNDatabase::MemFreeObject(DHANDLE& handle) {
  return KOLN_STATUS(OSMemFree, handle).status();
}

KoLNError KoLNDatabase::MemAllocObject(WORD type, DWORD size, DHANDLE* out) {
  return koln::recorded([&](KoLNError& error) {
    const koln::CallResult allocated = KOLN_STATUS(OSMemAlloc, type, size, out);
    if (allocated.failed()) {
      allocated.recordCode(error);
    }
  });
}

KoLNError KoLNDatabase::GetObjectSize(DHANDLE& handle, DWORD* size) {
  return koln::recorded([&](KoLNError& error) {
    if (handle_ == NULLHANDLE) {
      error.SetError(ERR_NULL_DBHANDLE);
      return;
    }
    const koln::CallResult measured = KOLN_STATUS(OSMemGetSize, handle, size);
    if (!measured.returned()) {
      measured.record(error);  // A status of a call that did return is not asked for.
    }
  });
}

KoLNError KoLNDatabase::CheckDXLErrorLog(DWORD /*log*/) {
  return {};
}

KoLNError KoLNDatabase::ExportACL() {
  return {};
}

KoLNError KoLNDatabase::ExportACL(DWORD& /*acl*/) {
  return {};
}

KoLNError KoLNDatabase::ImportAllDataDocuments() {
  return {};
}
