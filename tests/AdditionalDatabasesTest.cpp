// Additional databases and archive mailboxes against a scripted search: which directories are
// opened under which path, what the search routines make of a match, which entries are added, and
// that every directory is closed again.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "NotesUtilities.h"
#include "findDataPartition.h"
#include "support/ScarceMemory.h"
#include "support/ScriptedNotes.h"
#include "support/TemporaryDirectory.h"

namespace {

using Files = std::set<std::string>;
using Path = std::optional<std::string>;  // "$Path" of a match, or none.

const std::string notTranslated = "0 OSTranslate failed on database: [";
const std::string missing =
    notTranslated + "Error: path information not found in the index record.].";

Texts sent;

class AdditionalDatabasesTest : public testing::Test, protected ScriptedNotes {
 protected:
  AdditionalDatabasesTest() { succeed(); }

  void succeed() {
    found = {"x/a.nsf", "x/b.nsf"};
    status = NOERROR;
    allow();
    notes.OSTranslate.answer([](WORD mode, const char* in, WORD length, char* out, WORD capacity) {
      return std::strchr(in, '!') != nullptr ? WORD{0} : copyText(mode, in, length, out, capacity);
    });
    notes.NSFDbOpen.answer([this](const char* path, DBHANDLE* out) {
      opened.emplace_back(path);
      *out = 11;
      return std::strstr(path, "none") != nullptr   ? refused
             : std::strstr(path, "shut") != nullptr ? STATUS{0x4000 | ERR_MEMORY}
                                                    : STATUS{NOERROR};
    });
    notes.NSFSearch.answer([this](DBHANDLE, FORMULAHANDLE, char*, WORD, WORD, TIMEDATE*,
                                  NSFSEARCHPROC routine, void* context, TIMEDATE*) -> STATUS {
      SEARCH_MATCH match = {};
      for (Path& path : found) {
        if (const STATUS answer = routine(context, &match, reinterpret_cast<ITEM_TABLE*>(&path))) {
          return answer;
        }
      }
      return status == 0xFFFF ? throw Throwing{} : status;
    });
    notes.NSFGetSummaryValue.answer(
        [](const void* summary, const char* name, char* out, WORD capacity) {
          EXPECT_STREQ(name, "$Path");
          EXPECT_EQ(capacity, 1024);
          const Path& path = *static_cast<const Path*>(summary);
          if (path == "throws") {
            throw Throwing{};
          }
          std::memcpy(out, path.value_or("").data(), path.value_or("").size());  // Unterminated.
          return path.has_value() ? TRUE : FALSE;
        });
  }

  void expectSearch(NSFSEARCHPROC routine) {
    expectCall(notes.NSFSearch, 11u, NULLHANDLE, nullptr, 0x0006, 0x600A, nullptr, routine);
    EXPECT_EQ(notes.NSFSearch.argument<8>(), nullptr);
  }
  // How often a directory has been closed since the last look.
  std::size_t closed() {
    return notes.NSFDbClose.count() - std::exchange(seen, notes.NSFDbClose.count());
  }
  Texts lines(const std::string& function) { return linesOf(function, "NotesUtilities"); }

