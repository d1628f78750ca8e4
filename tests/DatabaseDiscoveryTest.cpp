// Discovery against a scripted Notes API: the walk over a data directory, the record of a database
// byte for byte, which databases are reported once, and the search for a restore view.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <set>
#include <string>

#include "NotesUtilities.h"
#include "findDataPartition.h"
#include "support/ScriptedNotes.h"

namespace {

// A step that goes wrong, and what must come of it.
struct FailingStep {
  const char* title;
  std::function<void(FakeNotes&)> arrange;
  std::string answer;
  Texts lines;
};

class DiscoveryTest : public testing::Test, protected ScriptedNotes {
 protected:
  // Log lines up to a level, taken out; all must be of one function.
  Texts linesUpTo(int level, const char* function) {
    Texts texts;
    for (const LogCapture::Line& line : log.take()) {
      EXPECT_EQ(line.file, "NotesUtilities");
      if (line.level <= level) {
        EXPECT_EQ(line.function, function);
        texts.push_back(std::to_string(line.level) + " " + line.text);
      }
    }
    return texts;
  }

  KoLNUtilities utilities;
};

// ---- one database -----------------------------------------------------------------------------

// What the host's message callback was given; it fails as often as `failures` says.
Texts sent;
int failures = 0;

bool send(char* message) {
  sent.emplace_back(message);
  return failures-- > 0;
}

class ProcessDatabaseTest : public DiscoveryTest {
 protected:
  static constexpr const char* function = "ProcessDatabase";

  ProcessDatabaseTest() {
    sent.clear();
    failures = 0;
    SetSendMsgCallback(&send);
    succeed();
  }
  ~ProcessDatabaseTest() override { SetSendMsgCallback(nullptr); }

  void succeed() {
    allow();
    notes.NSFDbInfoGet.answer([](DBHANDLE database, char* out) {
      EXPECT_EQ(database, 11u);
      std::memset(out, 'i', NSF_INFO_SIZE);  // The whole buffer, without a terminator.
      return NOERROR;
    });
    notes.NSFDbInfoParse.answer([this](char* info, WORD what, char* out, WORD capacity) {
      EXPECT_EQ(std::string(info), std::string(128, 'i'));
      EXPECT_EQ(what, INFOPARSE_TITLE);
      EXPECT_EQ(capacity, 127);
      std::memcpy(out, title.data(), std::min<std::size_t>(title.size(), capacity));
    });
    DBREPLICAINFO replica = {};
    replica.ID = {{0x0012F3C4, 0x05257A1B}};
    notes.NSFDbReplicaInfoGet.answer(gives(replica));
  }

  std::string process(std::string path, const std::string& extra = "", bool shortForm = false) {
    const KoLNError error = utilities.ProcessDatabase(path.c_str(), extra, &reported, shortForm);
    changedPath = path;
    return told(error);
  }

