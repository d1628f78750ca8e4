// The document object: one note of a database, its header, its items, its writing and deleting.
#include "NotesDocument.h"

#include <cstring>
#include <limits>
#include <utility>

#include "document/NoteChecks.h"
#include "platform/Log.h"
#include "platform/Owners.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDocument";

// What is recorded when opening or closing a note throws: Notes' own "invalid note".
constexpr STATUS noteCallThrew = 551;

// What follows a failure stands in functions of its own, so that success is not in its way.

[[gnu::cold, gnu::noinline]] void tellNoDatabase(const char* function, KoLNError& error) {
  error.SetError(ERR_NULL_DBHANDLE);
  KOLN_LOG(function, 0, "Invalid db handle");
}

[[gnu::cold, gnu::noinline]] void tellNoId(const char* function, KoLNError& error) {
  KOLN_LOG(function, 0, "Invalid note ID");
  error.SetCustomMessage("Note ID note set");
}

inline bool lacksDatabaseLogged(DBHANDLE db, const char* function, KoLNError& error) {
  return db != NULLHANDLE ? false : (tellNoDatabase(function, error), true);
}

inline bool lacksIdLogged(NOTEID id, const char* function, KoLNError& error) {
  return id != 0 ? false : (tellNoId(function, error), true);
}

// Closes what an earlier open left. Its status does not matter here, and a note that could not be
// closed is not tried again: the handle may be gone.
inline void closeBefore(NOTEHANDLE& note) {
  if (note != NULLHANDLE) [[unlikely]] {
    koln::OpenNote(std::exchange(note, NULLHANDLE)).close();
  }
}

void logFailedOpen(const char* function, NOTEID id, STATUS status) {
  KOLN_LOG(function, 0, "Error: unable to open note: [%08x]. NSFNoteOpen(...) returned: [%d]. ", id,
           status);
}

// Records why a note could not be opened. False after a status of Notes, whose log line differs from
// member to member.
[[gnu::cold, gnu::noinline]] bool recordFailedOpen(koln::CallResult opened, const char* function,
                                                   KoLNError& error) {
  if (opened.threw()) {
    error.SetError(noteCallThrew);
    KOLN_LOG(function, 0,
             "Error: caught an exception of unknown type thrown by Domino API function: "
             "[NSFNoteOpen(...)].");
    return true;
  }
  opened.record(error);
  return false;
}

// The same for the two members that open by a note ID.
[[gnu::cold, gnu::noinline]] void tellFailedOpen(koln::CallResult opened, const char* function,
                                                 NOTEID id, KoLNError& error) {
  if (!recordFailedOpen(opened, function, error)) {
    logFailedOpen(function, id, opened.status());
  }
}

// The number in the result of the size formula, which may be damaged: nothing is read behind its
// `length` bytes. False if it is no size.
bool sizeFromResult(const void* result, WORD length, unsigned int& size, KoLNError& error) {
  WORD type = 0;
  if (length < sizeof type) {
    error.SetCustomMessage("The result of evaluating note size is cut short.");
    return false;
  }
  const auto* bytes = static_cast<const unsigned char*>(result);
  std::memcpy(&type, bytes, sizeof type);

  std::size_t offset = sizeof type;
  if (type == TYPE_NUMBER_RANGE) {
    RANGE range = {};
    if (length < offset + sizeof range) {
      error.SetCustomMessage("The result of evaluating note size is cut short.");
      return false;
    }
    std::memcpy(&range, bytes + offset, sizeof range);
    if (range.ListEntries == 0) {
      error.SetCustomMessage("The result of evaluating note size is an empty list.");
      return false;
    }
    offset += sizeof range;
  } else if (type != TYPE_NUMBER) {
    error.SetCustomMessage("Unknown type returned while evaluating note size.");
    return false;
  }

  NUMBER number = 0;
  if (length < offset + sizeof number) {
    error.SetCustomMessage("The result of evaluating note size is cut short.");
    return false;
  }
  std::memcpy(&number, bytes + offset, sizeof number);
  // Written so that NaN fails too. The fraction is dropped, so the largest one counts.
  if (!(number >= 0 && number < std::numeric_limits<unsigned int>::max() + 1.0)) {
    error.SetCustomMessage("The result of evaluating note size is no size.");
    return false;
  }
  size = static_cast<unsigned int>(number);
  return true;
}

}  // namespace

