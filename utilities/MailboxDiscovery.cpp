// Discovery of mail files: asks the server's directory for every person's mail file and hands it to
// the caller's container or to the managing server.
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "NotesUtilities.h"
#include "findDataPartition.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesUtilities";
constexpr const char* functionName = "DiscoverMailboxes";

// 0x0100 has no published name; it goes along as it stands.
constexpr DWORD lookupHere = NAME_LOOKUP_ALL | NAME_LOOKUP_NOSEARCHING | 0x0100;
constexpr DWORD lookupEverywhere = NAME_LOOKUP_ALL | NAME_LOOKUP_EXHAUSTIVE | 0x0100;
static_assert(lookupHere == 0x0103 && lookupEverywhere == 0x0121);

using FileName = koln::TextBuffer<511>;
using DirectoryText = koln::TextBuffer<1023>;
using Utf8Text = koln::TextBuffer<513>;

// What is asked of the directory, kept from the first call of each overload for the life of the
// process. A copy, texts included: the caller's may be temporary.
struct CapturedLookup {
  explicit CapturedLookup(const MailboxLookupStruct& lookup)
      : NUM_NAMESPACES(static_cast<WORD>(lookup.nameSpaceCount)),
        NUM_NAMES(static_cast<WORD>(lookup.nameCount)),
        NUM_LOOKUPITEMS(static_cast<WORD>(lookup.itemCount)),
        USER_NAMESSPACE(packedList(lookup.nameSpace, NUM_NAMESPACES)),
        MAIL_LOOKUPITEMS(packedList(lookup.items, NUM_LOOKUPITEMS)) {}

  // `count` terminated texts behind each other.
  static std::string packedList(const char* list, WORD count) {
    std::string packed;
    for (WORD i = 0; list != nullptr && i < count; ++i) {
      packed.append(list + packed.size(), std::strlen(list + packed.size()) + 1);
    }
    return packed;
  }

  const WORD NUM_NAMESPACES;
  const WORD NUM_NAMES;
  const WORD NUM_LOOKUPITEMS;
  const std::string USER_NAMESSPACE;
  const std::string MAIL_LOOKUPITEMS;
};

enum class Walk { Continue, Stop };

// The "MailFile" of one match. False, with a warning, if it has none that can be used.
bool readMailFile(void* match, FileName& name, koln::CallResult& located) {
  WORD type = 0;
  WORD size = 0;
  void* value = nullptr;
  located = KOLN_INTO(value, NAMELocateItem2, match, WORD{0}, &type, &size);
  if (located.failed()) {
    return false;
  }
  if (value == nullptr || size < sizeof(WORD)) {
    KOLN_LOG(functionName, 0, "Warning: found a mail file equal to NULL. Entry will be skipped.\n");
    return false;
  }
  if (type != TYPE_TEXT) {
    KOLN_LOG(functionName, 0,
             "Warning: unrecognized data type for a mail file entry. Entry will be skipped.");
    return false;
  }
  name.assign(
      std::string_view(static_cast<const char*>(value) + sizeof(WORD), size - sizeof(WORD)));
  return true;
}

// Item 1 of one match, "FullName" or "Department", as the directory has it. Empty, with a line of
// the caller's wording, if it cannot be read. `text` comes zeroed, anew for each match: nothing of
// an earlier entry is left in it.
bool readSecondItem(void* match, DirectoryText& text) {
  const koln::CallResult read =
      KOLN_STATUS(NAMEGetTextItem2, match, WORD{1}, WORD{0}, text.data(), text.capacity());
  if (read.failed()) {
    text.assign("");
  }
  return !read.failed();
}

// For calls that have no status of their own: they fail only by throwing.
void recordAndLog(const koln::CallResult& result, KoLNError& error) {
  result.record(error);
  KOLN_LOG(functionName, 0, "%s", error.GetMessage().c_str());
}

