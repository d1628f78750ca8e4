// Puts restored notes back into the folders that a backup has recorded for them.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "NotesDatabase.h"
#include "NotesUtilities.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/QuitRequest.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";
constexpr const char* function = "PutNotesInFolders";

constexpr std::size_t countOffset = 28;  // Behind the folder's ORIGINATORID.
constexpr std::size_t headerSize = 32;

// A status that says that a note is not there any more, which is nothing to tell.
constexpr STATUS unknownNote = 1028;

class FolderReconstruction {
 public:
  FolderReconstruction(DBHANDLE db, const char* buffer, DWORD size, WORD itemSize, KoLNError& error)
      : db_(db), buffer_(buffer), size_(size), itemSize_(itemSize), error_(error) {}

  void run() {
    while (cursor_ < size_ && !quit_.requested()) {
      if (!putRecord()) {
        return;
      }
    }
  }

 private:
  // Takes one folder record. False if the run is to end.
  bool putRecord() {
    const std::size_t start = cursor_;
    if (size_ - start < headerSize) {
      return truncated(start);
    }
    UNIVERSALNOTEID unid = {};
    DWORD count = 0;
    std::memcpy(&unid, buffer_ + start, sizeof unid);
    std::memcpy(&count, buffer_ + start + countOffset, sizeof count);
    const NOTEID folder = findFolder(unid);
    cursor_ = start + headerSize;
    if (count == 0) {
      return true;
    }
    KOLN_LOG(function, 2,
             "Processing folder (UNID %08x%08x:%08x%08x) info with %d items (size=%d, at offset "
             "%d/%d).",
             unid.File.Innards[1], unid.File.Innards[0], unid.Note.Innards[1], unid.Note.Innards[0],
             static_cast<int>(count),
             static_cast<int>(std::uint64_t{itemSize_} * count + sizeof count),
             static_cast<int>(start), static_cast<int>(size_));

    DHANDLE handle = NULLHANDLE;
    const koln::CallResult created =
        koln::requireHandle(KOLN_STATUS(IDCreateTable, DWORD{sizeof(NOTEID)}, &handle), handle);
    if (created.failed()) {
      created.record(error_);
      KOLN_LOG(function, 0, "Could not allocate IDTable for folder reconstruction - %s",
               error_.GetMessage().c_str());
      return false;
    }
    const koln::OwnedTable table(handle);
    // What the count says of bytes that are not there is left out.
    const DWORD whole =
        static_cast<DWORD>(std::min<std::size_t>(count, (size_ - cursor_) / itemSize_));
    for (DWORD i = 0; i < whole && !quit_.requested(); ++i, cursor_ += itemSize_) {
      if (!addItem(table.handle(), folder)) {
        return false;
      }
    }
    addToFolder(folder, table.handle());
    return whole == count || truncated(start);
  }

  // 0 for a folder that is not there: its record is read through all the same.
  NOTEID findFolder(const UNIVERSALNOTEID& unid) {
    NOTEID folder = 0;
    const koln::CallResult found = find(unid, folder);
    if (!found.failed()) {
      return folder;
    }
    found.record(error_);
    KOLN_LOG(function, 0,
             "Could not get noteID from UNID DBID=%8x:%8x Creation Time=%s for folder "
             "reconstruction - %s",
             unid.File.Innards[0], unid.File.Innards[1], timeText(unid.Note).c_str(),
             error_.GetMessage().c_str());
    return 0;
  }

  bool addItem(DHANDLE table, NOTEID folder) {
    UNIVERSALNOTEID unid;
    std::memcpy(&unid, buffer_ + cursor_, sizeof unid);
    NOTEID note = 0;
    const koln::CallResult found = find(unid, note);
    if (found.failed()) {
      found.record(error_);
      if ((found.status() & ERR_MASK) != unknownNote) {
        KOLN_LOG(function, 0,
                 "Could not get noteID from UNID DBID=%8x:%8x Creation Time=%s to insert into "
                 "folder noteID %d - %s",
                 unid.File.Innards[0], unid.File.Innards[1], timeText(unid.Note).c_str(),
                 static_cast<int>(folder), error_.GetMessage().c_str());
      }
      return true;
    }
    const koln::CallResult inserted = KOLN_STATUS(IDInsert, table, note, nullptr);
    if (inserted.failed()) {
      inserted.record(error_);
      KOLN_LOG(function, 0,
               "Could not insert noteID %d into IDTable for folder reconstruction - %s.",
               static_cast<int>(note), error_.GetMessage().c_str());
      return false;
    }
    return true;
  }

  void addToFolder(NOTEID folder, DHANDLE table) {
    if (folder == 0) {
      return;
    }
    const koln::CallResult added =
        KOLN_STATUS(FolderDocAdd, db_, DBHANDLE{NULLHANDLE}, folder, table, DWORD{0});
    if (added.failed()) {
      added.record(error_);
      KOLN_LOG(function, 0, "Could not add IDTable to folder note %d - %s",
               static_cast<int>(folder), error_.GetMessage().c_str());
    }
  }

  koln::CallResult find(UNIVERSALNOTEID unid, NOTEID& note) const {
    ORIGINATORID oid;  // These three are asked for and not needed.
    TIMEDATE modified;
    WORD noteClass;
    return KOLN_STATUS(NSFDbGetNoteInfoByUNID, db_, &unid, &note, &oid, &modified, &noteClass);
  }

  static std::string timeText(const TIMEDATE& time) {
    std::string text;
    KoLNUtilities().GetTimeString(time, text);
    return text;
  }

  // Ends the run.
  bool truncated(std::size_t start) {
    error_.SetCustomMessage("The folder record at offset %zu of %u is cut short.", start, size_);
    KOLN_LOG(function, 0, "%s", error_.GetMessage().c_str());
    return false;
  }

  const DBHANDLE db_;
  const char* const buffer_;
  const DWORD size_;
  const WORD itemSize_;
  KoLNError& error_;
  std::size_t cursor_ = 0;
  koln::QuitRequest quit_;
};

}  // namespace

KoLNError KoLNDatabase::PutNotesInFolders(char* buffer, DWORD size, const char* /*ignored*/) {
  return koln::recorded([&](KoLNError& error) {
    if (handle_ == NULLHANDLE) {
      error.SetError(ERR_NULL_DBHANDLE);
      return;
    }
    if (buffer == nullptr) {
      if (size != 0) {
        error.SetCustomMessage("No buffer with folder records.");
        KOLN_LOG(function, 0, "%s", error.GetMessage().c_str());
      }
      return;
    }
    // The on-disk ORIGINATORID has no fixed size here: what Notes says is what the backup used.
    // (The published list calls this type by another name.)
    WORD itemSize = 0;
    const koln::CallResult asked = KOLN_INTO(itemSize, ODSLength, ODS_UNIVERSALNOTEID);
    if (asked.failed() || itemSize < sizeof(UNIVERSALNOTEID)) {
      if (asked.failed()) {
        asked.record(error);
      } else {
        error.SetCustomMessage("Notes gives %u bytes as the size of an item in a folder record.",
                               static_cast<unsigned>(itemSize));
      }
      KOLN_LOG(function, 0, "%s", error.GetMessage().c_str());
      return;
    }
    FolderReconstruction(handle_, buffer, size, itemSize, error).run();
  });
}