KoLNDocument::KoLNDocument() : KoLNDocument(NULLHANDLE, 0) {}

KoLNDocument::KoLNDocument(DBHANDLE db, NOTEID id)
    : noteId_(id), unid_(), note_(NULLHANDLE), db_(db) {}

KoLNDocument::KoLNDocument(DBHANDLE db, NOTEID id, UNIVERSALNOTEID unid)
    : noteId_(id), unid_(unid), note_(NULLHANDLE), db_(db) {}

KoLNDocument::~KoLNDocument() {
  closeBefore(note_);
}

void KoLNDocument::SetNoteHandle(NOTEHANDLE handle) {
  note_ = handle;
}

// ---- opening and closing ----------------------------------------------------------------------

KoLNError KoLNDocument::Create() {
  return koln::recorded([this](KoLNError& error) {
    if (lacksDatabaseLogged(db_, "Create", error)) {
      return;
    }
    closeBefore(note_);
    NOTEHANDLE created = NULLHANDLE;
    const koln::CallResult result = KOLN_STATUS(NSFNoteCreate, db_, &created);
    if (!result.failed()) {
      SetNoteHandle(created);
      return;
    }
    koln::recordOr(result,
                   "Error: caught an exception of unknown type thrown by Domino API function: "
                   "[NSFNoteCreate(\t...)].",
                   error);
    if (!result.threw()) {
      // The note ID stands in the place of the status on purpose: the line is known so.
      KOLN_LOG("Create", 0, "Error: unable to create note: NSFNoteCreate(...) returned: [%d]. ",
               static_cast<int>(noteId_));
    }
  });
}

KoLNError KoLNDocument::Open(WORD flags) {
  return koln::recorded([&](KoLNError& error) {
    if (lacksDatabaseLogged(db_, "Open", error) || lacksIdLogged(noteId_, "Open", error)) {
      return;
    }
    closeBefore(note_);
    const koln::CallResult result = KOLN_STATUS(NSFNoteOpen, db_, noteId_, flags, &note_);
    if (result.failed()) [[unlikely]] {
      note_ = NULLHANDLE;  // What a failed call leaves there is none.
      tellFailedOpen(result, "Open", noteId_, error);
    }
  });
}

KoLNError KoLNDocument::OpenExt(DWORD flags) {
  return koln::recorded([&](KoLNError& error) {
    if (lacksDatabaseLogged(db_, "OpenExt", error) || lacksIdLogged(noteId_, "OpenExt", error)) {
      return;
    }
    closeBefore(note_);
    const koln::CallResult result = KOLN_STATUS(NSFNoteOpenExt, db_, noteId_, flags, &note_);
    if (result.failed()) [[unlikely]] {
      note_ = NULLHANDLE;  // What a failed call leaves there is none.
      tellFailedOpen(result, "OpenExt", noteId_, error);
    }
  });
}

KoLNError KoLNDocument::OpenByUNID(WORD flags) {
  return koln::recorded([&](KoLNError& error) {
    if (lacksDatabaseLogged(db_, "OpenByUNID", error)) {
      return;
    }
    closeBefore(note_);
    const koln::CallResult result = KOLN_STATUS(NSFNoteOpenByUNID, db_, &unid_, flags, &note_);
    if (!result.failed()) {
      return;
    }
    note_ = NULLHANDLE;  // What a failed call leaves there is none.
    if (!recordFailedOpen(result, "OpenByUNID", error)) {
      KOLN_LOG("OpenByUNID", 0,
               "Error: unable to open note: NSFNoteOpenByUNID(...) returned: [%d]. ",
               result.status());
    }
  });
}

