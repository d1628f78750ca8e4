// The wrappers over Notes calls: one table of what each answers when its call fails, throws or was
// never bound, and the arguments, capacities and cuts of those that do more than call.
#include "NotesUtilities.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/ScriptedNotes.h"

namespace {

std::string replaced(std::string text, const std::string& mark, const std::string& by) {
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark)) {
    text.replace(at, mark.size(), by);
  }
  return text;
}

// ---- every wrapper without its call -----------------------------------------------------------

// What wrappers write into; a call that fails must leave all of it alone.
struct Outputs {
  TIMEDATE time = {{5, 6}};
  OBJECT_DESCRIPTOR descriptor = {5, 6};
  INTLFORMAT format = {};
  TIME broken = {};
  std::string text = "kept";
  void* place = nullptr;
  DWORD number = 5;
  int zone = 5;
  char bytes[300] = {};

  bool kept() const {
    return time.Innards[0] == 5 && time.Innards[1] == 6 && descriptor.ObjectType == 5 &&
           descriptor.RRV == 6 && format.Flags == 0 && text == "kept" && place == nullptr &&
           number == 5 && zone == 5 && bytes[0] == '\0';
  }
};

struct Wrapper {
  const char* function;  // the Notes function behind it
  std::function<void(FakeNotes&, Failure)> arrange;
  std::function<std::string(KoLNUtilities&, Outputs&)> call;
  // {s}, {t}: status and text of the failure; {error}: both as a record; {v}: the value that came
  // back, 0 if none did.
  std::string answer;
  const char* logFunction = nullptr;
  std::string logText = {};
};

template <typename FakeFunction, typename Refusal>
std::function<void(FakeNotes&, Failure)> breaking(FakeFunction FakeNotes::*function,
                                                  Refusal refusal) {
  return [=](FakeNotes& notes, Failure how) {
    how == Failure::Refused  ? (notes.*function).answer(refusal)
    : how == Failure::Throws ? (notes.*function).answer(Throwing{})
                             : (notes.*function).unbind();
  };
}

// Failures that leave something behind in their output.
STATUS garbageTime(const void*, const TFMT*, char**, WORD, TIMEDATE* out) {
  *out = {{99, 99}};
  return refused;
}
STATUS garbageText(const void*, const TFMT*, const TIMEDATE*, char* out, WORD, WORD* length) {
  out[0] = '?';
  *length = 1;
  return refused;
}
STATUS garbagePath(const char*, const char*, const char*, char* out) {
  std::strcpy(out, "garbage");
  return refused;
}
WORD garbageString(HMODULE, STATUS, char* out, WORD) {
  std::strcpy(out, "garbage");
  return 0;
}
void nothing(...) {}

#define BROKEN(function, refusal) #function, breaking(&FakeNotes::function, refusal)
#define CALL(expression) [](U& u, [[maybe_unused]] Outputs& o) { return expression; }
#define NUMBER(expression) [](U& u, [[maybe_unused]] Outputs& o) { return to_string(expression); }
#define VOID(expression) [](U& u, Outputs& o) { return expression, std::string(); }