  std::string title = "Mail of User One";
  std::string changedPath;
  std::set<std::string> reported;
};

TEST_F(ProcessDatabaseTest, TheRecordIsBuiltByteForByte) {
  const std::string replica =
      "\x12($All)\x15"
      "05257A1B:0012F3C4\x15";
  const struct {
    std::string path, title, extra;
    bool shortForm;
    std::string record;
  } cases[] = {
      {"mail/user1.nsf", "Mail of User One", "CN=User One/O=Org", false,
       "mail/user1.nsf\x12Mail of User One" + replica + "CN=User One/O=Org"},
      {"mail/user2.nsf", "%s%n", "", false, "mail/user2.nsf\x12%s%n" + replica},
      {"mail/user3.nsf", "T", "not sent", true, "mail/user3.nsf\x12T"},
      {std::string(600, 'p'), std::string(300, 't'), "", true,
       std::string(513, 'p') + "\x12" + std::string(127, 't')},
      {"cut", "T", std::string(4000, 'e'), false,
       "cut\x12T" + replica + std::string(3071 - 5 - replica.size(), 'e')},
  };
  for (const auto& test : cases) {
    title = test.title;
    EXPECT_EQ(process(test.path, test.extra, test.shortForm), "clean");
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(sent.back(), test.record);
  }
  EXPECT_EQ(notes.OSTranslate.argument<0>(), OS_TRANSLATE_LMBCS_TO_UTF8);
  EXPECT_EQ(notes.OSTranslate.argument<4>(0), 513);
  EXPECT_EQ(notes.OSTranslate.argument<4>(1), 513);
  EXPECT_EQ(notes.NSFDbClose.count(), 0u);  // Left open on purpose.
}

TEST_F(ProcessDatabaseTest, TextsThatGrowAreCutAtTheirBuffers) {
  notes.OSTranslate.answer([](WORD, const char* in, WORD, char* out, WORD capacity) {
    std::memset(out, in[0], capacity);
    return capacity;
  });
  EXPECT_EQ(process("p.nsf", "", true), "clean");
  EXPECT_EQ(sent, Texts{std::string(513, 'p') + "\x12" + std::string(513, 'M')});
  EXPECT_EQ(reported, std::set<std::string>{std::string(511, 'p')});
}

TEST_F(ProcessDatabaseTest, EveryStepIsLogged) {
  title = "T";
  EXPECT_EQ(process("mail\\sub\\a.nsf", "", true), "clean");
  EXPECT_EQ(changedPath, "mail/sub/a.nsf");
  EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "mail/sub/a.nsf");
  EXPECT_EQ(
      linesUpTo(9, function),
      (Texts{"3 Retrieving mailfile database information buffer for [mail/sub/a.nsf] from "
             "Domino....",
             "3 Retrieving mailfile database title for [mail/sub/a.nsf]....",
             "3 Replica ID of database T is 5257A1B:0012F3C4", "3 Sending = mail/sub/a.nsf\x12T",
             "3 Returned database: [mail/sub/a.nsf\x12T] to Orvane."}));
}

TEST_F(ProcessDatabaseTest, ForeignPathsAreSkippedAndBadArgumentsRefused) {
  for (const char* path : {"C:/notes/x.nsf", "srv:mail\\x.nsf", ":", "a:\\\\b"}) {
    EXPECT_EQ(process(path), "clean");
    EXPECT_EQ(changedPath.find('\\'), std::string::npos);
    EXPECT_EQ(linesUpTo(9, function),
              Texts{"0 Filtering non-linked, external mailbox: [" + changedPath + "]."});
  }
  EXPECT_EQ(notes.NSFDbOpen.count(), 0u);
  EXPECT_EQ(process("\\\\srv\\a.nsf"), "clean");  // Doubled separators alone are not foreign.
  EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "//srv/a.nsf");
  log.take();

  const std::string refusal = "65535: invalid parameters passed to ProcessDatabase()";
  EXPECT_EQ(told(utilities.ProcessDatabase(nullptr, "", &reported, false)), refusal);
  EXPECT_EQ(told(utilities.ProcessDatabase("a.nsf", "", nullptr, false)), refusal);
  EXPECT_EQ(linesUpTo(9, function), Texts(2, "0 Error: invalid parameters passed in."));
}