// Records why a note could not be closed. After a throw its handle is gone all the same.
[[gnu::cold, gnu::noinline]] static void recordFailedClose(koln::CallResult closed,
                                                           NOTEHANDLE& note, KoLNError& error) {
  if (closed.threw()) {
    note = NULLHANDLE;
    error.SetError(noteCallThrew);
    KOLN_LOG("Close", 0,
             "Error: caught an exception of unknown type thrown by Domino API function: "
             "[NSFNoteClose(\t...)].");
    return;
  }
  closed.record(error);
  // In the words of a failed open, with the status in both places, on purpose.
  logFailedOpen("Close", closed.status(), closed.status());
}

KoLNError KoLNDocument::Close() {
  return koln::recorded([this](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    const koln::CallResult closed = KOLN_STATUS(NSFNoteClose, note_);
    if (!closed.failed()) [[likely]] {
      note_ = NULLHANDLE;
    } else {
      recordFailedClose(closed, note_, error);
    }
  });
}

// ---- properties -------------------------------------------------------------------------------

namespace {

constexpr const char* getInfoThrew =
    "Error: caught an exception of unknown type thrown by Domino API function: "
    "[NSFNoteGetInfo(\t...)].";

// Every reader of a note's header is this call with another member and another result.
[[gnu::always_inline]] inline KoLNError readMember(NOTEHANDLE note, WORD member, void* out) {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note, error)) {
      koln::recordOr(KOLN_VOID(NSFNoteGetInfo, note, member, out), getInfoThrew, error);
    }
  });
}

// The item that tells when a mail was received, else the one that tells when it was sent.
koln::CallResult readMailTime(NOTEHANDLE note, TIMEDATE& time, BOOL& found) {
  const koln::CallResult delivered = KOLN_INTO(found, NSFItemGetTime, note, "DeliveredDate", &time);
  if (delivered.failed() || found) {
    return delivered;
  }
  return KOLN_INTO(found, NSFItemGetTime, note, "PostedDate", &time);
}

}  // namespace

KoLNError KoLNDocument::GetCreationTime(TIMEDATE& time) {
  ORIGINATORID oid = {};
  KoLNError error = readMember(note_, _NOTE_OID, &oid);
  if (!error.IsErrorSet()) {
    time = oid.Note;
  }
  return error;
}

KoLNError KoLNDocument::GetModifiedTime(TIMEDATE& time) {
  return readMember(note_, _NOTE_MODIFIED, &time);
}

KoLNError KoLNDocument::GetLastAccessedTime(TIMEDATE& time) {
  return readMember(note_, _NOTE_ACCESSED, &time);
}

KoLNError KoLNDocument::GetInfo(WORD what, void* out) {
  return readMember(note_, what, out);
}

KoLNError KoLNDocument::SetInfo(WORD what, void* in) {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note_, error)) {
      koln::recordOr(KOLN_VOID(NSFNoteSetInfo, note_, what, in),
                     "Error: caught an exception of unknown type thrown by Domino API function: "
                     "[NSFNoteSetInfo(\t...)].",
                     error);
    }
  });
}

KoLNError KoLNDocument::GetInfoExtended(ORIGINATORID* oid, TIMEDATE* modified, WORD* noteClass) {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksDatabase(db_, error)) {
      koln::recordOr(KOLN_STATUS(NSFDbGetNoteInfo, db_, noteId_, oid, modified, noteClass),
                     getInfoThrew, error);
    }
  });
}