  KoLNUtilities utilities;
  std::vector<Path> found;
  STATUS status = NOERROR;  // Of the search; 0xFFFF throws.
  Texts opened;
  std::size_t seen = 0;
};

TEST_F(AdditionalDatabasesTest, CountingAnswersWithWhatItReached) {
  const auto general = [](const std::string& status) {
    return "0 A general scan failure occurred while scanning: [add] to get a count of additional "
           "databases. NSFSearch() returned: " +
           status + ".\n";
  };
  // clang-format off
  const struct {
    std::string directory; STATUS path, search; std::string answer; unsigned long count;
    Texts lines; std::string opened; std::size_t closed;
  } cases[] = {
      {"add", NOERROR, NOERROR, "clean", 2, {}, "add", 1},
      {"add", NOERROR, refused, "clean", 2, {general("0")}, "add", 1},
      {"add", NOERROR, 0xFFFF, "65535: " + threw("NSFSearch"), 2, {general("65535")}, "add", 1},
      {"%n", refused, NOERROR, "clean", 2,
        {"0 Failed to get fully qualified name for additional scan directory [%n]"}, "%n", 1},
      {"d!", NOERROR, NOERROR, "clean", 2, {notTranslated + "d!]."}, "d!", 1},
      {"none", NOERROR, NOERROR, refusedText, 0,
        {"0 Unable to open the scan directory: [none]. NSFDbOpen() returned: 49411. (text of "
         "259)\n"},
        "none", 0},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.directory + " " + test.answer);
    const auto failing = notes.OSPathNetConstruct.during(
        [&](const char*, const char*, const char* file, char* out) -> STATUS {
          std::strcpy(out, test.path == NOERROR ? file : "garbage");
          return test.path;
        });
    status = test.search;
    unsigned long count = 99;
    EXPECT_EQ(told(utilities.CountAdditionalDatabases("S", test.directory, &count, true)),
              test.answer);
    EXPECT_EQ(count, test.count);
    EXPECT_EQ(lines("CountAdditionalDatabases"), test.lines);
    EXPECT_EQ(opened.back(), test.opened);
    EXPECT_EQ(closed(), test.closed);
  }
  expectSearch(CountAdditionalDBsCallbackFn);
  expectCall(notes.OSPathNetConstruct, "(null)", "S", "none");
  expectCall(notes.OSTranslate, OS_TRANSLATE_UTF8_TO_LMBCS, "none", 4);
  EXPECT_TRUE(utilities.CountAdditionalDatabases("", "a", nullptr, false).IsErrorSet());
}

TEST_F(AdditionalDatabasesTest, DirectoriesAreSearchedInOrderUntilOneFails) {
  const std::string full(1023, 'd');
  const auto notOpened = [](const std::string& name, const std::string& rest) {
    return "0 Error: unable to open scan directory: [" + name + "]. NSFDbOpen(...) returned: [" +
           rest + "].";
  };
  const std::string notSearched =
      "0 Error: a failure occurred while searching for databases. "
      "NSFSearch(...) returned: [0000c103]. Resulting error string: "
      "[text of 259].";
  // clang-format off
  const struct { std::string list; bool answer; Texts opened, lines; std::size_t closed; }
      cases[] = {
      {"a?b?c", true, {"a", "b", "c"}, {}, 3},
      {"?a??b?", true, {"a", "b"}, {}, 2},
      {"??", true, {}, {}, 0},
      {"a?none?c", false, {"a", "none"},
        {notOpened("none", "0000c103]. Resulting error string: [text of 259")}, 1},
      {"", false, {}, {notTranslated + "]."}, 0},
      {"a?b!", false, {}, {notTranslated + "a?b!]."}, 0},
      {full + "?b", true, {full}, {}, 1},
      {full + "tail", true, {full}, {}, 1},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.list);
    opened.clear();
    Files names;
    std::string list = test.list;
    EXPECT_EQ(utilities.GetAdditionalDatabases(&names, &list, false, false), test.answer);
    EXPECT_EQ(list, test.list);
    EXPECT_EQ(opened, test.opened);
    EXPECT_EQ(names, test.closed > 0 ? (Files{"x/a", "x/b"}) : Files{});
    EXPECT_EQ(lines("GetAdditionalDatabases"), test.lines);
    EXPECT_EQ(closed(), test.closed);
  }
  EXPECT_EQ(notes.OSTranslate.argument<0>(), OS_TRANSLATE_NATIVE_TO_LMBCS);
  expectSearch(FetchAdditionalDatabaseCallback);
  for (const STATUS failing : {refused, STATUS{0xFFFF}}) {
    status = failing;
    opened.clear();
    Files names;
    std::string list = "a?b";
    EXPECT_FALSE(utilities.GetAdditionalDatabases(&names, &list, false, false));
    EXPECT_EQ(opened, Texts{"a"});
    EXPECT_EQ(names.size(), 2u);
    EXPECT_EQ(closed(), 1u);
    if (failing == refused) {
      EXPECT_EQ(lines("GetAdditionalDatabases"), Texts{notSearched});
    }
  }
  EXPECT_FALSE(utilities.GetAdditionalDatabases(nullptr, nullptr, false, false));
}