// Walks the matches of the locked look-up buffer.
template <typename Visit>
void walkMatches(void* buffer, Visit visit, KoLNError& error) {
  DWORD matches = 0;
  void* record = nullptr;
  if (buffer != nullptr) {
    const koln::CallResult located =
        KOLN_INTO(record, NAMELocateNextName2, buffer, nullptr, &matches);
    if (located.failed()) {
      recordAndLog(located, error);
      return;
    }
  }
  if (record == nullptr) {
    matches = 0;
  }
  KOLN_LOG(functionName, 0,
           "Found [%d] users (each will usually have one corresponding mail database file.)",
           static_cast<int>(matches));
  void* match = nullptr;
  for (DWORD i = 0; i < matches; ++i) {
    koln::CallResult located = KOLN_INTO(match, NAMELocateNextMatch2, buffer, record, match);
    if (!located.failed() && match == nullptr) {
      return;  // Fewer than were announced.
    }
    FileName name;
    if (!located.failed() && readMailFile(match, name, located) &&
        visit(match, name) == Walk::Stop) {
      return;
    }
    if (located.failed()) {
      recordAndLog(located, error);
      return;
    }
  }
}

// The look-up that both overloads share. The texts of its lines are spelled as they are known
// ("NameLokup", "resgistry", "books" here and "book" there), on purpose.
template <typename Visit>
void lookUp(const std::string& server, const CapturedLookup& captured, bool skipOtherDirectories,
            const char* skippingText, Visit visit, KoLNError& error) {
  KOLN_LOG(functionName, 0, "Discovering databases for server = %s\n", server.c_str());
  if (skipOtherDirectories) {
    KOLN_LOG(functionName, 0, "%s", skippingText);
  }
  const std::string names(captured.NUM_NAMES, '\0');  // Empty names: everybody.
  DHANDLE handle = NULLHANDLE;
  const koln::CallResult found = KOLN_STATUS(
      NAMELookup2, server.c_str(), skipOtherDirectories ? lookupHere : lookupEverywhere,
      captured.NUM_NAMESPACES, captured.USER_NAMESSPACE.c_str(), captured.NUM_NAMES, names.c_str(),
      captured.NUM_LOOKUPITEMS, captured.MAIL_LOOKUPITEMS.c_str(), &handle);
  if (found.failed()) {
    found.record(error);
    KOLN_LOG(functionName, 0, "NameLokup failed for Instance %s, error (%d) %s", server.c_str(),
             found.status(), error.GetMessage().c_str());
    return;
  }
  const koln::OwnedMemory owned(handle);
  const koln::LockedObject buffer(handle);
  if (handle != NULLHANDLE && buffer.address() == nullptr) {
    // Not to be taken for a directory without persons.
    error.SetCustomMessage("Unable to lock the result of NAMELookup2 (OSLockObject).");
    KOLN_LOG(functionName, 0, "%s", error.GetMessage().c_str());
    return;
  }
  walkMatches(buffer.address(), visit, error);
}

// Where the four-argument form puts what it finds: a map of names or a set of files.
class Collector {
 public:
  Collector(void* found, const MailboxLookupStruct& lookup) : found_(found), lookup_(lookup) {}

  void add(void* match, const FileName& file) {
    Utf8Text readableFile;
    if (!koln::translateOrKeep(OS_TRANSLATE_LMBCS_TO_UTF8, file.text(), readableFile)) {
      KOLN_LOG(functionName, -1, "NotesTranslate failed on mailbox file name : [%s]", file.text());
    }
    DirectoryText text;
    Utf8Text readableText;
    if (lookup_.wantCanonical || lookup_.wantDepartment) {
      readText(match, file, readableFile, text, readableText);
    }
    if (lookup_.wantCanonical) {
      // The first of equal names stays, the empty one of an unreadable name included.
      static_cast<std::map<std::string, std::string>*>(found_)->emplace(readableText.text(),
                                                                        readableFile.text());
    } else {
      addByDepartment(file, text.text());
    }
  }

 private:
  static void readText(void* match, const FileName& file, const Utf8Text& readableFile,
                       DirectoryText& text, Utf8Text& readableText) {
    if (!readSecondItem(match, text)) {
      KOLN_LOG(functionName, 0,
               "Failed to get Canonical Name or Dept Name for the mail database %s", file.text());
      return;
    }
    if (!koln::translateOrKeep(OS_TRANSLATE_LMBCS_TO_UTF8, text.text(), readableText)) {
      KOLN_LOG(functionName, -1, "NotesTranslate failed on mailbox canonical name : [%s]",
               text.text());
    }
    // Also when the text is a canonical name.
    KOLN_LOG(functionName, 2, "DeptName [%s] MBName [%s]", readableText.text(),
             readableFile.text());
  }

