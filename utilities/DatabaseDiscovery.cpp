// Discovery of databases: the walk over the data directory, the record of one database for the
// managing server, and the search for a restore view.
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <string_view>

#include "DominoInstance.h"
#include "NotesUtilities.h"
#include "findDataPartition.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesUtilities";

constexpr DWORD viewFound = 0xFFFFFFFF;

using Utf8Title = koln::TextBuffer<513>;
using InfoText = koln::TextBuffer<NSF_INFO_SIZE>;

// Title and path of a database as they travel: UTF-8.
struct DatabaseNames {
  Utf8Title path;
  Utf8Title title;
};

// The title that Notes keeps in the information buffer. False with record and log line.
bool readTitle(DBHANDLE database, const char* path, Utf8Title& title, KoLNError& error) {
  constexpr const char* function = "ProcessDatabase";
  KOLN_LOG(function, 3, "Retrieving mailfile database information buffer for [%s] from Domino....",
           path);
  InfoText information;
  const koln::CallResult got = KOLN_STATUS(NSFDbInfoGet, database, information.data());
  if (got.failed()) {
    got.record(error);
    KOLN_LOG(function, 0,
             "Error: unable to get database information for: [%s]. NSFDbInfoGet(...) returned: "
             "[%d]. Resulting error string: [%s].",
             path, got.status(), error.GetMessage().c_str());
    return false;
  }

  KOLN_LOG(function, 3, "Retrieving mailfile database title for [%s]....", path);
  InfoText notesTitle;
  const koln::CallResult parsed = KOLN_VOID(NSFDbInfoParse, information.data(), INFOPARSE_TITLE,
                                            notesTitle.data(), WORD{NSF_INFO_SIZE - 1});
  if (parsed.failed()) {
    parsed.record(error);
    KOLN_LOG(function, 0, "%s", error.GetMessage().c_str());
    return false;
  }
  // An empty title translates to nothing and so ends here too: hosts must title their databases.
  if (!koln::translate(OS_TRANSLATE_LMBCS_TO_UTF8, notesTitle.text(), title)) {
    KOLN_LOG(function, 0, "DBTitle OSTranslate failed on: [%s]", notesTitle.text());
    error.SetCustomMessage("OSTranslate failed on DBTitle");
    return false;
  }
  return true;
}

bool readNames(DBHANDLE database, const char* path, DatabaseNames& names, KoLNError& error) {
  if (!readTitle(database, path, names.title, error)) {
    return false;
  }
  if (!koln::translate(OS_TRANSLATE_LMBCS_TO_UTF8, path, names.path)) {
    KOLN_LOG("ProcessDatabase", 0, "DBName OSTranslate failed on: [%s]", path);
    error.SetCustomMessage("OSTranslate failed on DBName");
    return false;
  }
  return true;
}

// The discovery record: fields parted by 0x12 and 0x15, cut at 3,071 bytes.
using Record = char[3072];

void buildRecord(const DatabaseNames& names, const TIMEDATE& replica, const std::string& extra,
                 bool shortForm, Record& out) {
  constexpr char field = 0x12;
  constexpr char group = 0x15;
  if (shortForm) {
    std::snprintf(out, sizeof out, "%s%c%s", names.path.text(), field, names.title.text());
  } else {
    std::snprintf(out, sizeof out, "%s%c%s%c%s%c%08X:%08X%c%s", names.path.text(), field,
                  names.title.text(), field, "($All)", group, replica.Innards[1],
                  replica.Innards[0], group, extra.c_str());
  }
}

// What a database is known by: its path up to the first ".nsf". A shorter name with the same
// beginning is the same database to this set, on purpose.
std::string reportedKey(std::string_view path) {
  path = path.substr(0, 511);
  return std::string(path.substr(0, path.find(".nsf")));
}