TEST_F(AdditionalDatabasesTest, ReportingGoesOnPastABadDatabase) {
  sent.clear();
  found = {"x\\a.nsf", "none.nsf", std::nullopt, "b.nsf"};
  describeDatabases();
  SetSendMsgCallback([](char* message) {
    sent.emplace_back(message);
    char other[] = "p?q?r";
    return std::strtok(other, "?") == nullptr;  // A host may split texts of its own meanwhile.
  });
  Files reported;
  std::string list = "d?e";
  EXPECT_TRUE(utilities.GetAdditionalDatabases(&reported, &list, true, true));
  SetSendMsgCallback(nullptr);
  EXPECT_EQ(sent, (Texts{"x/a.nsf\x12T", "b.nsf\x12T"}));  // Once, though found twice.
  EXPECT_EQ(reported, (Files{"x/a", "b"}));
  expectSearch(ProcessAdditionalDatabaseCallback);
  EXPECT_EQ(lines("ProcessAdditionalDatabaseCallback"), Texts(2, missing));
  EXPECT_EQ(closed(), 2u);  // The two directories; reported databases stay open.
}

TEST_F(AdditionalDatabasesTest, RoutinesCutAtTheFirstNsfAndLetNothingOut) {
  const auto fetch = [](Path path) {
    Files names;
    EXPECT_EQ(
        FetchAdditionalDatabaseCallback(&names, nullptr, reinterpret_cast<ITEM_TABLE*>(&path)),
        NOERROR);
    return names;
  };
  EXPECT_EQ(fetch("a.nsfolder/b.nsf"), Files{"a"});
  EXPECT_EQ(fetch("b.ntf"), Files{"b.ntf"});
  EXPECT_EQ(fetch(".nsf"), Files{""});
  EXPECT_EQ(fetch(std::string(1024, 'p')), Files{std::string(1024, 'p')});
  EXPECT_EQ(fetch(std::nullopt), Files{});
  EXPECT_EQ(fetch("throws"), Files{});
  EXPECT_EQ(lines("FetchAdditionalDatabaseCallback"), Texts(2, missing));

  DBNAME entries[2] = {{"", "", std::string(100, 'm'), "", ""}, {}};
  int last = 0;
  std::pair<DBNAME*, int*> context(entries, &last);
  const ScarceMemory scarce(0);
  EXPECT_EQ(AssociateAdditionalDBsCallback(&context, nullptr, nullptr), ERR_MEMORY);
}

