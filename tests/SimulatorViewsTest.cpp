// Views, folders and their collections, in a mailbox that koln-simulate (KOLN_SIMULATE) makes.
#include <gtest/gtest.h>

#include <filesystem>

#include "Control.h"
#include "Export.h"
#include "Store.h"
#include "ViewFormat.h"
#include "support/TemporaryDirectory.h"

namespace {
using namespace simulator;
using namespace std::string_literals;
using Ids = std::vector<DWORD>;

NoteItem item(const std::string& name, const std::string& value, WORD type = TYPE_TEXT) {
  return {name, ITEM_SUMMARY, type, {value.begin(), value.end()}};
}
std::string raw(const Ids& ids) {
  return {reinterpret_cast<const char*>(ids.data()), ids.size() * sizeof(NOTEID)};
}

struct SimulatorViews : testing::Test {
  SimulatorViews() {
    const std::string create = KOLN_SIMULATE " create --mailboxes 1 --notes 60 --folders 2 ";
    EXPECT_EQ(std::system((create + root_ + "/p >/dev/null").c_str()), 0);
    std::string ini = "=" + root_ + "/p/data/notes.ini";
    char* arguments[] = {ini.data(), ini.data(), nullptr};
    EXPECT_EQ(NotesInitExtended(2, arguments), NOERROR);
    path_ = std::filesystem::directory_iterator(root_ + "/p/data/mail")->path();
    EXPECT_EQ(NSFDbOpen(path_.c_str(), &db_) + IDCreateTable(0, &table_), NOERROR);
  }
  ~SimulatorViews() override {
    EXPECT_EQ(NSFDbClose(db_) + IDDestroyTable(table_), NOERROR);
    for (const char* kind : {"collections", "memory", "tables"}) EXPECT_EQ(SimOpenHandles(kind), 0);
    NotesTerm();
  }
  NOTEID write(const std::vector<NoteItem>& items, NoteHeader header = {}) {
    Store::open(path_).writeNote(header, items);
    return header.id;
  }
  NOTEID find(const char* name, const char* pattern = "-G40n^", STATUS status = NOERROR) {
    NOTEID id = 0;
    EXPECT_EQ(NIFFindDesignNoteExt(db_, name, NOTE_CLASS_VIEW, pattern, &id, 0), status) << name;
    return id;
  }
  HCOLLECTION open(NOTEID view, STATUS status = NOERROR, WORD flags = 0) {
    HCOLLECTION collection = 0;
    EXPECT_EQ(NIFOpenCollection(db_, db_, view, flags, 0, &collection, 0, 0, 0, 0), status);
    return collection;
  }
  DWORD read(HCOLLECTION collection, WORD skip, DWORD skipCount, DWORD count, DWORD mask) {
    DWORD buffer = NULLHANDLE, skipped = 0;
    WORD size = 0;
    const STATUS status = NIFReadEntries(collection, &at_, skip, skipCount, NAVIGATE_NEXT, count,
                                         mask, &buffer, &size, &skipped, nullptr, &signals_);
    page_.assign(buffer ? static_cast<char*>(OSLockObject(buffer)) : "", size);
    if (buffer) OSUnlockObject(buffer), OSMemFree(buffer);
    return status == NOERROR ? skipped : status;
  }
  std::string all(NOTEID view, DWORD mask = READ_MASK_NOTEID) {
    const HCOLLECTION collection = open(view);
    std::string bytes;
    for (at_ = {}, signals_ = SIGNAL_MORE_TO_DO; signals_ & SIGNAL_MORE_TO_DO; bytes += page_)
      read(collection, NAVIGATE_NEXT, 1, MAXDWORD, mask);
    EXPECT_EQ(NIFCloseCollection(collection), NOERROR);
    return bytes;
  }

