// What a note carries: listing attachments, the record of their names, and what is taken away.
#include <functional>
#include <optional>
#include <tuple>

#include "NotesDocument.h"
#include "support/ScarceMemory.h"
#include "support/ScriptedNotes.h"

namespace {

using namespace std::string_literals;

std::optional<ScarceMemory> scarce;

// A log that ends the scarcity.
void giveMemory(const char*, int, const char*, int, const char* text, ...) {
  scarce.reset();
  EXPECT_TRUE(std::strstr(text, "Error: unable to allocate memory for ") == text);
}

// A note whose attachments and items are these.
class AttachmentsTest : public testing::Test, protected ScriptedNotes {
 protected:
  AttachmentsTest() {
    doc.SetNoteHandle(33);
    notes.NSFNoteClose.answer();
    notes.MailGetMessageAttachmentInfo.answer([this](DHANDLE, WORD index, BLOCKID*, char* name,
                                                     DWORD* size, WORD*, WORD*, TIMEDATE* created,
                                                     TIMEDATE* modified) {
      if (index >= names.size()) {
        return FALSE;
      }
      std::memcpy(name, names[index].data(), names[index].size());  // Unterminated.
      if (size != nullptr) {
        *size = 0xFFFFFFF0 + index;
        *created = {{index, 1}};
        *modified = {{index, 2}};
      }
      if (index == scarceAt) {
        scarce.emplace(0);
      }
      return TRUE;
    });
    notes.NSFItemInfo.answer([this](NOTEHANDLE, const char* name, WORD length, auto...) {
      return items.find(" " + std::string(name, length) + " ") == std::string::npos ? refused
                                                                                    : NOERROR;
    });
    notes.NSFItemDelete.answer([this](NOTEHANDLE, const char* name, WORD) {
      steps.push_back("delete "s + name);
      return name == refusing ? refused : NOERROR;
    });
    notes.NSFItemSetText.answer(
        [this](NOTEHANDLE, const char* name, const char* text, WORD length) {
          steps.push_back("set "s + name);
          written = std::string(text, length);
          return name == refusing ? refused : NOERROR;
        });
  }