TEST_F(AdditionalDatabasesTest, AMailboxOwnsTheDirectoryOfItsName) {
  const std::string fits(1018, 'd');
  // clang-format off
  const struct { std::string directory, mailbox; Path own; } cases[] = {
      {"archive", "mail\\user1.nsf", "archive\\user1"},
      {"archive", "mail/user1.nsf", "archive/user1"},
      {"archive", "/data/a\\b/c.nsf", "archive\\b/c"},
      {"old.nsf/x", "mail/u.nsf", "old"},
      {"archive", "mail/", "archive/"},
      {fits, "m/user", fits + "/user"},
      {fits + "d", "m/user", std::nullopt},
      {"archive", "%n.nsf", std::nullopt},
      {"archive", "", std::nullopt},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.mailbox);
    DBNAME entries[4] = {
        {}, {"one", "two", test.mailbox, "own", "five"}, {}, {"", "", "", "old", ""}};
    int count = 1;
    std::string directory = test.directory;
    opened.clear();
    EXPECT_EQ(utilities.AssociateAdditionalDBs("S", &directory, entries, &count),
              test.own ? 0 : -1);
    EXPECT_EQ(directory, test.directory);
    EXPECT_EQ(opened, test.own ? Texts{*test.own} : Texts{});
    EXPECT_EQ(closed(), test.own ? 1u : 0u);
    EXPECT_EQ(lines("AssociateAdditionalDBs"),
              Texts{test.own ? "0 get path for db " + *test.own
                             : "0 Error: invalid path: [" + test.mailbox +
                                   "] encountered while scanning for additional databases."});
    ASSERT_EQ(count, test.own ? 3 : 1);
    for (int i = 2; i <= count; ++i) {
      EXPECT_EQ(entries[i].text1 + entries[i].text2 + entries[i].text5, "onetwofive");
      EXPECT_EQ(entries[i].mailboxPath, test.mailbox);
      EXPECT_EQ(entries[i].associatedPath, i == 2 ? "x/a.nsf" : "x/b.nsf");
    }
    EXPECT_EQ(entries[1].associatedPath, "own");
  }
  expectSearch(AssociateAdditionalDBsCallback);
  expectCall(notes.OSPathNetConstruct, "(null)", "(null)");  // Never through the server.
}

TEST_F(AdditionalDatabasesTest, AssociatingAnswersWithTheStatusAndKeepsItsEntries) {
  const auto scan = [](const std::string& rest) {
    return "0 A general scan failure occurred while scanning: [add/u] for additional databases. "
           "NSFSearch() returned: " +
           rest + ".\n";
  };
  // clang-format off
  const struct {
    std::string directory; std::function<void()> arrange; int answer, count; Texts lines;
    std::size_t closed;
  } cases[] = {
      {"none", [] {}, 0, 0, {}, 0},  // Flag bits do not matter.
      {"shut", [] {}, 0x4107, 0,
        {"0 Error: unable to open the scan directory: [shut/u]. NSFDbOpen() returned: "
         "16647 - text of 263.\n"}, 0},
      {"d!", [] {}, -1, 0, {"0 OSTranslate failed on directory: [d!/u]."}, 0},
      {"add", [&] { notes.OSPathNetConstruct.answer(refused); }, 0, 2,
        {"0 Warning: MakeNetworkPath failed on database: [add/u]. "}, 1},
      {"add", [&] { status = refused; }, refused, 2, {scan("49411 - text of 259")}, 1},
      {"add", [&] { status = 0xFFFF; }, 65535, 2, {scan("65535 - " + threw("NSFSearch"))}, 1},
      {"add", [&] { found = {"a.nsf", std::nullopt, "c.nsf"}; }, 1, 2, {scan("1 - text of 1")}, 1},
      {"add", [&] { found = {"b!", "c.nsf"}; }, 65535, 1, {scan("65535 - text of 16383")}, 1},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.directory + " " + std::to_string(test.answer));
    succeed();
    test.arrange();
    DBNAME entries[3] = {{"1", "2", "m/u.nsf", "", "5"}, {}, {"", "", "", "old", ""}};
    int count = 0;
    std::string directory = test.directory;
    EXPECT_EQ(utilities.AssociateAdditionalDBs("", &directory, entries, &count), test.answer);
    EXPECT_EQ(count, test.count);
    if (test.answer == 1 || test.count == 1) {  // Added before its path was known.
      EXPECT_EQ(entries[count].mailboxPath, "m/u.nsf");
      EXPECT_EQ(entries[count].associatedPath, "");
    }
    Texts own, routine;
    for (const LogCapture::Line& line : log.take()) {
      (line.function == "AssociateAdditionalDBs" ? own : routine)
          .push_back(std::to_string(line.level) + " " + line.text);
    }
    EXPECT_EQ(Texts(own.begin() + 1, own.end()), test.lines);
    if (test.answer == 1) {
      EXPECT_EQ(routine, Texts{"0 Path info cannot be found in the index record."});
    } else if (test.count == 1) {
      EXPECT_EQ(routine, Texts{notTranslated + "b!]."});
    }
    EXPECT_EQ(closed(), test.closed);
  }
  int count = 0;
  EXPECT_EQ(utilities.AssociateAdditionalDBs("", nullptr, nullptr, &count), -1);
}

