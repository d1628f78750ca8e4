// The document object against a scripted Notes API: one table over how each member guards its
// handles, asks, records, logs and what it leaves open; then what its own members hand out.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <tuple>

#include "NotesDocument.h"
#include "NotesUtilities.h"
#include "support/ScarceMemory.h"
#include "support/ScriptedNotes.h"

namespace {

static_assert(sizeof(KoLNDocument) == 72 && sizeof(KoLNDataDocument) == 72 &&
              sizeof(KoLNDesignDocument) == 72 && !std::is_copy_constructible_v<KoLNDocument>);

using Held = std::pair<NOTEID, NOTEHANDLE>;

struct Document : KoLNDataDocument {
  explicit Document(DBHANDLE db, NOTEHANDLE note, NOTEID id = 66) : KoLNDataDocument(db, id) {
    SetNoteHandle(note);
  }
  Held held() const { return {noteId_, note_}; }
};

enum class Needs { Db, DbLogged, DbAndId, Note };
using enum Needs;

// How one member deals with failures. In the lines go the status and the message.
struct Member {
  std::string name;
  KoLNError (*call)(KoLNDataDocument&);
  std::string function;
  bool answersStatus;
  void (*fail)(FakeNotes&, std::optional<Failure>);
  void (*expectArguments)(FakeNotes&);
  Needs needs;
  std::string thrown = "";  // Recorded when the call throws; empty: as any other failure.
  std::string line = "", thrownLine = "";
  Held done = {66, 33}, failed = {66, 33}, threw = failed;
};

// clang-format off
#define MEMBER(member, arguments, notesFunction, ...) \
  #member, [](KoLNDataDocument& doc) { return doc.member arguments; }, #notesFunction, \
  std::is_same_v<decltype(std::function(KO_##notesFunction))::result_type, STATUS>, \
  [](FakeNotes& notes, std::optional<Failure> how) { \
    how ? fail(notes.notesFunction, *how) : notes.notesFunction.answer(); \
  }, [](FakeNotes& notes) { expectCall(notes.notesFunction __VA_OPT__(, ) __VA_ARGS__); }
// clang-format on

TIMEDATE time;
ORIGINATORID oid;
WORD word;
unsigned long age;
unsigned int size;
bool flag;
std::string text;
Texts texts;
std::vector<ATTACHMENT> files;
DbMigrateCriteria facts;
DXLEXPORTHANDLE exporter = 77;
NoteExportRecord dxl;
char name[] = "Body", value[] = "value";
NSFITEMSCANPROC visit = [](auto...) -> STATUS { return NOERROR; };

std::string in(const std::string& call) {
  return "Error: caught an exception of unknown type thrown by Domino API function: " + call;
}
const std::string invalidNote = "551: text of 551", caught = "Caught and exception during ";
const std::string info = in("[NSFNoteGetInfo(\t...)]."), mailTime = in("[NSFItemGetTime(\t...)].");
const std::string openThrew = in("[NSFNoteOpen(...)]."), noOpen = "Error: unable to open note: ";
const std::string notOpened = noOpen + "[00000042]. NSFNoteOpen(...) returned: [%s]. ";
const std::string asked = " returned: [%s]. Resulting error string: [%s].";
const std::string kept = " for note [66]. NSFItemDelete(...)" + asked;
const std::string list = "Caught exception in [MailGetMessageAttachmentInfo(\t...)]";
const std::string there = "Caught exception in [NSFItemIsPresent(\t...)] while checking for ";

// clang-format off
const Member members[] = {
  {MEMBER(Create, (), NSFNoteCreate, 11u), DbLogged, in("[NSFNoteCreate(\t...)]."),
    "Error: unable to create note: NSFNoteCreate(...) returned: [66]. ", "", {66, 0}, {66, 0}},
  {MEMBER(Open, (0xC123), NSFNoteOpen, 11u, 66u, 0xC123), DbAndId, invalidNote, notOpened, openThrew,
    {66, 0}, {66, 0}},
  {MEMBER(OpenExt, (0x81234567), NSFNoteOpenExt, 11u, 66u, 0x81234567), DbAndId, invalidNote,
    notOpened, openThrew, {66, 0}, {66, 0}},
  {MEMBER(OpenByUNID, (0xC123), NSFNoteOpenByUNID, 11u), DbLogged, invalidNote,
    noOpen + "NSFNoteOpenByUNID(...) returned: [%s]. ", openThrew, {66, 0}, {66, 0}},
  {MEMBER(Close, (), NSFNoteClose, 33u), Note, invalidNote,
    noOpen + "[%3$08x]. NSFNoteOpen(...) returned: [%1$s]. ", in("[NSFNoteClose(\t...)]."),
    {66, 0}, {66, 33}, {66, 0}},
  {MEMBER(HardDelete, (), NSFNoteHardDelete, 11u, 66u, 0u), DbAndId, in("[NSFNoteHardDelete(\t...)]."),
    "Error: NSFNoteHardDelete(...)of Note [66]" + asked, "", {0, 0}, {66, 0}},
  {MEMBER(Delete, (0xC009), NSFNoteDelete, 11u, 66u, 0xC009), DbAndId, in("[NSFNoteDelete(\t...)]."),
    "Error: NSFNoteDelete(...)of Note [66]" + asked, "", {0, 33}},
  {MEMBER(Update, (0xC007), NSFNoteUpdate, 33u, 0xC007), Note, caught + "NoteUpdate"},
  {MEMBER(AppendItem, (9, name, 3, 0x500, value, 70000), NSFItemAppend, 33u, 9, name, 3, 0x500, value,
    70000u), Note, caught + "NSFItemAppend"},
  {MEMBER(AppendObject, (9, name, 3, {21, 2}, 70000, 1), NSFItemAppendObject, 33u, 9, name, 3), Note,
    caught + "NSFItemAppendObject"},
  {MEMBER(GetCreationTime, (time), NSFNoteGetInfo, 33u, 2), Note, info},
  {MEMBER(GetModifiedTime, (time), NSFNoteGetInfo, 33u, 4, &time), Note, info},
  {MEMBER(GetLastAccessedTime, (time), NSFNoteGetInfo, 33u, 8, &time), Note, info},
  {MEMBER(GetInfo, (3, &word), NSFNoteGetInfo, 33u, 3, &word), Note, info},
  {MEMBER(SetInfo, (7, &word), NSFNoteSetInfo, 33u, 7, &word), Note, in("[NSFNoteSetInfo(\t...)].")},
  {MEMBER(GetInfoExtended, (&oid, &time, &word), NSFDbGetNoteInfo, 11u, 66u, &oid, &time, &word), Db, info},
  {MEMBER(GetAgeInSeconds, (age, 0), NSFNoteGetInfo, 33u, 2), Note, in("")},
  {MEMBER(GetAgeInSeconds, (age, 0), OSCurrentTIMEDATE), Note, in("")},
  {MEMBER(GetAgeInSeconds, (age, 0), TimeDateDifference), Note, in("")},
  {MEMBER(GetSentRecievedTime, (time), NSFItemGetTime, 33u, "PostedDate", &time), Note, mailTime},
  {MEMBER(GetSentRecievedTime, (time), NSFNoteGetInfo, 33u, 2), Note, mailTime},
  {MEMBER(GetSubject, (text), MailGetMessageItem, 33u, 3), Note, in("[MailGetMessageItem(\t...)].")},
  {MEMBER(ScanItems, (visit, &word), NSFItemScan, 33u, visit, &word), Note},
  {MEMBER(Export, (exporter, &dxl), DXLExportNote, 77u, &KoLNUtilities::DXLExportStreamFunc, 33u, &dxl),
    Note, "Caught exception in exporting note\n"},
  {MEMBER(HasItem, ("Body", flag), NSFItemInfo, 33u, "Body", 4), Note, there + "attachment\t\n"},
  {MEMBER(IsMigratedMessage, (flag), NSFItemInfo, 33u, "StubData", 8), Note, there + "migration\t\n"},
  {MEMBER(GetAttachmentInfoList, (texts), MailGetMessageAttachmentInfo, 33u, 0), Note, list + " \n"},
  {MEMBER(GetAttachmentList, (files), MailGetMessageAttachmentInfo, 33u, 0), Note, list + "\n"},
  {MEMBER(GetMigrationDetails, (facts), NSFNoteGetInfo, 33u, 8), Note, info},
  {MEMBER(GetMigrationDetails, (facts), MailGetMessageAttachmentInfo, 33u, 0), Note, list + "\n"},
  {MEMBER(AddAttachmentInfo, (), MailGetMessageAttachmentInfo, 33u, 0), Note},
  {MEMBER(AddAttachmentInfo, (), NSFItemSetText, 33u, "AttachmentData"), Note, "",
    "Warning: unable to add attachment info field to note: [66]. NSFItemSetText(...)" + asked},
  {MEMBER(RemoveMessageBody, (), NSFItemDelete, 33u, "Body", 4), Note, "",
    "Error: unable to remove body" + kept},
  {MEMBER(RemoveSealedFields, (), NSFItemDelete, 33u, "$SealData", 9), Note, "",
    "Error: unable to remove $Seal field" + kept},
  {MEMBER(SetAttachment, ("$FILE", "/tmp/a", "a.pdf", 1), NSFNoteAttachFile, 33u, "$FILE", 5, "/tmp/a",
    "a.pdf", 1), Note, "Exception caught during SetAttachment()"},
};
// clang-format on

TEST(NotesDocumentTest, EveryMemberGuardsAsksRecordsLogsAndLeavesOpenInItsOwnWay) {
  for (const Member& member : members) {
    for (const Failure how : everyFailure) {
      // What answers otherwise cannot refuse, and any status means that an item is not there.
      if (how == Failure::Refused && (!member.answersStatus || member.function == "NSFItemInfo")) {
        continue;
      }
      SCOPED_TRACE(member.name + " " + member.function + " " + statusOf(how));
      ScriptedNotes set;
      set.notes.NSFNoteGetInfo.answer();
      set.notes.NSFItemGetTime.answer();
      set.notes.NSFItemInfo.answer();
      set.notes.NSFItemSetText.answer();
      set.notes.MailGetMessageAttachmentInfo.answer();
      set.notes.OSCurrentTIMEDATE.answer();
      set.notes.TimeDateDifference.answer();
      set.notes.NSFNoteClose.answer(refused);  // Nobody looks, except in `Close`.
      const auto lines = [&](const std::string& line) {
        return line.empty() ? Lines{} : Lines{{member.name, 0, "NotesDocument", line}};
      };
      const bool note = member.needs == Note;
      Document doc(11, 33), failing(11, 33), unset(11, 0, 0), without(note ? 11 : 0, note ? 0 : 33);
      member.fail(set.notes, std::nullopt);
      EXPECT_EQ(told(member.call(doc)), "clean");
      member.expectArguments(set.notes);
      EXPECT_EQ(doc.held(), member.done);
      EXPECT_EQ(set.log.take(), Lines{});

      time = {{77, 78}};
      age = 7;
      text = "old";
      member.fail(set.notes, how);
      const std::string message = messageOf(how, member.function);
      const bool own = how == Failure::Throws && !member.thrown.empty();
      EXPECT_EQ(told(member.call(failing)), !own ? statusOf(how) + ": " + message
                                            : member.thrown == invalidNote
                                                ? invalidNote
                                                : "65535: " + member.thrown);
      EXPECT_EQ(failing.held(), how == Failure::Throws ? member.threw : member.failed);
      char line[256];
      std::snprintf(line, sizeof line, (own ? member.thrownLine : member.line).c_str(),
                    statusOf(how).c_str(), message.c_str(), std::stoi(statusOf(how)));
      EXPECT_EQ(set.log.take(), lines(line));

      // Any call would now fail otherwise.
      EXPECT_EQ(told(member.call(without)), note ? "5051: text of 5051" : "4996: text of 4996");
      EXPECT_EQ(without.held(), Held(66, note ? 0 : 33));
      EXPECT_EQ(set.log.take(), lines(note || member.needs == Db ? "" : "Invalid db handle"));
      if (member.needs == DbAndId) {
        EXPECT_EQ(told(member.call(unset)), "65535: Note ID note set");
        EXPECT_EQ(set.log.take(), lines("Invalid note ID"));
      }
      EXPECT_EQ(std::tuple(time.Innards[0], age, text), std::tuple(77, 7, "old"));
    }
  }
}

class OpenNoteTest : public testing::Test, protected ScriptedNotes {
 protected:
  OpenNoteTest() {
    notes.NSFNoteClose.answer([this](NOTEHANDLE closed) -> STATUS {
      steps.push_back("close " + std::to_string(closed));
      throw Throwing{};  // Swallowed wherever nobody asked for the close.
    });
  }
  Document doc{11, 33};
};

TEST_F(OpenNoteTest, IsClosedBeforeAnotherOneAndInTheEnd) {
  const std::function<KoLNError(KoLNDocument&)> calls[] = {
      [](auto& note) { return note.Create(); }, [](auto& note) { return note.Open(0); },
      [](auto& note) { return note.OpenExt(0); }, [](auto& note) { return note.OpenByUNID(0); }};
  for (const STATUS status : {STATUS{NOERROR}, refused}) {
    const auto open = [&](auto... arguments) {
      steps.push_back("open");
      return gives(NOTEHANDLE{44}, status)(arguments...);
    };
    notes.NSFNoteCreate.answer(open);
    notes.NSFNoteOpen.answer(open);
    notes.NSFNoteOpenExt.answer(open);
    notes.NSFNoteOpenByUNID.answer(open);
    for (const auto& call : calls) {
      steps.clear();
      EXPECT_EQ(told(call(*std::make_unique<Document>(11, 33))), status ? refusedText : "clean");
      EXPECT_EQ(steps, status ? Texts({"close 33", "open"})  // What it gave is no handle.
                              : Texts({"close 33", "open", "close 44"}));
    }
  }
  notes.NSFNoteOpenByUNID.answer([](DBHANDLE, UNIVERSALNOTEID* unid, WORD, NOTEHANDLE*) {
    return static_cast<STATUS>(unid->File.Innards[1] * 10 + unid->Note.Innards[0]);
  });
  EXPECT_EQ(told(KoLNDocument(11, 0, {{{1, 2}}, {{3, 4}}}).OpenByUNID(0)), "23: text of 23");
}

TEST_F(OpenNoteTest, AgesCountFromTheMailsTimesAndNeverBackwards) {
  std::string items;
  LONG difference = 0;
  DWORD since = 0;
  notes.NSFItemGetTime.answer([&](NOTEHANDLE, const char* item, TIMEDATE* out) {
    const bool found = items.find(item[0]) != std::string::npos;
    *out = found ? TIMEDATE{{item[0] == 'D' ? 5u : 6u, 0}} : *out;
    return found ? TRUE : FALSE;
  });
  notes.NSFNoteGetInfo.answer([](NOTEHANDLE, WORD, void* out) {
    *static_cast<ORIGINATORID*>(out) = {{{1, 0}}, {{2, 0}}, 3, {{4, 0}}};
  });
  notes.OSCurrentTIMEDATE.answer([](TIMEDATE* out) { *out = {{9, 0}}; });
  notes.TimeDateDifference.answer([&](const TIMEDATE* later, const TIMEDATE* earlier) {
    since = later->Innards[0] * 10 + earlier->Innards[0];
    return difference;
  });
  // clang-format off
  const struct { std::string items; unsigned long flag; LONG difference; DWORD since, sent, age; } cases[] = {
      {"DP", 1, 3600, 95, 5, 3600}, {"P", 1UL << 32, 0x7FFFFFFF, 96, 6, 0x7FFFFFFF},
      {"", 1, 50, 0, 2, 0}, {"DP", 0, 1, 94, 5, 1}, {"P", 1, -1, 96, 6, 0}, {"", 0, -9, 94, 2, 0}};
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    items = test.items;
    difference = test.difference;
    since = 0;
    EXPECT_EQ(told(doc.GetAgeInSeconds(age = 7, test.flag)), "clean");
    EXPECT_EQ(told(doc.GetSentRecievedTime(time)), "clean");
    EXPECT_EQ(std::tuple(since, time.Innards[0], age), std::tuple(test.since, test.sent, test.age));
    EXPECT_EQ(linesOf("GetAgeInSeconds", "NotesDocument"),
              since ? Texts{}
                    : Texts{"2 Warning: unable to determine sent/received time for a note. Will "
                            "use default age of 0 seconds."});
  }
  doc.GetCreationTime(time);
  EXPECT_EQ(time.Innards[0], 2u);
  notes.NSFItemGetTime.answer(Throwing{});
  EXPECT_EQ(told(doc.GetAgeInSeconds(age, 1)), "65535: " + in(""));
}

template <typename... Parts>
std::string bytes(Parts... parts) {
  return (std::string(reinterpret_cast<const char*>(&parts), sizeof parts) + ...);
}

TEST_F(OpenNoteTest, ASizeIsAWholeNumberAndNothingElse) {
  const std::string of = "65535: The result of evaluating note size is ";
  const std::string cut = of + "cut short.", noSize = of + "no size.";
  // clang-format off
  const struct { std::string result; unsigned int size; std::string answer = "clean"; } cases[] = {
      {bytes(TYPE_NUMBER, 1234.9), 1234}, {bytes(TYPE_NUMBER, 4294967295.9), 0xFFFFFFFF},
      {bytes(TYPE_NUMBER, 0.9), 0}, {bytes(TYPE_NUMBER_RANGE, RANGE{2, 1}, 77.5, 8.0), 77},
      {bytes(TYPE_NUMBER_RANGE, RANGE{0, 1}, 77.5), 7, of + "an empty list."},
      {bytes(TYPE_TEXT, 5.0), 7, "65535: Unknown type returned while evaluating note size."},
      {bytes(TYPE_NUMBER, -0.9), 7, noSize}, {bytes(TYPE_NUMBER, 4294967296.0), 7, noSize},
      {bytes(TYPE_NUMBER, std::nan("")), 7, noSize}, {bytes(TYPE_NUMBER, HUGE_VAL), 7, noSize},
      {"\x01", 7, cut}, {bytes(TYPE_NUMBER, 5.0).substr(0, 9), 7, cut},
      {bytes(TYPE_NUMBER_RANGE, WORD{1}), 7, cut},
      {bytes(TYPE_NUMBER_RANGE, RANGE{1, 0}, 5.0).substr(0, 13), 7, cut}};
  // clang-format on
  std::vector<char> block;
  notes.NSFComputeEvaluate.answer([&](HCOMPUTE, NOTEHANDLE, DHANDLE* out, WORD* length, auto...) {
    *length = static_cast<WORD>(block.size());
    return gives(DHANDLE{21})(out);
  });
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    block = std::vector<char>(test.result.begin(), test.result.end());  // Not a byte more.
    lend(block.data());
    steps.clear();
    EXPECT_EQ(told(doc.GetSize(size = 7, &word)), test.answer);
    EXPECT_EQ(size, test.size);
    EXPECT_EQ(steps, Texts({"lock 21", "unlock 21", "free 21"}));
  }
  expectCall(notes.NSFComputeEvaluate, &word, 33u);
  steps.clear();
  notes.OSLockObject.answer(Throwing{});
  EXPECT_EQ(told(doc.GetSize(size, &word)),
            "65535: No result returned while evaluating note size.");
  for (const Failure how : everyFailure) {
    fail(notes.NSFComputeEvaluate, how);
    EXPECT_EQ(told(doc.GetSize(size, &word)),
              statusOf(how) + ": " + messageOf(how, "NSFComputeEvaluate"));
  }
  EXPECT_EQ(told(doc.GetSize(size, nullptr)),
            "65535: Null computation handle received. Probable cause, formula computation not "
            "initialized.");
  EXPECT_EQ(told(Document(11, 0).GetSize(size, nullptr)), "5051: text of 5051");
  EXPECT_EQ(std::tuple(size, steps, log.take()), std::tuple(7u, Texts{"free 21"}, Lines{}));
}

TEST_F(OpenNoteTest, TextsEndWhereTheirBuffersEnd) {
  notes.MailGetMessageItem.answer([](DHANDLE, WORD, char* out, WORD capacity, WORD*) {
    std::memset(out, 's', capacity);  // Unterminated.
    return NOERROR;
  });
  EXPECT_EQ(told(doc.GetSubject(text)), "clean");
  EXPECT_EQ(text, std::string(256, 's'));
  notes.NSFItemGetText.answer([](NOTEHANDLE, const char*, char* out, WORD capacity) -> WORD {
    std::memset(out, 't', capacity - 1);
    return 5000;
  });
  EXPECT_EQ(doc.GetItem("Body", text), 5000);
  EXPECT_EQ(text, std::string(1023, 't'));
  notes.NSFItemGetText.answer(Throwing{});
  for (const NOTEHANDLE note : {33, 0}) {
    EXPECT_EQ(Document(11, note).GetItem("Body", text = "old"), 0);
    EXPECT_EQ(text, "");
  }
  EXPECT_EQ(notes.NSFItemGetText.count(), 2u);
}

TEST_F(OpenNoteTest, WithoutAReceiverNothingIsAsked) {
  EXPECT_EQ(told(doc.ScanItems(nullptr, &word)), "65535: No routine to scan the items with.");
  EXPECT_EQ(told(doc.Export(exporter, nullptr)), "65535: No record to export to.");
}

TEST_F(OpenNoteTest, WithoutMemoryACopyHasRatherNoNameThanAWrongOne) {
  ATTACHMENT file, copy;
  file.name = std::string(40, 'n');
  for (const int memory : {0, 1}) {
    copy.name = "other.pdf";
    {
      const ScarceMemory scarce(memory);
      copy = file;
    }
    EXPECT_EQ(copy.name, memory ? file.name : "");
  }
}

}  // namespace
