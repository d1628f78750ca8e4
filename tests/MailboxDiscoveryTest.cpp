// Mailbox discovery against a scripted directory: what is asked and captured, which values count,
// who is taken by department, what is reported, and that the look-up's memory is always released.
// What an overload asks is captured once per process: such tests run in child processes.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "NotesUtilities.h"
#include "findDataPartition.h"
#include "support/ChildProcess.h"
#include "support/ScriptedNotes.h"

namespace {

using Files = std::set<std::string>;
using Names = std::map<std::string, std::string>;

constexpr const char* function = "DiscoverMailboxes";
const std::string server = "CN=Mail/O=Org";
const std::string nullFile = "0 Warning: found a mail file equal to NULL. Entry will be skipped.\n";
const std::string wrongType =
    "0 Warning: unrecognized data type for a mail file entry. Entry will be skipped.";

std::string found(std::size_t persons) {
  return "0 Found [" + std::to_string(persons) +
         "] users (each will usually have one corresponding mail database file.)";
}

struct Person {
  std::string file, text = "";
  STATUS textStatus = NOERROR;  // 0xFFFF throws.
  WORD type = TYPE_TEXT;
  std::optional<WORD> size = std::nullopt;  // Of the value, its type word included.
  bool noValue = false;
};

Texts sent;
int checks = 0;

class MailboxDiscoveryTest : public testing::Test, protected ScriptedNotes {
 protected:
  MailboxDiscoveryTest() { succeed(); }

  void succeed() {
    notes.NAMELookup2.answer([this](const char*, DWORD, WORD, const char*, WORD, const char* names,
                                    WORD count, const char* items, DHANDLE* out) {
      EXPECT_EQ(*names, '\0');
      asked.clear();
      for (; count > 0; --count, items += std::strlen(items) + 1) {
        asked += items + std::string(";");
      }
      *out = 5;
      return NOERROR;
    });
    lend(&announced);
    notes.NAMELocateNextName2.answer([this](void* buffer, void* name, DWORD* matches) -> void* {
      EXPECT_TRUE(buffer == &announced && name == nullptr);
      *matches = announced.value_or(static_cast<DWORD>(persons.size()));
      return &persons;
    });
    notes.NAMELocateNextMatch2.answer([this](void*, void* record, void* match) -> void* {
      EXPECT_EQ(record, &persons);
      Person* const next = match == nullptr ? persons.data() : static_cast<Person*>(match) + 1;
      return next == persons.data() + persons.size() ? nullptr : next;
    });
    notes.NAMELocateItem2.answer([this](void* match, WORD item, WORD* type, WORD* size) -> void* {
      const Person& person = *static_cast<Person*>(match);
      EXPECT_EQ(item, 0);
      *type = person.type;
      value.assign(2, '\5');
      value.insert(value.end(), person.file.begin(), person.file.end());
      *size = person.size.value_or(static_cast<WORD>(value.size()));
      value.resize(*size);
      value.shrink_to_fit();  // Reading on is seen.
      return person.noValue ? nullptr : value.data();
    });
    notes.NAMEGetTextItem2.answer([](void* match, WORD item, WORD, char* out, WORD capacity) {
      const Person& person = *static_cast<Person*>(match);
      EXPECT_EQ(item, 1);
      EXPECT_EQ(capacity, 1023);
      std::memcpy(out, person.text.data(), std::min<std::size_t>(person.text.size(), capacity));
      return person.textStatus == 0xFFFF ? throw Throwing{} : person.textStatus;
    });
    // Marks what has been translated.
    notes.OSTranslate.answer([](WORD mode, const char* in, WORD length, char* out, WORD capacity) {
      EXPECT_EQ(mode, OS_TRANSLATE_LMBCS_TO_UTF8);
      EXPECT_EQ(capacity, 513);
      const std::string text = "u:" + std::string(in, length);
      return std::strchr(in, '!') != nullptr
                 ? WORD{0}
                 : copyText(mode, text.data(), static_cast<WORD>(text.size()), out, capacity);
    });
  }

  // Both overloads, with what each collects; the long one answers short records.
  std::string collect(void* into, unsigned long skip = 0) {
    return told(utilities.DiscoverMailboxes(server, into, lookup, skip));
  }
  std::string report(bool shortForm, unsigned long skip = 0) {
    reported.clear();
    return told(utilities.DiscoverMailboxes(server, &reported, lookup, shortForm, skip));
  }
  Texts lines() { return linesOf(function, "NotesUtilities"); }