  const TemporaryDirectory directory_;
  const std::string root_ = directory_.path();
  std::string path_, page_;  // page_: what the last call has read; its result: what it skipped
  DBHANDLE db_ = NULLHANDLE, table_ = NULLHANDLE;
  COLLECTIONPOSITION at_ = {};
  WORD signals_ = 0;
};

TEST_F(SimulatorViews, ArePutInOrderAndNavigatedByCategory) {
  const NoteItem own = item("Form", "OWN"), y = item("Subject", "Y"), none = item("Cat", "");
  const NoteItem twice = item("Cat", "\2\0\3\0\3\0redRed"s, TYPE_TEXT_LIST);
  const NoteItem both = item("Cat", "\2\0\3\0\4\0Redblue"s, TYPE_TEXT_LIST);
  const NOTEID a = write({both, item("Subject", "x"), own}), c = write({twice, y, own});
  const NOTEID b = write({y, own, none, {"Body", 0, TYPE_TEXT, {}}});
  const ViewColumn subject{"subject", "S", VCF1_M_Sort | VCF1_M_SortDescending};
  const auto format = viewFormat(std::vector<ViewColumn>{{"Cat", "", 2}, subject, {"Body", ""}});
  const NOTEID tree = write({item("$SimSelection", "own"), {"$ViewFormat", 0, 5, format}}, {0, 8});
  const NOTEID top = NOTEID_CATEGORY | 1, blue = top + 1, red = top + 2;
  EXPECT_EQ(all(tree), raw({top, b, blue, a, red, c, a}));
  const HCOLLECTION collection = open(tree);
  const std::tuple<Ids, WORD, Ids, Ids> ways[] = {
      {{0}, NAVIGATE_NEXT, {top}, {1}},         {{2, 9}, NAVIGATE_NEXT, {red}, {3}},
      {{3, 2}, NAVIGATE_NEXT, {}, {3, 2}},      {{9}, NAVIGATE_PREV, {a}, {3, 2}},
      {{3, 2}, NAVIGATE_PARENT, {red}, {3}},    {{3}, NAVIGATE_CHILD, {c}, {3, 1}},
      {{3, 2}, NAVIGATE_NEXT_PEER, {}, {3, 2}}, {{3, 2}, NAVIGATE_PREV_PEER, {c}, {3, 1}}};
  for (const auto& [from, by, to, at] : ways) {
    at_ = {static_cast<WORD>(from.size() - 1), 0, 0, {from.front(), from.back()}};
    EXPECT_EQ(read(collection, by, 1, 1, READ_MASK_NOTEID), to.size());
    EXPECT_EQ(page_, raw(to)) << testing::PrintToString(from) << by;
    EXPECT_EQ(Ids(at_.Tumbler, at_.Tumbler + at_.Level + 1), at);
  }
  at_ = {0, 0, 0, {3}};
  read(collection, NAVIGATE_CURRENT, 0, 1, 0x40FF);  // siblings, children, descendants; position
  EXPECT_EQ(page_, raw({red}) + std::string(18, '\0') + raw({3, 2, 2, 0, 0, 3}));
  read(collection, NAVIGATE_NEXT_UNREAD, 1, 1, 0);
  EXPECT_EQ(signals_, SIGNAL_NOT_SUPPORTED);
  EXPECT_EQ(read(collection, 1, 1, 1, READ_MASK_COLLECTIONSTATS), ERR_UNSUPPORTED_FLAGS);
  read(collection, NAVIGATE_PREV, 3, 1, READ_MASK_SUMMARY);  // the body is no summary item
  EXPECT_EQ(page_, "#\0\3\0\3\0\2\0\7\0\3\0\4\0\0\0Cat\0\5subject\0\5YBody"s);
  NIFCloseCollection(collection);
  EXPECT_DEATH(NIFCloseCollection(collection), "PANIC: NIFCloseCollection");
}

TEST_F(SimulatorViews, AreFoundByNameAndFoldersHoldWhatIsPutThere) {
  const NOTEID view = find("($ALL)", nullptr), inbox = find("($Inbox)");
  const NOTEID folder = find("$projects\\alpha");
  EXPECT_EQ(find("Projects\\Alpha|$Projects\\Alpha", "-"), folder);
  for (const char* name : {"", "Alpha", "$Inbox"}) find(name, "-F", ERR_NOT_FOUND);
  EXPECT_EQ(all(NOTE_ID_SPECIAL | NOTE_CLASS_DESIGN).size(), 5 * sizeof(NOTEID));
  open(view, ERR_COLLECTION_NOT_CREATED, OPEN_DO_NOT_CREATE);
  const std::string whole = all(view, READ_MASK_SUMMARY);
  for (const char* page : {"1", "999", "9999", "x"}) {
    SimSetVariable("SimCollectionPage", page);
    EXPECT_EQ(all(view, READ_MASK_SUMMARY), whole) << page;
  }
  const HCOLLECTION asItWas = open(view);
  const NOTEID a = write({}), b = write({}), c = write({});
  EXPECT_EQ(read(asItWas, NAVIGATE_NEXT, 1, 1, 0), 0U);  // it ends where it did
  NIFCloseCollection(asItWas);
  EXPECT_EQ(all(view).size(), 63 * sizeof(NOTEID));
  const std::string before = all(folder), inInbox = all(inbox);
  EXPECT_TRUE(inInbox.size() > 120 && !before.empty() && all(find("$ByCategory")).size() > 240);
  const auto held = [&] { return Store::open(path_).folderNotes(folder); };
  const auto add = [this](NOTEID to, NOTEID note) {
    IDInsert(table_, note, nullptr);
    return FolderDocAdd(db_, NULLHANDLE, to, table_, 0);
  };
  EXPECT_TRUE(add(folder, a) == NOERROR && add(folder, b) == NOERROR && add(folder, c) == NOERROR);
  EXPECT_TRUE(add(view, a) == ERR_BAD_PARAM && add(inbox, c + 4) == ERR_INVALID_NOTE);
  EXPECT_EQ(add(inbox, view), ERR_BAD_PARAM);
  EXPECT_EQ(all(inbox), inInbox);
  EXPECT_EQ(all(folder).size(), before.size() + 3 * sizeof(NOTEID));
  const Ids kept = held();  // Before: a damaged store is locked while it is salvaged.
  EXPECT_EQ(Store::openDamaged(path_).salvage().store.folderNotes(folder), kept);
  NSFNoteDelete(db_, b, 0), NSFNoteHardDelete(db_, c, 0);
  EXPECT_EQ(held().size(), before.size() / sizeof(NOTEID) + 1);
  NSFNoteDelete(db_, folder, 0);
  EXPECT_EQ(held(), Ids());
  open(folder, ERR_NOTE_DELETED), open(a, ERR_ITEM_NOT_FOUND);
}
}  // namespace
