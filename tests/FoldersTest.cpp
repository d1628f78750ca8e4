// Folders: which are nested, whose documents stay in a table, and what a backup puts back.
#include <map>
#include <numeric>
#include <set>

#include "NotesDatabase.h"
#include "support/ScriptedNotes.h"

namespace {

int asked, stopAt;  // The host says stop once, and takes it back.

// A database with folders that knows what was not given back. Note 0xBAD cannot be found.
struct Folders : ScriptedNotes {
  // clang-format off
  Folders() {
    SetJobQuitCallback([] { return ++asked == stopAt; });
    const auto found = [](NOTEID id) { return id == 0 || id == 0xBAD ? refused : id == 0x404 ? STATUS{0xC404} : NOERROR; };
    notes.NIFFindDesignNoteExt.answer([=, this](auto, const auto& name, auto, auto, auto* id, auto) { return found(*id = views[name]); });
    notes.NIFOpenCollection.answer([this](auto, auto, NOTEID view, auto, auto, auto* out, auto...) { return opened[*out = WORD(take())] = view, NOERROR; });
    notes.NIFReadEntries.answer([this](WORD from, auto* place, auto, auto, auto, auto, auto, auto* buffer, auto, auto, auto* count, auto* more) {
      const Page& page = pages[opened[from]][std::min<std::size_t>(place->Tumbler[1]++, pages[opened[from]].size() - 1)];
      EXPECT_EQ(place->Tumbler[0], opened[from] == 0xFFFF0020 ? 1u : 0u);
      bytes.clear();
      for (const auto& [id, type] : page) { bytes += {char(id), 0, 0, 0, char(type), char(type >> 8)}; }
      *more = place->Tumbler[1] < pages[opened[from]].size() ? SIGNAL_MORE_TO_DO : 0;
      return *count = DWORD(page.size()), *buffer = take(), NOERROR;
    });
    notes.OSMemGetSize.answer([this](auto, auto* size) { return *size = DWORD(bytes.size()), NOERROR; });
    notes.OSLockObject.answer([this](auto object) { return held.insert(object + 1000), bytes.data(); });
    notes.OSUnlockObject.answer([this](auto object) { return held.erase(object + 1000); });
    notes.NSFNoteOpen.answer([this](auto, NOTEID id, auto, auto* note) { return opened[*note = take()] = id, NOERROR; });
    notes.NSFItemGetText.answer([this](auto note, auto, char* out, WORD room) { return titles[opened[note]].copy(out, room); });
    notes.IDCreateTable.answer([this](auto, auto* table) { return *table = take(), NOERROR; });
    notes.IDTableCopy.answer([this](auto of, auto* table) { return tables[*table = take()] = tables[of], NOERROR; });
    notes.IDInsert.answer([this](auto table, auto id, auto) { return tables[table].insert(id), NOERROR; });
    notes.IDDelete.answer([this](auto table, auto id, auto) { return tables[table].erase(id), NOERROR; });
    notes.IDIsPresent.answer([this](auto table, auto id) { return tables[table].count(id) != 0; });
    notes.IDScan.answer([this](auto table, BOOL first, auto* id) {
      const auto next = first ? tables[table].begin() : tables[table].upper_bound(*id);
      return next == tables[table].end() ? FALSE : (*id = *next, TRUE);
    });
    notes.ODSLength.answer([this](WORD type) { return type == 28 ? WORD(itemSize) : 0; });
    notes.NSFDbGetNoteInfoByUNID.answer([=](auto, auto* unid, auto* id, auto...) { return found(*id = unid->Note.Innards[0]); });
    notes.FolderDocAdd.answer([this](auto, auto, NOTEID folder, DHANDLE table, auto) {
      return steps.push_back(std::to_string(folder) + idsOf(table)), NOERROR;
    });
    notes.ConvertTIMEDATEToText.answer();
    const auto release = [this](auto handle) { return held.erase(handle) == 1 ? NOERROR : ERR_MEMORY; };
    notes.OSMemFree.answer(release), notes.IDDestroyTable.answer(release), notes.NSFNoteClose.answer(release), notes.NIFCloseCollection.answer(release);
    db.Open();
  }
  ~Folders() { SetJobQuitCallback(nullptr), asked = stopAt = 0; EXPECT_EQ(held.size(), 0u); }
  DWORD take() { return held.insert(++last), last; }
  // Narrows a table of five notes; the answer, and what is left of them.
  std::string left(std::string folders, unsigned long mode) {
    tables[noteTable] = {1, 2, 3, 4, 5};
    return told(db.FilterDocumentsOfFolders(folders, noteTable, mode)).append(idsOf(noteTable));
  }
  std::string idsOf(DHANDLE table) {
    return std::accumulate(tables[table].begin(), tables[table].end(), std::string(), [](auto ids, DWORD id) { return ids + " " + std::to_string(id); });
  }
  // Puts what is there of some records into folders; nothing stands behind it.
  std::string put(const std::string& records, std::size_t size) {
    std::vector<char> exact(&records[0], &records[size]);
    return told(db.PutNotesInFolders(exact.data(), static_cast<DWORD>(size), nullptr));
  }
  std::string record(DWORD folder, const std::vector<DWORD>& items) const {
    std::string record(32 + items.size() * itemSize, '\x7F');
    const DWORD head[] = {folder, static_cast<DWORD>(items.size())};
    std::memcpy(&record[8], &head[0], 4);
    std::memcpy(&record[28], &head[1], 4);
    for (std::size_t i = 0; i < items.size(); ++i) { std::memcpy(&record[40 + i * itemSize], &items[i], 4); }
    return record;
  }
  using Page = std::vector<std::pair<NOTEID, WORD>>;
  KoLNDatabase db{"own.nsf", instance};
  std::map<std::string, NOTEID> views = {{"$P", 60}, {"$P\\A", 61}, {"($D)", 62}, {"$E", 63}};
  std::map<NOTEID, std::vector<Page>> pages = {{0xFFFF0020, {{{9, 4}, {50, 8}}, {{50, 8}, {51, 8}}}},
      {60, {{{2, 1}, {3, 8}}, {{4, 1}}}}, {61, {{{4, 1}, {5, 1}}}}, {62, {{{3, 1}}}}, {63, {{}}}};
  std::map<NOTEID, std::string> titles = {{50, "P"}, {51, "P\\A"}};
  std::map<DWORD, NOTEID> opened;  // Notes and collections.
  std::map<DWORD, std::set<DWORD>> tables;
  std::set<DWORD> held;
  DWORD last = 100, itemSize = 28, noteTable = 7;
  std::string bytes;
  // clang-format on
};

TEST(FoldersTest, NestedFoldersFollowOncePerNameAboveThem) {
  Folders set;
  set.titles = {{8, "P\\"},   {9, "P\\A"},  {10, "P\\A\\B"},
                {11, "POld"}, {12, "p\\A"}, {13, "AB\\C"}};
  // The last entry comes again with each page, and in the end nothing else does.
  set.pages[0xFFFF0020] = {
      {{8, 0x8008}, {9, 8}}, {{9, 8}, {10, 8}, {11, 8}, {12, 8}, {13, 8}, {14, 8}}, {{14, 8}}, {}};
  const std::string list = ";P;;P\\A;" + std::string(1012, 'x') + ";ABCD";  // Cut behind "AB".
  std::string folders = list;
  EXPECT_EQ(told(set.db.AddSubFolders(folders)), "clean");
  EXPECT_EQ(folders, list + ";P\\A;P\\A\\B;P\\A\\B;AB\\C");
}

TEST(FoldersTest, WhicheverCallFailsTablesStayWholeAndEverythingIsGivenBack) {
  // clang-format off
#define KOLN_FAILING(function) #function, [](FakeNotes& notes, Failure how) { fail(notes.function, how); }
  const std::string all = " 1 2 3 4 5";
  const struct { std::string folders; unsigned long mode; std::string left, function;
                 void (*fail)(FakeNotes&, Failure) = [](FakeNotes&, Failure) {}; } cases[] = {
      {"P", 1, " 2 4 5", ""}, {"P;($D)", 2, " 1", ""}, {"P", 0, all, ""}, {"P", 3, all, ""}, {"E", 1, "", ""}, {"E", 2, all, ""},
      {"P", 2, all, KOLN_FAILING(IDCreateTable)}, {"P", 2, all, KOLN_FAILING(NIFOpenCollection)}, {"P", 2, all, KOLN_FAILING(NIFReadEntries)},
      {"P", 2, " 1 3 5", KOLN_FAILING(NSFNoteOpen)}, {"P", 1, "", KOLN_FAILING(NIFFindDesignNoteExt)}, {"P", 2, all, KOLN_FAILING(IDInsert)},
      {"P", 2, all, KOLN_FAILING(IDTableCopy)}, {"P", 2, all, KOLN_FAILING(IDDelete)}, {"P", 2, all, KOLN_FAILING(OSMemGetSize)},
      {"", 9, "", KOLN_FAILING(NSFDbGetNoteInfoByUNID)}, {"", 9, "", KOLN_FAILING(IDCreateTable)}, {"", 9, "", KOLN_FAILING(IDInsert)},
      {"", 9, "", KOLN_FAILING(FolderDocAdd)}};
  // clang-format on
  for (const auto& test : cases) {
    for (const Failure how : everyFailure) {
      Folders set;
      test.fail(set.notes, how);
      const std::string failed = statusOf(how) + ": " + messageOf(how, test.function);
      EXPECT_EQ(
          test.mode == 9 ? set.put(set.record(60, {2}), 60) : set.left(test.folders, test.mode),
          (test.function.empty() ? "clean" : failed) + test.left);
    }
  }
}

TEST(FoldersTest, TheHostsWishToStopIsRemembered) {
  for (int stop = 0, all = 0; stop <= all; ++stop) {
    Folders set;
    stopAt = stop;
    const std::string left = set.left("P", 2);
    all = stop == 0 ? asked : all;  // The last six questions come with the five notes.
    EXPECT_EQ(asked, stop == 0 ? all : stop);
    EXPECT_EQ(left.substr(5, 4), stop == 0 || stop >= all - 3 ? " 1 3" : " 1 2") << stop;
  }
}

TEST(FoldersTest, RecordsThatAreCutGiveTheirWholeItems) {
  for (const WORD length : {16, 17, 28}) {
    Folders set;
    set.itemSize = length;
    const std::string records =
        set.record(60, {2, 3}) + set.record(0xBAD, {4}) + set.record(62, {0x404, 5});
    const std::size_t second = 32u + 2 * length, third = second + 32 + length;
    for (std::size_t size = 0; size <= records.size(); ++size) {
      // clang-format off
      const std::size_t start = size < second ? 0 : size < third ? second : size < records.size() ? third : size;
      const std::size_t items = size < start + 32 ? 0 : (size - start - 32) / length;
      const std::string cut = "65535: The folder record at offset " + std::to_string(start);
      const std::string whole = size == 0 || size == second ? "clean" : size == third ? refusedText : "50180: text of 1028";
      // clang-format on
      EXPECT_EQ(set.put(records, size).substr(0, cut.size()), size == start ? whole : cut) << size;
      Texts put(size < 32 ? 0 : 1, start > 0 || items == 2 ? "60 2 3" : items == 1 ? "60 2" : "60");
      put.insert(put.end(), size < third + 32 ? 0 : 1, start == size ? "62 5" : "62");
      EXPECT_EQ(std::exchange(set.steps, {}), put);
    }
    set.itemSize = 15;
    EXPECT_TRUE(set.put(records, 32).starts_with("65535: Notes gives 15 bytes as the size of an"));
  }
}

TEST(FoldersTest, WhatCannotBeDoneIsRefusedAndNothingIsDone) {
  Folders set;
  KoLNDatabase closed("own.nsf", set.instance);
  std::string name = "P", none, closedText = "4996: text of 4996";
  DHANDLE noTable = NULLHANDLE;
  const std::string invalid = "65535: Invalid parameters passed in.";
  EXPECT_EQ(told(closed.AddSubFolders(name)), closedText);
  EXPECT_EQ(told(closed.FilterDocumentsOfFolders(name, set.noteTable, 1)), closedText);
  EXPECT_EQ(told(closed.PutNotesInFolders(&name[0], 1, nullptr)), closedText);
  EXPECT_EQ(told(set.db.AddSubFolders(none)), invalid);
  EXPECT_EQ(told(set.db.FilterDocumentsOfFolders(name, noTable, 1)), invalid);
  EXPECT_EQ(set.left("", 1), invalid + " 1 2 3 4 5");
  EXPECT_EQ(told(set.db.PutNotesInFolders(nullptr, 0, nullptr)), "clean");
  EXPECT_EQ(told(set.db.PutNotesInFolders(nullptr, 1, nullptr)),
            "65535: No buffer with folder records.");
  EXPECT_EQ(set.put(set.record(60, {}) + set.record(62, {2}), 92), "clean");
  EXPECT_EQ(set.steps, Texts{"62 2"});
}

TEST(FoldersTest, ACollectionThatNeverEndsIsLeft) {
  Folders set;
  int pages = 0;
  // clang-format off
  set.notes.NIFReadEntries.answer([&](auto, auto, auto, auto, auto, auto, auto, auto* buffer, auto, auto, auto* count, auto* more) {
    set.bytes.assign({2, 0, 0, 0, 1, 0});
    return *count = 1, *more = ++pages < 9 ? SIGNAL_MORE_TO_DO : 0, *buffer = set.take(), NOERROR;
  });
  // clang-format on
  EXPECT_EQ(set.left("P", 2), "65535: The collection does not end. 1 2 3 4 5");
  EXPECT_EQ(pages, 4);  // Two of the design, and the folder's, which come again.
}

}  // namespace