std::vector<Wrapper> wrappers() {
  using U = KoLNUtilities;
  using std::to_string;
  // clang-format off
  return {
      {BROKEN(OSLoadString, garbageString), [](U&, Outputs&) { return U::GetNotesErrorMsg(refused); }, "",
       "GetNotesErrorMsg", "Failed to fetch Notes Error Message, errorCode 49411"},
      {BROKEN(OSTranslate, 77), NUMBER(u.NotesTranslate(22, "a", 1, o.bytes, 9)), "{v}"},
      {BROKEN(OSTranslate, 0), NUMBER(u.ConvertUtf8ToNative("a", o.bytes, 9)), "0"},
      {BROKEN(ODSLength, 77), NUMBER(u.GetDSLength(27)), "{v}"},
      {BROKEN(ConvertTextToTIMEDATE, garbageTime),
       CALL(told(u.GetTimeDate("soon", o.time))), "{error}",
       "GetTimeDate", "Failed to convert time string soon to TIMEDATE format. error ({s}) {t}"},
      {BROKEN(ConvertTIMEDATEToText, garbageText),
       CALL(told(u.GetTimeString(o.time, o.text))), "{error}",
       "GetTimeString", "failed to convert TimeDate to Text error - ({s}) {t}"},
      {BROKEN(TimeLocalToGM, TRUE), NUMBER(u.GetTimeLocalToGM(&o.broken)), "1"},
      {BROKEN(TimeExtractJulianDate, 77), NUMBER(u.ExtractJulianDate(&o.time)), "{v}"},
      {BROKEN(TimeDateDifference, 77), NUMBER(u.GetTimeDateDifference(&o.time, &o.time)), "{v}"},
      {BROKEN(TimeDateCompare, 77), NUMBER(u.CompareTimeDate(&o.time, &o.time)), "{v}"},
      {BROKEN(OSMemAlloc, refused), CALL(told(u.AllocMem(0, 10, o.number))), "{error}"},
      {BROKEN(OSMemFree, refused), CALL(told(u.FreeMem(5))), "{error}"},
      {BROKEN(NSFDbOpen, gives(DBHANDLE{0xBAD}, refused)),
       CALL(told(u.OpenDirectory("/data", o.number))), "{error}"},
      {BROKEN(NSFDbClose, refused), CALL(told(u.CloseDirectory(o.number))), "{error}"},
      {BROKEN(OSPathNetConstruct, garbagePath),
       CALL(told(u.MakeNetworkPath("srv", "a.nsf", o.text, true))),
       "{error}", "MakeNetworkPath", "database a.nsf, error ({s}) {t}"},
      {BROKEN(IDCreateTable, refused), NUMBER(u.CreateTable(4, &o.number)), "{s}"},
      {BROKEN(IDInsert, refused), NUMBER(u.InsertIntoTable(1, 2, &o.zone)), "{s}"},
      {BROKEN(IDDelete, refused), CALL(told(u.DeleteID(1, 0xFFFFFFFE, &o.zone))), "{error}",
       "DeleteID", "Failed to delete id 4294967294 from idtable. error: {s} - {t}"},
      {BROKEN(IDDestroyTable, refused), CALL(told(u.MemFreeTable(o.number))), "{error}",
       "MemFreeTable", "Unable to destroy ID table. error {s} - {t}"},
      {BROKEN(IDEntries, 77), NUMBER(u.CountTableEntries(o.number)), "{v}"},
      {BROKEN(NSFLocateSummaryValue, 77),
       NUMBER(u.LocateSummaryValue("", "a", &o.place, nullptr, nullptr)), "{v}"},
      {BROKEN(OSGetEnvironmentLong, 77), NUMBER(u.GetNotesINIvarLong("a")), "{v}"},
      {BROKEN(OSGetEnvironmentString, 77), NUMBER(u.GetNotesINIvarString("a", o.bytes)), "{v}"},
      {BROKEN(OSLockObject, static_cast<void*>(nullptr)),
       NUMBER(u.CopyObject(5, nullptr, "", 0, 1)), "65535"},
      {BROKEN(TimeConstant, nothing), VOID(u.GetTimeDate(TIMEDATE_WILDCARD, &o.time)), ""},
      {BROKEN(OSCurrentTIMEDATE, nothing), VOID(u.GetCurrentTimeDate(&o.time)), ""},
      {BROKEN(OSCurrentTimeZone, nothing), VOID(u.GetDominoTimeZone(&o.zone, nullptr)), ""},
      {BROKEN(OSGetIntlSettings, nothing), VOID(u.GetIntlDateTimeFormat(&o.format)), ""},
      {BROKEN(ODSReadMemory, nothing), VOID(u.ReadMemory(o.bytes, &o.descriptor)), ""},
  };
  // clang-format on
}

