// Sets of notes: which are unread, which have changed, which a search finds.
#include <functional>
#include <tuple>

#include "NotesDatabase.h"
#include "support/ScriptedNotes.h"

namespace {

const std::string because = "]. Resulting error string: [";

class NoteTablesTest : public testing::Test, protected ScriptedNotes {
 protected:
  NoteTablesTest() {
    db.title = "User One";
    db.Open();
    notes.DNCanonicalize.answer(
        [](DWORD, const char*, const char*, char* out, WORD capacity, WORD*) {
          std::memset(out, 'n', capacity);  // Unterminated.
          return NOERROR;
        });
    notes.NSFDbGetUnreadNoteTable.answer(
        [this](DBHANDLE, char* user, WORD length, BOOL create, DHANDLE* table) {
          EXPECT_EQ(std::string(user, length), std::string(256, 'n'));
          steps.push_back("make");
          *table = create ? 51 : 0;
          return NOERROR;
        });
    notes.IDDestroyTable.answer([this](DHANDLE table) -> STATUS {
      steps.push_back("destroy " + std::to_string(table));
      throw Throwing{};  // Swallowed.
    });
    notes.IDScan.answer([this](DHANDLE table, BOOL first, DWORD* id) {
      place = first ? 0 : place + 1;
      *id = table == 51 && place < ids.size() ? ids[place] : *id;
      return place < ids.size() ? TRUE : FALSE;
    });
  }

  KoLNDatabase db{"own.nsf", instance};
  std::vector<DWORD> ids = {6, 0x100, 0x80000042};
  std::size_t place = 0;
};

TEST_F(NoteTablesTest, TheTableOfUnreadNotesIsTheObjects) {
  {
    KoLNDatabase copy(db);
    EXPECT_EQ(told(copy.DiscoverUnReadDocuments()), "4996: text of 4996");
    copy.Open();
    EXPECT_EQ(told(copy.DiscoverUnReadDocuments()), "clean");
    expectCall(notes.DNCanonicalize, 0u, "(null)", "User One/");
    copy.DiscoverUnReadDocuments();
    copy.Close();
    copy.Open();
    copy.DiscoverUnReadDocuments();
  }
  EXPECT_EQ(steps, Texts({"make", "destroy 51", "make", "destroy 51", "make", "destroy 51"}));
  EXPECT_EQ(log.take(), Lines{});

  const auto expect = [&](Failure how, const std::string& text, const std::string& function) {
    const bool returns = how == Failure::Refused;  // Any status becomes 1.
    const std::string status = returns ? "1" : "65535";
    const std::string message = returns ? "text of 1" : messageOf(how, function);
    EXPECT_EQ(told(db.DiscoverUnReadDocuments()), status + ": " + message);
    EXPECT_EQ(linesOf("DiscoverUnReadDocuments", "NotesDatabase"),
              Texts{"0 Error: unable to " + text + " " + function + "(...) returned: [" + status +
                    because + message + "]."});
  };
  db.DiscoverUnReadDocuments();
  steps.clear();
  for (const Failure how : everyFailure) {
    fail(notes.NSFDbGetUnreadNoteTable, how);
    expect(how, "determine if any notes are unread.", "NSFDbGetUnreadNoteTable");
  }
  for (const Failure how : everyFailure) {
    fail(notes.DNCanonicalize, how);
    expect(how, "get a canonical name for user [User One/].", "DNCanonicalize");
  }
  db.title.clear();
  notes.NSFDbInfoGet.answer();
  notes.NSFDbInfoParse.answer();
  EXPECT_EQ(told(db.DiscoverUnReadDocuments()),
            "65535: The database has no title that names its owner.");
  notes.NSFDbInfoGet.answer(refused);
  EXPECT_EQ(told(db.DiscoverUnReadDocuments()), refusedText);
  EXPECT_EQ(linesOf("DiscoverUnReadDocuments", "NotesDatabase"),
            Texts(2, "0 Failed to fetch database title for db own.nsf"));
  EXPECT_EQ(steps, Texts{"destroy 51"});  // Also where there is no new one.
}

TEST_F(NoteTablesTest, ANoteIsUnreadIfAScanFindsIt) {
  bool unread = true;
  EXPECT_EQ(told(db.GetNoteUnreadStatus(6, unread)), "clean");
  EXPECT_EQ(linesOf("GetNoteUnreadStatus", "NotesDatabase"),
            Texts{"0 Invalid UnreadNoteTable handle passed in"});
  EXPECT_TRUE(unread);
  db.DiscoverUnReadDocuments();
  // clang-format off
  const struct { NOTEID id; std::vector<DWORD> ids; bool found; std::size_t scanned;
                 std::string answer = "clean"; } cases[] = {
      {6, ids, true, 1}, {0x100, ids, true, 2}, {0x42, ids, false, 4}, {0x80000042, ids, false, 4}, {6, {}, false, 1},
      {6, {4, 4, 6}, false, 2, "65535: The ID table does not end."}};
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    ids = test.ids;
    const std::size_t before = notes.IDScan.count();
    EXPECT_EQ(told(db.GetNoteUnreadStatus(test.id, unread = false)), test.answer);
    EXPECT_EQ(std::pair(unread, notes.IDScan.count() - before),
              std::pair(test.found, test.scanned));
    EXPECT_EQ(linesOf("GetNoteUnreadStatus", "NotesDatabase"),
              !test.found ? Texts{}
                          : Texts{"0 Found an unread note: [" + std::to_string(test.id) +
                                  "]. This note will not be archived"});
  }
  DHANDLE table = 51;
  DWORD id = 0;
  ids = {6};
  EXPECT_EQ(std::pair(db.NoteIDScan(table, 5, &id), id), std::pair(TRUE, 6u));
  notes.IDScan.answer(Throwing{});
  EXPECT_EQ(db.NoteIDScan(table, 0, &id), FALSE);
  EXPECT_EQ(told(db.GetNoteUnreadStatus(6, unread = true)), "65535: " + threw("IDScan"));
}