TEST_F(ProcessDatabaseTest, AFailingStepEndsItWithRecordAndLine) {
  const auto untranslated = [](WORD failing) {
    return [failing](WORD mode, const char* in, WORD length, char* out, WORD capacity) {
      return length == failing ? WORD{0} : copyText(mode, in, length, out, capacity);
    };
  };
  const std::string mailFile =
      "0 Error: unable to get mail file handle for: [m/a.nsf]. NSFDbOpen(...) returned: ";
  const std::string replicaLine = "0 Failed to fetch ReplicaID for database m/a.nsf. error ";
  const std::string noTitle = "65535: OSTranslate failed on DBTitle";
  const std::string titleLine = "0 DBTitle OSTranslate failed on: [Mail of User One]";
  // clang-format off
  const FailingStep steps[] = {
      {"open refused", [](FakeNotes& fake) { fake.NSFDbOpen.answer(gives(DBHANDLE{0xBAD}, refused)); }, refusedText,
       {mailFile + "[49411]. Resulting error string: [text of 259]."}},
      {"information refused", [](FakeNotes& fake) { fake.NSFDbInfoGet.answer(refused); },
       refusedText,
       {"0 Error: unable to get database information for: [m/a.nsf]. NSFDbInfoGet(...) returned: "
        "[49411]. Resulting error string: [text of 259]."}},
      {"parsing throws", [](FakeNotes& fake) { fake.NSFDbInfoParse.answer(Throwing{}); },
       "65535: " + threw("NSFDbInfoParse"), {"0 " + threw("NSFDbInfoParse")}},
      {"no title", [](FakeNotes& fake) { fake.NSFDbInfoParse.answer(); }, noTitle,
       {"0 DBTitle OSTranslate failed on: []"}},
      {"title untranslated", [=](FakeNotes& fake) { fake.OSTranslate.answer(untranslated(16)); },
       noTitle, {titleLine}},
      {"translation throws", [](FakeNotes& fake) { fake.OSTranslate.answer(Throwing{}); },
       noTitle, {titleLine}},
      {"path untranslated", [=](FakeNotes& fake) { fake.OSTranslate.answer(untranslated(7)); },
       "65535: OSTranslate failed on DBName", {"0 DBName OSTranslate failed on: [m/a.nsf]"}},
      {"replica refused", [](FakeNotes& fake) { fake.NSFDbReplicaInfoGet.answer(refused); },
       refusedText, {replicaLine + "49411 - text of 259"}},
  };
  // clang-format on
  for (const FailingStep& step : steps) {
    SCOPED_TRACE(step.title);
    succeed();
    step.arrange(notes);
    EXPECT_EQ(process("m/a.nsf"), step.answer);
    EXPECT_EQ(linesUpTo(2, function), step.lines);
  }
  EXPECT_EQ(sent, Texts{});
  EXPECT_EQ(reported, std::set<std::string>{});
}

TEST_F(ProcessDatabaseTest, ADatabaseIsKnownByItsPathUpToTheFirstNsf) {
  // clang-format off
  const struct { const char* path; const char* key; bool sends; } cases[] = {
      {"mail/a.nsf", "mail/a", true},   {"mail/a.nsf", "mail/a", false},
      {"mail\\a.nsf", "mail/a", false}, {"mail/a.nsf.bak", "mail/a", false},
      {"mail/a", "mail/a", false},      {"mail/a.NSF", "mail/a.NSF", true},
      {"x.nsf/y.nsf", "x", true},       {".nsf", "", true},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.path);
    sent.clear();
    EXPECT_EQ(process(test.path), "clean");
    EXPECT_EQ(sent.size(), test.sends ? 1u : 0u);
    EXPECT_TRUE(reported.count(test.key));
  }
  EXPECT_EQ(reported.size(), 4u);
}

TEST_F(ProcessDatabaseTest, AnUndeliveredRecordIsAnErrorAndItsKeyStays) {
  const std::string undelivered = "65535: Failed to send DB information to OV";
  failures = 1;
  EXPECT_EQ(process("a.nsf"), undelivered);
  EXPECT_EQ(process("a.nsf"), "clean");
  EXPECT_EQ(sent.size(), 1u);
  SetSendMsgCallback(nullptr);
  EXPECT_EQ(process("b.nsf"), undelivered);
  SetSendMsgCallback([](char*) -> bool { throw Throwing{}; });
  EXPECT_EQ(process("c.nsf"), undelivered);
  EXPECT_EQ(linesUpTo(2, function),
            Texts(3, "0 Error: failure in sending database information to Orvane."));
  EXPECT_EQ(reported, (std::set<std::string>{"a", "b", "c"}));
}

// ---- the walk ---------------------------------------------------------------------------------

STATUS ignoreMatch(void*, SEARCH_MATCH*, ITEM_TABLE*) {
  return NOERROR;
}

