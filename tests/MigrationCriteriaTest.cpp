// The two records of the archiving decision: what is copied, what counts as equal, what is logged.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "NotesDocument.h"
#include "NotesUtilities.h"
#include "support/FakeNotes.h"
#include "support/LogCapture.h"

namespace {

// Hosts are compiled against these layouts.
static_assert(sizeof(ATTACHMENT) == 64 && sizeof(DbMigrateCriteria) == 64);
static_assert(offsetof(ATTACHMENT, size) == 16 && offsetof(ATTACHMENT, name) == 24 &&
              offsetof(ATTACHMENT, extra) == 56);
static_assert(offsetof(DbMigrateCriteria, MessageBodySize) == 24 &&
              offsetof(DbMigrateCriteria, AttachmentNumbers) == 32 &&
              offsetof(DbMigrateCriteria, Attachments) == 40);

constexpr TIMEDATE day(DWORD number) {
  return {{number * 100, 2460000 + number}};
}

class MigrationCriteriaTest : public testing::Test {
 protected:
  MigrationCriteriaTest() {
    notes.TimeDateCompare.answer([](const TIMEDATE* a, const TIMEDATE* b) {
      return a->Innards[0] < b->Innards[0] ? -1 : static_cast<int>(a->Innards[0] > b->Innards[0]);
    });
  }

  static ATTACHMENT attachment() {
    ATTACHMENT result;
    result.created = day(1);
    result.modified = day(2);
    result.size = 300;
    result.name = "plan.odt";
    result.extra = 4;
    return result;
  }

  static DbMigrateCriteria criteria() {
    DbMigrateCriteria result;
    result.CreationTime = day(1);
    result.ModifiedTime = day(2);
    result.LastAccessedTime = day(3);
    result.MessageBodySize = -4;
    result.AttachmentSize = 300;
    result.AttachmentNumbers = 2;
    result.Attachments = {attachment(), ATTACHMENT()};
    return result;
  }