  KoLNUtilities utilities;
  MailboxLookupStruct lookup = {};
  std::vector<Person> persons;
  std::optional<DWORD> announced;
  std::vector<char> value;
  std::string asked;
  Files reported;
};

TEST_F(MailboxDiscoveryTest, TheLookupIsDescribedByThreeFlags) {
  for (int bits = 0; bits < 8; ++bits) {
    const bool canonical = bits & 1, department = bits & 2, filter = bits & 4;
    lookup.selectedDepartments = {"kept"};
    EXPECT_EQ(&utilities.InitializeMBLookup(lookup, canonical, department, filter), &lookup);
    EXPECT_EQ(lookup.wantCanonical, canonical);
    EXPECT_EQ(lookup.wantDepartment, !canonical && (department || filter));
    EXPECT_EQ(lookup.filterDepartments, filter);
    EXPECT_EQ(lookup.nameSpaceCount * 10 + lookup.nameCount, 11u);
    EXPECT_STREQ(lookup.nameSpace, "$PEOPLE");
    EXPECT_STREQ(lookup.items, "MailFile");
    ASSERT_EQ(lookup.itemCount, bits == 0 ? 1u : 2u);
    if (bits != 0) {
      EXPECT_STREQ(lookup.items + 9, canonical ? "FullName" : "Department");
    }
    EXPECT_EQ(lookup.selectedDepartments, Files{"kept"});
  }
}

TEST_F(MailboxDiscoveryTest, EachOverloadAsksForeverWhatItsFirstCallAsked) {
  inChild([&] {
    Files files;
    Names names;
    EXPECT_EQ(collect(nullptr), "65535: invalid parameters passed to DiscoverMailboxes()");
    EXPECT_EQ(told(utilities.DiscoverMailboxes(server, nullptr, lookup, false, 0)),
              "65535: invalid parameters passed to DiscoverMailboxes()");
    EXPECT_EQ(lines(), Texts(2, "0 Error: invalid parameters passed in."));
    {
      const std::string space = "$PEOPLE", items("MailFile\0FullName", 18);
      utilities.InitializeMBLookup(lookup, true, false, false);
      lookup.nameSpace = space.c_str();
      lookup.items = items.c_str();
      EXPECT_EQ(collect(&names, 2), "clean");
    }
    expectCall(notes.NAMELookup2, server, 0x0103u, 1, "$PEOPLE", 1, "", 2, "MailFile");
    const std::string discovering = "0 Discovering databases for server = " + server + "\n";
    const std::string skipping =
        "0 disableDADB resgistry key is present. will skip looking in all the address book";
    EXPECT_EQ(lines(), (Texts{discovering, skipping + "s", found(0)}));

    utilities.InitializeMBLookup(lookup, false, true, false);
    EXPECT_EQ(report(true, 1), "clean");
    EXPECT_EQ(asked, "MailFile;Department;");
    EXPECT_EQ(lines(), (Texts{discovering, skipping, found(0)}));
    persons = {{"a.nsf", "Sales"}};
    lookup.selectedDepartments = {"Sales"};
    EXPECT_EQ(collect(&files), "clean");
    EXPECT_EQ(asked, "MailFile;FullName;");
    EXPECT_EQ(notes.NAMELookup2.argument<1>(), 0x0121u);
    EXPECT_EQ(notes.NAMELookup2.argument<3>(), "$PEOPLE");
    EXPECT_EQ(files, Files{"a.nsf"});  // Flags and sets are the later call's.
  });
}

TEST_F(MailboxDiscoveryTest, SelectionComesBeforeFilterAndUnreadDepartmentsAreEmpty) {
  inChild([&] {
    persons = {{"s.nsf", "Sales"}, {"l.nsf", "Legal"}, {"x.nsf", "Sales", refused}};
    const std::string notRead =
        "0 Failed to get Canonical Name or Dept Name for the mail database x.nsf";
    const auto added = [](const std::string& how, const std::string& file, const std::string& by) {
      return "4 Added by Dept " + how + ". [MB = " + file + "] [Dept = " + by + "]";
    };
    const Files all = {"s.nsf", "l.nsf", "x.nsf"};
    // clang-format off
    const struct { Files selected; bool filter; Files filtered, files; Texts lines; } cases[] = {
        {{"Sales"}, true, {"Sales"}, {"s.nsf"}, {added("selection", "s.nsf", "Sales")}},
        {{"sales", "u:Sales"}, false, {}, {}, {}},
        {{""}, false, {}, {"x.nsf"}, {added("selection", "x.nsf", "")}},
        {{}, true, {"Sales"}, {"l.nsf", "x.nsf"},
          {added("filter", "l.nsf", "Legal"), added("filter", "x.nsf", "")}},
        {{}, true, {}, all, {}},
        {{}, false, {"Sales"}, all, {}},
    };
    // clang-format on
    for (const auto& test : cases) {
      utilities.InitializeMBLookup(lookup, false, true, test.filter);
      lookup.selectedDepartments = test.selected;
      lookup.filteredDepartments = test.filtered;
      Files files;
      EXPECT_EQ(collect(&files), "clean");
      EXPECT_EQ(files, test.files);
      Texts addings;
      for (const std::string& line : lines()) {
        if (line[0] == '4') {
          addings.push_back(line);
        }
      }
      EXPECT_EQ(addings, test.lines);
    }
    Files files;
    EXPECT_EQ(collect(&files), "clean");
    const Texts last = lines();
    EXPECT_EQ(Texts(last.begin() + 2, last.end()),
              (Texts{"2 DeptName [u:Sales] MBName [u:s.nsf]",
                     "2 DeptName [u:Legal] MBName [u:l.nsf]", notRead}));
    EXPECT_EQ(notes.NSFDbOpen.count(), 0u);
  });
}

TEST_F(MailboxDiscoveryTest, TheFirstOfEqualNamesStaysAlsoOfUnreadableOnes) {
  inChild([&] {
    const std::string longName(1023, 'n');
    persons = {{"a.nsf", "CN=A"},         {"b.nsf", "CN=A"},        {"c.nsf", "CN=C", refused},
               {"d.nsf", "", 0xFFFF},     {"e!.nsf", "CN=%n!"},     {"f.nsf", longName},
               {"g.nsf", longName + "!"}, {"h.nsf", "!" + longName}};
    utilities.InitializeMBLookup(lookup, true, true, true);
    Names names;
    EXPECT_EQ(collect(&names), "clean");
    EXPECT_EQ(names, (Names{{"u:CN=A", "u:a.nsf"},
                            {"", "u:c.nsf"},
                            {"CN=%n!", "e!.nsf"},
                            {"u:" + longName.substr(0, 511), "u:f.nsf"},
                            {"!" + longName.substr(0, 512), "u:h.nsf"}}));
    const Texts all = lines();
    const auto has = [&](const std::string& line) {
      return std::count(all.begin(), all.end(), line);
    };
    EXPECT_EQ(has("-1 NotesTranslate failed on mailbox file name : [e!.nsf]"), 1);
    EXPECT_EQ(has("-1 NotesTranslate failed on mailbox canonical name : [CN=%n!]"), 1);
    EXPECT_EQ(has("2 DeptName [CN=%n!] MBName [e!.nsf]"), 1);
    EXPECT_EQ(has("0 Failed to get Canonical Name or Dept Name for the mail database d.nsf"), 1);
  });
}

TEST_F(MailboxDiscoveryTest, OnlyASingleTextIsAMailFile) {
  inChild([&] {
    const std::string full(511, 'f');
    persons = {{"number", "", NOERROR, TYPE_NUMBER},
               {"list", "", NOERROR, TYPE_TEXT_LIST},
               {"none", "", NOERROR, TYPE_TEXT, {}, true},
               {"size 0", "", NOERROR, TYPE_TEXT, 0},
               {"size 1", "", NOERROR, TYPE_NUMBER, 1},
               {full},
               {"g" + full},
               {"last.nsf"}};
    utilities.InitializeMBLookup(lookup, false, false, false);
    Files files;
    EXPECT_EQ(collect(&files), "clean");
    EXPECT_EQ(files, (Files{full, "g" + full.substr(1), "last.nsf"}));
    const Texts all = lines();
    EXPECT_EQ(Texts(all.begin() + 2, all.end()),
              (Texts{wrongType, wrongType, nullFile, nullFile, nullFile}));
    persons = {{""}};  // A value of 2 bytes: there, and empty.
    EXPECT_EQ(collect(&files), "clean");
    EXPECT_EQ(files.count(""), 1u);
    EXPECT_EQ(notes.NAMEGetTextItem2.count(), 0u);
  });
}

TEST_F(MailboxDiscoveryTest, WhateverTheLookupAnswersItsMemoryIsReleased) {
  const std::string notLocked = "Unable to lock the result of NAMELookup2 (OSLockObject).";
  const Texts all = {"lock 5", "unlock 5", "free 5"};
  const std::string refusedLine =
      "0 NameLokup failed for Instance " + server + ", error (49411) text of 259";
  // clang-format off
  const struct {
    std::string title; std::function<void()> arrange; std::string answer, line;
    Files files; Texts steps;
  } cases[] = {
      {"refused", [&] { notes.NAMELookup2.answer(gives(DHANDLE{0xBAD}, refused)); }, refusedText, refusedLine, {}, {}},
      {"no buffer", [&] { notes.NAMELookup2.answer(gives(DHANDLE{0})); }, "clean", found(0), {}, {}},
      {"no lock", [&] { notes.OSLockObject.answer(nullptr); }, "65535: " + notLocked,
        "0 " + notLocked, {}, {"free 5"}},
      {"no record", [&] { notes.NAMELocateNextName2.answer([](void*, void*, DWORD* matches) {
          *matches = 3;
          return static_cast<void*>(nullptr);
        }); }, "clean", found(0), {}, all},
      {"too few", [&] { announced = 9; }, "clean", found(9), {"a.nsf", "b.nsf"}, all},
      {"fewer asked", [&] { announced = 1; }, "clean", found(1), {"a.nsf"}, all},
      {"name throws", [&] { notes.NAMELocateNextName2.answer(Throwing{}); },
        "65535: " + threw("NAMELocateNextName2"), "0 " + threw("NAMELocateNextName2"), {}, all},
      {"match throws", [&] { notes.NAMELocateNextMatch2.answer(Throwing{}); },
        "65535: " + threw("NAMELocateNextMatch2"), "0 " + threw("NAMELocateNextMatch2"), {}, all},
      {"item throws", [&] { notes.NAMELocateItem2.answer(Throwing{}); },
        "65535: " + threw("NAMELocateItem2"), "0 " + threw("NAMELocateItem2"), {}, all},
      {"lookup throws", [&] { notes.NAMELookup2.answer(Throwing{}); },
        "65535: " + threw("NAMELookup2"), "0 NameLokup failed for Instance " + server +
        ", error (65535) " + threw("NAMELookup2"), {}, {}},
  };
  // clang-format on
  inChild([&] {
    persons = {{"a.nsf"}, {"b.nsf"}};
    utilities.InitializeMBLookup(lookup, false, false, false);
    for (const auto& test : cases) {
      SCOPED_TRACE(test.title);
      succeed();
      announced.reset();
      test.arrange();
      steps.clear();
      Files files;
      EXPECT_EQ(collect(&files), test.answer);
      EXPECT_EQ(files, test.files);
      EXPECT_EQ(lines().back(), test.line);
      EXPECT_EQ(steps, test.steps);
    }
  });
}

TEST_F(MailboxDiscoveryTest, EveryMailFileIsReportedUntilTheSessionIsLost) {
  inChild([&] {
    utilities.InitializeMBLookup(lookup, true, false, false);
    notes.NSFDbOpen.answer(
        [](const char* path, DBHANDLE*) { return std::strstr(path, "bad") ? refused : NOERROR; });
    describeDatabases();
    SetSendMsgCallback([](char* message) {
      const std::string text = message;
      sent.push_back(text.substr(0, text.find('\x12')) + text.substr(text.rfind('\x12') + 1));
      return text.find("unsent") != std::string::npos;
    });
    SetCheckConnectionCallback([] { return ++checks == 3; });
    const std::string id = "($All)\x15" + std::string("00000000:00000000\x15");
    const std::string checking = "4 Checking session status....";
    const std::string skipped = "0 Database [bad.nsf] will be skipped. reason 49411 - text of 259";
    const std::string notNamed = "0 Failed to get Canonical Name for the mail database ";
    const std::string lost =
        "0 Warning: detected a session disconnection (e.g. user may have hit "
        "cancel during discovery.) Aborting discovery.";
    const std::string ended = "0 Terminating Discover due to session Disconnection Error";
    // clang-format off
    const struct {
      std::vector<Person> persons; bool shortForm; std::string answer; Texts sent, lines;
      int checks;
    } cases[] = {
        {{{"bad.nsf", "CN=B"}, {"a.nsf", "CN=A"}}, false, "clean", {"u:a.nsf" + id + "CN=A"},
          {checking, skipped, checking}, 2},
        {{{"a.nsf", "CN=A", refused}, {"bad.nsf"}}, true, refusedText, {"u:a.nsfu:T"},
          {notNamed + "a.nsf", checking, checking, skipped}, 0},
        {{{"a.nsf", "A"}, {"b.nsf", "B", refused}, {"c.nsf"}}, false, "clean",
          {"u:a.nsf" + id + "A", "u:b.nsf" + id},
          {checking, notNamed + "b.nsf", checking, checking, lost}, 3},
        {{{"unsent.nsf"}, {"b.nsf"}}, true, "65535: Failed to send DB information to OV",
          {"u:unsent.nsfu:T"}, {checking, ended}, 0},
    };
    // clang-format on
    for (const auto& test : cases) {
      persons = test.persons;
      sent.clear();
      checks = 0;
      steps.clear();
      EXPECT_EQ(report(test.shortForm), test.answer);
      EXPECT_EQ(sent, test.sent);
      const Texts all = lines();
      EXPECT_EQ(Texts(all.begin() + 2, all.end()), test.lines);
      EXPECT_EQ(checks, test.checks);
      EXPECT_EQ(steps, (Texts{"lock 5", "unlock 5", "free 5"}));
    }
    SetSendMsgCallback(nullptr);
    SetCheckConnectionCallback(nullptr);
  });
}

}  // namespace
