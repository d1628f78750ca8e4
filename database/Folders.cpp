// Which documents are in which folders: nested folders found, tables of notes narrowed.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "NotesDatabase.h"
#include "database/CollectionPage.h"
#include "findDataPartition.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/QuitRequest.h"
#include "platform/TableScan.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";

constexpr NOTEID designCollection = NOTE_ID_SPECIAL | NOTE_CLASS_DESIGN;
// 0x0008 has no name among the published bits; it is passed as it always was.
constexpr WORD folderOpenFlags = OPEN_REBUILD_INDEX | 0x0008 | OPEN_REOPEN_COLLECTION;

// Only this much of a list is looked at when nested folders are sought.
constexpr std::size_t longestLookedAt = 1023;

enum FilterMode : unsigned long { Include = 1, Exclude = 2 };

// The names of a list; empty ones are none.
std::vector<std::string> namesOf(std::string_view list) {
  std::vector<std::string> names;
  for (std::size_t begin = 0; begin < list.size();) {
    const std::size_t end = std::min(list.find(';', begin), list.size());
    if (end > begin) {
      names.emplace_back(list.substr(begin, end - begin));
    }
    begin = end + 1;
  }
  return names;
}

koln::CallResult openCollection(DBHANDLE db, NOTEID view, WORD flags, HCOLLECTION& collection) {
  return koln::requireHandle(
      KOLN_STATUS(NIFOpenCollection, db, db, view, flags, DHANDLE{NULLHANDLE}, &collection, nullptr,
                  nullptr, nullptr, nullptr),
      collection);
}

// Finds the folders nested in those of a list.
class SubFolderSearch {
 public:
  SubFolderSearch(DBHANDLE db, const std::string& folders, koln::QuitRequest& quit)
      : db_(db), quit_(quit) {
    for (std::string& name : namesOf(std::string_view(folders).substr(0, longestLookedAt))) {
      prefixes_.push_back(std::move(name) + '\\');
    }
  }

  // What to append to the list, with ";" in front of each title. False if the search failed, or if
  // a page could not be locked, which is no error on the record.
  bool run(std::string& found, KoLNError& error) {
    HCOLLECTION handle = 0;
    const koln::CallResult opened = openCollection(db_, designCollection, 0, handle);
    if (opened.failed()) {
      opened.record(error);
      KOLN_LOG("AddSubFolders", 0,
               "Error: unable to open collection to get subfolders. NIFOpenCollection(...) "
               "returned: [%d]. Resulting error string: [%s].",
               opened.status(), error.GetMessage().c_str());
      return false;
    }
    const koln::OpenCollection collection(handle);
    COLLECTIONPOSITION position = {};
    position.Tumbler[0] = 1;
    koln::CollectionPage page;
    do {
      if (!readDesign(collection.handle(), position, page, error)) {
        return false;
      }
      bool anythingNew = false;
      for (const koln::CollectionEntry entry : page.entries) {
        if (quit_.requested()) {
          break;
        }
        // The repeated read delivers the last entry of the page before once more.
        if (!seen_.insert(entry.id).second) {
          continue;
        }
        anythingNew = true;
        if (entry.noteClass == NOTE_CLASS_VIEW && !addTitle(entry.id, found, error)) {
          return false;
        }
      }
      if (!anythingNew) {
        break;
      }
    } while (page.more && !quit_.requested());
    return true;
  }