TEST(NotesWrappersTest, EachSurvivesACallThatFailsThrowsOrIsNotBound) {
  KoLNUtilities utilities;
  for (const Wrapper& wrapper : wrappers()) {
    for (const Failure how : everyFailure) {
      SCOPED_TRACE(wrapper.function + (" " + statusOf(how)));
      const auto filled = [&](std::string text) {
        text = replaced(text, "{error}", "{s}: {t}");
        text = replaced(text, "{v}", how == Failure::Refused ? "77" : "0");
        text = replaced(text, "{s}", statusOf(how));
        return replaced(text, "{t}", messageOf(how, wrapper.function));
      };
      ScriptedNotes set;
      wrapper.arrange(set.notes, how);
      Outputs outputs;
      EXPECT_EQ(wrapper.call(utilities, outputs), filled(wrapper.answer));
      EXPECT_TRUE(outputs.kept());
      Lines lines;
      if (wrapper.logFunction != nullptr) {
        lines.push_back({wrapper.logFunction, 0, "NotesUtilities", filled(wrapper.logText)});
      }
      EXPECT_EQ(set.log.take(), lines);
    }
  }
}

class NotesUtilitiesTest : public testing::Test, protected ScriptedNotes {
 protected:
  KoLNUtilities utilities;
};

// ---- text and time ----------------------------------------------------------------------------

TEST_F(NotesUtilitiesTest, TextsAreChangedInPlaceByteByByte) {
  char mixed[] = "Ab-Z9\xC3\x84z";
  EXPECT_EQ(strupr(mixed), mixed);
  EXPECT_STREQ(mixed, "AB-Z9\xC3\x84Z");
  EXPECT_EQ(utilities.StrLwr(mixed), mixed);
  EXPECT_STREQ(mixed, "ab-z9\xC3\x84z");
  EXPECT_EQ(strupr(nullptr), nullptr);
  EXPECT_EQ(utilities.StrLwr(nullptr), nullptr);

  char title[] = "\ta/b";
  utilities.NormalizeText(title);
  EXPECT_STREQ(title, " a b");
}

TEST_F(NotesUtilitiesTest, Utf8BecomesNativeInTwoBoundedSteps) {
  notes.OSTranslate.answer([](WORD, const char*, WORD, char* out, WORD capacity) {
    std::memset(out, 'x', capacity);  // To the last byte, without a terminator.
    return capacity;
  });
  const std::string longest(65534, 'u');
  const struct {
    std::string text;
    int size;
    WORD capacity;  // 0: refused without a call
  } cases[] = {{"abc", 10, 10},        {"abc", 0, 0},          {"abc", -1, 0},
               {longest, 20, 20},      {longest + "u", 20, 0}, {"abc", 65534, 65534},
               {"abc", 1 << 20, 65534}};
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::Message() << test.text.size() << " bytes into " << test.size);
    const std::unique_ptr<char[]> out(new char[test.capacity + std::size_t{1}]());
    const std::size_t before = notes.OSTranslate.count();
    const bool done = utilities.ConvertUtf8ToNative(test.text.c_str(), out.get(), test.size);
    EXPECT_EQ(done, test.capacity != 0);
    EXPECT_EQ(std::strlen(out.get()), test.capacity);
    ASSERT_EQ(notes.OSTranslate.count() - before, done ? 2u : 0u);
    for (std::size_t step = before; step < notes.OSTranslate.count(); ++step) {
      const bool first = step == before;
      EXPECT_EQ(notes.OSTranslate.argument<0>(step),
                first ? OS_TRANSLATE_UTF8_TO_LMBCS : OS_TRANSLATE_LMBCS_TO_NATIVE);
      EXPECT_EQ(notes.OSTranslate.argument<2>(step), first ? test.text.size() : test.capacity);
      EXPECT_EQ(notes.OSTranslate.argument<4>(step), test.capacity);
    }
  }
  notes.OSTranslate.answer([](WORD mode, const char*, WORD, char*, WORD) -> WORD {
    return mode == OS_TRANSLATE_UTF8_TO_LMBCS;
  });
  char out[9] = {};
  EXPECT_FALSE(utilities.ConvertUtf8ToNative("abc", out, 8));  // The second step fails.
}

