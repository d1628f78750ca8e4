// Properties of an open database: one Notes call each. They differ, on purpose, in how they guard
// the handle, what they record and whether they log; see the header.
#include <cstdio>
#include <cstring>
#include <string>

#include "NotesDatabase.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";

// The two guards: by Notes' own code for a missing handle, or by a message.
bool isOpen(DBHANDLE handle, KoLNError& error) {
  if (handle == NULLHANDLE) {
    error.SetError(ERR_NULL_DBHANDLE);
  }
  return handle != NULLHANDLE;
}

bool isValid(DBHANDLE handle, KoLNError& error) {
  if (handle == NULLHANDLE) {
    error.SetCustomMessage("Invalid database handle");
  }
  return handle != NULLHANDLE;
}

// Three members name a nameless database so.
const char* nameOrNull(const std::string& name) noexcept {
  return name.empty() ? "(null)" : name.c_str();
}

KoLNError recordOf(const koln::CallResult& result) noexcept {
  return koln::recorded([&](KoLNError& error) {
    if (result.failed()) {
      result.record(error);
    }
  });
}

// A call guarded by message whose failure is recorded as code alone.
template <typename Call>
KoLNError codeOf(DBHANDLE handle, Call call) noexcept {
  return koln::recorded([&](KoLNError& error) {
    if (isValid(handle, error)) {
      const koln::CallResult result = call();
      if (result.failed()) {
        result.recordCode(error);
      }
    }
  });
}

}  // namespace

// ---- size, times, paths -----------------------------------------------------------------------

KoLNError KoLNDatabase::GetSize(DWORD& size) {
  DWORD allocated = 0;
  DWORD free = 0;
  const koln::CallResult asked = KOLN_STATUS(NSFDbSpaceUsage, handle_, &allocated, &free);
  if (!asked.failed()) {
    size = allocated;
  }
  return recordOf(asked);
}

KoLNError KoLNDatabase::GetCreationTime(TIMEDATE& time) {
  TIMEDATE id = {};
  const koln::CallResult asked = KOLN_STATUS(NSFDbIDGet, handle_, &id);
  if (!asked.failed()) {
    time = id;  // The database ID is the time of its creation.
  }
  return recordOf(asked);
}

KoLNError KoLNDatabase::GetModifiedTime(TIMEDATE& time) {
  TIMEDATE dataModified = {};
  TIMEDATE nonDataModified = {};
  const koln::CallResult asked =
      KOLN_STATUS(NSFDbModifiedTime, handle_, &dataModified, &nonDataModified);
  if (asked.failed()) {
    return recordOf(asked);
  }
  time = dataModified;
  // Compared, and without effect, on purpose: when documents last changed is what is asked for,
  // never when the design did.
  int ignored = 0;
  const koln::CallResult compared =
      KOLN_INTO(ignored, TimeDateCompare, &dataModified, &nonDataModified);
  return recordOf(compared);
}

KoLNError KoLNDatabase::GetPaths(char* canonical, char* expanded) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    const koln::CallResult asked = KOLN_STATUS(NSFDbPathGet, handle_, canonical, expanded);
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG("GetPaths", 0, "Error: Failed to get database paths for %s. %d - %s", name_.c_str(),
               error.GetErrorCode(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDatabase::GetMode(WORD* mode) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    const koln::CallResult asked = KOLN_STATUS(NSFDbModeGet, handle_, mode);
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG("GetMode", 0, "Error: Failed to get database mode for %s, %d - %s", name_.c_str(),
               error.GetErrorCode(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDatabase::GetSpaceUsage(DWORD* allocated, DWORD* free) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    const koln::CallResult asked = KOLN_STATUS(NSFDbSpaceUsage, handle_, allocated, free);
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG("GetSpaceUsage", 0, "Unable to determine space usage for database %s. %d - %s",
               name_.c_str(), asked.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDatabase::GetQuota(DBQUOTAINFOEXT* quota) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    if (quotaCached_) {
      // Valid for the object's life, also after another open. Without a cache (memory was short
      // when the object was made) only a host's own word can have set the flag: nothing is known.
      *quota = quotaCache_ != nullptr ? *quotaCache_ : DBQUOTAINFOEXT{};
      return;
    }
    const koln::CallResult asked = KOLN_STATUS(NSFDbQuotaGethDB, handle_, quota);
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG("GetQuota", 0, "Unable to determine quota for database %s. %d - %s", name_.c_str(),
               asked.status(), error.GetMessage().c_str());
      return;
    }
    if (quotaCache_ != nullptr) {
      *quotaCache_ = *quota;
      SetQuotaUsage();
    }
  });
}

KoLNError KoLNDatabase::GetOptions(DWORD* options) {
  return codeOf(handle_, [&] { return KOLN_STATUS(NSFDbGetOptions, handle_, options); });
}

// ---- replica and names ------------------------------------------------------------------------

KoLNError KoLNDatabase::GetReplicaID(std::string& id) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    DBREPLICAINFO info = {};
    const koln::CallResult asked = KOLN_STATUS(NSFDbReplicaInfoGet, handle_, &info);
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG("GetReplicaID", -1,
               "Error: Failed to fetch replicaId information for DB %s, error (%d) %s",
               nameOrNull(name_), asked.status(), error.GetMessage().c_str());
      return;
    }
    char text[18];
    std::snprintf(text, sizeof text, "%08X:%08X", info.ID.Innards[1], info.ID.Innards[0]);
    id = text;
  });
}