 private:
  bool readDesign(HCOLLECTION collection, COLLECTIONPOSITION& position, koln::CollectionPage& page,
                  KoLNError& error) {
    const koln::CallResult read =
        koln::readPage(collection, position, NAVIGATE_CURRENT, MAXDWORD, page, error);
    if (read.failed()) {
      KOLN_LOG("AddSubFolders", 0,
               "Error: unable to read entries while getting subfolders. NIFReadEntries(...) "
               "returned: [%d]. Resulting error string: [%s].",
               read.status(), error.GetMessage().c_str());
      return false;
    }
    if (page.content == koln::CollectionPage::Content::NotLocked) {
      KOLN_LOG("AddSubFolders", 0,
               "Error: OSLockObject(...) returned a NULL buffer while getting subfolders.");
      return false;
    }
    if (page.content == koln::CollectionPage::Content::Damaged) {
      KOLN_LOG("AddSubFolders", 0, "Error: unable to get subfolders: %s",
               error.GetMessage().c_str());
      return false;
    }
    if (page.content == koln::CollectionPage::Content::None) {
      KOLN_LOG("AddSubFolders", 0, "Warning: no design entries found.");
    }
    return true;
  }

  bool addTitle(NOTEID id, std::string& found, KoLNError& error) {
    NOTEHANDLE handle = NULLHANDLE;
    const koln::CallResult opened =
        koln::requireHandle(KOLN_STATUS(NSFNoteOpen, db_, id, WORD{0}, &handle), handle);
    if (opened.failed()) {
      opened.record(error);
      KOLN_LOG("AddSubFolders", 0,
               "Error: unable to open note: [%d] while getting subfolders. NSFNoteOpen(...) "
               "returned: [%d]. Resulting error string is: [%s].",
               static_cast<int>(id), opened.status(), error.GetMessage().c_str());
      return false;
    }
    const koln::OpenNote note(handle);
    koln::TextBuffer<1024> title;
    WORD length = 0;
    const koln::CallResult asked =
        KOLN_INTO(length, NSFItemGetText, note.handle(), "$TITLE", title.data(), title.capacity());
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG("AddSubFolders", 0, "Error: unable to get subfolders: %s",
               error.GetMessage().c_str());
      return false;
    }
    if (length == 0) {
      KOLN_LOG("AddSubFolders", 3, "Warning: found a view/folder without a title.");
      return true;
    }
    const std::string_view text = title.text();
    for (const std::string& prefix : prefixes_) {
      if (text.substr(0, prefix.size()) == prefix) {
        found.append(1, ';').append(text);
      }
    }
    return true;
  }

  const DBHANDLE db_;
  std::vector<std::string> prefixes_;
  std::unordered_set<NOTEID> seen_;
  koln::QuitRequest& quit_;
};

KoLNError addSubFolders(DBHANDLE db, std::string& folders, koln::QuitRequest& quit) {
  return koln::recorded([&](KoLNError& error) {
    if (db == NULLHANDLE) {
      error.SetError(ERR_NULL_DBHANDLE);
      return;
    }
    if (folders.empty()) {
      error.SetCustomMessage("Invalid parameters passed in.");
      return;
    }
    std::string found;
    if (SubFolderSearch(db, folders, quit).run(found, error)) {
      folders += found;
    }
  });
}

// Narrows a table of notes by the union of the documents of some folders.
class FolderFilter {
 public:
  FolderFilter(DBHANDLE db, DHANDLE notes, DHANDLE members, koln::QuitRequest& quit)
      : db_(db), notes_(notes), members_(members), quit_(quit) {}

  // Adds the documents of one folder to the union. False if the run is to end.
  bool addFolder(const std::string& name, KoLNError& error) {
    const std::string designName = name.find('$') != std::string::npos ? name : '$' + name;
    NOTEID view = 0;
    const koln::CallResult found =
        KOLN_STATUS(NIFFindDesignNoteExt, db_, designName.c_str(), NOTE_CLASS_VIEW,
                    DFLAGPAT_VIEWS_AND_FOLDERS, &view, DWORD{0});
    if (found.failed()) {
      found.record(error);
      // Another function is named on purpose: the line is known so.
      KOLN_LOG(function, 0,
               "Warning: unable to find a folder/view for [%s]. NIFFindView(...) returned: [%d]. "
               "Resulting error string: [%s].",
               designName.c_str(), found.status(), error.GetMessage().c_str());
      return true;
    }
    HCOLLECTION handle = 0;
    const koln::CallResult opened = openCollection(db_, view, folderOpenFlags, handle);
    if (opened.failed()) {
      opened.record(error);
      KOLN_LOG(function, 0,
               "Error: unable to open collection for folder/view: [%s]. NIFOpenCollection(...) "
               "returned: [%d]. Resulting error string: [%s].",
               designName.c_str(), opened.status(), error.GetMessage().c_str());
      return false;
    }
    koln::OpenCollection collection(handle);
    if (!addMembers(collection.handle(), designName, error)) {
      return false;
    }
    const koln::CallResult closed = collection.close();
    if (closed.failed()) {
      closed.record(error);
      KOLN_LOG(function, 0,
               "Error: unable to close collection during folder/view filtering. "
               "NIFCloseCollection(...) returned: [%d]. Resulting error string: [%s].",
               closed.status(), error.GetMessage().c_str());
      return false;
    }
    return true;
  }