  // Selection comes first: while there is one, the filter is not consulted.
  void addByDepartment(const FileName& file, const char* department) {
    auto& files = *static_cast<std::set<std::string>*>(found_);
    if (!lookup_.selectedDepartments.empty()) {
      if (lookup_.selectedDepartments.contains(department)) {
        files.emplace(file.text());
        KOLN_LOG(functionName, 4, "Added by Dept selection. [MB = %s] [Dept = %s]", file.text(),
                 department);
      }
      return;
    }
    if (lookup_.filterDepartments && !lookup_.filteredDepartments.empty()) {
      if (!lookup_.filteredDepartments.contains(department)) {
        files.emplace(file.text());
        KOLN_LOG(functionName, 4, "Added by Dept filter. [MB = %s] [Dept = %s]", file.text(),
                 department);
      }
      return;
    }
    files.emplace(file.text());
  }

  void* found_;
  const MailboxLookupStruct& lookup_;
};

bool refuseNull(const void* container, KoLNError& error) {
  if (container == nullptr) {
    error.SetCustomMessage("invalid parameters passed to DiscoverMailboxes()");
    KOLN_LOG(functionName, 0, "Error: invalid parameters passed in.");
  }
  return container == nullptr;
}

}  // namespace

MailboxLookupStruct& KoLNUtilities::InitializeMBLookup(MailboxLookupStruct& out, bool wantCanonical,
                                                       bool wantDepartment, bool departmentFilter) {
  out.nameSpaceCount = 1;
  out.nameCount = 1;
  out.nameSpace = "$PEOPLE";
  out.filterDepartments = departmentFilter;
  out.wantCanonical = wantCanonical;
  out.wantDepartment = !wantCanonical && (wantDepartment || departmentFilter);
  // Packed lists: the terminators between and behind the names count.
  if (out.wantCanonical) {
    out.itemCount = 2;
    out.items = "MailFile\0FullName";
  } else if (out.wantDepartment) {
    out.itemCount = 2;
    out.items = "MailFile\0Department";
  } else {
    out.itemCount = 1;
    out.items = "MailFile";
  }
  return out;
}

KoLNError KoLNUtilities::DiscoverMailboxes(std::string server, void* found,
                                           MailboxLookupStruct& lookup,
                                           unsigned long skipOtherDirectories) {
  return koln::recorded([&](KoLNError& error) {
    if (refuseNull(found, error)) {
      return;
    }
    static const CapturedLookup captured(lookup);
    Collector collector(found, lookup);
    lookUp(
        server, captured, skipOtherDirectories != 0,
        "disableDADB resgistry key is present. will skip looking in all the address books",
        [&](void* match, const FileName& file) {
          collector.add(match, file);
          return Walk::Continue;
        },
        error);
  });
}

KoLNError KoLNUtilities::DiscoverMailboxes(std::string server, void* reported,
                                           MailboxLookupStruct& lookup, bool shortForm,
                                           unsigned long skipOtherDirectories) {
  return koln::recorded([&](KoLNError& error) {
    if (refuseNull(reported, error)) {
      return;
    }
    static const CapturedLookup captured(lookup);
    const auto report = [&](void* match, FileName& file) {
      DirectoryText owner;
      if (lookup.wantCanonical && !readSecondItem(match, owner)) {
        KOLN_LOG(functionName, 0, "Failed to get Canonical Name for the mail database %s",
                 file.text());
      }
      KOLN_LOG(functionName, 4, "Checking session status....");
      if (!shortForm && CheckConnection()) {
        KOLN_LOG(functionName, 0,
                 "Warning: detected a session disconnection (e.g. user may have hit cancel during "
                 "discovery.) Aborting discovery.");
        return Walk::Stop;
      }
      // The error that is returned in the end is that of the last mail file.
      error = ProcessDatabase(file.data(), owner.text(),
                              static_cast<std::set<std::string>*>(reported), shortForm);
      if (!error.IsErrorSet()) {
        return Walk::Continue;
      }
      const std::string reason = error.GetMessage();
      if (reason == "Failed to send DB information to OV") {
        KOLN_LOG(functionName, 0, "Terminating Discover due to session Disconnection Error");
        return Walk::Stop;
      }
      KOLN_LOG(functionName, 0, "Database [%s] will be skipped. reason %d - %s", file.text(),
               error.GetErrorCode(), reason.c_str());
      return Walk::Continue;
    };
    lookUp(server, captured, skipOtherDirectories != 0,
           "disableDADB resgistry key is present. will skip looking in all the address book",
           report, error);
  });
}
