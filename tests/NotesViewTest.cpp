// Views: which names are looked for, and what a format gives, whole and damaged.
#include "NotesDatabase.h"
#include "support/ScriptedNotes.h"

namespace {

using namespace std::string_literals;

struct Column {
  std::string item, title;
  WORD flags = 0, formula = 0;
};

// A view format as it is on disk; behind each title stand a formula and a constant of one byte.
std::string formatOf(const std::vector<Column>& columns, char version = 1) {
  std::string bytes = "\5\0"s + version + '\0' + char(columns.size()) + "\0\0\0\0\0\0\0"s, texts;
  for (const auto& [item, title, flags, formula] : columns) {
    const WORD words[] = {0x4356, flags, WORD(item.size()), WORD(title.size()), formula, 1, 0};
    bytes.append(reinterpret_cast<const char*>(words), sizeof words).append(18, 'x');
    texts += item + title + std::string(formula + 1, 'f');
  }
  return bytes + texts;
}

class NotesViewTest : public testing::Test, protected ScriptedNotes {
 protected:
  // Reads the titles from an item, of which nothing more is there than its bytes.
  std::string titlesOf(const std::string& value) {
    std::vector<char> pool(3 + value.size());
    std::copy(value.begin(), value.end(), pool.begin() + 3);
    lend(pool.data());
    notes.NSFNoteOpen.answer(gives(NOTEHANDLE{33}));
    notes.NSFNoteClose.answer();
    notes.NSFItemInfo.answer([&](auto, auto, WORD, auto, auto* type, auto* block, auto* size) {
      return *type = 5, *block = {21, 3}, *size = static_cast<DWORD>(value.size()), NOERROR;
    });
    notes.ODSLength.answer(32);
    notes.ODSReadMemory.answer([](void* from, WORD type, void* to, WORD) {
      char* const disk = *static_cast<char**>(from);
      std::memcpy(to, disk, type == 42 ? 2 : type == 29 ? 10 : 14);
      std::memcpy(static_cast<char*>(to) + 16, disk + 14, type == 30 ? 18 : 0);  // Padded.
    });
    std::string titles = "old";
    const std::string answer = told(view.GetCoulmnTitles(&titles));
    EXPECT_EQ(std::exchange(steps, {}), Texts({"lock 21", "unlock 21"}));
    std::replace(titles.begin(), titles.end(), '\x12', '#');
    return answer + titles;
  }
  KoLNDatabase db{"own.nsf", instance};
  KoLNView view{(db.Open(), db), 0x42};
};

TEST_F(NotesViewTest, TitlesAreThoseOfVisibleColumnsUpToTheirLimit) {
  const std::string t64(64, 't'), t127(127, 't'), one = "#" + t127;
  // clang-format off
  const std::pair<std::vector<Column>, std::string> cases[] = {
      {{{"A", "One", 1, 5}, {"B", "Two", 0x424}}, "#One#Two"}, {{{"A", t127 + "t"}}, one}, {{}, ""},
      {{{"A", "a", 8}, {"B", "b", 2}, {"C", "c", 0x40}, {"D", "d", 0x10}, {"E", ""}, {"$ThreadsEmbed", "f"},
        {"$Threads", "g"}}, "#g"}, {{{"A", "t\\/:*?\"<>|%\x01\xFF" "o", 4}}, "#t            o"},
      {{{"A", t127}, {"B", t64}}, one + "#" + t64}, {{{"A", t127}, {"B", t64 + "t"}, {"C", "c"}}, one},
      {{{"A", t127}, {"B", t64 + "t", 8}, {"C", "c"}}, one}};
  // clang-format on
  for (const auto& [columns, titles] : cases) {
    EXPECT_EQ(titlesOf(formatOf(columns)), "clean" + titles);
  }
  EXPECT_EQ(titlesOf(formatOf({{"A", "a"}}, 2)), "clean");
  EXPECT_TRUE(log.take().back().text.ends_with("for note 66 is incompatible - 2"));
}

TEST_F(NotesViewTest, ADamagedFormatGivesWhatStandsInFrontOfTheDamage) {
  const std::string whole = formatOf({{"A", "one", 0, 2}, {"B", "two"}});
  const std::string damaged = "65535: The view format of note 0x42 is damaged.";
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    // The texts begin at 76, the second column's at 83.
    const std::string titles = size < 87 ? damaged + (size < 80 ? "" : "#one") : "clean#one#two";
    EXPECT_EQ(titlesOf(whole.substr(0, size)), titles);
    EXPECT_EQ(log.take().size(), size < 87 ? 2u : 1u);
  }
}