KoLNError KoLNDocument::GetAgeInSeconds(unsigned long& age, unsigned long useSentReceived) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    // Names no function, on purpose: the message is known so.
    const auto failed = [&](const koln::CallResult& call) {
      koln::recordOr(
          call,
          "Error: caught an exception of unknown type thrown by Domino API function: ", error);
      return call.failed();
    };

    TIMEDATE since = {};
    if (useSentReceived != 0) {
      BOOL found = FALSE;
      if (failed(readMailTime(note_, since, found))) {
        return;
      }
      if (!found) {
        KOLN_LOG("GetAgeInSeconds", 2,
                 "Warning: unable to determine sent/received time for a note. Will use default age "
                 "of 0 seconds.");
        age = 0;
        return;
      }
    } else {
      ORIGINATORID oid = {};
      if (failed(KOLN_VOID(NSFNoteGetInfo, note_, _NOTE_OID, &oid))) {
        return;
      }
      since = oid.SequenceTime;
    }

    TIMEDATE now = {};
    LONG seconds = 0;
    if (failed(KOLN_VOID(OSCurrentTIMEDATE, &now)) ||
        failed(KOLN_INTO(seconds, TimeDateDifference, &now, &since))) {
      return;
    }
    // A mail from a clock that runs ahead is young: as a large number it would be archived at once.
    age = seconds < 0 ? 0 : static_cast<unsigned long>(seconds);
  });
}

KoLNError KoLNDocument::GetSentRecievedTime(TIMEDATE& time) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    const auto failed = [&](const koln::CallResult& call) {
      koln::recordOr(call,
                     "Error: caught an exception of unknown type thrown by Domino API function: "
                     "[NSFItemGetTime(\t...)].",
                     error);
      return call.failed();
    };
    BOOL found = FALSE;
    if (failed(readMailTime(note_, time, found)) || found) {
      return;
    }
    ORIGINATORID oid = {};
    if (!failed(KOLN_VOID(NSFNoteGetInfo, note_, _NOTE_OID, &oid))) {
      time = oid.Note;
    }
  });
}

KoLNError KoLNDocument::GetSize(unsigned int& size, void* formula) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    if (formula == nullptr) {
      error.SetCustomMessage(
          "Null computation handle received. Probable cause, formula computation not "
          "initialized.");
      return;
    }
    DHANDLE result = NULLHANDLE;
    WORD length = 0;
    BOOL matches = FALSE;
    BOOL shouldDelete = FALSE;
    const koln::CallResult evaluated = KOLN_STATUS(NSFComputeEvaluate, formula, note_, &result,
                                                   &length, nullptr, &matches, &shouldDelete);
    if (evaluated.failed()) {
      evaluated.record(error);
      return;
    }
    const koln::OwnedMemory owned(result);
    const koln::LockedObject locked(result);
    if (locked.address() == nullptr) {
      error.SetCustomMessage("No result returned while evaluating note size.");
      return;
    }
    sizeFromResult(locked.address(), length, size, error);
  });
}

KoLNError KoLNDocument::GetSubject(std::string& subject) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    koln::TextBuffer<256> text;
    WORD length = 0;  // The text is terminated; its length is not needed.
    const koln::CallResult asked = KOLN_STATUS(MailGetMessageItem, note_, MAIL_SUBJECT_ITEM_NUM,
                                               text.data(), text.capacity(), &length);
    if (asked.failed()) {
      koln::recordOr(asked,
                     "Error: caught an exception of unknown type thrown by Domino API function: "
                     "[MailGetMessageItem(\t...)].",
                     error);
      return;
    }
    subject = text.text();
  });
}

// ---- items ------------------------------------------------------------------------------------

WORD KoLNDocument::GetItem(const char* name, std::string& out) {
  koln::TextBuffer<1024> text;
  WORD length = 0;
  if (note_ != NULLHANDLE && name != nullptr) {
    length = KOLN_VALUE(WORD{0}, NSFItemGetText, note_, name, text.data(), text.capacity());
  }
  if (!koln::assignText(out, text.text())) {
    out.clear();
    return 0;
  }
  return length;
}