  KoLNDataDocument doc{11, 66};
  Texts names = {"a.pdf", "b", "c.tar.gz"};
  std::string items, refusing, written;
  WORD scarceAt = 0xFFFF;
};

TEST_F(AttachmentsTest, AreListedBehindWhatIsThere) {
  Texts extensions = {"old"};
  std::vector<ATTACHMENT> files(1);
  EXPECT_EQ(told(doc.GetAttachmentInfoList(extensions)), "clean");
  EXPECT_EQ(extensions, Texts({"old", ".pdf", ".gz"}));
  names[1] = std::string(1024, 'n');
  EXPECT_EQ(told(doc.GetAttachmentList(files)), "clean");
  ASSERT_EQ(files.size(), 4u);
  EXPECT_EQ(std::tuple(files[2].name, files[2].size, files[2].extra),
            std::tuple(names[1], 0xFFFFFFF1, 0u));
  const TIMEDATE created = files[3].created, modified = files[3].modified;
  EXPECT_EQ(std::tuple(created.Innards[0], created.Innards[1], modified.Innards[1]),
            std::tuple(2u, 1u, 2u));
  KoLNDataDocument closed;
  closed.GetAttachmentInfoList(extensions);
  closed.GetAttachmentList(files);
  EXPECT_EQ(extensions.size() + files.size(), 0u);
}

TEST_F(AttachmentsTest, NamesAreRecordedWithSixteenBitsOfTheirLength) {
  EXPECT_EQ(told(doc.AddAttachmentInfo()), "clean");
  EXPECT_EQ(written, "a.pdf\0b\0c.tar.gz\0"s);
  for (const std::size_t count : {0u, 63u, 64u, 130u}) {  // The buffer grows at 65,000 bytes.
    names = Texts(count, std::string(1022, 'n'));
    std::string all;
    for (std::size_t index = 0; index < count; ++index) {
      names[index] += static_cast<char>('0' + index);
      all += names[index] + '\0';
    }
    EXPECT_EQ(told(doc.AddAttachmentInfo()), "clean");
    EXPECT_TRUE(written == all.substr(0, all.size() % 65536)) << count;
  }
  steps.clear();
  SetLogCallback(&giveMemory);
  scarceAt = 63;
  for (const bool atOnce : {false, true}) {
    if (atOnce) {
      scarce.emplace(0);
    }
    EXPECT_EQ(told(doc.AddAttachmentInfo()), "65535: Failed to allocate Memory for AttachmentList");
  }
  EXPECT_EQ(steps, Texts{});
}

TEST_F(AttachmentsTest, OnlyWhatIsThereIsTakenAwayInItsOrder) {
  const std::string failed =
      ". NSFItemDelete(...) returned: [49411]. Resulting error string: [text of 259].";
  const std::string noInfo =
      "Warning: unable to add attachment info field to note: [66]. NSFItemSetText(...) returned: "
      "[49411]. Resulting error string: [text of 259].";
  bool removed = false;
  const auto body = [&] { return doc.RemoveMessageBody(); };
  const auto seal = [&] { return doc.RemoveSealedFields(); };
  const auto files = [&] { return doc.RemoveAttachments(removed); };
  const Texts both = {"set AttachmentData", "delete $FILE"};
  // clang-format off
  const struct {
    std::function<KoLNError()> call; std::string items, refusing, answer; Texts steps, lines; bool removed = false;
  } cases[] = {
      {body, "", "", "clean", {}, {}}, {body, " Body ", "", "clean", {"delete Body"}, {}},
      {seal, "", "", "clean", {}, {}}, {seal, " $SealData ", "", "clean", {"delete $SealData"}, {}},
      {seal, " $SealData $Seal ", "", "clean", {"delete $Seal", "delete $SealData"}, {}},
      {seal, " $Seal  $SealData ", "$Seal", refusedText, {"delete $Seal"},
        {"Error: unable to remove $Seal field for note [66]" + failed}},
      {seal, " $Seal  $SealData ", "$SealData", refusedText, {"delete $Seal", "delete $SealData"},
        {"Error: unable to remove $SealData field for note [66]" + failed}},
      {files, "", "", "clean", {}, {}}, {files, " $FILE ", "", "clean", both, {}, true},
      {files, " $FILE ", "AttachmentData", refusedText, both,
        {noInfo, "Warning: unable to add attachment information to note: [66]."}, true},
      {files, " $FILE ", "$FILE", refusedText, both,
        {"Error: unable to remove attachment for note: [66]" + failed}},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    items = test.items;
    refusing = test.refusing;
    removed = false;
    steps.clear();
    EXPECT_EQ(told(test.call()), test.answer);
    EXPECT_EQ(std::tuple(steps, removed, log.takeTexts()),
              std::tuple(test.steps, test.removed, test.lines));
  }
  EXPECT_EQ(told(KoLNDataDocument().RemoveAttachments(removed = true)), "5051: text of 5051");
  EXPECT_FALSE(removed);
  notes.NSFItemInfo.answer(Throwing{});
  EXPECT_EQ(told(doc.RemoveAttachments(removed)), "65535: " + threw("NSFItemInfo"));
}

TEST_F(AttachmentsTest, ItemsAreAskedForAndWritten) {
  bool there = true;
  items = " StubData ";
  for (const bool stub : {true, false}) {
    EXPECT_EQ(told(doc.HasItem("StubData", there)) + told(doc.IsMigratedMessage(there)),
              "cleanclean");
    EXPECT_EQ(there, stub);
    items.clear();
  }
  const std::size_t asked = notes.NSFItemInfo.count();
  doc.SetNoteID(0x80000042);
  EXPECT_EQ(told(doc.HasItem("Body", there = true)),
            "65535: HasAttachment request for deleted note");
  EXPECT_EQ(std::pair(there, notes.NSFItemInfo.count()), std::pair(false, asked));
  EXPECT_EQ(told(doc.SetItemText("Item", "a\0b"s)) + written, "cleana\0b"s);
  EXPECT_EQ(told(doc.SetItemText("Item", std::string(65537, 't'))) + written, "cleant");
  EXPECT_EQ(log.take(), Lines{});
  refusing = "Item";
  EXPECT_EQ(told(doc.SetItemText("Item", "t")), "code 49411");
  EXPECT_EQ(linesOf("SetItemText", "NotesDocument"),
            Texts{"0 Unable to set Item Item to current Note 80000042. NSFItemSetText(...) "
                  "returned 49411 - "});
  notes.NSFItemSetText.answer(Throwing{});
  EXPECT_EQ(told(doc.SetItemText("Item", "t")), "65535: Caught an exception during SetItemText()");
  std::string details = "old";
  for (const KoLNError& error :
       {doc.StubNote(), doc.PruneStub(), doc.GetStubDetails(details),
        doc.SetStubDetails(nullptr, 1), doc.IsMigrationRequired({}, there = true)}) {
    EXPECT_EQ(told(error) + details, "cleanold");
  }
  EXPECT_TRUE(there);
}

}  // namespace
