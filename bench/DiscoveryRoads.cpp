// Roads of discovery: the record of one database, and the mail files of a whole directory.
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "NotesUtilities.h"
#include "bench/Roads.h"
#include "findDataPartition.h"

namespace bench {
namespace {

// ---- the record of one database ---------------------------------------------------------------

std::string sent;
DBHANDLE lastOpened = NULLHANDLE;
STATUS (*openDatabase)(const char*, DBHANDLE*) = nullptr;

STATUS openAndRemember(const char* path, DBHANDLE* handle) {
  const STATUS status = openDatabase(path, handle);
  lastOpened = *handle;
  return status;
}

WORD copyText(WORD /*mode*/, const char* in, WORD length, char* out, WORD capacity) {
  const WORD count = length < capacity ? length : capacity;
  std::memcpy(out, in, count);
  return count;
}

struct DiscoveryRecord {
  explicit DiscoveryRecord(const Site& site) : site(site) {}

  void prepare() {
    SetSendMsgCallback([](char* record) {
      sent = record;
      return false;
    });
    if (site.ground == Ground::Hollow) {
      KO_NSFDbOpen = [](const char*, DBHANDLE* handle) -> STATUS { return *handle = 7, NOERROR; };
      KO_NSFDbInfoGet = [](DBHANDLE, char* info) -> STATUS {
        return std::memcpy(info, "Sales", 6), NOERROR;
      };
      KO_NSFDbInfoParse = [](char* info, WORD, char* out, WORD) { std::memcpy(out, info, 6); };
      KO_OSTranslate = copyText;
      KO_NSFDbReplicaInfoGet = [](DBHANDLE, DBREPLICAINFO* info) -> STATUS {
        info->ID.Innards[0] = 0x17A2;
        info->ID.Innards[1] = 0x257CED;
        return NOERROR;
      };
    }
    // The library leaves the database open on purpose; here it is closed, after either side.
    if (KO_NSFDbOpen != openAndRemember) {
      openDatabase = KO_NSFDbOpen;
      KO_NSFDbOpen = openAndRemember;
    }
  }

  void library() {
    std::string path = site.mailbox;
    std::set<std::string> reported;
    failed = KoLNUtilities().ProcessDatabase(path.data(), "Owner", &reported, false).IsErrorSet();
    KO_NSFDbClose(lastOpened);
  }
  void twin() {
    std::string path = site.mailbox;
    std::set<std::string> reported;
    failed = !report(path.data(), "Owner", reported);
    KO_NSFDbClose(lastOpened);
  }
  std::string result() const { return failed ? "failed" : sent; }

  Site site;
  bool failed = true;

 private:
  static bool report(char* path, const std::string& owner, std::set<std::string>& reported) {
    for (char* byte = path; *byte != '\0'; ++byte) {
      if (*byte == '\\') *byte = '/';
    }
    if (std::strchr(path, ':') != nullptr) return true;
    DBHANDLE db = NULLHANDLE;
    if (KO_NSFDbOpen(path, &db) != NOERROR) return false;
    char info[NSF_INFO_SIZE + 1] = {};
    if (KO_NSFDbInfoGet(db, info) != NOERROR) return false;
    char title[NSF_INFO_SIZE + 1] = {};
    KO_NSFDbInfoParse(info, INFOPARSE_TITLE, title, NSF_INFO_SIZE - 1);
    char titleUtf8[514] = {};
    char pathUtf8[514] = {};
    if (KO_OSTranslate(OS_TRANSLATE_LMBCS_TO_UTF8, title, static_cast<WORD>(std::strlen(title)),
                       titleUtf8, 513) == 0 ||
        KO_OSTranslate(OS_TRANSLATE_LMBCS_TO_UTF8, path, static_cast<WORD>(std::strlen(path)),
                       pathUtf8, 513) == 0)
      return false;
    DBREPLICAINFO replica = {};
    if (KO_NSFDbReplicaInfoGet(db, &replica) != NOERROR) return false;
    char record[3072];
    std::snprintf(record, sizeof record, "%s%c%s%c%s%c%08X:%08X%c%s", pathUtf8, 0x12, titleUtf8,
                  0x12, "($All)", 0x15, replica.ID.Innards[1], replica.ID.Innards[0], 0x15,
                  owner.c_str());
    const std::string_view key = pathUtf8;
    if (!reported.insert(std::string(key.substr(0, key.find(".nsf")))).second) return true;
    return !SendDBMessage(record);
  }
};

// ---- mail files -------------------------------------------------------------------------------

constexpr std::size_t departments = 8;
std::size_t persons = 0;
std::size_t person = 0;  // Whose match was located last, from 1.
char mailFile[32];

struct Mailboxes {
  Mailboxes(const Site& site, std::size_t size) : site(site), size(size) {}

