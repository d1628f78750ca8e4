// Sets of notes: those that nobody has read yet, those that have changed, those that a search
// finds.
#include <string>

#include "NotesDatabase.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/TableScan.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";

// What hosts get to see of a failure where its status is none of their business.
constexpr STATUS collapsed = 1;

// Records any status as 1; a call that did not return gets its message.
STATUS recordCollapsed(const koln::CallResult& call, KoLNError& error) {
  if (!call.returned()) {
    call.record(error);
    return call.status();
  }
  error.SetError(collapsed);
  return collapsed;
}

bool refusedWithoutHandle(DBHANDLE handle, KoLNError& error) {
  if (handle != NULLHANDLE) {
    return false;
  }
  error.SetCustomMessage("Invalid database handle");
  return true;
}

}  // namespace

KoLNError KoLNDatabase::DiscoverUnReadDocuments() {
  constexpr const char* function = "DiscoverUnReadDocuments";
  return koln::recorded([this](KoLNError& error) {
    if (handle_ == NULLHANDLE) {
      error.SetError(ERR_NULL_DBHANDLE);
      return;
    }
    releaseUnreadTable();  // Also where the new one cannot be had: it may be of another owner.
    std::string user = title;
    if (user.empty()) {
      error = GetTitle(user);
      if (!error.IsErrorSet() && user.empty()) {
        // A bare "/" would ask for the list of the user that runs the process.
        error.SetCustomMessage("The database has no title that names its owner.");
      }
      if (error.IsErrorSet()) {
        KOLN_LOG(function, 0, "Failed to fetch database title for db %s", name_.c_str());
        return;
      }
    }
    user += '/';  // Makes a common name a distinguished one.

    koln::TextBuffer<MAXUSERNAME> canonical;
    WORD length = 0;  // The text is terminated; its length is counted.
    const koln::CallResult named = KOLN_STATUS(DNCanonicalize, DWORD{0}, nullptr, user.c_str(),
                                               canonical.data(), canonical.capacity(), &length);
    if (named.failed()) {
      const STATUS status = recordCollapsed(named, error);
      KOLN_LOG(function, 0,
               "Error: unable to get a canonical name for user [%s]. DNCanonicalize(...) returned: "
               "[%d]. Resulting error string: [%s].",
               user.c_str(), status, error.GetMessage().c_str());
      return;
    }

    DHANDLE table = NULLHANDLE;
    const koln::CallResult asked = KOLN_STATUS(NSFDbGetUnreadNoteTable, handle_, canonical.data(),
                                               static_cast<WORD>(canonical.length()), TRUE, &table);
    if (asked.failed()) {
      const STATUS status = recordCollapsed(asked, error);
      KOLN_LOG(function, 0,
               "Error: unable to determine if any notes are unread. NSFDbGetUnreadNoteTable(...) "
               "returned: [%d]. Resulting error string: [%s].",
               status, error.GetMessage().c_str());
      return;
    }
    unreadTable_ = table;
  });
}

KoLNError KoLNDatabase::GetNoteUnreadStatus(NOTEID id, bool& unread) {
  constexpr const char* function = "GetNoteUnreadStatus";
  return koln::recorded([&](KoLNError& error) {
    if (unreadTable_ == NULLHANDLE) {
      error.SetError(NOERROR);  // Records nothing, on purpose.
      KOLN_LOG(function, 0, "Invalid UnreadNoteTable handle passed in");
      return;
    }
    // From the first entry to the last, on purpose, and not by asking for the one.
    koln::TableScan scan(unreadTable_);
    while (scan.next(error)) {
      if ((scan.id() & RRV_DELETED) == 0 && scan.id() == id) {
        KOLN_LOG(function, 0, "Found an unread note: [%d]. This note will not be archived",
                 static_cast<int>(id));
        unread = true;
        return;
      }
    }
  });
}

