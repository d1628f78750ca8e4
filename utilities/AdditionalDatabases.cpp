// Databases beside the mail files: those of further directories, and archive mailboxes.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "NotesUtilities.h"
#include "findDataPartition.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesUtilities";

using PathText = koln::TextBuffer<1024>;
using ReportContext = std::pair<std::set<std::string>*, bool>;
using AssociationContext = std::pair<DBNAME*, int*>;

// Every database file below the directory, sub-directories included, is one call of the routine.
koln::CallResult searchDatabases(DBHANDLE directory, NSFSEARCHPROC routine, void* context) {
  return KOLN_STATUS(NSFSearch, directory, FORMULAHANDLE{NULLHANDLE}, nullptr,
                     WORD{SEARCH_SUMMARY | SEARCH_FILETYPE},
                     WORD{FILE_ANYNOTEFILE | FILE_RECURSE | FILE_NOUPDIRS}, nullptr, routine,
                     context, nullptr);
}

// "$Path" of a match.
bool readPath(const ITEM_TABLE* summary, PathText& path) {
  return KOLN_VALUE(BOOL{FALSE}, NSFGetSummaryValue, static_cast<const void*>(summary), "$Path",
                    path.data(), path.capacity()) != FALSE;
}

void logMissingPath(const char* function) {
  // The format of another failure with this text as its argument is the required line.
  KOLN_LOG(function, 0, "OSTranslate failed on database: [%s].",
           "Error: path information not found in the index record.");
}

std::string_view beforeNsf(std::string_view path) {
  return path.substr(0, path.find(".nsf"));
}

// What a search routine does must not throw into the runtime that calls it.
template <typename Body>
STATUS guarded(Body body) noexcept {
  try {
    return body();
  } catch (...) {
    return ERR_MEMORY;
  }
}

// Adds an entry for the same mailbox behind the last one. The count is not compared with the array.
DBNAME& addEntry(DBNAME* entries, int& count) {
  const DBNAME& mailbox = entries[count];
  ++count;
  DBNAME& added = entries[count];
  added.text1 = mailbox.text1;
  added.text2 = mailbox.text2;
  added.mailboxPath = mailbox.mailboxPath;
  added.text5 = mailbox.text5;
  added.associatedPath.clear();  // Empty until it is known, also in an array that is used again.
  return added;
}

}  // namespace

// ---- search routines --------------------------------------------------------------------------

STATUS CountAdditionalDBsCallbackFn(void* context, SEARCH_MATCH* /*match*/,
                                    ITEM_TABLE* /*summary*/) {
  ++*static_cast<unsigned long*>(context);
  return NOERROR;
}

STATUS FetchAdditionalDatabaseCallback(void* context, SEARCH_MATCH* /*match*/,
                                       ITEM_TABLE* summary) {
  return guarded([&]() -> STATUS {
    PathText path;
    if (readPath(summary, path)) {
      static_cast<std::set<std::string>*>(context)->emplace(beforeNsf(path.text()));
    } else {
      logMissingPath("FetchAdditionalDatabaseCallback");
    }
    return NOERROR;
  });
}

STATUS ProcessAdditionalDatabaseCallback(void* context, SEARCH_MATCH* /*match*/,
                                         ITEM_TABLE* summary) {
  return guarded([&]() -> STATUS {
    PathText path;
    if (readPath(summary, path)) {
      const ReportContext& report = *static_cast<ReportContext*>(context);
      // One bad database does not end the search.
      KoLNUtilities().ProcessDatabase(path.data(), "", report.first, report.second);
    } else {
      logMissingPath("ProcessAdditionalDatabaseCallback");
    }
    return NOERROR;
  });
}

STATUS AssociateAdditionalDBsCallback(void* context, SEARCH_MATCH* /*match*/, ITEM_TABLE* summary) {
  constexpr const char* function = "AssociateAdditionalDBsCallback";
  return guarded([&]() -> STATUS {
    const AssociationContext& association = *static_cast<AssociationContext*>(context);
    // Added before its path is known, and not taken back.
    DBNAME& added = addEntry(association.first, *association.second);
    PathText path;
    if (!readPath(summary, path)) {
      KOLN_LOG(function, 0, "Path info cannot be found in the index record.");
      return 1;
    }
    PathText readable;
    if (!koln::translate(OS_TRANSLATE_LMBCS_TO_UTF8, path.text(), readable)) {
      KOLN_LOG(function, 0, "OSTranslate failed on database: [%s].", path.text());
      return 0xFFFF;
    }
    added.associatedPath = readable.text();
    return NOERROR;
  });
}

// ---- operations -------------------------------------------------------------------------------