class DiscoverDatabasesTest : public DiscoveryTest {
 protected:
  DiscoverDatabasesTest() { succeed(); }

  void succeed() {
    instance.SetDataDirectory("/local/data");
    allow();
    notes.TimeConstant.answer([](WORD, TIMEDATE* out) { *out = {{1, 2}}; });
    notes.NSFSearch.answer([this](auto, auto, auto, auto, auto, TIMEDATE* since, auto...) {
      EXPECT_EQ(since->Innards[1], 2u);
      EXPECT_EQ(notes.NSFDbClose.count(), closedBefore);
      return NOERROR;
    });
  }

  std::string discover() {
    closedBefore = notes.NSFDbClose.count();
    KoLNInstance* pointer = &instance;
    return told(utilities.DiscoverDatabases(&pointer, context, &ignoreMatch));
  }

  int host = 0;
  DocSummary_type* context = reinterpret_cast<DocSummary_type*>(&host);
  std::size_t closedBefore = 0;
};

TEST_F(DiscoverDatabasesTest, SearchesTheDataDirectoryForDatabaseFiles) {
  EXPECT_EQ(discover(), "clean");
  EXPECT_EQ(notes.OSTranslate.argument<0>(), OS_TRANSLATE_UTF8_TO_LMBCS);
  EXPECT_EQ(notes.OSTranslate.argument<4>(), 1024);
  EXPECT_EQ(notes.OSPathNetConstruct.argument<1>(), "(null)");
  EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "/local/data");
  EXPECT_EQ(notes.TimeConstant.argument<0>(), 2);
  expectCall(notes.NSFSearch, 11u, NULLHANDLE, nullptr, 0x0006, 0x600A);
  EXPECT_EQ(notes.NSFSearch.argument<6>(), &ignoreMatch);
  EXPECT_EQ(notes.NSFSearch.argument<7>(), context);
  expectCall(notes.NSFDbClose, 11u);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(DiscoverDatabasesTest, TheFirstFailureIsReturnedAndTheDirectoryClosed) {
  // The status shown is that of the search, which was not made.
  const std::string directoryLine =
      "DiscoverDatabases() - Error: Unable to open database: [/local/data] error (0) text of 259";
  // clang-format off
  const struct : FailingStep { std::size_t searches, closes; } steps[] = {
      {{"network path", [](FakeNotes& fake) { fake.OSPathNetConstruct.answer(refused); },
        refusedText, {"database /local/data, error (49411) text of 259"}}, 0, 0},
      {{"open", [](FakeNotes& fake) { fake.NSFDbOpen.answer(gives(DBHANDLE{0xBAD}, refused)); },
        refusedText, {directoryLine}}, 0, 0},
      {{"time", [](FakeNotes& fake) { fake.TimeConstant.answer(Throwing{}); },
        "65535: " + threw("TimeConstant"), {}}, 0, 1},
      {{"search", [](FakeNotes& fake) { fake.NSFSearch.answer(refused); }, refusedText, {}}, 1, 1},
      {{"close", [](FakeNotes& fake) { fake.NSFDbClose.answer(ERR_MEMORY); },
        "263: text of 263", {}}, 1, 1},
      {{"search and close", [](FakeNotes& fake) { fake.NSFSearch.answer(refused);
                                                  fake.NSFDbClose.answer(ERR_MEMORY); },
        refusedText, {}}, 1, 1},
      {{"untranslated", [](FakeNotes& fake) { fake.OSTranslate.answer(Throwing{}); },
        "clean", {"OSTranslate failed on dir: /local/data"}}, 1, 1},
      {{"an empty path opens nothing",
        [](FakeNotes& fake) { fake.OSPathNetConstruct.answer(NOERROR); }, "clean", {}}, 0, 0},
      {{"no data directory", [this](FakeNotes&) { instance.SetDataDirectory(""); },
        "clean", {"DiscoverDatabases() - Error: empty or NULL Notes Data path.\n"}}, 0, 0},
  };
  // clang-format on
  for (const auto& step : steps) {
    SCOPED_TRACE(step.title);
    succeed();
    step.arrange(notes);
    const std::size_t searches = notes.NSFSearch.count();
    EXPECT_EQ(discover(), step.answer);
    EXPECT_EQ(log.takeTexts(), step.lines);
    EXPECT_EQ(notes.NSFSearch.count() - searches, step.searches);
    EXPECT_EQ(notes.NSFDbClose.count() - closedBefore, step.closes);
  }

  KoLNInstance* pointer = &instance;
  KoLNInstance* none = nullptr;
  for (const KoLNError& error : {utilities.DiscoverDatabases(nullptr, context, &ignoreMatch),
                                 utilities.DiscoverDatabases(&none, context, &ignoreMatch),
                                 utilities.DiscoverDatabases(&pointer, context, nullptr)}) {
    EXPECT_EQ(told(error), "65535: invalid parameters passed to DiscoverDatabases()");
  }
}