TEST_F(NoteTablesTest, SearchesPassEverythingOnAndRecordInTheirOwnWay) {
  KoLNDatabase closed("own.nsf", instance);
  TIMEDATE since = {{0xAB, 0x1C}}, until;
  DHANDLE table = 7;
  UNID unid = {{{0xAB, 0x1234567C}}, {{3, 4}}};
  NOTEID id = 7;
  NSFSEARCHPROC routine = [](auto...) -> STATUS { return 0; }, noRoutine = nullptr;
  NSFPROFILEENUMPROC visit = [](auto...) -> STATUS { return 0; };
  char view[] = "view";
  const auto modified = [&](auto& of) {
    return of.DiscoverModifiedDocuments(since, &until, 0x7FFF, &table);
  };
  const auto search = [&](auto& of) {
    return of.Search(9, view, 2, 3, &since, &routine, &id, &until);
  };
  const auto lookUp = [&](auto& of) {
    return of.GetNoteInfoByUNID(&unid, &id, nullptr, &until, nullptr);
  };
  const auto profiles = [&](auto& of) { return of.ProfileEnum("Profile", 5, visit, &id, 6); };
  for (const STATUS status :
       {STATUS{NOERROR}, ERR_NO_MODIFIED_NOTES, STATUS(0xC000 | ERR_NO_MODIFIED_NOTES)}) {
    notes.NSFDbGetModifiedNoteTable.answer(status);
    EXPECT_EQ(told(modified(db)), "clean");
  }
  EXPECT_EQ(std::tuple(notes.NSFDbGetModifiedNoteTable.argument<1>(), table),
            std::tuple(0x7FFF, 7u));
  notes.NSFSearch.answer();
  notes.NSFDbGetNoteInfoByUNID.answer();
  notes.NSFProfileEnum.answer();
  EXPECT_EQ(told(search(db)) + told(lookUp(db)) + told(profiles(db)), "cleancleanclean");
  expectCall(notes.NSFSearch, 11u, 9u, view, 2, 3, &since, routine, &id, &until);
  expectCall(notes.NSFDbGetNoteInfoByUNID, 11u, &unid, &id, nullptr, &until, nullptr);
  expectCall(notes.NSFProfileEnum, 11u, "Profile", 5, visit, &id, 6u);
  EXPECT_EQ(log.take(), Lines{});
  for (const Failure how : everyFailure) {
    fail(notes.NSFDbGetModifiedNoteTable, how);
    fail(notes.NSFSearch, how);
    fail(notes.NSFDbGetNoteInfoByUNID, how);
    fail(notes.NSFProfileEnum, how);
    const bool returns = how == Failure::Refused;
    const auto message = [&](const std::string& function, const std::string& otherwise) {
      return returns ? otherwise : messageOf(how, function);
    };
    const std::string code = returns ? "code 49411" : "65535: ";
    const std::string modifiedText = message("NSFDbGetModifiedNoteTable", "text of 259");
    EXPECT_EQ(told(modified(db)), statusOf(how) + ": " + modifiedText);
    EXPECT_EQ(told(search(db)), how == Failure::Throws ? "clean" : code + message("NSFSearch", ""));
    EXPECT_EQ(told(lookUp(db)),
              (returns ? "1: " : "65535: ") + message("NSFDbGetNoteInfoByUNID", "text of 1"));
    EXPECT_EQ(told(profiles(db)), code + message("NSFProfileEnum", ""));
    Texts lines = {
        "Cannot get Modified note ID list, since ab:1cNSFDbGetModifiedNoteTable(...) returned: [" +
            statusOf(how) + because + modifiedText + "].",
        "Could not get noteID from UNID DBID=      ab:1234567c ",
        "Error: NSFProfileEnum returned " + statusOf(how) + " - " + message("NSFProfileEnum", "")};
    if (how == Failure::Throws) {
      lines.insert(lines.begin() + 1,
                   "Error: caught an exception of unknown type thrown by Domino "
                   "API :[NSFSearch(...)].");
    }
    Texts texts;
    for (const LogCapture::Line& line : log.take()) {
      EXPECT_EQ(line.level, line.function == "ProfileEnum" ? -1 : 0);
      texts.push_back(line.text);
    }
    EXPECT_EQ(texts, lines);
  }
  for (const KoLNError& error : {search(closed), lookUp(closed), profiles(closed)}) {
    EXPECT_EQ(told(error), "65535: Invalid database handle");
  }
  EXPECT_EQ(told(db.Search(0, nullptr, 0, 1, nullptr, &noRoutine, nullptr, nullptr)),
            "65535: No routine to search with.");
  EXPECT_EQ(told(db.ProfileEnum(nullptr, 0, nullptr, nullptr, 0)),
            "65535: No routine to enumerate profiles with.");
  EXPECT_EQ(told(db.GetNoteInfoByUNID(nullptr, &id, nullptr, nullptr, nullptr)),
            "65535: No universal ID to look up.");
}

}  // namespace
