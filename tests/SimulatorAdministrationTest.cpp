// The simulated Notes runtime as administrators meet it: quotas, access control, objects, replicas,
// taking databases offline, repairs.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Clock.h"
#include "Control.h"
#include "Export.h"
#include "InfoBuffer.h"
#include "Status.h"
#include "Store.h"
#include "Text.h"
#include "support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using namespace simulator;

constexpr WORD Repair = DBOPEN_FORCE_FIXUP | DBOPEN_FIXUP_FULL_NOTE_SCAN;

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

DHANDLE memoryOf(const std::string& bytes) {
  DHANDLE handle = NULLHANDLE;
  EXPECT_EQ(OSMemAlloc(0, static_cast<DWORD>(bytes.size()), &handle), NOERROR);
  std::memcpy(OSLockObject(handle), bytes.data(), bytes.size());
  OSUnlockObject(handle);
  return handle;
}

std::string takeMemory(DHANDLE handle) {
  if (handle == NULLHANDLE) return "no memory";
  DWORD size = 0;
  OSMemGetSize(handle, &size);
  std::string bytes(static_cast<const char*>(OSLockObject(handle)), size);
  OSUnlockObject(handle);
  OSMemFree(handle);
  return bytes;
}

TIMEDATE replicaId(int number) {
  return timeFromUnix(1'500'000'000 + number);
}

DBHANDLE open(const std::string& path) {
  DBHANDLE handle = NULLHANDLE;
  EXPECT_EQ(NSFDbOpen(utf8ToLmbcs(path).c_str(), &handle), NOERROR) << path;
  return handle;
}

STATUS openStatus(const char* path, WORD options = 0) {
  DBHANDLE handle = NULLHANDLE;
  const STATUS status =
      NSFDbOpenExtended(path, options, NULLHANDLE, nullptr, &handle, nullptr, nullptr);
  if (status == NOERROR) NSFDbClose(handle);
  return status;
}

// The path in UTF-8, or the status.
std::string locate(const std::string& start, int replica, WORD room = MAXPATH - 1) {
  const DBHANDLE directory = open(start);
  TIMEDATE id = replicaId(replica);
  char path[MAXPATH] = "";
  const STATUS status = NSFDbLocateByReplicaID(directory, &id, path, room);
  NSFDbClose(directory);
  return status == NOERROR ? lmbcsToUtf8(path) : std::to_string(status);
}

const std::string noReplica = std::to_string(ERR_NOEXIST);

class SimulatorAdministration : public testing::Test {
 protected:
  void SetUp() override {
    writeFile(data_ / "notes.ini", "[Notes]\nServerName=CN=K\u00F6ln/O=Org\n");
    start();
    make("mail/a.nsf", 9);
  }

  void TearDown() override {
    for (const char* kind : {"databases", "memory"}) EXPECT_EQ(SimOpenHandles(kind), 0) << kind;
    NotesTerm();
  }

  void start() {
    std::string program = "/nowhere";
    std::string ini = "=" + (data_ / "notes.ini").string();
    char* arguments[] = {program.data(), ini.data(), nullptr};
    ASSERT_EQ(NotesInitExtended(3, arguments), NOERROR);
  }

  void make(const std::string& path, int replica, DWORD sizeLimit = 0) {
    fs::create_directories((data_ / path).parent_path());
    DatabaseProperties properties;
    properties.info = infoWithTitle("Title of " + path);
    properties.id = timeFromUnix(1'600'000'000 + replica, static_cast<int>(path.size()));
    properties.replica.ID = replicaId(replica);
    properties.quota.SizeLimit = sizeLimit;
    if (sizeLimit != 0) properties.options = 0xF0000001;
    Store::create(properties)
        .saveAs((data_ / path).string(), Store::Existing::Keep, Store::Flush::Later);
  }

  const TemporaryDirectory directory_;
  const fs::path data_ = directory_.path();
};

// ---- properties, access control, objects --------------------------------------------------------

TEST_F(SimulatorAdministration, TellsWhatIsSetAndWhatIsUsed) {
  make("limited.nsf", 2, 1000);
  const DBHANDLE plain = open("mail/a.nsf");
  const DBHANDLE limited = open("limited.nsf");
  DWORD number = 0;
  EXPECT_EQ(NSFDbGetOptions(plain, &number), ERR_SPECIAL_ID);
  EXPECT_EQ(NSFDbGetOptions(limited, &number), NOERROR);
  EXPECT_EQ(number, 0xF0000001);
  EXPECT_EQ(NSFDbAllocObject(limited, 100'000, NOTE_CLASS_DOCUMENT, 0, &number), NOERROR);
  EXPECT_EQ(NSFDbFreeObject(limited, number), NOERROR);  // leaves unused space behind
  DBQUOTAINFOEXT quota = {};
  EXPECT_EQ(NSFDbQuotaGethDB(limited, &quota), NOERROR);
  EXPECT_EQ(quota.SizeLimit, 1000U);
  EXPECT_EQ(quota.CurrentDbSize, (fs::file_size(data_ / "limited.nsf") + 1023) / 1024);
  EXPECT_LT(quota.CurrentUsage + 90, quota.CurrentDbSize);
  NSFDbClose(plain);
  NSFDbClose(limited);
}

TEST_F(SimulatorAdministration, KeepsTheAccessControlListOfADatabase) {
  const DBHANDLE database = open("mail/a.nsf");
  const auto read = [&] {
    DHANDLE handle = NULLHANDLE;
    EXPECT_EQ(NSFDbReadACL(database, &handle), NOERROR);
    return takeMemory(handle);
  };
  const auto store = [&](const std::string& list, WORD method) {
    const DHANDLE handle = memoryOf(list);
    const STATUS status = NSFDbStoreACL(database, handle, 0, method);
    OSMemFree(handle);  // it stays the caller's
    return status;
  };
  const std::string first = read();
  EXPECT_TRUE(first.ends_with(utf8ToLmbcs("CN=K\u00F6ln/O=Org")));
  SimSetVariable("ServerName", "CN=Other");
  const std::string other = read();

  EXPECT_EQ(store(first, 1), NOERROR);
  EXPECT_EQ(read(), first);
  EXPECT_EQ(store(other + "surplus", 0), NOERROR);  // one of its entries is there already
  EXPECT_EQ(read().size(), first.size() + 6 + std::strlen("CN=Other"));
  EXPECT_EQ(store(other, 1), NOERROR);

  for (std::size_t size = 1; size < other.size(); ++size)
    EXPECT_EQ(store(other.substr(0, size), 1), ERR_BAD_PARAM) << size;
  EXPECT_EQ(store(std::string(200, 'x'), 1), ERR_BAD_PARAM);
  EXPECT_EQ(store(first, 2), ERR_BAD_PARAM);
  EXPECT_DEATH(NSFDbStoreACL(database, NULLHANDLE, 0, 1), "NSFDbStoreACL");
  EXPECT_EQ(read(), other);
  NSFDbClose(database);
}

TEST_F(SimulatorAdministration, ReadsAndWritesObjectsWithinTheirBounds) {
  const DBHANDLE database = open("mail/a.nsf");
  DWORD object = 0;
  DWORD empty = 0;
  DWORD none = 0;
  ASSERT_EQ(NSFDbAllocObject(database, 10, NOTE_CLASS_FORM, 7, &object), NOERROR);
  ASSERT_EQ(NSFDbAllocObject(database, 0, NOTE_CLASS_DOCUMENT, 0, &empty), NOERROR);
  EXPECT_EQ(NSFDbAllocObject(database, MAXDWORD, 1, 0, &none), ERR_SEGMENT_TOO_BIG);

  const DHANDLE digits = memoryOf("0123456789abc");
  const struct {
    DWORD id, offset, length;
    STATUS status;
    std::string read;  // after the write
  } cases[] = {{object, 0, MAXDWORD, NOERROR, "0123456789"},
               {object, 4, 3, NOERROR, "012"},
               {object, 7, MAXDWORD, NOERROR, "012"},
               {object, 0, 0, ERR_OBJECT_CANNOT_BE_ZERO, ""},
               {object, 0, 11, ERR_OBJECT_TRUNCATED, ""},
               {object, 10, MAXDWORD, ERR_OBJECT_TRUNCATED, ""},
               {object, 2, MAXDWORD - 1, ERR_OBJECT_TRUNCATED, ""},
               {empty, 0, MAXDWORD, ERR_OBJECT_CANNOT_BE_ZERO, ""},
               {empty, 0, 1, ERR_OBJECT_TRUNCATED, ""},
               {0, 0, 1, ERR_BAD_PARAM, ""}};
  for (const auto& [id, offset, length, status, expected] : cases) {
    DHANDLE result = 99;
    EXPECT_EQ(NSFDbWriteObject(database, id, digits, offset, length), status)
        << id << " " << offset << " " << length;
    EXPECT_EQ(NSFDbReadObject(database, id, offset, length, &result), status);
    EXPECT_EQ(takeMemory(result), status == NOERROR ? expected : "no memory");
  }
  EXPECT_EQ(NSFDbAllocObject(database, 20, NOTE_CLASS_DOCUMENT, 0, &none), NOERROR);
  EXPECT_EQ(NSFDbWriteObject(database, none, digits, 0, 20), ERR_BAD_PARAM);  // has fewer bytes
  OSLockObject(digits);
  EXPECT_EQ(NSFDbWriteObject(database, object, digits, 0, 2), ERR_BAD_PARAM);
  OSUnlockObject(digits);
  OSMemFree(digits);
  WORD objectClass = 0;
  WORD privileges = 0;
  EXPECT_EQ(NSFDbGetObjectSize(database, object, OBJECT_FILE, nullptr, &objectClass, &privileges),
            NOERROR);
  EXPECT_EQ(objectClass, NOTE_CLASS_FORM);
  EXPECT_EQ(privileges, 7);
  EXPECT_EQ(NSFDbFreeObject(database, object), NOERROR);
  EXPECT_EQ(NSFDbFreeObject(database, object), ERR_BAD_PARAM);
  NSFDbClose(database);
}

// ---- replicas -----------------------------------------------------------------------------------

TEST_F(SimulatorAdministration, LocatesReplicas) {
  make("z.nsf", 9);
  make("mail/b.nsf", 2);
  make("mail/old/\u6771\u4EAC.nsf", 3);
  writeFile(data_ / "broken.nsf", "no database");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(locate("", 9), "z.nsf");
    EXPECT_EQ(locate("mail", 9), "mail/a.nsf");
    EXPECT_EQ(locate("", 3), "mail/old/\u6771\u4EAC.nsf");
    EXPECT_EQ(locate("mail/old", 2), noReplica);
    EXPECT_EQ(locate("mail", 2, 10), "mail/b.nsf");
    EXPECT_EQ(locate("mail", 2, 9), std::to_string(ERR_BAD_PARAM));
    // Long enough ago for the answers to be remembered in the second round.
    for (const auto& entry : fs::recursive_directory_iterator(data_))
      fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  }
  fs::rename(data_ / "mail/b.nsf", data_ / "mail/old/renamed.nsf");
  EXPECT_EQ(locate("", 2), "mail/old/renamed.nsf");
  const DBHANDLE database = open("mail/old/renamed.nsf");
  DBREPLICAINFO replica = {replicaId(5), 0, 0, {}};
  EXPECT_EQ(NSFDbReplicaInfoSet(database, &replica), NOERROR);
  EXPECT_EQ(locate("", 2), noReplica);
  EXPECT_EQ(locate("", 5), "mail/old/renamed.nsf");
  char path[MAXPATH];
  EXPECT_EQ(NSFDbLocateByReplicaID(database, &replica.ID, path, MAXPATH - 1), ERR_NOT_DIRECTORY);
  NSFDbClose(database);
}

// ---- offline and online -------------------------------------------------------------------------

TEST_F(SimulatorAdministration, TakesDatabasesOfflineUntilTheyAreBroughtOnline) {
  writeFile(data_ / "mail/a.nsf-journal", "");
  writeFile(data_ / "text.nsf", "no database");
  fs::create_directory_symlink(data_ / "mail", data_ / "post");
  const std::string backup = readFile(data_ / "mail/a.nsf");
  const struct {
    const char* path;
    DWORD options;
    STATUS taken, brought;
  } cases[] = {
      {"none.nsf", 0, ERR_NOEXIST, ERR_NOEXIST}, {"mail", 0, ERR_DIRECTORY, ERR_DIRECTORY},
      {"text.nsf", 0, ERR_NOT_NSF, NOERROR},     {"mail/a.nsf", 1, NotSupportedYet, ERR_BAD_PARAM},
      {"post/a", 0, NOERROR, ERR_NOEXIST},  // its file is gone
  };
  for (const auto& [path, options, taken, brought] : cases) {
    EXPECT_EQ(NSFTakeDatabaseOffline(path, 0, options), taken) << path;
    EXPECT_EQ(NSFBringDatabaseOnline(path, options), brought) << path;
    EXPECT_EQ(fs::exists(data_ / path), brought != ERR_NOEXIST) << path;
  }
  EXPECT_FALSE(fs::exists(data_ / "mail/a.nsf"));
  EXPECT_FALSE(fs::exists(data_ / "mail/a.nsf-journal"));

  const auto expectOffline = [](const std::string& when) {
    for (const char* path : {"mail/a.nsf", "mail/a", "post/a.nsf", "srv!!mail/a.nsf"})
      EXPECT_EQ(openStatus(path), ERR_DBOFFLINE) << path << when;
    EXPECT_EQ(NSFTakeDatabaseOffline("mail/a.nsf", 0, 0), ERR_DBOFFLINE) << when;
    EXPECT_EQ(NSFDbCreate("mail/a.nsf", DBCLASS_NOTEFILE, TRUE), ERR_DBOFFLINE) << when;
    EXPECT_EQ(locate("", 9), noReplica) << when;
    std::string found;
    const auto collect = [](void* all, SEARCH_MATCH*, ITEM_TABLE* summary) -> STATUS {
      char text[1024];
      for (const char* item : {"$Path", "$Info"}) {
        NSFGetSummaryValue(summary, item, text, sizeof text);
        static_cast<std::string*>(all)->append(text) += ";";
      }
      return NOERROR;
    };
    constexpr int everything = FILE_ANY | FILE_RECURSE | FILE_DIRS | FILE_NOUPDIRS;
    const DBHANDLE directory = open("");
    EXPECT_EQ(NSFSearch(directory, 0, nullptr, SEARCH_FILETYPE | SEARCH_SUMMARY,
                        static_cast<WORD>(everything), nullptr, collect, &found, nullptr),
              NOERROR);
    NSFDbClose(directory);
    EXPECT_EQ(found.find(".offline"), std::string::npos) << found;
    EXPECT_EQ(found.find("Title"), std::string::npos) << found;
  };
  expectOffline(" without a file");
  NotesTerm();
  start();
  expectOffline(" in the next run");
  writeFile(data_ / "mail/a.nsf", backup);
  expectOffline(" with the file from the backup");
  EXPECT_EQ(NSFBringDatabaseOnline("mail/a", 0), NOERROR);
  EXPECT_EQ(NSFBringDatabaseOnline("mail/a", 0), NOERROR);
  EXPECT_EQ(openStatus("mail/a.nsf"), NOERROR);
  EXPECT_EQ(readFile(data_ / "mail/a.nsf"), backup);
  // What is damaged is what backups are for.
  fs::resize_file(data_ / "mail/a.nsf", backup.size() / 2);
  EXPECT_EQ(NSFTakeDatabaseOffline("mail/a.nsf", 0, 0), NOERROR);
}

TEST_F(SimulatorAdministration, LeavesADatabaseInUseAsItIs) {
  const std::string before = readFile(data_ / "mail/a.nsf");
  const DBHANDLE first = open("mail/a.nsf");
  const DBHANDLE second = open("./mail/a.nsf");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(NSFTakeDatabaseOffline("mail/a.nsf", 60, 0), ERR_DBINUSE);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
  NSFDbClose(first);
  EXPECT_EQ(NSFTakeDatabaseOffline("mail/a.nsf", 0, 0), ERR_DBINUSE);
  EXPECT_EQ(readFile(data_ / "mail/a.nsf"), before);
  EXPECT_EQ(openStatus("mail/a.nsf"), NOERROR);

  std::thread other([second] {
    EXPECT_EQ(NotesInitThread(), NOERROR);
    while (openStatus("mail/a.nsf") == NOERROR) std::this_thread::yield();  // until it waits
    EXPECT_EQ(openStatus("mail/a.nsf"), ERR_DBOFFLINE);
    NSFDbClose(second);
    NotesTermThread();
  });
  EXPECT_EQ(NSFTakeDatabaseOffline("mail/a.nsf", 100'000, 0), NOERROR);
  other.join();
  EXPECT_EQ(openStatus("mail/a.nsf"), ERR_DBOFFLINE);
}

// ---- repairs ------------------------------------------------------------------------------------

constexpr std::size_t PageSize = 2048;
constexpr DWORD NoteCount = 80;

// Identity, times and items of all notes, as texts.
std::map<NOTEID, std::vector<std::string>> notesOf(const fs::path& path) {
  Store store = Store::open(path.string());
  EXPECT_TRUE(store.intact());
  std::map<NOTEID, std::vector<std::string>> notes;
  for (const NoteHeader& header : store.notes(0xFFFF)) {
    const auto* identity = reinterpret_cast<const char*>(&header.originator);
    std::vector<std::string>& parts = notes[header.id];
    parts = {std::string(identity, sizeof header.originator)};
    for (const NoteItem& item : store.items(header.id))
      parts.push_back(item.name + std::string(item.value.begin(), item.value.end()));
  }
  return notes;
}

class SimulatorRepair : public SimulatorAdministration {
 protected:
  void SetUp() override {
    SimulatorAdministration::SetUp();
    Store store = Store::open(path_.string());
    Transaction batch = store.batch();
    for (DWORD i = 0; i < NoteCount; ++i) {
      NoteHeader header;
      header.originator = {{{i, 77}}, {{i * 1000, 88}}, i, {{i, 99}}};
      header.modified = timeFromUnix(1'600'000'000 + i);
      const std::vector<BYTE> value(100 + i, static_cast<BYTE>('a' + i % 26));
      const std::vector<NoteItem> items = {{"Subject", 4, TYPE_TEXT, value}, {"Body", 0, 1, value}};
      store.writeNote(header, items);
    }
    store.addObject({NOTE_CLASS_DOCUMENT, 0, 5000});
    store.removeNote(FirstNoteId + NoteIdStep * (NoteCount - 1));
    batch.commit();
    intact_ = readFile(path_);
  }

  const fs::path path_ = data_ / "mail/a.nsf";
  std::string intact_;
};

TEST_F(SimulatorRepair, KeepsWhatCanBeReadWhereverAPageIsDamaged) {
  ASSERT_EQ(openStatus("mail/a.nsf", Repair), NOERROR);
  EXPECT_EQ(readFile(path_), intact_);  // nothing to do, nothing done
  const auto whole = notesOf(path_);
  ASSERT_EQ(::chmod(path_.c_str(), 0640), 0);
  const std::size_t pages = intact_.size() / PageSize;
  ASSERT_GT(pages, 20U);
  std::size_t repaired = 0;
  std::size_t complete = 0;
  std::size_t left = 0;
  for (std::size_t page = 1; page < pages; ++page) {
    SCOPED_TRACE("page " + std::to_string(page));
    std::string damaged = intact_;
    damaged.replace(page * PageSize, PageSize, PageSize, "\xFFT\0"[page % 3]);
    writeFile(path_, damaged);
    if (openStatus("mail/a.nsf", Repair | DBOPEN_FIXUP_NO_NOTE_DELETE) == NOERROR) {
      EXPECT_EQ(notesOf(path_), whole);
      ++complete;
      continue;
    }
    EXPECT_EQ(readFile(path_), damaged);
    if (openStatus("mail/a.nsf", Repair) != NOERROR) continue;
    ++repaired;
    const auto kept = notesOf(path_);
    left += kept.size();
    for (const auto& [id, note] : kept) EXPECT_EQ(note, whole.at(id)) << id;
    NoteHeader added;
    Store::open(path_.string()).writeNote(added, {});
    EXPECT_EQ(added.id, FirstNoteId + NoteIdStep * NoteCount);  // no number is given twice
  }
  struct stat file = {};
  ASSERT_EQ(::stat(path_.c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777U, 0640U);
  // Indexes can be made again; without the page of the properties nothing can be done. A page of
  // notes or items costs its own, but the few pages that lead to all others cost all.
  EXPECT_GE(complete, 2U);
  EXPECT_EQ(complete + repaired, pages - 2);
  EXPECT_GT(left, whole.size() * (repaired - 4) * 3 / 4);
}

TEST_F(SimulatorRepair, SaysWhatIsBeyondRepair) {
  const auto overwritten = [&](std::size_t offset, std::size_t size) {
    return std::string(intact_).replace(offset, size, size, '\xFF');
  };
  const struct {
    const char* what;
    std::string bytes;
    STATUS plain, repaired;
  } cases[] = {
      {"no database", "text", ERR_NOT_NSF, ERR_NOT_NSF},
      {"start overwritten", overwritten(0, 100), ERR_NOT_NSF, ERR_NOT_NSF},
      {"tables overwritten", overwritten(100, 1500), ERR_NSF_CORRUPT2, ERR_NSF_CORRUPT2},
      {"properties overwritten", overwritten(PageSize, PageSize), ERR_NSF_CORRUPT2,
       ERR_NSF_CORRUPT2},
      {"only the start", intact_.substr(0, PageSize), ERR_NSF_CORRUPT2, ERR_NSF_CORRUPT2},
      {"end cut off", intact_.substr(0, intact_.size() - PageSize * 2), ERR_NSF_CORRUPT2, NOERROR}};
  const DBHANDLE before = open("mail/a.nsf");
  for (const auto& [what, bytes, plain, repaired] : cases) {
    SCOPED_TRACE(what);
    writeFile(path_, bytes);
    EXPECT_EQ(openStatus("mail/a.nsf"), plain);
    EXPECT_EQ(openStatus("mail/a.nsf", Repair), repaired);
    EXPECT_EQ(readFile(path_) == bytes, repaired != NOERROR);
  }
  EXPECT_GT(notesOf(path_).size(), NoteCount / 2);
  // Handles from before the damage go on with the repaired file.
  char info[NSF_INFO_SIZE];
  EXPECT_EQ(NSFDbInfoGet(before, info), NOERROR);
  EXPECT_STREQ(info, "Title of mail/a.nsf");
  NSFDbClose(before);
}

}  // namespace