TEST_F(NotesUtilitiesTest, TimesAreReadUpToTheirTerminator) {
  notes.ConvertTextToTIMEDATE.answer(
      [](const void*, const TFMT*, char** text, WORD, TIMEDATE* out) -> STATUS {
        *text += 1;
        *out = {{7, 8}};
        return NOERROR;
      });
  const std::pair<std::string, WORD> lengths[] = {
      {"11/22/2025", 10}, {"", 0}, {{"12\0hidden", 9}, 2}, {std::string(70000, '1'), 65535}};
  for (const auto& [text, length] : lengths) {
    TIMEDATE out = {};
    EXPECT_EQ(told(utilities.GetTimeDate(text, out)), "clean");
    EXPECT_EQ(out.Innards[1], 8u);
    EXPECT_EQ(notes.ConvertTextToTIMEDATE.argument<3>(), length);
  }
  expectCall(notes.ConvertTextToTIMEDATE, nullptr, nullptr);
}

TEST_F(NotesUtilitiesTest, TimeTextsEndAtTheLengthGivenAndAtEightyBytes) {
  for (const WORD length : {0, 10, 80, 81, 65535}) {
    notes.ConvertTIMEDATEToText.answer([=](const void*, const TFMT*, const TIMEDATE* time,
                                           char* out, WORD capacity, WORD* written) -> STATUS {
      EXPECT_EQ(time->Innards[1], 9u);
      EXPECT_EQ(capacity, 80);
      std::memset(out, 't', capacity);
      *written = length;
      return NOERROR;
    });
    std::string out = "old";
    EXPECT_EQ(told(utilities.GetTimeString(TIMEDATE{{8, 9}}, out)), "clean");
    EXPECT_EQ(out, std::string(std::min<std::size_t>(length, 80), 't'));
  }
}

// ---- memory and objects -----------------------------------------------------------------------

// One locked object, and conversion calls that advance the pointer they are given by the 6 bytes
// of a descriptor on disk.
class ObjectTest : public NotesUtilitiesTest {
 protected:
  ObjectTest() {
    notes.ODSReadMemory.answer([](void* source, WORD type, void* out, WORD count) {
      EXPECT_EQ(type, 27);
      EXPECT_EQ(count, 1);
      char*& cursor = *static_cast<char**>(source);
      std::memcpy(out, cursor, 2);
      std::memcpy(static_cast<char*>(out) + 4, cursor + 2, 4);
      cursor += 6;
    });
    notes.ODSWriteMemory.answer([](void* destination, WORD type, const void* in, WORD count) {
      EXPECT_EQ(type, 27);
      char*& cursor = *static_cast<char**>(destination);
      for (const char* host = static_cast<const char*>(in); count-- > 0; host += 8, cursor += 6) {
        std::memcpy(cursor, host, 2);
        std::memcpy(cursor + 2, host + 4, 4);
      }
    });
    notes.OSLockObject.answer([this](DHANDLE handle) -> void* {
      EXPECT_EQ(handle, 5u);
      ++locks;
      return object;
    });
    notes.OSUnlockObject.answer([this](DHANDLE) { return --locks == 0 ? TRUE : FALSE; });
  }

  int locks = 0;
  char object[32] = {};
};

TEST_F(ObjectTest, DescriptorsAreReadAndRenumberedInPlace) {
  char value[] = "\x01\x02\x03\x04\x05\x06\x07\x08\x09";
  OBJECT_DESCRIPTOR read = {};
  utilities.ReadMemory(value + 1, &read);
  EXPECT_EQ(read.ObjectType, 0x0302);
  EXPECT_EQ(read.RRV, 0x07060504u);

  void* item = value;
  EXPECT_EQ(utilities.ConvertODToCanonical(&item, 0x11223344), NOERROR);
  EXPECT_EQ(item, value);
  EXPECT_STREQ(value, "\x01\x02\x03\x04\x44\x33\x22\x11\x09");
  notes.ODSWriteMemory.answer(Throwing{});
  EXPECT_NE(utilities.ConvertODToCanonical(&item, 1), NOERROR);
  notes.ODSReadMemory.answer(Throwing{});
  EXPECT_NE(utilities.ConvertODToCanonical(&item, 1), NOERROR);
  EXPECT_EQ(notes.ODSWriteMemory.count(), 2u);  // Nothing is written that was not read.
}