// Opens a match's note and looks for the wanted text in its title. Calls Notes directly: what it
// throws is caught, with the title for the log, by the search routine.
STATUS searchTitle(RestoreViewSearch& search, NOTEID id, koln::TextBuffer<1024>& title,
                   STATUS& status) {
  constexpr const char* function = "FindAView";
  KOLN_LOG(function, 2, "Finding restore view, opening Note ID 0x%x ...", id);
  NOTEHANDLE opened = NULLHANDLE;
  status = koln::bound(KO_NSFNoteOpenExt)(search.database, id, OPEN_SUMMARY, &opened);
  if (status != NOERROR) {
    KOLN_LOG(function, -1, "Could not open note 0x%x - %d", id, status);
    return status;
  }
  if (opened == NULLHANDLE) {
    throw std::logic_error("no handle");
  }
  koln::OpenNote note(opened);
  KOLN_LOG(function, 2, "Note opened.");
  const bool titled =
      koln::bound(KO_NSFItemGetText)(note.handle(), "$TITLE", title.data(), title.capacity()) != 0;
  koln::bound(KO_NSFNoteClose)(note.release());
  if (!titled) {
    return NOERROR;
  }
  KOLN_LOG(function, 2, "Note closed.");

  koln::TextBuffer<1024> readable;
  if (koln::bound(KO_OSTranslate)(OS_TRANSLATE_LMBCS_TO_UTF8, title.text(),
                                  koln::wordLength(title.length()), readable.data(),
                                  readable.capacity()) == 0) {
    KOLN_LOG(function, 2, "OSTranslate failed to translate view name [%s]", title.text());
    readable.assign(title.text());
  }
  std::string upper = readable.text();
  strupr(upper.data());
  const std::string_view wanted(search.wantedText,
                                strnlen(search.wantedText, sizeof search.wantedText));
  if (upper.find(wanted) != std::string::npos) {
    std::snprintf(search.foundTitle, sizeof search.foundTitle, "%s", readable.text());
    search.state = viewFound;
  }
  return NOERROR;
}

}  // namespace

KoLNError KoLNUtilities::DiscoverDatabases(KoLNInstance** instance, DocSummary_type* context,
                                           STATUS (*callback)(void*, SEARCH_MATCH*, ITEM_TABLE*)) {
  constexpr const char* function = "DiscoverDatabases";
  return koln::recorded([&](KoLNError& error) {
    if (instance == nullptr || *instance == nullptr || callback == nullptr) {
      error.SetCustomMessage("invalid parameters passed to DiscoverDatabases()");
      KOLN_LOG(function, 0, "Error: invalid parameters passed in.");
      return;
    }
    const std::string dataDirectory = (*instance)->GetDataDirectory();
    if (dataDirectory.empty()) {
      KOLN_LOG(function, 0, "%s() - Error: empty or NULL Notes Data path.\n", function);
      return;
    }
    koln::TextBuffer<1024> notesPath;
    if (!koln::translateOrKeep(OS_TRANSLATE_UTF8_TO_LMBCS, dataDirectory.c_str(), notesPath)) {
      KOLN_LOG(function, 0, "OSTranslate failed on dir: %s", dataDirectory.c_str());
    }
    std::string networkPath;
    error = MakeNetworkPath("", notesPath.text(), networkPath, false);
    if (error.IsErrorSet()) {
      return;
    }
    DBHANDLE directory = NULLHANDLE;
    error = OpenDirectory(networkPath, directory);
    if (error.IsErrorSet()) {
      // The status printed is the search's, which has not been made: 0, on purpose.
      KOLN_LOG(function, 0, "%s() - Error: Unable to open database: [%s] error (%d) %s", function,
               networkPath.c_str(), 0, error.GetMessage().c_str());
      return;
    }
    if (directory == NULLHANDLE) {
      return;  // An empty path opens nothing.
    }

    TIMEDATE since = {{ALLDAY, ANYDAY}};
    const koln::CallResult constant = KOLN_VOID(TimeConstant, TIMEDATE_WILDCARD, &since);
    if (constant.failed()) {
      constant.record(error);
    } else {
      const koln::CallResult searched =
          KOLN_STATUS(NSFSearch, directory, FORMULAHANDLE{NULLHANDLE}, nullptr,
                      WORD{SEARCH_SUMMARY | SEARCH_FILETYPE},
                      WORD{FILE_ANYNOTEFILE | FILE_RECURSE | FILE_NOUPDIRS}, &since, callback,
                      static_cast<void*>(context), nullptr);
      if (searched.failed()) {
        searched.record(error);
      }
    }
    const KoLNError closed = CloseDirectory(directory);
    if (!error.IsErrorSet()) {
      error = closed;
    }
  });
}