TEST_F(NotesViewTest, TheLastAliasIsLookedFor) {
  notes.NIFFindDesignNoteExt.answer(gives(NOTEID{6}));
  NOTEID id = 7;
  for (const char* const name : {"All Documents | AllDocs", "A|B|  AllDocs", "AllDocs"}) {
    EXPECT_EQ(told(KoLNView(db, name).FindID(id)), "clean");
    expectCall(notes.NIFFindDesignNoteExt, 11u, "AllDocs", 8, "-G40n^");
  }
  for (const char* const name : {"No View Selected", "A|", "A|  "}) {
    EXPECT_EQ(told(KoLNView(db, name).FindID(id)), "65535: Default view is NO VIEW SELECTED");
  }
  EXPECT_EQ(notes.NIFFindDesignNoteExt.count(), 3u);
}

TEST_F(NotesViewTest, WhatCannotBeAskedOrOpenedIsToldInItsOwnWay) {
  WORD collection = 0, type = 0;
  NOTEID id = 0;
  BLOCKID block = {};
  KoLNDatabase closed("own.nsf", instance);
  KoLNView none(closed, "A"), unknown(db, 0u);
  // clang-format off
  const auto open = [this](KoLNView& of, HCOLLECTION* out) {
    const std::string record = told(of.OpenCollection(0, 0, out, nullptr, nullptr, nullptr, nullptr));
    return record + linesOf("OpenCollection", "NotesDatabase").back();
  };
  const std::string noHandle = "65535: Invalid database handle or viewId.-1 Error: Invalid Database Handle";
  EXPECT_EQ(open(none, &collection), noHandle);
  EXPECT_EQ(open(unknown, &collection), noHandle);
  EXPECT_EQ(open(view, nullptr), noHandle);
  for (const auto& [status, line] : {std::pair(ERR_NOTE_DELETED, "Document has been deleted"), {ERR_ITEM_NOT_FOUND, "Note item not found"}}) {
    notes.NIFOpenCollection.answer(0xC000 | status);
    EXPECT_EQ(open(view, &collection), std::to_string(0xC000 | status) + ": text of " + std::to_string(status) + "-1 Error: " + line);
  }
  EXPECT_EQ(told(view.ReadColection(nullptr, nullptr, 1, 1, 1, 9, 1, &id, nullptr, nullptr, nullptr, nullptr)), "65535: ReadColection() called with Invalid view colelction handle.");
  // clang-format on
  EXPECT_EQ(told(none.FindID(id)), "65535: Invalid view name or database handle.");
  EXPECT_EQ(told(view.GetItemInfo("Body?", type, block, id)), "65535: Invalid view handle.");
  EXPECT_EQ(told(view.GetCoulmnTitles(nullptr)), "65535: No place for the titles of the columns.");
}

Texts sent;

TEST_F(NotesViewTest, AllViewsAreSentUpToOneThatCannotBeOpened) {
  // clang-format off
  const struct { BYTE match; std::string title, flags; } views[] = {
      {1, "A", ""}, {0, "B", ""}, {1, "", "x"}, {1, "D", "xGy"}, {1, "\x84", "Y"}, {1, std::string(1023, 't'), ""}};
  for (const NOTEID broken : {0, 5}) {
    sent.clear();
    SetSendMsgCallback([](char* title) -> bool { sent.emplace_back(title); throw Throwing{}; });
    notes.NSFNoteOpen.answer([&](auto, NOTEID id, auto, NOTEHANDLE* out) { return *out = id, id == broken ? refused : NOERROR; });
    notes.NSFNoteClose.answer();
    notes.NSFItemGetText.answer([&](auto note, const char* item, char* out, WORD room) {
      return WORD((item[1] == 'T' ? views[note - 1].title : views[note - 1].flags).copy(out, room));
    });
    notes.NSFSearch.answer([&](auto, auto, auto, auto, WORD kind, auto, auto routine, void* database, auto) {
      STATUS status = kind != NOTE_CLASS_VIEW || routine(nullptr, nullptr, nullptr) || routine(database, nullptr, nullptr);
      SEARCH_MATCH match = {};
      while (status == NOERROR && match.ID.NoteID < std::size(views)) {
        match.SERetFlags = views[match.ID.NoteID++].match;
        status = routine(database, &match, nullptr);
      }
      return status;
    });
    const std::size_t before = notes.NSFNoteClose.count();
    EXPECT_EQ(told(db.GetViews()), broken ? "code 49411" : "clean");
    EXPECT_EQ(sent, broken ? Texts{"A"} : Texts({"A", "\x84", views[5].title}));
    EXPECT_EQ(notes.NSFNoteClose.count() - before, broken ? 3u : 5u);
  }
  // clang-format on
  SetSendMsgCallback(nullptr);
}

}  // namespace