TEST_F(ObjectTest, CopyObjectConvertsTheBytesOfItsArgument) {
  const void* const source = reinterpret_cast<const void*>(std::uintptr_t{0x1122334455667788});
  const auto copy = [&](WORD count) { return utilities.CopyObject(5, nullptr, source, 77, count); };
  for (const WORD count : {3, 0, 1}) {
    std::memset(object, '?', sizeof object);
    EXPECT_EQ(copy(count), TRUE);
    // Type from the two lowest bytes, object ID from the four highest, the others zero.
    const std::string all = "\x88\x77\x44\x33\x22\x11" + std::string(12, '\0');
    EXPECT_EQ(std::string(object, sizeof object),
              all.substr(0, count * 6) + std::string(32 - count * 6, '?'));
    EXPECT_EQ(locks, 0);
  }
  {
    const auto throwing = notes.ODSWriteMemory.during(Throwing{});
    EXPECT_EQ(copy(1), 0xFFFF);
    EXPECT_EQ(locks, 0);
  }
  notes.OSUnlockObject.answer(FALSE);
  EXPECT_EQ(copy(1), 0);
  notes.OSUnlockObject.answer(Throwing{});
  EXPECT_EQ(copy(1), 0xFFFF);
}

TEST_F(ObjectTest, CopyBlockWritesAtTheStartOfThePool) {
  BLOCKID block = {5, 7};
  utilities.CopyBlock<WORD>(nullptr, "abcdef", 4, block);
  utilities.CopyBlock<WORD>(nullptr, nullptr, 0, block);
  EXPECT_STREQ(object, "abcd");
  EXPECT_EQ(block.pool, 5u);
  EXPECT_EQ(block.block, 0);
  EXPECT_EQ(locks, 0);
  notes.OSLockObject.answer(static_cast<void*>(nullptr));
  utilities.CopyBlock<WORD>(nullptr, "xyz", 3, block);  // Nowhere to write, nothing to unlock.
}

TEST_F(NotesUtilitiesTest, ObjectDetailsNeedADatabaseAndFailWithTheCodeAlone) {
  OBJECT_DESCRIPTOR descriptor = {3, 4};
  DWORD size = 0;
  const auto details = [&](DBHANDLE database) {
    return told(utilities.DBGetObjectDetails(database, descriptor, &size, nullptr, nullptr));
  };
  EXPECT_EQ(details(0), "4996: text of 4996");
  notes.NSFDbGetObjectSize.answer([&](DBHANDLE, DWORD id, WORD type, DWORD* out, WORD*, WORD*) {
    EXPECT_EQ(id, 4u);
    EXPECT_EQ(type, 3);
    *out = 70000;
    return NOERROR;
  });
  EXPECT_EQ(details(9), "clean");
  EXPECT_EQ(size, 70000u);
  notes.NSFDbGetObjectSize.answer(refused);
  EXPECT_EQ(details(9), "code 49411");
  notes.NSFDbGetObjectSize.unbind();
  EXPECT_EQ(details(9), "65535: Error: Domino API function [NSFDbGetObjectSize] is not bound.");
}

TEST_F(NotesUtilitiesTest, NetworkPathsNameTheServerOnlyWhenAskedTo) {
  notes.OSPathNetConstruct.answer([](const char*, const char*, const char*, char* out) {
    std::memset(out, 'n', 1024);  // The whole buffer, without a terminator.
    return NOERROR;
  });
  for (const bool withServer : {true, false}) {
    std::string out = "old";
    EXPECT_EQ(told(utilities.MakeNetworkPath("CN=Mail", "a.nsf", out, withServer)), "clean");
    EXPECT_EQ(out, std::string(1024, 'n'));
    expectCall(notes.OSPathNetConstruct, "(null)", withServer ? "CN=Mail" : "(null)", "a.nsf");
  }
}