  // Deletes what is not wanted from the table of notes. False if that failed.
  bool narrow(FilterMode mode, DHANDLE workingCopy, KoLNError& error) {
    const bool kept = mode == Include;
    koln::TableScan scan(workingCopy);
    while (!quit_.requested() && scan.next(error)) {
      const NOTEID id = scan.id();
      BOOL present = FALSE;
      const koln::CallResult asked = KOLN_INTO(present, IDIsPresent, members_, id);
      if (asked.failed()) {
        asked.record(error);
        KOLN_LOG(function, 0, "Error: unable to filter by folders: %s", error.GetMessage().c_str());
        return false;
      }
      if ((present != FALSE) == kept) {
        continue;
      }
      const koln::CallResult deleted = KOLN_STATUS(IDDelete, notes_, id, nullptr);
      if (deleted.failed()) {
        deleted.record(error);
        KOLN_LOG(function, 0,
                 "Error: unable to delete note: [%d] from ID table during folder filtering. "
                 "IDDelete(...) returned: [%d]. Resulting error string is: [%s].",
                 static_cast<int>(id), deleted.status(), error.GetMessage().c_str());
        return false;
      }
    }
    if (scan.failed()) {
      KOLN_LOG(function, 0, "Error: unable to filter by folders: %s", error.GetMessage().c_str());
    }
    return !scan.failed();
  }

 private:
  static constexpr const char* function = "FilterDocumentsOfFolders";

  bool addMembers(HCOLLECTION collection, const std::string& designName, KoLNError& error) {
    COLLECTIONPOSITION position = {};
    koln::CollectionPage page;
    koln::CollectionEntries previous;
    do {
      const COLLECTIONPOSITION before = position;
      previous.swap(page.entries);
      const koln::CallResult read =
          koln::readPage(collection, position, NAVIGATE_NEXT, MAXWORD, page, error);
      if (read.failed()) {
        KOLN_LOG(function, 0,
                 "Error: unable to read entries in view/folder: [%s]. NIFReadEntries(...) "
                 "returned: [%d]. Resulting error string: [%s].",
                 designName.c_str(), read.status(), error.GetMessage().c_str());
        return false;
      }
      if (page.content == koln::CollectionPage::Content::NotLocked) {
        KOLN_LOG(function, 0,
                 "Error: OSLockObject(...) returned a NULL buffer during folder filetering.");
        return false;
      }
      if (page.content == koln::CollectionPage::Content::None) {
        KOLN_LOG(function, 0, "No entries in folder/view: [%s].", designName.c_str());
        return true;
      }
      if (page.content == koln::CollectionPage::Content::Entries && page.entries == previous &&
          std::memcmp(&before, &position, sizeof before) == 0) {
        error.SetCustomMessage("The collection does not end.");
        page.content = koln::CollectionPage::Content::Damaged;
      }
      if (page.content == koln::CollectionPage::Content::Damaged) {
        KOLN_LOG(function, 0, "Error: unable to filter by folder/view: [%s]. %s",
                 designName.c_str(), error.GetMessage().c_str());
        return false;
      }
      if (!insertDocuments(page.entries, error)) {
        return false;
      }
    } while (page.more && !quit_.requested());
    return true;
  }