KoLNError KoLNUtilities::CountAdditionalDatabases(std::string server, std::string directory,
                                                  unsigned long* count, bool withServer) {
  constexpr const char* function = "CountAdditionalDatabases";
  return koln::recorded([&](KoLNError& error) {
    if (count == nullptr) {
      KOLN_LOG(function, 0, "Error: invalid parameters passed in.");
      error.SetCustomMessage("invalid parameters passed to CountAdditionalDatabases()");
      return;
    }
    *count = 0;
    std::string path;
    MakeNetworkPath(server, directory, path, withServer);
    if (path.empty()) {
      KOLN_LOG(function, 0, "Failed to get fully qualified name for additional scan directory [%s]",
               directory.c_str());
      path = directory;
    }
    PathText notesPath;
    if (!koln::translateOrKeep(OS_TRANSLATE_UTF8_TO_LMBCS, path.c_str(), notesPath)) {
      KOLN_LOG(function, 0, "OSTranslate failed on database: [%s].", directory.c_str());
    }
    DBHANDLE opened = NULLHANDLE;
    error = OpenDirectory(notesPath.text(), opened);
    if (error.IsErrorSet()) {
      KOLN_LOG(function, 0,
               "Unable to open the scan directory: [%s]. NSFDbOpen() returned: %d. (%s)\n",
               notesPath.text(), error.GetErrorCode(), error.GetMessage().c_str());
      return;
    }
    if (opened == NULLHANDLE) {
      return;
    }
    const koln::CallResult searched = searchDatabases(opened, CountAdditionalDBsCallbackFn, count);
    if (searched.failed()) {
      if (!searched.returned()) {
        searched.record(error);
      }
      // A failing search is no error: the partial count is the result, and the number in the line
      // is the record's, not the search's.
      KOLN_LOG(function, 0,
               "A general scan failure occurred while scanning: [%s] to get a count of additional "
               "databases. NSFSearch() returned: %d.\n",
               notesPath.text(), error.GetErrorCode());
    }
    CloseDirectory(opened);
  });
}

bool KoLNUtilities::GetAdditionalDatabases(std::set<std::string>* names, std::string* directories,
                                           bool report, bool shortForm) {
  constexpr const char* function = "GetAdditionalDatabases";
  try {
    if (names == nullptr || directories == nullptr) {
      KOLN_LOG(function, 0, "Error: invalid parameters passed in.");
      return false;
    }
    PathText list;
    if (!koln::translate(OS_TRANSLATE_NATIVE_TO_LMBCS, directories->c_str(), list)) {
      KOLN_LOG(function, 0, "OSTranslate failed on database: [%s].", directories->c_str());
      return false;
    }
    list.data()[1023] = '\0';

    ReportContext reporting(names, shortForm);
    const NSFSEARCHPROC routine =
        report ? ProcessAdditionalDatabaseCallback : FetchAdditionalDatabaseCallback;
    void* const context = report ? static_cast<void*>(&reporting) : static_cast<void*>(names);

    char* rest = nullptr;
    for (const char* piece = strtok_r(list.data(), "?", &rest); piece != nullptr;
         piece = strtok_r(nullptr, "?", &rest)) {
      DBHANDLE directory = NULLHANDLE;
      KoLNError error = OpenDirectory(piece, directory);
      if (error.IsErrorSet()) {
        KOLN_LOG(function, 0,
                 "Error: unable to open scan directory: [%s]. NSFDbOpen(...) returned: [%08x]. "
                 "Resulting error string: [%s].",
                 piece, error.GetErrorCode(), error.GetMessage().c_str());
        return false;
      }
      if (directory == NULLHANDLE) {
        continue;  // Nothing was opened, so there is nothing to search or close.
      }
      const koln::CallResult searched = searchDatabases(directory, routine, context);
      if (searched.failed()) {
        searched.record(error);
        KOLN_LOG(function, 0,
                 "Error: a failure occurred while searching for databases. NSFSearch(...) "
                 "returned: [%08x]. Resulting error string: [%s].",
                 searched.status(), error.GetMessage().c_str());
      }
      CloseDirectory(directory);
      if (searched.failed()) {
        return false;
      }
    }
    return true;
  } catch (...) {
    KOLN_LOG(function, 0, "Out of memory.");
    return false;
  }
}

