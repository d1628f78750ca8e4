// A runtime that lies: results that are cut, counts above what is there, walks that never end. What
// the library reads lies in blocks of exactly the size that is told, so that AddressSanitizer sees
// a byte too far.
#include <functional>
#include <memory>
#include <set>

#include "NotesDatabase.h"
#include "NotesUtilities.h"
#include "support/ScriptedNotes.h"

namespace {

class LyingRuntimeTest : public testing::Test, protected ScriptedNotes {
 protected:
  LyingRuntimeTest() {
    notes.NSFNoteClose.answer();
    notes.IDDestroyTable.answer();
    db.Open();
    db.title = "User";
    doc.SetNoteHandle(33);
    SetJobQuitCallback([] { return false; });
  }
  ~LyingRuntimeTest() override { SetJobQuitCallback(nullptr); }

  // Every lock gives a block with these bytes, whose size is told truly.
  void lendBlock(const std::string& bytes) {
    block.reset(new char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), block.get());
    lend(block.get());
    notes.OSMemGetSize.answer(gives(static_cast<DWORD>(bytes.size())));
    steps.clear();
  }

  // Each view has so many pages; the block is a page, its first entry the number of the page.
  void readPages(DWORD pages, DWORD announced) {
    notes.NIFFindDesignNoteExt.answer(gives(NOTEID{60}));
    notes.NIFOpenCollection.answer(gives(HCOLLECTION{3}));
    notes.NIFCloseCollection.answer();
    // clang-format off
    notes.NIFReadEntries.answer([=, this](auto, auto* place, auto, auto, auto, auto, auto, auto* buffer, auto, auto, auto* count, auto* more) {
      if (++place->Tumbler[0] > 1 && pages > 1) std::memcpy(block.get(), &place->Tumbler[0], sizeof(NOTEID));
      return *buffer = 21, *count = announced, *more = place->Tumbler[0] < pages ? SIGNAL_MORE_TO_DO : 0, NOERROR;
    });
    // clang-format on
    notes.IDCreateTable.answer(gives(DHANDLE{51}));
    notes.IDTableCopy.answer(gives(DHANDLE{52}));
    notes.IDInsert.answer();
    notes.IDScan.answer(FALSE);
  }

  // The table of unread notes has this ID at each place, counted from 0; 0 ends it.
  KoLNError scanUnread(std::function<DWORD(std::size_t)> idAt) {
    notes.DNCanonicalize.answer();
    notes.NSFDbGetUnreadNoteTable.answer(gives(DHANDLE{53}));
    std::size_t place = 0;
    notes.IDScan.answer(
        [=, &place](auto, auto, DWORD* id) { return (*id = idAt(place++)) != 0 ? TRUE : FALSE; });
    db.DiscoverUnReadDocuments();
    bool unread = false;
    return db.GetNoteUnreadStatus(0x10000, unread);
  }

  void attach(std::size_t count, std::size_t nameLength = 1024) {
    notes.MailGetMessageAttachmentInfo.answer([=](auto, WORD index, auto, char* name, auto...) {
      std::memset(name, '.', nameLength);  // 1,024: unterminated.
      return index < count ? TRUE : FALSE;
    });
    notes.NSFItemSetText.answer();
  }

  std::size_t calls() const {
#define KOLN_COUNT(result, name, parameters) +notes.name.count()
    return 0 KOLN_NOTES_FUNCTIONS(KOLN_COUNT);
#undef KOLN_COUNT
  }

  KoLNDatabase db{"own.nsf", instance};
  KoLNDataDocument doc{11, 66};
  std::unique_ptr<char[]> block;
  std::string folders = "P";
  DHANDLE table = 7;
  std::vector<std::string> extensions;
  std::vector<ATTACHMENT> files;
};

TEST_F(LyingRuntimeTest, ASizeIsReadFromWholeNumbersAlone) {
  const NUMBER number = 77.5;
  int word = 0;
  for (const WORD type : {TYPE_NUMBER, TYPE_NUMBER_RANGE, TYPE_TEXT, TYPE_TEXT_LIST, TYPE_TIME,
                          TYPE_TIME_RANGE, WORD{0}, WORD{0x4711}, MAXWORD}) {
    const std::size_t start = type == TYPE_NUMBER ? 2 : 6;
    const std::size_t needed = type == TYPE_NUMBER || type == TYPE_NUMBER_RANGE ? start + 8 : 21;
    for (WORD length = 0; length <= 20; ++length) {
      std::string result(20, '\1');
      std::memcpy(&result[0], &type, sizeof type);
      std::memcpy(&result[start], &number, sizeof number);
      lendBlock(result.substr(0, length));
      notes.NSFComputeEvaluate.answer([=](auto, auto, DHANDLE* out, WORD* size, auto...) {
        return *out = 21, *size = length, NOERROR;
      });
      unsigned int size = 7;
      EXPECT_EQ(told(doc.GetSize(size, &word)) == "clean", length >= needed) << type << length;
      EXPECT_EQ(size, length < needed ? 7u : 77u) << type << " " << length;
      EXPECT_EQ(steps, Texts({"lock 21", "unlock 21", "free 21"}));
    }
  }
}