// ---- the restore view -------------------------------------------------------------------------

class FindAViewTest : public DiscoveryTest {
 protected:
  static_assert(sizeof(RestoreViewSearch) == 520 && offsetof(RestoreViewSearch, database) == 4 &&
                offsetof(RestoreViewSearch, foundTitle) == 8 &&
                offsetof(RestoreViewSearch, wantedText) == 263);
  static constexpr const char* function = "FindAView";

  FindAViewTest() {
    match.ID.NoteID = 0x11A6;
    match.SERetFlags = SE_FMATCH;
    succeed();
  }

  void succeed() {
    allow();
    notes.NSFNoteOpenExt.answer(gives(NOTEHANDLE{21}));
    notes.NSFItemGetText.answer([this](NOTEHANDLE note, const char*, char* out, WORD capacity) {
      EXPECT_EQ(note, 21u);
      EXPECT_EQ(notes.NSFNoteClose.count(), closedBefore);
      const auto copied = static_cast<WORD>(std::min<std::size_t>(title.size(), capacity));
      std::memcpy(out, title.data(), copied);
      return copied;
    });
    notes.NSFNoteClose.answer(NOERROR);
  }

  // Looks through one view; what it answers, and how often a note was closed.
  std::pair<STATUS, std::size_t> find(const std::string& viewTitle) {
    title = viewTitle;
    closedBefore = notes.NSFNoteClose.count();
    char unaligned[sizeof match + 1];
    std::memcpy(unaligned + 1, &match, sizeof match);
    const STATUS status =
        KoLNUtilities::FindAView(&search, reinterpret_cast<SEARCH_MATCH*>(unaligned + 1), nullptr);
    return {status, notes.NSFNoteClose.count() - closedBefore};
  }

  static constexpr std::pair<STATUS, std::size_t> opened{NOERROR, 1}, untouched{NOERROR, 0};

  RestoreViewSearch search = {0, 7, "", "RESTORE"};
  SEARCH_MATCH match = {};
  std::string title;
  std::size_t closedBefore = 0;
};