TEST_F(NotesUtilitiesTest, ArgumentsPassInTheirOrder) {
  TIMEDATE a = {{1, 2}};
  TIMEDATE b = {{3, 4}};
  INTLFORMAT format;
  BOOL flag = FALSE;
  notes.TimeDateDifference.answer(-7);
  notes.TimeDateCompare.answer(-1);
  notes.OSGetIntlSettings.answer();
  notes.IDInsert.answer(NOERROR);
  EXPECT_EQ(utilities.GetTimeDateDifference(&a, &b), -7);
  expectCall(notes.TimeDateDifference, &a, &b);
  EXPECT_EQ(utilities.CompareTimeDate(&a, &b), -1);
  expectCall(notes.TimeDateCompare, &a, &b);
  utilities.GetIntlDateTimeFormat(&format);
  expectCall(notes.OSGetIntlSettings, &format, 140);
  EXPECT_EQ(utilities.InsertIntoTable(5, 0x8000000A, &flag), NOERROR);
  expectCall(notes.IDInsert, 5u, 0x8000000Au, &flag);
}

TEST_F(NotesUtilitiesTest, SummaryAndIniTextsEndAtTheirBuffers) {
  std::string out = "old";
  notes.NSFGetSummaryValue.answer([](const void*, const char*, char* text, WORD capacity) {
    EXPECT_EQ(capacity, 1024);
    std::memset(text, 's', capacity);
    return 3;  // Any value but 0 is true.
  });
  EXPECT_EQ(utilities.GetSummaryValue("summary", "$Path", out), 3);
  EXPECT_EQ(notes.NSFGetSummaryValue.argument<1>(), "$Path");
  EXPECT_EQ(out, std::string(1024, 's'));
  for (const Failure how : everyFailure) {
    out = "old";
    breaking(&FakeNotes::NSFGetSummaryValue, FALSE)(notes, how);
    EXPECT_EQ(utilities.GetSummaryValue("summary", "$Path", out), FALSE);
    EXPECT_EQ(out, "");  // Always assigned.
  }

  char value[257] = {};
  notes.OSGetEnvironmentString.answer([](const char*, char* text, WORD capacity) {
    std::memset(text, 'v', capacity);
    return TRUE;
  });
  EXPECT_EQ(utilities.GetNotesINIvarString("Directory", value), TRUE);
  EXPECT_EQ(std::string(value), std::string(256, 'v'));
}

TEST_F(NotesUtilitiesTest, WithoutAPlaceNothingIsAsked) {
  void* nowhere = nullptr;
  std::string mailbox;
  ArchiveMailBoxInfoStruct archive;
  EXPECT_EQ(utilities.ConvertODToCanonical(&nowhere, 1), ERR_BAD_PARAM);
  EXPECT_EQ(utilities.AssociateArchiveMBs("", mailbox, archive, nullptr, nullptr), -1);
  EXPECT_EQ(utilities.FindAView(nullptr, nullptr, nullptr), NOERROR);
}

TEST_F(NotesUtilitiesTest, AStagedFileEndsWhereAnImporterCouldNoLongerCount) {
  const std::unique_ptr<FILE, decltype(&std::fclose)> file(std::tmpfile(), &std::fclose);
  const BYTE data[32] = {};
  for (const auto& [total, ok] : {std::pair(0xFFFFFFDFu, 1), {0xFFFFFFE0u, 0}}) {
    NoteExportRecord record = {file.get(), nullptr, total, nullptr, 0, 1, 1};
    KoLNUtilities::DXLExportStreamFunc(data, sizeof data, &record);
    EXPECT_EQ(std::pair(record.ok, record.written), std::pair(BYTE(ok), 32u));
    EXPECT_EQ(log.take().size(), ok ? 0u : 1u);
  }
}

}  // namespace