KoLNError KoLNDocument::ScanItems(NSFITEMSCANPROC callback, void* context) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    if (callback == nullptr) {
      error.SetCustomMessage("No routine to scan the items with.");
      return;
    }
    const koln::CallResult scanned = KOLN_STATUS(NSFItemScan, note_, callback, context);
    if (scanned.failed()) {
      scanned.record(error);
    }
  });
}

KoLNError KoLNDocument::AppendItem(WORD itemFlags, char* name, WORD nameLength, WORD dataType,
                                   void* value, DWORD valueLength) {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note_, error)) {
      koln::recordOr(KOLN_STATUS(NSFItemAppend, note_, itemFlags, name, nameLength, dataType, value,
                                 valueLength),
                     "Caught and exception during NSFItemAppend", error);
    }
  });
}

KoLNError KoLNDocument::AppendObject(WORD itemFlags, const char* name, WORD nameLength,
                                     BLOCKID value, DWORD valueLength, int dealloc) {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note_, error)) {
      koln::recordOr(KOLN_STATUS(NSFItemAppendObject, note_, itemFlags, name, nameLength, value,
                                 valueLength, dealloc),
                     "Caught and exception during NSFItemAppendObject", error);
    }
  });
}

// ---- writing and deleting ---------------------------------------------------------------------

KoLNError KoLNDocument::Update(WORD flags) {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note_, error)) {
      koln::recordOr(KOLN_STATUS(NSFNoteUpdate, note_, flags),
                     "Caught and exception during NoteUpdate", error);
    }
  });
}

KoLNError KoLNDocument::Delete(WORD flags) {
  return koln::recorded([&](KoLNError& error) {
    if (lacksDatabaseLogged(db_, "Delete", error) || lacksIdLogged(noteId_, "Delete", error)) {
      return;
    }
    const koln::CallResult deleted = KOLN_STATUS(NSFNoteDelete, db_, noteId_, flags);
    if (!deleted.failed()) {
      noteId_ = 0;
      return;
    }
    koln::recordOr(deleted,
                   "Error: caught an exception of unknown type thrown by Domino API function: "
                   "[NSFNoteDelete(\t...)].",
                   error);
    if (!deleted.threw()) {
      KOLN_LOG("Delete", 0,
               "Error: NSFNoteDelete(...)of Note [%d] returned: [%d]. Resulting error string: "
               "[%s].",
               static_cast<int>(noteId_), deleted.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDocument::HardDelete() {
  return koln::recorded([this](KoLNError& error) {
    if (lacksDatabaseLogged(db_, "HardDelete", error) ||
        lacksIdLogged(noteId_, "HardDelete", error)) {
      return;
    }
    closeBefore(note_);
    const koln::CallResult deleted = KOLN_STATUS(NSFNoteHardDelete, db_, noteId_, DWORD{0});
    if (!deleted.failed()) {
      noteId_ = 0;
      return;
    }
    koln::recordOr(deleted,
                   "Error: caught an exception of unknown type thrown by Domino API function: "
                   "[NSFNoteHardDelete(\t...)].",
                   error);
    if (!deleted.threw()) {
      KOLN_LOG("HardDelete", 0,
               "Error: NSFNoteHardDelete(...)of Note [%d] returned: [%d]. Resulting error string: "
               "[%s].",
               static_cast<int>(noteId_), deleted.status(), error.GetMessage().c_str());
    }
  });
}

// ---- the two kinds ----------------------------------------------------------------------------

KoLNDataDocument::KoLNDataDocument() = default;
KoLNDataDocument::KoLNDataDocument(DBHANDLE db, NOTEID id) : KoLNDocument(db, id) {}
KoLNDataDocument::~KoLNDataDocument() = default;

void KoLNDataDocument::SetNoteID(NOTEID id) {
  noteId_ = id;
}

KoLNDesignDocument::KoLNDesignDocument() = default;
KoLNDesignDocument::~KoLNDesignDocument() = default;
