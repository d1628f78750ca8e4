// The databases of the simulated Notes runtime: opening, creating, properties, directory searches,
// the store behind them, and the partitions of koln-simulate. Linked with the runtime's own
// objects; KOLN_SIMULATE is the path of the tool.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
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
using namespace std::string_literals;
using namespace simulator;

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Overwrites part of a file in place.
void patch(const fs::path& path, std::size_t offset, const std::string& bytes) {
  std::string all = readFile(path);
  all.replace(offset, bytes.size(), bytes);
  writeFile(path, all);
}

bool same(const TIMEDATE& left, const TIMEDATE& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

// A data directory of its own for each test, and a runtime started on it.
class SimulatorStore : public testing::Test {
 protected:
  void SetUp() override {
    writeFile(data_ / "notes.ini", "[Notes]\nDirectory=" + data_.string() + "\n");
    std::string program = "/nowhere";
    std::string ini = "=" + (data_ / "notes.ini").string();
    char* arguments[] = {program.data(), ini.data(), nullptr};
    ASSERT_EQ(NotesInitExtended(3, arguments), NOERROR);
  }
  void TearDown() override {
    EXPECT_EQ(SimOpenHandles("databases"), 0);
    NotesTerm();
  }

  void makeDatabase(const std::string& path, const std::string& title) {
    fs::create_directories((data_ / path).parent_path());
    DatabaseProperties properties;
    properties.info = infoWithTitle(title);
    properties.id = properties.replica.ID = timeFromUnix(1'600'000'000 + ++made_);
    Store::create(properties)
        .saveAs((data_ / path).string(), Store::Existing::Keep, Store::Flush::Later);
  }

  DBHANDLE open(const std::string& path) {
    DBHANDLE handle = NULLHANDLE;
    EXPECT_EQ(NSFDbOpen(utf8ToLmbcs(path).c_str(), &handle), NOERROR) << path;
    return handle;
  }

  static std::string title(DBHANDLE handle) {
    char info[NSF_INFO_SIZE] = "unset";
    char text[NSF_INFO_SIZE] = "unset";
    EXPECT_EQ(NSFDbInfoGet(handle, info), NOERROR);
    NSFDbInfoParse(info, INFOPARSE_TITLE, text, NSF_INFO_SIZE - 1);
    return lmbcsToUtf8(text);
  }

  const TemporaryDirectory directory_;
  const fs::path root_ = directory_.path();
  const fs::path data_ = root_ / "data";
  int made_ = 0;
};

// ---- opening and closing ------------------------------------------------------------------------

TEST_F(SimulatorStore, OpensWhatIsADatabaseAndSaysWhyNot) {
  makeDatabase("mail/a.nsf", "A");
  makeDatabase("mail/\u00DCbung \u6771\u4EAC.nsf", "B");
  makeDatabase("mail.nsf", "Beside the directory");
  writeFile(data_ / "text.nsf", std::string(5000, 'x'));
  writeFile(data_ / "empty.nsf", "");
  ASSERT_EQ(::mkfifo((data_ / "pipe.nsf").c_str(), 0600), 0);
  const std::string whole = readFile(data_ / "mail/a.nsf");
  for (const char* name : {"truncated.nsf", "schema.nsf", "row.nsf", "newer.nsf", "foreign.nsf"})
    writeFile(data_ / name, whole);
  fs::resize_file(data_ / "truncated.nsf", whole.size() / 2);
  patch(data_ / "schema.nsf", 100, std::string(200, '\xFF'));
  patch(data_ / "row.nsf", 2048, std::string(2048, '\xFF'));  // the page of the properties
  patch(data_ / "newer.nsf", 60, "\0\0\0\4"s);                // user_version
  patch(data_ / "foreign.nsf", 68, "\0\0\0\0"s);              // application_id

  char netPath[MAXPATH];
  OSPathNetConstruct(nullptr, "CN=srv/O=Org", "mail/a.nsf", netPath);
  const struct {
    std::string path;
    STATUS status;
    USHORT mode;
    std::string canonical;
  } cases[] = {
      {"", NOERROR, DB_DIRECTORY, ""},
      {"mail", NOERROR, DB_DIRECTORY, "mail"},
      {"mail/", NOERROR, DB_DIRECTORY, "mail"},
      {"srv!!mail", NOERROR, DB_DIRECTORY, "mail"},
      {"/", NOERROR, DB_DIRECTORY, "/"},
      {"mail/a.nsf", NOERROR, DB_LOADED, "mail/a.nsf"},
      {"mail/a", NOERROR, DB_LOADED, "mail/a.nsf"},
      {"./mail//a", NOERROR, DB_LOADED, "mail/a.nsf"},
      {(data_ / "mail/a.nsf").string(), NOERROR, DB_LOADED, "mail/a.nsf"},
      {netPath, NOERROR, DB_LOADED, "mail/a.nsf"},
      {"mail/\u00DCbung \u6771\u4EAC", NOERROR, DB_LOADED, "mail/\u00DCbung \u6771\u4EAC.nsf"},
      {"missing.nsf", ERR_NOEXIST, 0, ""},
      {"mail/a.nsf/b.nsf", ERR_NOEXIST, 0, ""},
      {"mail\\a.nsf", ERR_NOEXIST, 0, ""},
      {"text.nsf", ERR_NOT_NSF, 0, ""},
      {"empty.nsf", ERR_NOT_NSF, 0, ""},
      {"pipe.nsf", ERR_NOT_NSF, 0, ""},
      {"foreign.nsf", ERR_NOT_NSF, 0, ""},
      {"truncated.nsf", ERR_NSF_CORRUPT2, 0, ""},
      {"schema.nsf", ERR_NSF_CORRUPT2, 0, ""},
      {"row.nsf", ERR_NSF_CORRUPT2, 0, ""},
      {"newer.nsf", ERR_NSF_VERSION, 0, ""},
      {std::string(300, 'n'), ERR_BAD_PATH, 0, ""},
      {std::string(240, 'n'), ERR_BAD_PATH, 0, ""},  // too long with the data directory
  };
  for (const auto& [path, status, mode, canonical] : cases) {
    DBHANDLE handle = 12345;
    EXPECT_EQ(NSFDbOpen(utf8ToLmbcs(path).c_str(), &handle), status) << path;
    EXPECT_EQ(handle != NULLHANDLE, status == NOERROR) << path;
    if (handle == NULLHANDLE) continue;
    USHORT foundMode = 0;
    char relative[MAXPATH];
    char full[MAXPATH];
    EXPECT_EQ(NSFDbModeGet(handle, &foundMode), NOERROR);
    EXPECT_EQ(foundMode, mode) << path;
    EXPECT_EQ(NSFDbPathGet(handle, relative, full), NOERROR);
    EXPECT_EQ(lmbcsToUtf8(relative), canonical) << path;
    EXPECT_TRUE(fs::exists(lmbcsToUtf8(full))) << full;
    EXPECT_EQ(NSFDbPathGet(handle, nullptr, nullptr), NOERROR);
    EXPECT_EQ(NSFDbClose(handle), NOERROR);
  }
  DBHANDLE handle = NULLHANDLE;
  EXPECT_EQ(NSFDbOpen(nullptr, &handle), NOERROR);
  EXPECT_EQ(NSFDbClose(handle), NOERROR);
}

TEST_F(SimulatorStore, AnswersAStatusForEveryHandleThatIsNoOpenDatabase) {
  makeDatabase("a.nsf", "A");
  const DBHANDLE closed = open("a.nsf");
  EXPECT_EQ(NSFDbClose(closed), NOERROR);
  const DBHANDLE directory = open("");
  const struct {
    DBHANDLE handle;
    STATUS status;
  } handles[] = {{NULLHANDLE, ERR_NULL_DBHANDLE},
                 {closed, ERR_BAD_PARAM},
                 {0xDEADBEEF, ERR_BAD_PARAM},
                 {directory, ERR_DIRECTORY}};
  for (const auto& [handle, status] : handles) {
    char buffer[MAXPATH] = "";
    TIMEDATE time = {};
    DBREPLICAINFO replica = {};
    DWORD size = 0;
    for (const STATUS answer :
         {NSFDbInfoGet(handle, buffer), NSFDbInfoSet(handle, buffer), NSFDbIDGet(handle, &time),
          NSFDbReplicaInfoGet(handle, &replica), NSFDbReplicaInfoSet(handle, &replica),
          NSFDbModifiedTime(handle, &time, &time), NSFDbSpaceUsage(handle, &size, &size)})
      EXPECT_EQ(answer, status);
    if (handle == directory) continue;
    USHORT mode = 0;
    EXPECT_EQ(NSFDbModeGet(handle, &mode), status);
    EXPECT_EQ(NSFDbPathGet(handle, buffer, buffer), status);
    EXPECT_EQ(NSFDbClose(handle), status);
  }
  EXPECT_EQ(NSFDbClose(directory), NOERROR);
}

TEST_F(SimulatorStore, CreatesWholeFilesAndReplacesOnlyWhenTold) {
  EXPECT_EQ(NSFDbCreate("new", DBCLASS_NOTEFILE, FALSE), NOERROR);
  EXPECT_EQ(NSFDbCreate("form.ntf", DBCLASS_BY_EXTENSION, FALSE), NOERROR);
  EXPECT_EQ(NSFDbCreate("none/new.nsf", DBCLASS_NOTEFILE, FALSE), ERR_NOEXIST);
  EXPECT_EQ(NSFDbCreate("bad.nsf", 0x1234, FALSE), ERR_DBCLASS);
  EXPECT_EQ(NSFDbCreate("", DBCLASS_NOTEFILE, FALSE), ERR_BAD_PATH);
  EXPECT_EQ(NSFDbCreate(nullptr, DBCLASS_NOTEFILE, FALSE), ERR_BAD_PATH);
  fs::create_directory(data_ / "folder.nsf");
  EXPECT_EQ(NSFDbCreate("folder.nsf", DBCLASS_NOTEFILE, FALSE), ERR_EXISTS);
  EXPECT_EQ(NSFDbCreate("folder.nsf", DBCLASS_NOTEFILE, TRUE), ERR_CREATE);

  const DBHANDLE first = open("new.nsf");
  TIMEDATE firstId = {};
  EXPECT_EQ(NSFDbIDGet(first, &firstId), NOERROR);
  const std::string before = readFile(data_ / "new.nsf");
  EXPECT_EQ(NSFDbCreate("new.nsf", DBCLASS_NOTEFILE, FALSE), ERR_EXISTS);
  EXPECT_EQ(readFile(data_ / "new.nsf"), before);

  writeFile(data_ / "new.nsf-journal", "of the old file");
  EXPECT_EQ(NSFDbCreate("new.nsf", DBCLASS_NOTEFILE, TRUE), NOERROR);
  // The handle was for the database that is gone, not for any file of that name.
  char info[NSF_INFO_SIZE];
  EXPECT_EQ(NSFDbInfoGet(first, info), ERR_NOEXIST);
  const DBHANDLE second = open("new.nsf");
  TIMEDATE secondId = {};
  EXPECT_EQ(NSFDbIDGet(second, &secondId), NOERROR);
  EXPECT_FALSE(same(firstId, secondId));
  fs::remove(data_ / "new.nsf");
  EXPECT_EQ(NSFDbInfoGet(second, info), ERR_NOEXIST);
  EXPECT_EQ(NSFDbClose(first), NOERROR);
  EXPECT_EQ(NSFDbClose(second), NOERROR);

  std::set<std::string> left;
  for (const auto& entry : fs::directory_iterator(data_)) left.insert(entry.path().filename());
  EXPECT_EQ(left, (std::set<std::string>{"folder.nsf", "form.ntf", "notes.ini"}));
}

TEST_F(SimulatorStore, KeepsThousandsOpenWithFewDescriptors) {
  constexpr int count = 2000;
  for (int i = 0; i < count; ++i)
    makeDatabase("mail/" + std::to_string(i) + ".nsf", "Mailbox " + std::to_string(i));
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const fs::directory_iterator descriptors("/proc/self/fd");
  const auto taken = static_cast<rlim_t>(std::distance(begin(descriptors), end(descriptors)));
  const rlimit few{taken + 60, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  std::vector<DBHANDLE> handles;
  handles.reserve(count);
  for (int i = 0; i < count; ++i) handles.push_back(open("mail/" + std::to_string(i)));
  EXPECT_EQ(SimOpenHandles("databases"), count);
  for (int i = 0; i < count; i += 7)
    EXPECT_EQ(title(handles[static_cast<std::size_t>(i)]), "Mailbox " + std::to_string(i));
  for (const DBHANDLE handle : handles) EXPECT_EQ(NSFDbClose(handle), NOERROR);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

// ---- what a database says of itself -------------------------------------------------------------

TEST_F(SimulatorStore, ParsesTheInformationBufferWithinItsBounds) {
  const std::string longTitle(NSF_INFO_SIZE, 't');  // no terminator inside the buffer
  const struct {
    std::string info;
    WORD part;
    WORD room;
    std::string expected;
  } cases[] = {
      {"Title", INFOPARSE_TITLE, 127, "Title"},
      {"Title", INFOPARSE_CATEGORIES, 127, ""},
      {"Title\nOne, Two\n#1Class\n#2Design", INFOPARSE_CATEGORIES, 127, "One, Two"},
      {"Title\nOne, Two\n#1Class\n#2Design", INFOPARSE_CLASS, 127, "Class"},
      {"Title\nOne, Two\n#1Class\n#2Design", INFOPARSE_DESIGN_CLASS, 127, "Design"},
      {"Title\n\n#2Design", INFOPARSE_DESIGN_CLASS, 3, "Des"},
      {"#2Title", INFOPARSE_DESIGN_CLASS, 127, ""},
      {"Title\n\n#", INFOPARSE_CLASS, 127, ""},
      {"Title", 9, 127, ""},
      {"Title", INFOPARSE_TITLE, 0, ""},
      {longTitle, INFOPARSE_TITLE, 500, longTitle},
      {utf8ToLmbcs("ab\u6771"), INFOPARSE_TITLE, 4, "ab"},  // whole characters only
  };
  for (const auto& [info, part, room, expected] : cases) {
    char buffer[NSF_INFO_SIZE] = {};
    std::copy_n(info.begin(), std::min<std::size_t>(info.size(), NSF_INFO_SIZE), buffer);
    std::string text(std::size_t{room} + 2, '\xEE');
    NSFDbInfoParse(buffer, part, text.data(), room);
    EXPECT_STREQ(text.c_str(), expected.c_str()) << info << " " << part;
    EXPECT_EQ(text.back(), '\xEE') << info << " " << part;
  }
}

TEST_F(SimulatorStore, KeepsWhatWasSet) {
  makeDatabase("a.nsf", "Before");
  const DBHANDLE handle = open("a.nsf");
  TIMEDATE dataBefore = {};
  TIMEDATE designBefore = {};
  EXPECT_EQ(NSFDbModifiedTime(handle, &dataBefore, &designBefore), NOERROR);

  char tooLong[NSF_INFO_SIZE];
  std::fill(std::begin(tooLong), std::end(tooLong), 'x');
  EXPECT_EQ(NSFDbInfoSet(handle, tooLong), ERR_NSF_INFO_SIZE);
  EXPECT_EQ(title(handle), "Before");

  std::string info = utf8ToLmbcs("N\u00E4chster \u6771\u4EAC\n\n#2Std");
  info.resize(NSF_INFO_SIZE, '\0');
  const DBREPLICAINFO wanted = {{{0x0012F3C4, 0x85257A1B}}, 0x0104, 90, timeFromUnix(86400)};
  DBREPLICAINFO replica = wanted;
  EXPECT_EQ(NSFDbInfoSet(handle, info.data()), NOERROR);
  EXPECT_EQ(NSFDbReplicaInfoSet(handle, &replica), NOERROR);
  EXPECT_EQ(NSFDbClose(handle), NOERROR);

  DBHANDLE again = NULLHANDLE;
  TIMEDATE data = {};
  TIMEDATE design = {};
  EXPECT_EQ(NSFDbOpenExtended("a.nsf", 0, NULLHANDLE, nullptr, &again, &data, &design), NOERROR);
  EXPECT_EQ(title(again), "N\u00E4chster \u6771\u4EAC");
  replica = {};
  EXPECT_EQ(NSFDbReplicaInfoGet(again, &replica), NOERROR);
  EXPECT_EQ(std::memcmp(&replica, &wanted, sizeof wanted), 0);
  EXPECT_TRUE(same(data, dataBefore));
  EXPECT_GT(TimeDateDifference(&design, &designBefore), 0);
  DWORD used = 0;
  DWORD unused = 0;
  EXPECT_EQ(NSFDbSpaceUsage(again, &used, &unused), NOERROR);
  EXPECT_EQ(used + unused, fs::file_size(data_ / "a.nsf"));
  EXPECT_EQ(NSFDbClose(again), NOERROR);
}

TEST_F(SimulatorStore, ServesSeveralThreads) {
  constexpr int databases = 40;  // more than the connections that are kept
  for (int i = 0; i < databases; ++i) makeDatabase(std::to_string(i) + ".nsf", "Start");
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      ASSERT_EQ(NotesInitThread(), NOERROR);
      for (int i = 0; i < databases; ++i) {
        const std::string path = std::to_string((i * 7 + t * 13) % databases) + ".nsf";
        DBHANDLE handle = NULLHANDLE;
        ASSERT_EQ(NSFDbOpen(path.c_str(), &handle), NOERROR);
        char info[NSF_INFO_SIZE] = "Changed";
        EXPECT_EQ(NSFDbInfoSet(handle, info), NOERROR);
        EXPECT_EQ(title(handle), "Changed");
        EXPECT_EQ(NSFDbClose(handle), NOERROR);
      }
      NotesTermThread();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// ---- directory searches -------------------------------------------------------------------------

struct Search {
  std::vector<std::string> paths;
  std::map<std::string, std::string> info;
  std::string stopAt;
  bool throwing = false;
};

std::string summaryText(ITEM_TABLE* summary, const char* name) {
  char text[1024] = "";
  EXPECT_TRUE(NSFGetSummaryValue(summary, name, text, sizeof text)) << name;
  return lmbcsToUtf8(text);
}

STATUS collect(void* parameter, SEARCH_MATCH* match, ITEM_TABLE* summary) {
  auto* search = static_cast<Search*>(parameter);
  EXPECT_EQ(match->SERetFlags & SE_FMATCH, SE_FMATCH);
  EXPECT_EQ(match->SummaryLength, summary->Length);
  const std::string path = summaryText(summary, "$Path");
  const std::string type = summaryText(summary, "$type");
  const std::string name = summaryText(summary, "$TITLE");
  EXPECT_TRUE(path.ends_with(name) || name == "..") << path;
  search->paths.push_back(type == "$DIR" ? path + "/" : path);
  search->info[path] = summaryText(summary, "$Info");
  if (search->throwing) throw std::runtime_error("from the host");
  return path == search->stopAt ? 0x1234 : NOERROR;
}

STATUS search(DBHANDLE directory, WORD mask, Search& result, TIMEDATE* since = nullptr) {
  return NSFSearch(directory, NULLHANDLE, nullptr, SEARCH_FILETYPE | SEARCH_SUMMARY, mask, since,
                   collect, &result, nullptr);
}

TEST_F(SimulatorStore, FindsFilesInAFixedOrder) {
  for (const char* path : {"names.nsf", "B.NSF", "mail/z.nsf", "mail/a.nsf", "mail/old/deep.nsf",
                           "mail.box", "form.ntf", "\u6771\u4EAC/\u00DC.nsf"})
    makeDatabase(path, "Title of "s + path);
  writeFile(data_ / "damaged.nsf", "no database");
  writeFile(data_ / "notes.txt", "no database");
  writeFile(data_ / "a.nsf-journal", "");
  fs::create_directory(data_ / "empty.nsf");
  fs::create_directory_symlink(data_ / "mail", data_ / "mail/old/loop");
  fs::create_symlink("nowhere", data_ / "dangling.nsf");

  const std::vector<std::string> all = {
      "B.NSF",      "damaged.nsf",       "form.ntf",
      "mail.box",   "names.nsf",         "mail/a.nsf",
      "mail/z.nsf", "mail/old/deep.nsf", "\u6771\u4EAC/\u00DC.nsf"};
  const struct {
    std::string start;
    int mask;
    std::vector<std::string> expected;
  } cases[] = {
      {"", FILE_ANYNOTEFILE | FILE_RECURSE | FILE_NOUPDIRS, all},
      {"", FILE_ANYNOTEFILE, {all.begin(), all.begin() + 5}},
      {"", FILE_DBANY | FILE_NOUPDIRS, {"B.NSF", "damaged.nsf", "names.nsf"}},
      {"", FILE_FTANY, {"form.ntf"}},
      {"", FILE_MAILBOX | FILE_RECURSE, {"mail.box"}},
      {"", FILE_DIRSONLY, {"empty.nsf/", "mail/", "\u6771\u4EAC/"}},
      {"mail",
       FILE_ANYNOTEFILE | FILE_NOUPDIRS | FILE_RECURSE,
       {"mail/a.nsf", "mail/z.nsf", "mail/old/deep.nsf"}},
      {"mail/old", FILE_DBANY | FILE_DIRS, {"mail/", "mail/old/deep.nsf", "mail/old/loop/"}},
      {"empty.nsf", FILE_ANY, {}}};
  for (const auto& [start, mask, expected] : cases) {
    const DBHANDLE directory = open(start);
    Search found;
    EXPECT_EQ(search(directory, static_cast<WORD>(mask), found), NOERROR);
    EXPECT_EQ(found.paths, expected) << start << " " << std::hex << mask;
    for (const auto& [path, info] : found.info) {
      if (path.ends_with('/') || fs::is_directory(data_ / path)) continue;
      EXPECT_EQ(info, path == "damaged.nsf" ? "" : "Title of " + path);
      if (path != "damaged.nsf") {
        EXPECT_EQ(NSFDbClose(open(path)), NOERROR);
      }
    }
    EXPECT_EQ(NSFDbClose(directory), NOERROR);
  }
}

TEST_F(SimulatorStore, EndsASearchAsTheRoutineAnswers) {
  for (const char* path : {"a.nsf", "b.nsf", "c.nsf"}) makeDatabase(path, path);
  const DBHANDLE directory = open("");
  Search stopped;
  stopped.stopAt = "b.nsf";
  EXPECT_EQ(search(directory, FILE_DBANY, stopped), 0x1234);
  EXPECT_EQ(stopped.paths, (std::vector<std::string>{"a.nsf", "b.nsf"}));
  Search thrown;
  thrown.throwing = true;
  EXPECT_THROW(search(directory, FILE_DBANY, thrown), std::runtime_error);

  TIMEDATE future = timeFromUnix(4'000'000'000);
  Search none;
  EXPECT_EQ(search(directory, FILE_DBANY, none, &future), NOERROR);
  EXPECT_TRUE(none.paths.empty());
  TIMEDATE wildcard = {{ALLDAY, ANYDAY}};
  EXPECT_EQ(search(directory, FILE_DBANY, none, &wildcard), NOERROR);
  EXPECT_EQ(none.paths.size(), 3U);

  EXPECT_EQ(search(directory, FILE_DBANY | FILE_LINKSONLY, none), NotSupportedYet);
  EXPECT_EQ(search(directory, FILE_MDMTYPE, none), NotSupportedYet);
  EXPECT_EQ(search(NULLHANDLE, FILE_DBANY, none), ERR_NULL_DBHANDLE);
  const DBHANDLE database = open("a.nsf");
  EXPECT_EQ(search(database, FILE_DBANY, none), ERR_NOT_DIRECTORY);
  EXPECT_EQ(NSFSearch(directory, 0, nullptr, SEARCH_SUMMARY, NOTE_CLASS_ALL, nullptr, collect,
                      &none, nullptr),
            ERR_DIRECTORY);
  EXPECT_EQ(NSFDbClose(database), NOERROR);
  fs::remove_all(data_);
  EXPECT_EQ(search(directory, FILE_DBANY, none), ERR_NOEXIST);
  EXPECT_EQ(NSFDbClose(directory), NOERROR);
}

// ---- the store ----------------------------------------------------------------------------------

TEST_F(SimulatorStore, GivesNotesAndItemsBackAsTheyWereWritten) {
  makeDatabase("a.nsf", "A");
  NoteHeader header;
  header.noteClass = NOTE_CLASS_DOCUMENT;
  header.originator = {{{1, 2}}, {{3, 0x85258AD2}}, 7, {{5, 6}}};
  header.modified = {{4953025, 0x85258AD2}};
  header.accessed = {{ALLDAY, ANYDAY}};
  header.flags = NOTE_FLAG_READONLY;
  header.parent = 0x8FA;
  const std::vector<NoteItem> items = {
      {"Body", ITEM_SIGN, TYPE_COMPOSITE, std::vector<BYTE>(65000, 0xFF)},
      {"Body", 0, TYPE_TEXT, {}},
      {"\x84\xFF\x01"s, 0xFFFF, 0xFFFF, {0, 1, 0, 2}}};
  {
    Store store = Store::open((data_ / "a.nsf").string());
    store.writeNote(header, items);
    NoteHeader second = header;
    second.id = 0;
    second.originator.Note.Innards[0] = 4;
    second.modified.Innards[0] -= 1;
    store.writeNote(second, {});
    EXPECT_GT(second.id, header.id);
    EXPECT_TRUE(same(store.properties().dataModified, header.modified));
  }
  Store store = Store::open((data_ / "a.nsf").string());
  const UNIVERSALNOTEID unid{header.originator.File, header.originator.Note};
  for (const auto& found : {store.note(header.id), store.note(unid)}) {
    ASSERT_TRUE(found);
    EXPECT_EQ(found->id, header.id);
    EXPECT_EQ(found->flags, header.flags);
    EXPECT_EQ(found->parent, header.parent);
    EXPECT_TRUE(same(found->accessed, header.accessed));
    EXPECT_EQ(std::memcmp(&found->originator, &header.originator, sizeof(ORIGINATORID)), 0);
  }
  const std::vector<NoteItem> found = store.items(header.id);
  ASSERT_EQ(found.size(), items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    EXPECT_EQ(found[i].name, items[i].name);
    EXPECT_EQ(found[i].flags, items[i].flags);
    EXPECT_EQ(found[i].type, items[i].type);
    EXPECT_EQ(found[i].value, items[i].value);
  }
  // The zone of a time does not matter when times are compared.
  EXPECT_EQ(store.notes(NOTE_CLASS_ALL, TIMEDATE{{4953025, 0x00258AD2}}).size(), 1U);
  EXPECT_EQ(store.notes(NOTE_CLASS_ALL, TIMEDATE{{4953026, 0x00258AD2}}).size(), 0U);
  EXPECT_EQ(store.notes(NOTE_CLASS_ALL).size(), 2U);
  EXPECT_EQ(store.notes(NOTE_CLASS_VIEW).size(), 0U);

  header.deleted = true;
  store.writeNote(header, {});
  EXPECT_TRUE(store.note(header.id)->deleted);
  EXPECT_TRUE(store.items(header.id).empty());
  EXPECT_TRUE(store.removeNote(header.id));
  EXPECT_FALSE(store.removeNote(header.id));
  EXPECT_THROW(store.writeHeader(header), StatusError);
  NoteHeader third;
  store.writeNote(third, {});
  EXPECT_GT(third.id, header.id + 4) << "an ID was given twice";
}

// ---- koln-simulate ------------------------------------------------------------------------------

// The tool's exit code; its output goes to a file.
int simulate(const std::string& arguments, const fs::path& output) {
  const std::string command =
      std::string(KOLN_SIMULATE) + " " + arguments + " >" + output.string() + " 2>&1";
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::map<std::string, std::string> databasesBelow(const fs::path& data) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(data)) {
    if (entry.is_regular_file() && entry.path().filename() != "notes.ini")
      files[fs::relative(entry.path(), data)] = readFile(entry.path());
  }
  return files;
}

TEST_F(SimulatorStore, MakesTheSamePartitionFromTheSameSeed) {
  writeFile(root_ / "home/notes/latest/linux/libnotes.so", "");
  const std::string home = " --home " + (root_ / "home").string() + " ";
  const fs::path output = root_ / "output";
  const auto make = [&](const std::string& name, const std::string& options) {
    const std::string all = "create " + (root_ / name).string() + home + options;
    EXPECT_EQ(simulate(all, output), 0) << readFile(output);
    return databasesBelow(root_ / name / "data");
  };
  const auto first = make("first", "--mailboxes 12 --notes 5 --seed 42");
  EXPECT_EQ(first, make("second", "--mailboxes 12 --notes 5 --seed 42"));
  EXPECT_NE(first, make("third", "--mailboxes 12 --notes 5 --seed 43"));
  EXPECT_EQ(first, make("third", "--mailboxes 12 --notes 5 --seed 42 --force"));
  make("none", "--mailboxes 0");
}

TEST_F(SimulatorStore, RefusesToMakeAPartitionWhereItShouldNot) {
  writeFile(root_ / "full/registry.conf", "[somebody else's]\n");
  const std::string directory = (root_ / "new").string();
  const fs::path output = root_ / "output";
  const struct {
    std::string arguments;
    int code;
    const char* says;
  } cases[] = {{"", 2, "subcommand"},
               {"create", 2, "DIR"},
               {"create " + directory + " --mailboxes -1", 2, "mailboxes"},
               {"create " + directory + " --mailboxes 1000001", 2, "mailboxes"},
               {"create " + directory + " --attachments 101", 2, "attachments"},
               {"create " + directory + " --seed x", 2, "seed"},
               {"create " + directory + " --mailboxes 5 --persons 4", 2, "persons"},
               {"create " + directory + " --departments 9", 2, "departments"},
               {"create " + directory + " --books 0", 2, "books"},
               {"create " + directory + " --home /nonexistent", 1, "libnotes.so"},
               {"create " + directory + " --user no-such-user", 1, "no-such-user"},
               {"create " + (root_ / "full").string(), 1, "--force"},
               {"create " + (root_ / "full").string() + " --force", 1, "left alone"},
               {"create /dev/null/x", 1, "/dev/null"},
               {"create --help", 0, "--mailboxes"}};
  for (const auto& [arguments, code, says] : cases) {
    EXPECT_EQ(simulate(arguments, output), code) << arguments;
    const std::string text = readFile(output);
    EXPECT_NE(text.find(says), std::string::npos) << arguments << ": " << text;
    if (code != 0) {
      EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    }
  }
  EXPECT_FALSE(fs::exists(directory));
  EXPECT_EQ(readFile(root_ / "full/registry.conf"), "[somebody else's]\n");
}

}  // namespace