namespace {

// The directory of a mailbox's own databases: "<directory><separator><mail file>" up to the first
// ".nsf", wherever that stands. The last backslash parts off the file's name even if a slash
// follows. Nothing if the mail file's path has neither, or if the result would not fit.
std::optional<std::string> ownDirectory(const std::string& directory,
                                        const std::string& mailboxPath) {
  std::size_t separator = mailboxPath.rfind('\\');
  if (separator == std::string::npos) {
    separator = mailboxPath.rfind('/');
  }
  if (separator == std::string::npos) {
    return std::nullopt;
  }
  const std::string path = directory + mailboxPath.substr(separator);
  return path.size() < 1024 ? std::optional<std::string>(beforeNsf(path)) : std::nullopt;
}

bool refuseNull(const char* function, std::initializer_list<const void*> pointers) {
  const bool refused = std::find(pointers.begin(), pointers.end(), nullptr) != pointers.end();
  if (refused) {
    KOLN_LOG(function, 0, "Error: invalid parameters passed in.");
  }
  return refused;
}

}  // namespace

int KoLNUtilities::AssociateAdditionalDBs(std::string server, std::string* directory,
                                          DBNAME* entries, int* count) {
  constexpr const char* function = "AssociateAdditionalDBs";
  if (refuseNull(function, {directory, entries, count})) {
    return -1;
  }
  try {
    const std::string& mailboxPath = entries[*count].mailboxPath;
    const std::optional<std::string> own = ownDirectory(*directory, mailboxPath);
    if (!own) {
      KOLN_LOG(function, 0,
               "Error: invalid path: [%s] encountered while scanning for additional databases.",
               mailboxPath.c_str());
      return -1;
    }
    KOLN_LOG(function, 0, "get path for db %s", own->c_str());
    std::string path = *own;
    // Never through the server, whose name goes along unused.
    if (MakeNetworkPath(server, *own, path, false).IsErrorSet()) {
      KOLN_LOG(function, 0, "Warning: MakeNetworkPath failed on database: [%s]. ", own->c_str());
    }
    PathText notesPath;
    if (!koln::translate(OS_TRANSLATE_UTF8_TO_LMBCS, path.c_str(), notesPath)) {
      KOLN_LOG(function, 0, "OSTranslate failed on directory: [%s].", path.c_str());
      return -1;
    }
    DBHANDLE opened = NULLHANDLE;
    KoLNError error = OpenDirectory(notesPath.text(), opened);
    if (error.IsErrorSet()) {
      if ((error.GetErrorCode() & ERR_MASK) == ERR_NOEXIST) {
        return 0;  // A mailbox without a directory of its own is nothing to speak of.
      }
      KOLN_LOG(function, 0,
               "Error: unable to open the scan directory: [%s]. NSFDbOpen() returned: %d - %s.\n",
               notesPath.text(), error.GetErrorCode(), error.GetMessage().c_str());
      return error.GetErrorCode();
    }
    if (opened == NULLHANDLE) {
      return 0;
    }
    AssociationContext association(entries, count);
    const koln::CallResult searched =
        searchDatabases(opened, AssociateAdditionalDBsCallback, &association);
    if (searched.failed()) {
      searched.record(error);
      KOLN_LOG(function, 0,
               "A general scan failure occurred while scanning: [%s] for additional databases. "
               "NSFSearch() returned: %d - %s.\n",
               notesPath.text(), searched.status(), error.GetMessage().c_str());
    }
    CloseDirectory(opened);
    return searched.status();
  } catch (...) {
    KOLN_LOG(function, 0, "Out of memory.");
    return ERR_MEMORY;
  }
}

int KoLNUtilities::AssociateArchiveMBs(std::string /*ignored*/, std::string& mailboxName,
                                       ArchiveMailBoxInfoStruct& archive, DBNAME* entries,
                                       int* count) {
  constexpr const char* function = "AssociateArchiveMBs";
  if (refuseNull(function, {entries, count})) {
    return -1;
  }
  try {
    const std::string path = archive.baseDirectory + "/" + archive.archiveFolder + "/" +
                             archive.namePrefix + mailboxName + archive.nameSuffix;
    if (access(path.c_str(), F_OK) != 0) {
      KOLN_LOG(function, 0, "Archive mailbox [%s] was not found.", path.c_str());
      return 0;
    }
    DBNAME& added = addEntry(entries, *count);
    // Translated although it has just served as a local file name, on purpose. A path that does not
    // fit is not cut: it would name another file.
    PathText readable;
    if (path.size() > PathText::capacity() ||
        !koln::translate(OS_TRANSLATE_LMBCS_TO_UTF8, path.c_str(), readable)) {
      KOLN_LOG(function, 0, "OSTranslate failed on archive mailbox: [%s].", path.c_str());
      return -1;  // The entry stays, without an associated path.
    }
    added.associatedPath = readable.text();
    KOLN_LOG(function, 0, "Including archive mailbox [%s]", path.c_str());
    return 0;
  } catch (...) {
    KOLN_LOG(function, 0, "Out of memory.");
    return ERR_MEMORY;
  }
}
