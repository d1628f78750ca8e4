// Searches, tables of notes and profiles in a mailbox that koln-simulate (KOLN_SIMULATE) makes.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <set>
#include <utility>

#include "Control.h"
#include "Export.h"
#include "Status.h"
#include "Store.h"
#include "support/TemporaryDirectory.h"

namespace {
using namespace simulator;
using Ids = std::set<NOTEID>;
constexpr TIMEDATE Wildcard = {{ALLDAY, ANYDAY}}, Minimum = {{0, 0}};
DBHANDLE deleteIn = NULLHANDLE;  // where the note behind the first one told of is then deleted

STATUS listen(void* context, SEARCH_MATCH* match, ITEM_TABLE* summary) {
  const bool stub = (match->ID.NoteID & RRV_DELETED) != 0;
  const auto has = [=](auto item) { return NSFLocateSummaryValue(summary, item, 0, 0, 0) != 0; };
  EXPECT_EQ(match->SERetFlags, stub ? SE_FNOMATCH : SE_FMATCH);
  EXPECT_TRUE(has("subject") == (summary && !stub) && !has("Body"));
  if (deleteIn) NSFNoteDelete(std::exchange(deleteIn, 0), match->ID.NoteID + NoteIdStep, 0);
  return static_cast<Ids*>(context)->insert(match->ID.NoteID).second ? NOERROR : ERR_CANCEL;
}

STATUS hear(DBHANDLE, void* heard, char* name, WORD size, char* user, WORD userSize, NOTEID) {
  static_cast<std::string*>(heard)->append(name, size).append("=").append(user, userSize) += ";";
  return userSize == 1 ? ERR_CANCEL : NOERROR;
}

Ids take(DHANDLE table) {
  Ids ids;
  for (DWORD id = 0; table && IDScan(table, ids.empty(), &id);) ids.insert(id);
  if (table) IDDestroyTable(table);
  return ids;
}

struct SimulatorSearch : testing::Test {
  SimulatorSearch() {
    const std::string create = KOLN_SIMULATE " create --mailboxes 1 --notes 60 " + root_ + "/p";
    EXPECT_EQ(std::system((create + " >/dev/null").c_str()), 0);
    std::string ini = "=" + root_ + "/p/data/notes.ini";
    char* arguments[] = {ini.data(), ini.data(), nullptr};
    EXPECT_EQ(NotesInitExtended(2, arguments), NOERROR);
    path_ = std::filesystem::directory_iterator(root_ + "/p/data/mail")->path();
    EXPECT_EQ(NSFDbOpen(path_.c_str(), &database_), NOERROR);
  }
  ~SimulatorSearch() override {
    EXPECT_EQ(NSFDbClose(database_), NOERROR);
    for (const char* kind : {"tables", "memory", "locks"}) EXPECT_EQ(SimOpenHandles(kind), 0);
    NotesTerm();
  }
  Ids search(WORD flags, TIMEDATE since, Ids ids = {}, STATUS status = 0, const char* text = "") {
    FORMULAHANDLE formula = NULLHANDLE;
    WORD n = std::strlen(text);
    if (n != 0) NSFFormulaCompile(nullptr, 0, text, n, &formula, &n, &n, &n, &n, &n, &n);
    EXPECT_EQ(NSFSearch(database_, formula, 0, flags, 1, &since, listen, &ids, nullptr), status);
    if (formula) OSMemFree(formula);
    return ids;
  }
  Ids modified(TIMEDATE since, TIMEDATE& until, STATUS status = NOERROR) {
    DHANDLE table = NULLHANDLE;
    EXPECT_EQ(NSFDbGetModifiedNoteTable(database_, 1, since, &until, &table), status);
    return take(table);
  }
  Ids unread(std::string user, BOOL create) {
    DHANDLE table = NULLHANDLE;
    EXPECT_EQ(NSFDbGetUnreadNoteTable(database_, user.data(), user.size(), create, &table), 0);
    return take(table);
  }

  const TemporaryDirectory directory_;
  const std::string root_ = directory_.path();
  std::string path_;
  DBHANDLE database_ = NULLHANDLE;
};

TEST_F(SimulatorSearch, TellsWhatIsThereAndWhatChangedSince) {
  TIMEDATE until = {}, last = {};
  Ids notes = modified(Wildcard, until);
  EXPECT_EQ(modified(until, last, ERR_NO_MODIFIED_NOTES), Ids());
  const NOTEID gone = *notes.begin() + NoteIdStep, stub = gone | RRV_DELETED;
  notes.erase(gone);
  deleteIn = database_;
  EXPECT_EQ(search(SEARCH_SUMMARY, Wildcard), notes);
  EXPECT_EQ(modified(Minimum, last), notes);
  EXPECT_EQ(modified(until, last), Ids{stub});
  EXPECT_EQ(search(SEARCH_SUMMARY, until), Ids{stub});
  search(0, Wildcard, notes, ERR_CANCEL);
  search(0, Wildcard, {}, NotSupportedYet, "Form = 1");
  EXPECT_EQ(search(SEARCH_ALL_VERSIONS, Wildcard, {}, NOERROR, "@All").size(), 60U);
}

TEST_F(SimulatorSearch, KnowsWhatTheOwnerHasNotReadAndHowToFindProfiles) {
  char info[NSF_INFO_SIZE], owner[MAXUSERNAME];
  EXPECT_EQ(NSFDbInfoGet(database_, info), NOERROR);  // a mailbox has nothing but its title there
  DNCanonicalize(0, nullptr, (info + std::string("/")).c_str(), owner, MAXUSERNAME, nullptr);
  Ids mine = unread(owner, FALSE);
  EXPECT_TRUE(mine.size() > 4 && mine.size() < 20) << mine.size();
  NSFNoteDelete(database_, mine.extract(mine.begin()).value(), 0);
  EXPECT_EQ(unread(owner, TRUE), mine);  // a note that is gone is not unread
  EXPECT_EQ(unread("CN=Nobody/O=Example", TRUE), search(0, Wildcard));
  EXPECT_EQ(unread("CN=Nobody/O=Example", FALSE), Ids());

  for (const std::string name : {"$profile_005mail_", "$profile_-04mail_x", "$profile_003a_b_B"}) {
    NoteHeader header;
    header.flags = NoteFlagProfile;
    const NoteItem item{"$Name", 0, TYPE_TEXT, {name.begin(), name.end()}};
    Store::open(path_).writeNote(header, {&item, 1});
  }
  std::string heard;
  EXPECT_EQ(NSFProfileEnum(database_, nullptr, 0, hear, &heard, 0), ERR_CANCEL);
  EXPECT_EQ(NSFProfileEnum(database_, "A_BX", 3, hear, &heard, 0), ERR_CANCEL);
  EXPECT_TRUE(heard.starts_with("mailprofile=CN=") && heard.ends_with(";a_b=B;a_b=B;")) << heard;
}
}  // namespace