// Success without a handle opened nothing; searching or closing handle 0 would stop a real process.
TEST_F(AdditionalDatabasesTest, NothingOpenedIsNeitherSearchedNorClosed) {
  notes.NSFDbOpen.answer(NOERROR);
  Files names;
  std::string directories = "a?b";
  unsigned long counted = 7;
  DBNAME entries[2];
  entries[0].mailboxPath = "mail/u.nsf";
  int last = 0;
  std::string directory = "own";
  EXPECT_TRUE(KoLNUtilities().GetAdditionalDatabases(&names, &directories, false, false));
  EXPECT_FALSE(KoLNUtilities().CountAdditionalDatabases("", "a", &counted, false).IsErrorSet());
  EXPECT_EQ(KoLNUtilities().AssociateAdditionalDBs("", &directory, entries, &last), 0);
  EXPECT_EQ(notes.NSFDbOpen.count(), 4u);
  EXPECT_EQ(notes.NSFSearch.count() + notes.NSFDbClose.count(), 0u);
  EXPECT_EQ(counted, 0u);
  EXPECT_EQ(last, 0);
}

TEST_F(AdditionalDatabasesTest, AnArchiveMailboxIsAddedIfItsFileExists) {
  const TemporaryDirectory directory;
  const std::string base = directory.path();
  for (const char* name : {"/arc/a_user1.nsf", "/arc/a_b!.nsf"}) {
    writeFile(base + name, "");
  }
  const std::string fits = directory.pathOfLength(1024), tooLong = fits + "x";
  writeFile(fits, "");
  writeFile(tooLong, "");
  const std::size_t prefix = base.size() + 1;
  // clang-format off
  const struct { std::string folder, before, name, path; int answer, count; std::string line; }
      cases[] = {
      {"arc", "a_", "user1", base + "/arc/a_user1.nsf", 0, 1, "Including archive mailbox ["},
      {"arc", "a_", "user2", base + "/arc/a_user2.nsf", 0, 0, "Archive mailbox ["},
      {"arc", "a_", "b!", base + "/arc/a_b!.nsf", -1, 1,
        "OSTranslate failed on archive mailbox: ["},
      {fits.substr(prefix, 200), "", fits.substr(prefix + 201), fits, 0, 1,
        "Including archive mailbox ["},
      {fits.substr(prefix, 200), "", tooLong.substr(prefix + 201), tooLong, -1, 1,
        "OSTranslate failed on archive mailbox: ["},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.path);
    ArchiveMailBoxInfoStruct archive = {test.folder, test.before,
                                        test.folder == "arc" ? ".nsf" : "", base};
    DBNAME entries[2] = {{"1", "2", "m/u.nsf", "own", "5"}, {"", "", "", "old", ""}};
    int count = 0;
    std::string name = test.name;
    EXPECT_EQ(utilities.AssociateArchiveMBs("", name, archive, entries, &count), test.answer);
    EXPECT_EQ(count, test.count);
    EXPECT_EQ(entries[1].mailboxPath, test.count == 1 ? "m/u.nsf" : "");
    EXPECT_EQ(entries[1].associatedPath, test.count == 0    ? "old"
                                         : test.answer == 0 ? test.path
                                                            : "");
    EXPECT_EQ(lines("AssociateArchiveMBs"), Texts{"0 " + test.line + test.path + "]" +
                                                  (test.count == 0    ? " was not found."
                                                   : test.answer == 0 ? ""
                                                                      : ".")});
  }
  expectCall(notes.OSTranslate, OS_TRANSLATE_LMBCS_TO_UTF8, fits, 1024);
}

}  // namespace
