// What acts on the server or on one database file as a whole: console commands, offline and online,
// repair.
#include <algorithm>
#include <cstring>
#include <string>

#include "DominoInstance.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "DominoInstance";

// Repair as a side effect of opening: force fixup, scan all notes.
constexpr WORD repairOptions = DBOPEN_FORCE_FIXUP | DBOPEN_FIXUP_FULL_NOTE_SCAN;
static_assert(repairOptions == 24);

// These operations report their failure as a code alone: the record stays without message and is
// not set, so that the text in the log line is empty as well.
KoLNError codeOf(const koln::CallResult& result, const char* function, const char* notesFunction) {
  return koln::recorded([&](KoLNError& error) {
    if (result.failed()) {
      result.recordCode(error);
      KOLN_LOG(function, 0, "%s failed with error (%d): error string (%s)", notesFunction,
               result.status(), error.GetMessage().c_str());
    }
  });
}

// The text of an answer, bounded by the memory it came in. Where that cannot be had its terminator
// counts: the command has been carried out, and its answer must not be lost.
std::string_view answerText(DHANDLE handle, const char* text) noexcept {
  DWORD size = 0;
  const koln::CallResult measured = KOLN_STATUS(OSMemGetSize, handle, &size);
  return {text, measured.failed() ? std::strlen(text) : strnlen(text, size)};
}

}  // namespace

STATUS KoLNInstance::RemoteCommand(char* command, char* response, unsigned short* responseLength) {
  if (command == nullptr || response == nullptr || responseLength == nullptr) {
    return ERR_BAD_PARAM;
  }
  koln::TextBuffer<MAXUSERNAME> server;
  WORD serverLength = 0;
  const koln::CallResult canonical =
      KOLN_STATUS(DNCanonicalize, DWORD{0}, nullptr, serverName_.c_str(), server.data(),
                  server.capacity(), &serverLength);
  if (canonical.failed()) {
    return canonical.status();
  }

  DHANDLE handle = NULLHANDLE;
  const koln::CallResult sent = KOLN_STATUS(NSFRemoteConsole, server.data(), command, &handle);
  const koln::OwnedMemory owned(handle);  // Freed also when it comes with a failing status.
  if (sent.failed()) {
    return sent.status();
  }
  std::string_view answer;  // No handle is an empty answer.
  const koln::LockedObject locked(handle);
  if (handle != NULLHANDLE) {
    if (locked.address() == nullptr) {
      return ERR_MEMORY;
    }
    answer = answerText(handle, static_cast<const char*>(locked.address()));
  }
  const std::size_t copied = answer.copy(response, *responseLength);
  response[copied] = '\0';
  *responseLength = static_cast<unsigned short>(std::min<std::size_t>(answer.size(), MAXWORD));
  return NOERROR;
}

KoLNError KoLNInstance::TakeDBOffline(std::string& databasePath) {
  // 60 as a wait and no options, on purpose, although Notes counts milliseconds and, without
  // options, removes the file; the header warns.
  return codeOf(KOLN_STATUS(NSFTakeDatabaseOffline, databasePath.c_str(), DWORD{60}, DWORD{0}),
                "TakeDBOffline", "NSFTakeDatabaseOffline");
}

KoLNError KoLNInstance::BringDBOnline(std::string& databasePath) {
  return codeOf(KOLN_STATUS(NSFBringDatabaseOnline, databasePath.c_str(), DWORD{0}),
                "BringDBOnline", "NSFBringDatabaseOnline");
}

KoLNError KoLNInstance::RepairDB(std::string& databasePath) {
  DBHANDLE database = NULLHANDLE;
  TIMEDATE dataModified = {};
  TIMEDATE nonDataModified = {};
  const koln::CallResult opened =
      KOLN_STATUS(NSFDbOpenExtended, databasePath.c_str(), repairOptions, DHANDLE{NULLHANDLE},
                  nullptr, &database, &dataModified, &nonDataModified);
  // The repair is the open itself. Two blanks before the parenthesis, here and below.
  return koln::recorded([&](KoLNError& error) {
    if (opened.failed()) {
      opened.recordCode(error);
      KOLN_LOG("RepairDB", 0, "NSFDbOpenExtended failed with error  (%d): error string (%s)",
               opened.status(), error.GetMessage().c_str());
      return;
    }
    const koln::CallResult closed = KOLN_STATUS(NSFDbClose, database);
    if (closed.failed()) {
      closed.recordCode(error);
      KOLN_LOG("RepairDB", 0, "NSFDbClose failed with error  (%d): error string (%s)",
               closed.status(), error.GetMessage().c_str());
    }
  });
}