  void prepare() {
    if (site.ground == Ground::Simulated) return;
    persons = size;
    KO_NAMELookup2 = [](const char*, DWORD, WORD, const char*, WORD, const char*, WORD, const char*,
                        DHANDLE* buffer) -> STATUS { return *buffer = 9, NOERROR; };
    KO_OSLockObject = [](DHANDLE) -> void* { return mailFile; };
    KO_NAMELocateNextName2 = [](void* buffer, void*, DWORD* matches) -> void* {
      *matches = static_cast<DWORD>(persons);
      person = 0;
      return buffer;
    };
    KO_NAMELocateNextMatch2 = [](void* buffer, void*, void*) -> void* { return ++person, buffer; };
    KO_NAMELocateItem2 = [](void*, WORD, WORD* type, WORD* length) -> void* {
      // Type word, then "mail/NNNNNNN.nsf": each file once, in an order of its own.
      const WORD text = TYPE_TEXT;
      std::memcpy(mailFile, &text, sizeof text);
      std::memcpy(mailFile + 2, "mail/0000000.nsf", 16);
      std::size_t number = person * 7919 % 10000019;
      for (char* digit = mailFile + 13; number != 0; number /= 10) {
        *digit-- = static_cast<char>('0' + number % 10);
      }
      *type = TYPE_TEXT;
      *length = 18;
      return mailFile;
    };
    KO_NAMEGetTextItem2 = [](void*, WORD, WORD, char* text, WORD) -> STATUS {
      std::memcpy(text, "Department 0", 13);
      text[11] = static_cast<char>('0' + person % departments);
      return NOERROR;
    };
    KO_OSTranslate = copyText;
  }

  void library() {
    found.clear();
    KoLNUtilities utilities;
    MailboxLookupStruct lookup;
    utilities.InitializeMBLookup(lookup, false, true, true);
    lookup.filteredDepartments = {"Department 3"};
    failed = utilities.DiscoverMailboxes("", &found, lookup, 0).IsErrorSet();
  }
  void twin() {
    found.clear();
    failed = !collect({"Department 3"});
  }
  std::string result() const {
    if (failed || found.empty()) return "failed";
    return std::to_string(found.size()) + ' ' + *found.begin() + ' ' + *found.rbegin();
  }

  Site site;
  std::size_t size;
  std::set<std::string> found;
  bool failed = true;

 private:
  bool collect(const std::set<std::string>& filtered) {
    static constexpr char people[] = "$PEOPLE";
    static constexpr char items[] = "MailFile\0Department";
    DHANDLE handle = NULLHANDLE;
    if (KO_NAMELookup2("", NAME_LOOKUP_ALL | NAME_LOOKUP_EXHAUSTIVE | 0x0100, 1, people, 1, "", 2,
                       items, &handle) != NOERROR)
      return false;
    void* const buffer = KO_OSLockObject(handle);
    DWORD matches = 0;
    void* const name = KO_NAMELocateNextName2(buffer, nullptr, &matches);
    void* match = nullptr;
    for (DWORD i = 0; name != nullptr && i < matches; ++i) {
      match = KO_NAMELocateNextMatch2(buffer, name, match);
      if (match == nullptr) break;
      WORD type = 0;
      WORD length = 0;
      const auto* value = static_cast<const char*>(KO_NAMELocateItem2(match, 0, &type, &length));
      if (value == nullptr || length < 2 || type != TYPE_TEXT) continue;
      std::string file(value + 2, length - 2);
      char fileUtf8[514] = {};
      KO_OSTranslate(OS_TRANSLATE_LMBCS_TO_UTF8, file.c_str(), static_cast<WORD>(file.size()),
                     fileUtf8, 513);
      char department[1024] = {};
      if (KO_NAMEGetTextItem2(match, 1, 0, department, 1023) == NOERROR) {
        char departmentUtf8[514] = {};
        KO_OSTranslate(OS_TRANSLATE_LMBCS_TO_UTF8, department,
                       static_cast<WORD>(std::strlen(department)), departmentUtf8, 513);
      }
      if (!filtered.contains(department)) found.insert(std::move(file));
    }
    KO_OSUnlockObject(handle);
    KO_OSMemFree(handle);
    return true;
  }
};

}  // namespace

void addDiscoveryRoads(Pairs& pairs, const Site& site) {
  pairs.push_back(makePair<DiscoveryRecord>("discovery-record", 0, site.ground, 20, {}, site));
  if (site.ground == Ground::Simulated) {
    pairs.push_back(
        makePair<Mailboxes>("mailbox-discovery", site.persons, site.ground, 1, {}, site, 0));
    return;
  }
  for (const std::size_t size : {1000, 10000, 100000, 1000000}) {
    pairs.push_back(makePair<Mailboxes>("mailbox-discovery", size, site.ground, 1, {}, site, size));
  }
}

}  // namespace bench