TEST_F(FindAViewTest, TheFirstTitleThatHoldsTheTextWins) {
  match.SERetFlags = 0xFE;
  EXPECT_EQ(find("Restore"), untouched);
  match.SERetFlags = SE_FMATCH | 0x40;
  EXPECT_EQ(find("By Author"), opened);
  EXPECT_EQ(search.state, 0u);
  log.take();

  EXPECT_EQ(find("Last Restore\\By Date"), opened);
  EXPECT_EQ(search.state, 0xFFFFFFFF);
  expectCall(notes.NSFNoteOpenExt, 7u, 0x11A6u, OPEN_SUMMARY);
  EXPECT_EQ(notes.NSFItemGetText.argument<1>(), "$TITLE");
  EXPECT_EQ(notes.NSFItemGetText.argument<3>(), 1024);
  EXPECT_EQ(notes.OSTranslate.argument<0>(), OS_TRANSLATE_LMBCS_TO_UTF8);
  EXPECT_EQ(notes.OSTranslate.argument<4>(), 1024);
  EXPECT_EQ(linesUpTo(9, function), (Texts{"2 Finding restore view, opening Note ID 0x11a6 ...",
                                           "2 Note opened.", "2 Note closed."}));
  EXPECT_EQ(find("Another Restore"), untouched);
  EXPECT_STREQ(search.foundTitle, "Last Restore\\By Date");
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(FindAViewTest, TitlesAndWantedTextsOfEveryLengthStayInTheirFields) {
  const std::string fullTitle = "restore" + std::string(1017, 't');  // No room for a terminator.
  const std::string fullWanted(255, 'W');
  const struct {
    std::string title, wanted, found;
  } cases[] = {
      {fullTitle, "RESTORE", fullTitle.substr(0, 254)},
      {fullTitle + "tail", "TAIL", ""},
      {std::string(300, 'w'), fullWanted, std::string(254, 'w')},
      {std::string(254, 'w'), fullWanted, ""},
      {"restore", "restore", ""},  // The wanted text must be upper case already.
      {"Any", "", "Any"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.title);
    search = {};
    std::memcpy(search.wantedText, test.wanted.data(), test.wanted.size());
    EXPECT_EQ(find(test.title), opened);
    EXPECT_EQ(std::string(search.foundTitle), test.found);
    EXPECT_EQ(search.state, test.found.empty() ? 0 : 0xFFFFFFFF);
  }
  search = {0, 7, "", "%N"};
  notes.OSTranslate.answer([](WORD, const char*, WORD, char* out, WORD capacity) {
    std::memset(out, '?', capacity);
    return WORD{0};
  });
  EXPECT_EQ(find("%n View"), opened);
  EXPECT_STREQ(search.foundTitle, "%n View");
  EXPECT_EQ(linesUpTo(9, function).back(), "2 OSTranslate failed to translate view name [%n View]");
}

TEST_F(FindAViewTest, TheNoteIsClosedOnEveryWayOut) {
  const auto warning = [](const std::string& title) {
    return "-1 Warning: an exception was found while processing view: [" + title + "].";
  };
  const auto halfATitle = [](NOTEHANDLE, const char*, char* out, WORD) -> WORD {
    std::strcpy(out, "half");
    throw Throwing{};
  };
  // clang-format off
  const struct { FailingStep step; std::pair<STATUS, std::size_t> answer; } cases[] = {
      {{"open refused", [&](FakeNotes& fake) { fake.NSFNoteOpenExt.answer(gives(NOTEHANDLE{0xBAD}, refused)); },
        "", {"-1 Could not open note 0x11a6 - 49411"}}, {refused, 0}},
      {{"open throws", [&](FakeNotes& fake) { fake.NSFNoteOpenExt.answer(gives(NOTEHANDLE{0xBAD}, 0xFFFF)); },
        "", {warning("")}}, untouched},
      {{"no title", [](FakeNotes& fake) { fake.NSFItemGetText.answer(0); }, "", {}}, opened},
      {{"reading throws", [&](FakeNotes& fake) { fake.NSFItemGetText.answer(halfATitle); },
        "", {warning("half")}}, opened},
      {{"closing throws", [](FakeNotes& fake) { fake.NSFNoteClose.answer(Throwing{}); },
        "", {warning("A Restore")}}, opened},
      {{"closing refused", [](FakeNotes& fake) { fake.NSFNoteClose.answer(refused); },
        "", {}}, opened},
      {{"translating throws", [](FakeNotes& fake) { fake.OSTranslate.answer(Throwing{}); },
        "", {warning("A Restore")}}, opened},
  };
  // clang-format on
  for (const auto& [step, answer] : cases) {
    SCOPED_TRACE(step.title);
    succeed();
    search.state = 0;
    step.arrange(notes);
    EXPECT_EQ(find("A Restore"), answer);
    EXPECT_EQ(linesUpTo(1, function), step.lines);
  }
}

}  // namespace