KoLNError KoLNUtilities::ProcessDatabase(const char* path, std::string extra,
                                         std::set<std::string>* reported, bool shortForm) {
  constexpr const char* function = "ProcessDatabase";
  return koln::recorded([&](KoLNError& error) {
    if (path == nullptr || reported == nullptr) {
      KOLN_LOG(function, 0, "Error: invalid parameters passed in.");
      error.SetCustomMessage("invalid parameters passed to ProcessDatabase()");
      return;
    }
    for (char* byte = const_cast<char*>(path); *byte != '\0'; ++byte) {  // NOLINT(*-const-cast)
      if (*byte == '\\') {
        *byte = '/';
      }
    }
    // After the replacement only the colon can still be found; the order is kept.
    if (std::strstr(path, "\\\\") != nullptr || std::strchr(path, ':') != nullptr) {
      KOLN_LOG(function, 0, "Filtering non-linked, external mailbox: [%s].", path);
      return;
    }

    // Not closed on any way out, on purpose.
    DBHANDLE database = NULLHANDLE;
    const koln::CallResult opened = KOLN_STATUS(NSFDbOpen, path, &database);
    if (opened.failed()) {
      opened.record(error);
      KOLN_LOG(function, 0,
               "Error: unable to get mail file handle for: [%s]. NSFDbOpen(...) returned: [%d]. "
               "Resulting error string: [%s].",
               path, opened.status(), error.GetMessage().c_str());
      return;
    }
    DatabaseNames names;
    if (!readNames(database, path, names, error)) {
      return;
    }
    DBREPLICAINFO replica = {};
    const koln::CallResult got = KOLN_STATUS(NSFDbReplicaInfoGet, database, &replica);
    if (got.failed()) {
      got.record(error);
      KOLN_LOG(function, 0, "Failed to fetch ReplicaID for database %s. error %d - %s",
               names.path.text(), got.status(), error.GetMessage().c_str());
      return;
    }
    // The title in the place of the name, and the first half without leading zeros, on purpose.
    KOLN_LOG(function, 3, "Replica ID of database %s is %X:%08X", names.title.text(),
             replica.ID.Innards[1], replica.ID.Innards[0]);

    Record record = {};
    buildRecord(names, replica.ID, extra, shortForm, record);
    KOLN_LOG(function, 3, "Sending = %s", record);
    if (!reported->insert(reportedKey(names.path.text())).second) {
      return;
    }
    if (SendDBMessage(record)) {  // True means that it could not be delivered.
      KOLN_LOG(function, 0, "Error: failure in sending database information to Orvane.");
      error.SetCustomMessage("Failed to send DB information to OV");
      return;
    }
    KOLN_LOG(function, 3, "Returned database: [%s] to Orvane.", record);
  });
}

STATUS KoLNUtilities::FindAView(void* context, SEARCH_MATCH* match, ITEM_TABLE* /*summary*/) {
  koln::TextBuffer<1024> title;
  STATUS status = NOERROR;
  try {
    if (context == nullptr || match == nullptr) {
      return NOERROR;
    }
    SEARCH_MATCH found = {};  // A copy: the runtime's own may lie at any address, padding excluded.
    std::memcpy(&found, match, offsetof(SEARCH_MATCH, SummaryLength) + sizeof(WORD));
    RestoreViewSearch& search = *static_cast<RestoreViewSearch*>(context);
    if ((found.SERetFlags & SE_FMATCH) == 0 || search.state == viewFound) {
      return NOERROR;
    }
    return searchTitle(search, found.ID.NoteID, title, status);
  } catch (...) {
    KOLN_LOG("FindAView", -1, "Warning: an exception was found while processing view: [%s].",
             title.text());
    return status;
  }
}