  FakeNotes notes;
};

TEST_F(MigrationCriteriaTest, FreshRecordsAreZero) {
  const ATTACHMENT file;
  for (const DbMigrateCriteria& record :
       {DbMigrateCriteria(), KoLNUtilities().getMigrateCriteria("ignored")}) {
    for (const TIMEDATE& time : {file.created, file.modified, record.CreationTime,
                                 record.ModifiedTime, record.LastAccessedTime}) {
      EXPECT_EQ(time.Innards[0] | time.Innards[1], 0u);
    }
    EXPECT_EQ(record.MessageBodySize | record.AttachmentSize | record.AttachmentNumbers, 0);
    EXPECT_TRUE(record.Attachments.empty());
  }
  EXPECT_EQ(file.size + file.extra, 0u);
  EXPECT_EQ(file.name, "");
}

TEST_F(MigrationCriteriaTest, AttachmentsAreEqualInAllFiveFields) {
  // clang-format off
  const std::function<void(ATTACHMENT&)> changes[] = {
      [](ATTACHMENT& file) { file.created = day(9); },
      [](ATTACHMENT& file) { file.modified = day(9); },
      [](ATTACHMENT& file) { ++file.size; },
      [](ATTACHMENT& file) { file.name = "PLAN.ODT"; },
      [](ATTACHMENT& file) { file.extra = 0; },
  };
  // clang-format on
  for (const auto& change : changes) {
    ATTACHMENT copy(attachment());
    EXPECT_TRUE(copy == attachment());
    change(copy);
    EXPECT_FALSE(copy == attachment());
    copy = attachment();
    EXPECT_TRUE(copy == attachment());
  }
}

TEST_F(MigrationCriteriaTest, CriteriaAreEqualInTimesAndNumbersNotInTheList) {
  // clang-format off
  const struct {
    std::function<void(DbMigrateCriteria&)> change;
    std::size_t comparisons;  // The first difference ends them.
    bool equal;
  } cases[] = {
      {[](DbMigrateCriteria& record) { record.CreationTime = day(9); }, 1, false},
      {[](DbMigrateCriteria& record) { record.ModifiedTime = day(9); }, 2, false},
      {[](DbMigrateCriteria& record) { record.LastAccessedTime = day(9); }, 3, false},
      {[](DbMigrateCriteria& record) { record.MessageBodySize = 0; }, 3, false},
      {[](DbMigrateCriteria& record) { ++record.AttachmentSize; }, 3, false},
      {[](DbMigrateCriteria& record) { ++record.AttachmentNumbers; }, 3, false},
      {[](DbMigrateCriteria& record) { record.Attachments.clear(); }, 3, true},
      {[](DbMigrateCriteria& record) { record.CreationTime.Innards[1] |= 0x80000000; }, 3, true},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    DbMigrateCriteria changed = criteria();
    test.change(changed);
    const std::size_t before = notes.TimeDateCompare.count();
    EXPECT_EQ(changed == criteria(), test.equal);
    EXPECT_EQ(notes.TimeDateCompare.count() - before, test.comparisons);
  }
}

TEST_F(MigrationCriteriaTest, WhatCannotBeComparedIsNotEqual) {
  {
    const auto throwing = notes.TimeDateCompare.during(Throwing{});
    EXPECT_FALSE(criteria() == criteria());
    EXPECT_FALSE(attachment() == attachment());
  }
  EXPECT_TRUE(criteria() == criteria());
  notes.TimeDateCompare.unbind();
  EXPECT_FALSE(criteria() == criteria());
  EXPECT_FALSE(attachment() == attachment());
}

TEST_F(MigrationCriteriaTest, AssignmentReplacesEverythingAndSurvivesItself) {
  DbMigrateCriteria target;
  target.Attachments.assign(5, attachment());
  target = criteria();
  const DbMigrateCriteria& itself = target;
  target = itself;
  for (const DbMigrateCriteria& copy : {target, DbMigrateCriteria(target)}) {
    EXPECT_TRUE(copy == criteria());
    ASSERT_EQ(copy.Attachments.size(), 2u);
    EXPECT_TRUE(copy.Attachments[0] == attachment());
    EXPECT_TRUE(copy.Attachments[1] == ATTACHMENT());
  }
}

TEST_F(MigrationCriteriaTest, TheDumpLogsTwoTimesAndThreeNumbers) {
  notes.OSLoadString.answer(0);
  LogCapture log;
  STATUS second = NOERROR;
  notes.ConvertTIMEDATEToText.answer(
      [&](const void*, const TFMT*, const TIMEDATE* time, char* out, WORD, WORD* length) {
        out[0] = static_cast<char>('0' + time->Innards[0] / 100);
        *length = 1;
        return time->Innards[0] == 200 ? second : NOERROR;
      });
  criteria().dumpMigrationCriteria();
  std::vector<LogCapture::Line> lines;
  for (const char* text : {"CreationTime = 1", "ModifiedTime = 2", "MessageBodySize = -4",
                           "AttachmentSize = 300", "AttachmentNumbers = 2"}) {
    lines.push_back({"dumpMigrationCriteria", 0, "NotesDocument", text});
  }
  EXPECT_EQ(log.take(), lines);

  second = ERR_TDO_CONV;  // What cannot be shown is empty, never the other time.
  criteria().dumpMigrationCriteria();
  const std::vector<std::string> texts = log.takeTexts();
  EXPECT_EQ(texts.size(), 7u);
  EXPECT_EQ(texts.at(2), "failed to convert TimeDate to Text error - (1037) ");
  EXPECT_EQ(texts.at(3), "ModifiedTime = ");
}

TEST_F(MigrationCriteriaTest, DetailsAreAddedToWhatIsThereUntilTheFirstError) {
  notes.OSLoadString.answer(0);
  notes.NSFNoteClose.answer();
  notes.NSFNoteGetInfo.answer([](NOTEHANDLE, WORD member, void* out) {
    if (member == _NOTE_OID) {
      static_cast<ORIGINATORID*>(out)->Note = day(2);
    } else {
      *static_cast<TIMEDATE*>(out) = day(member);
    }
  });
  notes.MailGetMessageAttachmentInfo.answer(
      [](DHANDLE, WORD index, BLOCKID*, char*, DWORD* size, auto...) {
        *size = 0x30000000;
        return index < 2 ? TRUE : FALSE;
      });
  KoLNDataDocument doc(11, 66);
  DbMigrateCriteria details;
  EXPECT_EQ(doc.GetMigrationDetails(details).GetErrorCode(), ERR_NULL_NOTEHANDLE);
  doc.SetNoteHandle(33);
  for (const int sum : {0x60000000, 0x7FFFFFFF}) {  // Saturated: never a negative size.
    EXPECT_FALSE(doc.GetMigrationDetails(details).IsErrorSet());
    EXPECT_EQ(std::pair(details.AttachmentSize, details.AttachmentNumbers), std::pair(sum, 2));
  }
  EXPECT_EQ(details.Attachments.size(), 4u);
  EXPECT_EQ(details.CreationTime.Innards[0] + details.ModifiedTime.Innards[0], 600u);
  EXPECT_EQ(details.LastAccessedTime.Innards[0], 800u);
}

TEST_F(MigrationCriteriaTest, TheSizeFormulaIsInitializedAndShutDownOnce) {
  // Each call fails in turn; what is left must be given back, and nothing twice.
  const struct {
    int failing;
    std::vector<std::string> steps;
    bool runs;
  } cases[] = {{0, {"compile @DocLength", "lock", "start", "unlock", "free", "stop"}, true},
               {1, {"compile @DocLength", "compile @DocLength"}, false},
               {2, {"compile @DocLength", "lock", "free"}, false},
               {3, {"compile @DocLength", "lock", "start", "unlock", "free"}, false},
               {4, {"compile @DocLength", "lock", "start", "unlock", "free", "stop"}, true}};
  notes.OSLoadString.answer(0);
  for (const auto& test : cases) {
    std::vector<std::string> steps;
    const auto step = [&](const char* name, int number, auto result) {
      steps.emplace_back(name);
      return number == test.failing ? throw Throwing{} : result;
    };
    notes.NSFFormulaCompile.answer(
        [&](char*, WORD, const char* text, WORD length, DHANDLE* out, auto...) {
          *out = 22;
          return step(("compile " + std::string(text, length)).c_str(), 1, STATUS{NOERROR});
        });
    notes.OSLockObject.answer([&](DHANDLE) -> void* { return step("lock", 2, &steps); });
    notes.NSFComputeStart.answer([&](WORD, void* formula, HCOMPUTE* out) {
      *out = formula;
      return step("start", 3, STATUS{NOERROR});
    });
    notes.OSUnlockObject.answer([&](DHANDLE) { return step("unlock", 9, TRUE); });
    notes.OSMemFree.answer([&](DHANDLE) { return step("free", 9, STATUS{NOERROR}); });
    notes.NSFComputeStop.answer([&](HCOMPUTE) { return step("stop", 4, STATUS{NOERROR}); });
    KoLNUtilities utilities;
    const std::string none = "Note Size Formula is not initialized";
    EXPECT_EQ(utilities.ShutdownFormulaComputation().GetMessage(), none);
    EXPECT_EQ(utilities.InitializeFormulaComputation().IsErrorSet(), !test.runs);
    EXPECT_EQ(utilities.GetSizeFormulaHandle(), test.runs ? &steps : nullptr);
    EXPECT_EQ(utilities.ShutdownFormulaComputation().IsErrorSet(), test.failing != 0);
    EXPECT_EQ(utilities.ShutdownFormulaComputation().GetMessage(), none);
    EXPECT_EQ(
        utilities.InitializeFormulaComputation().GetMessage() == "Formula already initialized",
        test.failing != 1);
    EXPECT_EQ(steps, test.steps) << test.failing;
  }
}

}  // namespace