KoLNError KoLNDatabase::GetReplicaInfo(DBREPLICAINFO* info) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    const koln::CallResult asked = KOLN_STATUS(NSFDbReplicaInfoGet, handle_, info);
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG("GetReplicaInfo", -1,
               "Error: Failed to fetch replica information for DB %s, error (%d) %s", name_.c_str(),
               asked.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDatabase::SetReplicaInfo(DBREPLICAINFO* info) {
  return codeOf(handle_, [&] { return KOLN_STATUS(NSFDbReplicaInfoSet, handle_, info); });
}

KoLNError KoLNDatabase::GetCanonicalName(std::string& out) {
  return koln::recorded([&](KoLNError& error) {
    if (title.empty()) {
      KOLN_LOG("GetCanonicalName", 0, "Error: invalid database title");
      return;  // With a clean record, on purpose.
    }
    koln::TextBuffer<1023> user;
    user.assign(title);
    koln::TextBuffer<1023> address;
    const koln::CallResult found = KOLN_STATUS(MailLookupAddress, user.data(), address.data());
    if (found.failed()) {
      found.record(error);
      KOLN_LOG("GetCanonicalName", -1,
               "Failed to fetch Canonical name for database %s. error (%d) %s", title.c_str(),
               found.status(), error.GetMessage().c_str());
      return;
    }
    const std::string_view whole = address.text();
    out = whole.substr(0, whole.find('@'));  // A blank before the "@" stays.
  });
}

// ---- the information buffer -------------------------------------------------------------------

namespace {

// One part of the database information. False, with record and log line, when it cannot be had.
bool readInformation(DBHANDLE handle, const std::string& name, const char* function, WORD part,
                     koln::TextBuffer<NSF_INFO_SIZE>& out, KoLNError& error) {
  koln::TextBuffer<NSF_INFO_SIZE> information;
  const koln::CallResult got = KOLN_STATUS(NSFDbInfoGet, handle, information.data());
  if (got.failed()) {
    got.record(error);
    KOLN_LOG(function, 0,
             "Error: unable to get database information for Db: [%s]. NSFDbInfoGet(...) returned: "
             "[%d]. Resulting error string: [%s].",
             nameOrNull(name), got.status(), error.GetMessage().c_str());
    return false;
  }
  const koln::CallResult parsed =
      KOLN_VOID(NSFDbInfoParse, information.data(), part, out.data(), WORD{NSF_INFO_SIZE - 1});
  if (parsed.failed()) {
    parsed.record(error);
    KOLN_LOG(function, 0, "%s", error.GetMessage().c_str());
  }
  return !parsed.failed();
}

}  // namespace

KoLNError KoLNDatabase::GetTitle(std::string& databaseTitle) {
  return koln::recorded([&](KoLNError& error) {
    koln::TextBuffer<NSF_INFO_SIZE> text;
    if (isOpen(handle_, error) &&
        readInformation(handle_, name_, "GetTitle", INFOPARSE_TITLE, text, error)) {
      databaseTitle = text.text();
    }
  });
}

KoLNError KoLNDatabase::GetDesignClass(std::string& designClass) {
  return koln::recorded([&](KoLNError& error) {
    koln::TextBuffer<NSF_INFO_SIZE> text;
    if (isOpen(handle_, error) &&
        readInformation(handle_, name_, "GetDesignClass", INFOPARSE_DESIGN_CLASS, text, error)) {
      designClass = text.text();
      KOLN_LOG("GetDesignClass", 0, "DBDesignClass [%s]", text.text());
    }
  });
}

KoLNError KoLNDatabase::GetInfo(char* info) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    const koln::CallResult got = KOLN_STATUS(NSFDbInfoGet, handle_, info);
    if (got.failed()) {
      got.record(error);
      KOLN_LOG("GetInfo", 0,
               "Failed to get database information for %s. NSFDbInfoGet(...) returned %d - %s",
               name_.c_str(), got.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDatabase::SetInfo(char* info) {
  return codeOf(handle_, [&] { return KOLN_STATUS(NSFDbInfoSet, handle_, info); });
}

// ---- access list ------------------------------------------------------------------------------

KoLNError KoLNDatabase::ReadAcl(DHANDLE* acl) {
  return koln::recorded([&](KoLNError& error) {
    const koln::CallResult read = KOLN_STATUS(NSFDbReadACL, handle_, acl);
    if (read.failed()) {
      read.record(error);
      KOLN_LOG("ReadAcl", 0,
               "Failed to read ACL information for database %s. NSFDbReadACL(...) returned %d - %s",
               name_.c_str(), read.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDatabase::StoreACL(DWORD size, DWORD objectId, WORD method, char* data) {
  constexpr const char* function = "StoreACL";
  return koln::recorded([&](KoLNError& error) {
    if (!isValid(handle_, error)) {
      return;
    }
    DHANDLE memory = NULLHANDLE;
    error = MemAllocObject(0, size, &memory);
    // Told by its code, since this record is not marked as set; the code is then cleared, and the
    // text in the line is empty, on purpose, here and below.
    if (error.GetErrorCode() != NOERROR) {
      error.SetErrorCode(NOERROR);
      KOLN_LOG(function, 0, "OSMemAlloc() failed, %s", error.GetMessage().c_str());
      return;
    }
    const koln::OwnedMemory owned(memory);
    {
      const koln::LockedObject locked(memory);
      if (locked.address() == nullptr || (data == nullptr && size != 0)) {
        // An access list that could not be filled is never stored.
        error.SetCustomMessage("Unable to fill the memory for the ACL.");
        KOLN_LOG(function, 0, "%s", error.GetMessage().c_str());
        return;
      }
      if (size != 0) {
        std::memcpy(locked.address(), data, size);
      }
    }
    KOLN_LOG(function, 2, "Setting ACL...");
    const koln::CallResult stored = KOLN_STATUS(NSFDbStoreACL, handle_, memory, objectId, method);
    if (stored.failed()) {
      stored.recordCode(error);
      KOLN_LOG(function, 2, "Cannot store ACL information - %s", error.GetMessage().c_str());
    }
  });
}

// ---- stored objects ---------------------------------------------------------------------------

KoLNError KoLNDatabase::ReadObject(DWORD objectId, DWORD offset, DWORD length, DHANDLE* buffer) {
  return koln::recorded([&](KoLNError& error) {
    if (!isOpen(handle_, error)) {
      return;
    }
    const koln::CallResult read =
        KOLN_STATUS(NSFDbReadObject, handle_, objectId, offset, length, buffer);
    if (read.failed()) {
      read.record(error);
      KOLN_LOG("ReadObject", 0,
               "Error: Failed to read object. ObjectID - %lu, offset - %lu, size - %lu, Db - %s. "
               "NSFDbReadObject(...) returned %d - %s",
               static_cast<unsigned long>(objectId), static_cast<unsigned long>(offset),
               static_cast<unsigned long>(length), name_.c_str(), read.status(),
               error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDatabase::AllocObject(DWORD size, WORD noteClass, WORD privileges, DWORD* objectId) {
  return codeOf(handle_, [&] {
    return KOLN_STATUS(NSFDbAllocObject, handle_, size, noteClass, privileges, objectId);
  });
}

KoLNError KoLNDatabase::FreeObject(DWORD objectId) {
  return codeOf(handle_, [&] { return KOLN_STATUS(NSFDbFreeObject, handle_, objectId); });
}

KoLNError KoLNDatabase::WriteObject(DWORD objectId, DHANDLE buffer, DWORD offset, DWORD length) {
  return codeOf(handle_, [&] {
    return KOLN_STATUS(NSFDbWriteObject, handle_, objectId, buffer, offset, length);
  });
}