  bool insertDocuments(const koln::CollectionEntries& entries, KoLNError& error) {
    for (const koln::CollectionEntry entry : entries) {
      if (quit_.requested()) {
        return true;
      }
      if (entry.noteClass != NOTE_CLASS_DOCUMENT) {
        continue;
      }
      const koln::CallResult inserted = KOLN_STATUS(IDInsert, members_, entry.id, nullptr);
      if (inserted.failed()) {
        inserted.record(error);
        // Another function is named on purpose: the line is known so.
        KOLN_LOG(function, 0,
                 "Error: unable to insert note ID into document table. NIFReadEntries(...) "
                 "returned: [%d]. Resulting error string: [%s].",
                 inserted.status(), error.GetMessage().c_str());
        return false;
      }
    }
    return true;
  }

  const DBHANDLE db_;
  const DHANDLE notes_;
  const DHANDLE members_;
  koln::QuitRequest& quit_;
};

}  // namespace

KoLNError KoLNDatabase::AddSubFolders(std::string& folders) {
  koln::QuitRequest quit;
  return addSubFolders(handle_, folders, quit);
}

KoLNError KoLNDatabase::FilterDocumentsOfFolders(std::string& folders, DHANDLE& noteTable,
                                                 unsigned long mode) {
  constexpr const char* function = "FilterDocumentsOfFolders";
  return koln::recorded([&](KoLNError& error) {
    if (handle_ == NULLHANDLE) {
      error.SetError(ERR_NULL_DBHANDLE);
      return;
    }
    if (noteTable == NULLHANDLE || folders.empty()) {
      error.SetCustomMessage("Invalid parameters passed in.");
      return;
    }
    DHANDLE memberTable = NULLHANDLE;
    const koln::CallResult created =
        koln::requireHandle(KOLN_STATUS(IDCreateTable, DWORD{0}, &memberTable), memberTable);
    if (created.failed()) {
      created.record(error);
      KOLN_LOG(function, 0,
               "Error: unable to create a temporary document table for folder/view filtering. "
               "IDCreateTable(...) returned: [%d]. Resulting error string: [%s].",
               created.status(), error.GetMessage().c_str());
      return;
    }
    const koln::OwnedTable members(memberTable);
    // One for the whole run: once asked to stop, a union that is half built is not filtered by.
    koln::QuitRequest quit;
    error = addSubFolders(handle_, folders, quit);
    if (error.IsErrorSet()) {
      KOLN_LOG(function, 0, "Error: unable to find subfolders for folder filtering.");
    }

    FolderFilter filter(handle_, noteTable, members.handle(), quit);
    for (const std::string& name : namesOf(folders)) {
      if (quit.remembered()) {
        break;
      }
      if (!filter.addFolder(name, error)) {
        return;
      }
    }

    // Scanned in place of the table itself, which changes meanwhile.
    DHANDLE copyTable = NULLHANDLE;
    const koln::CallResult copied =
        koln::requireHandle(KOLN_STATUS(IDTableCopy, noteTable, &copyTable), copyTable);
    if (copied.failed()) {
      copied.record(error);
      KOLN_LOG(function, 0,
               "Error: unable to create a temporary working copy of the note table. "
               "IDTableCopy(...) returned: [%d]. Resulting error string: [%s].",
               copied.status(), error.GetMessage().c_str());
      return;
    }
    const koln::OwnedTable workingCopy(copyTable);
    if ((mode == Include || mode == Exclude) &&
        !filter.narrow(static_cast<FilterMode>(mode), workingCopy.handle(), error)) {
      return;
    }
    if (mode != Exclude) {
      // After including as well, and in these words, on purpose.
      KOLN_LOG(function, 0,
               "Warning: folder filter function called without filter mode set to false.");
    }
  });
}