KoLNError KoLNDatabase::DiscoverModifiedDocuments(TIMEDATE since, TIMEDATE* until,
                                                  WORD noteClassMask, DHANDLE* table) {
  return koln::recorded([&](KoLNError& error) {
    const koln::CallResult asked =
        KOLN_STATUS(NSFDbGetModifiedNoteTable, handle_, noteClassMask, since, until, table);
    if (!asked.failed() ||
        (asked.returned() && (asked.status() & ERR_MASK) == ERR_NO_MODIFIED_NOTES)) {
      return;
    }
    asked.record(error);
    // No blank behind the time, on purpose.
    KOLN_LOG(
        "DiscoverModifiedDocuments", 0,
        "Cannot get Modified note ID list, since %x:%xNSFDbGetModifiedNoteTable(...) returned: "
        "[%d]. Resulting error string: [%s].",
        since.Innards[0], since.Innards[1], asked.status(), error.GetMessage().c_str());
  });
}

BOOL KoLNDatabase::NoteIDScan(DHANDLE& table, int first, DWORD* noteId) {
  // FALSE on a throw: with anything else the caller's loop would never end.
  return KOLN_VALUE(BOOL{FALSE}, IDScan, table, first, noteId);
}

KoLNError KoLNDatabase::Search(DHANDLE formula, char* viewTitle, WORD searchFlags,
                               WORD noteClassMask, TIMEDATE* since, NSFSEARCHPROC* routine,
                               void* context, TIMEDATE* until) {
  return koln::recorded([&](KoLNError& error) {
    if (refusedWithoutHandle(handle_, error)) {
      return;
    }
    if (routine == nullptr || *routine == nullptr) {
      error.SetCustomMessage("No routine to search with.");
      return;
    }
    const koln::CallResult searched =
        KOLN_STATUS(NSFSearch, handle_, formula, viewTitle, searchFlags, noteClassMask, since,
                    *routine, context, until);
    if (searched.threw()) {
      // Counts as done, on purpose.
      KOLN_LOG("Search", 0,
               "Error: caught an exception of unknown type thrown by Domino API "
               ":[NSFSearch(...)].");
    } else if (searched.failed()) {
      searched.recordCode(error);
    }
  });
}

KoLNError KoLNDatabase::GetNoteInfoByUNID(UNID* unid, NOTEID* id, ORIGINATORID* oid,
                                          TIMEDATE* modified, WORD* noteClass) {
  return koln::recorded([&](KoLNError& error) {
    if (refusedWithoutHandle(handle_, error)) {
      return;
    }
    if (unid == nullptr) {
      error.SetCustomMessage("No universal ID to look up.");
      return;
    }
    const koln::CallResult asked =
        KOLN_STATUS(NSFDbGetNoteInfoByUNID, handle_, unid, id, oid, modified, noteClass);
    if (asked.failed()) {
      recordCollapsed(asked, error);
      KOLN_LOG("GetNoteInfoByUNID", 0, "Could not get noteID from UNID DBID=%8x:%8x ",
               unid->File.Innards[0], unid->File.Innards[1]);
    }
  });
}

KoLNError KoLNDatabase::ProfileEnum(const char* profileName, WORD profileNameLength,
                                    NSFPROFILEENUMPROC routine, void* context, DWORD flags) {
  return koln::recorded([&](KoLNError& error) {
    if (refusedWithoutHandle(handle_, error)) {
      return;
    }
    if (routine == nullptr) {
      error.SetCustomMessage("No routine to enumerate profiles with.");
      return;
    }
    const koln::CallResult enumerated = KOLN_STATUS(NSFProfileEnum, handle_, profileName,
                                                    profileNameLength, routine, context, flags);
    if (enumerated.failed()) {
      enumerated.recordCode(error);
      KOLN_LOG("ProfileEnum", -1, "Error: NSFProfileEnum returned %d - %s", enumerated.status(),
               error.GetMessage().c_str());
    }
  });
}