TEST_F(LyingRuntimeTest, AConsolesAnswerEndsWithItsMemory) {
  notes.DNCanonicalize.answer();
  notes.NSFRemoteConsole.answer(gives(DHANDLE{21}));
  for (std::size_t size = 0; size <= 6; ++size) {
    for (std::size_t end = 0; end <= size; ++end) {  // Where it is terminated; `size`: nowhere.
      for (unsigned short room = 0; room <= 7; ++room) {
        lendBlock((std::string(end, 'a') + '\0' + std::string(6, 'b')).substr(0, size));
        char command[] = "show tasks";
        const std::unique_ptr<char[]> response(new char[room + 1]);
        unsigned short length = room;
        EXPECT_EQ(instance.RemoteCommand(command, response.get(), &length), NOERROR);
        EXPECT_EQ(std::pair(std::string(response.get()), std::size_t{length}),
                  std::pair(std::string(std::min<std::size_t>(end, room), 'a'), end));
      }
    }
  }
}

TEST_F(LyingRuntimeTest, APageOfACollectionHasAtMostTheEntriesThatFit) {
  for (std::size_t size = 0; size <= 19; ++size) {
    for (const DWORD announced : {0u, 1u, 2u, 3u, 4u, 0x2AAAAAABu, 0xFFFFFFFFu}) {
      std::string page;
      while (page.size() < size) page += std::string("\5\0\0\0\1\0", 6);  // Documents.
      lendBlock(page.substr(0, size));
      readPages(1, announced);
      const bool fits = announced <= size / 6;
      const std::size_t before = notes.IDInsert.count();
      const std::string damaged = "65535: The buffer of a collection has " + std::to_string(size) +
                                  " bytes for " + std::to_string(announced) + " entries.";
      EXPECT_EQ(told(db.FilterDocumentsOfFolders(folders, table, 1)), fits ? "clean" : damaged);
      EXPECT_EQ(notes.IDInsert.count() - before, fits ? announced : 0);
      EXPECT_EQ(told(db.AddSubFolders(folders)), fits ? "clean" : damaged);
    }
  }
}

TEST_F(LyingRuntimeTest, WalksThatWouldNeverEndAreEnded) {
  for (const DWORD ring : {1u, 2u, 3u, 100u}) {
    const std::size_t before = calls();
    EXPECT_EQ(told(scanUnread([=](std::size_t place) { return DWORD(place % ring + 1); })),
              "65535: The ID table does not end.");
    EXPECT_LT(calls() - before, 1100 * ring);
  }
  attach(MAXDWORD, 12);
  EXPECT_EQ(told(doc.GetAttachmentInfoList(extensions)), "clean");
  EXPECT_EQ(told(doc.GetAttachmentList(files)), "clean");
  EXPECT_EQ(told(doc.AddAttachmentInfo()), "clean");
  EXPECT_EQ(std::pair(extensions.size(), files.size()), std::pair(65536ul, 65536ul));
  EXPECT_EQ(notes.MailGetMessageAttachmentInfo.count(), 3 * 65536u);
}

TEST_F(LyingRuntimeTest, TenTimesTheInputIsAtMostTwelveTimesTheWork) {
  const auto pages = [&](DWORD count) {
    lendBlock(std::string("\1\0\0\0\1\0", 6));
    readPages(count, 1);
  };
  // clang-format off
  const std::pair<const char*, std::function<KoLNError(DWORD)>> walks[] = {
      {"unread notes", [&](DWORD count) { return scanUnread([=](auto place) { return place < count ? DWORD(place + 1) : 0; }); }},
      {"members", [&](DWORD count) { return pages(count), db.FilterDocumentsOfFolders(folders, table, 1); }},
      {"nested folders", [&](DWORD count) { return pages(count), db.AddSubFolders(folders); }},
      {"attachments", [&](DWORD count) { return attach(count), doc.GetAttachmentList(files); }},
      {"their names", [&](DWORD count) { return attach(count), doc.AddAttachmentInfo(); }}};
  // clang-format on
  for (const auto& [name, walk] : walks) {
    std::size_t work[2] = {};
    for (const bool many : {false, true}) {
      const std::size_t before = calls();
      EXPECT_EQ(told(walk(many ? 3000 : 300)), "clean");
      work[many] = calls() - before;
    }
    EXPECT_GE(work[0], 300u) << name;
    EXPECT_LE(work[1], 12 * work[0]) << name;
  }
}

}  // namespace
