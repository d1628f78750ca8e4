// The core of the simulated Notes runtime: text, times, memory, ID tables, on-disk structures,
// summary buffers, notes.ini. Linked with the runtime's own objects.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "Clock.h"
#include "Control.h"
#include "Environment.h"
#include "Export.h"
#include "Memory.h"
#include "Status.h"
#include "SummaryBuffer.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::string_literals;

std::string translate(WORD mode, const std::string& in, WORD room = 0xFFFE) {
  std::string out(room, '\xEE');
  out.resize(OSTranslate(mode, in.data(), static_cast<WORD>(in.size()), out.data(), room));
  return out;
}

TEST(SimulatorText, WritesTheFormThatTheRuntimeKnows) {
  const std::pair<std::string, std::string> cases[] = {
      {"A\t\n\r\x19~", "A\t\n\r\x19~"},
      {"\x01", "\x0F\x21"},
      {"\x7F", "\x7F"},
      {"\xC2\x85", "\x0F\x85"},
      {"\u00E9", "\x82"},
      {"\u00DF", "\xE1"},
      {"\u00A0", "\xFF"},
      {"\u1E00", "\x14\xF6\x1E"},
      {"\u2302", "\x14\x23\x02"},
      {"\U0001F600", "\x14\xD8\x3D\x14\xF6\xDE"},
      {"\u20AC", "\x14\x20\xAC"},
      {"a\0b"s, "a\0b"s},
      // What has no form of its own, and malformed UTF-8: overlong, surrogate, too high, cut off.
      {"\uF641", "\x14\xFF\xFD"},
      {"\xC0\xAF", "\x14\xFF\xFD\x14\xFF\xFD"},
      {"\xED\xA0\x80", "\x14\xFF\xFD\x14\xFF\xFD\x14\xFF\xFD"},
      {"\xF4\x90\x80\x80", "\x14\xFF\xFD\x14\xFF\xFD\x14\xFF\xFD\x14\xFF\xFD"},
      {"\xE2\x82", "\x14\xFF\xFD"},
      {"\xF0\x9F\x98x", "\x14\xFF\xFDx"},
      {"\x80z", "\x14\xFF\xFDz"}};
  for (const auto& [text, lmbcs] : cases) {
    EXPECT_EQ(translate(OS_TRANSLATE_UTF8_TO_LMBCS, text), lmbcs) << text;
    EXPECT_EQ(translate(OS_TRANSLATE_NATIVE_TO_LMBCS, text), lmbcs) << text;
  }
}

TEST(SimulatorText, ReadsWhatOthersWroteAndIsNeverMisledByIt) {
  const std::pair<std::string, std::string> cases[] = {
      {"\x01\x82", "\u00E9"},        // group 1 with its prefix
      {"\x03\x80#", "#"},            // a code page without a table here
      {"\x10\x81\x41#", "#"},        // likewise, of two bytes
      {"\x07\x1F#", "#"},            // unused
      {"\x14\xD8\x3D#", "\uFFFD#"},  // half a pair
      {"\x14\xF6\xDE#", "\uFFFD#"},  // the other half
      {"#\x14\x20", "#"},            // cut off
      {"#\x14", "#"},
      {"#\x0F", "#"},
      {"\x14\xD8\x3D\x14\xF6", "\uFFFD"},
      {"\x14\xF6\xF6", "\uF600"}};
  for (const auto& [lmbcs, text] : cases) {
    EXPECT_EQ(translate(OS_TRANSLATE_LMBCS_TO_UTF8, lmbcs), text) << text;
    EXPECT_EQ(translate(OS_TRANSLATE_LMBCS_TO_NATIVE, lmbcs), text) << text;
  }
}

TEST(SimulatorText, AllOfUnicodeComesBack) {
  for (std::uint32_t row = 0; row < 0x110000; row += 0x100) {
    if ((row >= 0xD800 && row < 0xE000) || row == 0xF600) continue;
    std::u16string units;
    for (std::uint32_t c = row; c < row + 0x100; ++c) {
      if (c >= 0x10000) units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      units += static_cast<char16_t>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FF));
    }
    const std::string utf16(reinterpret_cast<const char*>(units.data()), units.size() * 2);
    const std::string lmbcs = translate(OS_TRANSLATE_UNICODE_TO_LMBCS, utf16);
    ASSERT_TRUE(translate(OS_TRANSLATE_LMBCS_TO_UNICODE, lmbcs) == utf16) << row;
    const std::string utf8 = translate(OS_TRANSLATE_LMBCS_TO_UTF8, lmbcs);
    ASSERT_TRUE(translate(OS_TRANSLATE_UTF8_TO_LMBCS, utf8) == lmbcs) << row;
    ASSERT_EQ(lmbcs.find('\0', 1), std::string::npos) << "no nul inside a character, row " << row;
  }
}

TEST(SimulatorText, OverflowStopsBehindTheLastWholeCharacter) {
  const std::string text = "a\u00E9\u20AC\U0001F600z";
  const std::string lmbcs = translate(OS_TRANSLATE_UTF8_TO_LMBCS, text);
  struct Case {
    WORD mode;
    std::string in;
    std::vector<WORD> ends;  // of the characters in the result
  };
  const Case cases[] = {{OS_TRANSLATE_UTF8_TO_LMBCS, text, {0, 1, 2, 5, 11, 12}},
                        {OS_TRANSLATE_LMBCS_TO_UTF8, lmbcs, {0, 1, 3, 6, 10, 11}},
                        {OS_TRANSLATE_LMBCS_TO_UNICODE, lmbcs, {0, 2, 4, 6, 10, 12}}};
  for (const Case& c : cases) {
    const std::string whole = translate(c.mode, c.in);
    ASSERT_EQ(whole.size(), c.ends.back());
    for (WORD room = 0; room <= whole.size() + 1; ++room) {
      std::string out(20, '\xEE');
      const WORD size =
          OSTranslate(c.mode, c.in.data(), static_cast<WORD>(c.in.size()), out.data(), room);
      const auto end = std::prev(std::upper_bound(c.ends.begin(), c.ends.end(), room));
      EXPECT_EQ(size, *end) << c.mode << " " << room;
      EXPECT_EQ(out, whole.substr(0, size) + std::string(20 - size, '\xEE'));
    }
  }
}

TEST(SimulatorText, TerminatedInputCaseAndUnknownModes) {
  char out[64] = {};
  EXPECT_EQ(OSTranslate(OS_TRANSLATE_UTF8_TO_LMBCS, "\u00E9a\0b", MAXWORD, out, 64), 2);
  const char16_t wide[] = u"\u0100\u00E9\U0001F600";
  EXPECT_EQ(OSTranslate(OS_TRANSLATE_UNICODE_TO_LMBCS, reinterpret_cast<const char*>(wide), MAXWORD,
                        out, 64),
            3 + 1 + 6);
  EXPECT_EQ(OSTranslate(OS_TRANSLATE_UNICODE_TO_LMBCS, "a\0b", 3, out, 64), 1);
  // In place, and though the result is longer than the text: U+00FF to U+0178.
  char both[16] = "\x98\x82z";
  EXPECT_EQ(OSTranslate(OS_TRANSLATE_LOWER_TO_UPPER, both, 3, both, 16), 5);
  EXPECT_STREQ(both, "\x14\x01\x78\x90Z");
  EXPECT_EQ(translate(OS_TRANSLATE_UPPER_TO_LOWER, "\x90\xE1Z"), "\x82\xE1z");
  EXPECT_EQ(OSTranslate(99, "a", 1, out, 64), 0);
  EXPECT_EQ(OSTranslate(OS_TRANSLATE_UTF8_TO_LMBCS, nullptr, 1, out, 64), 0);
}

// 2024-02-29 13:45:30.25 GMT, the same stamped five hours west with daylight saving, and stamped
// 5 h 30 min east.
constexpr TIMEDATE leapDay{{0x004B93C1, 0x00258AD2}};
constexpr TIMEDATE leapDayWest{{0x004B93C1, 0x85258AD2}};
constexpr TIMEDATE leapDayEast{{0x004B93C1, 0x65258AD2}};
constexpr TIMEDATE wildcard{{ALLDAY, ANYDAY}};

std::string textOf(const TIMEDATE& time, BYTE structure = TSFMT_DATETIME) {
  const TFMT format{0, 0, 0, structure};
  char text[MAXALPHATIMEDATE] = {};
  WORD length = 0;
  const STATUS status = ConvertTIMEDATEToText(nullptr, &format, &time, text, sizeof text, &length);
  return status == NOERROR ? std::string(text, length) : "status " + std::to_string(status);
}

TEST(SimulatorTime, Encoding) {
  const TIMEDATE made = simulator::timeFromUnix(1709214330, 25);
  EXPECT_EQ(made.Innards[0], leapDay.Innards[0]);
  EXPECT_EQ(made.Innards[1], leapDay.Innards[1]);
  EXPECT_EQ(simulator::unixFromTime(leapDayEast), 1709214330);
  EXPECT_EQ(simulator::unixFromTime(simulator::timeFromUnix(-1)), -1);
  EXPECT_EQ(simulator::timeFromUnix(INT64_MIN).Innards[1], 0u);
  EXPECT_EQ(simulator::timeFromUnix(INT64_MAX).Innards[1], 0x00FFFFFFu);
  EXPECT_EQ(TimeExtractJulianDate(&leapDayWest), 2460370u);
  TIMEDATE now{};
  OSCurrentTIMEDATE(&now);
  EXPECT_LE(std::abs(simulator::unixFromTime(now) - time(nullptr)), 1);
}

TEST(SimulatorTime, TextBothWays) {
  EXPECT_EQ(textOf(leapDayWest), "02/29/2024 13:45:30");
  EXPECT_EQ(textOf({{ALLDAY, 0x85258AD2}}), "02/29/2024");
  EXPECT_EQ(textOf({{0x004B93C1, ANYDAY}}), "13:45:30");
  EXPECT_EQ(textOf(leapDay, TSFMT_DATE), "02/29/2024");
  EXPECT_EQ(textOf(leapDay, TSFMT_TIME), "13:45:30");
  EXPECT_EQ(textOf(wildcard), "");
  EXPECT_EQ(textOf({{0, 0}}), "status " + std::to_string(ERR_TDO_CONV));
  EXPECT_EQ(textOf({{0, 0x00FFFFFF}}), "status " + std::to_string(ERR_TDO_CONV));
  EXPECT_EQ(textOf(leapDay, 9), "status " + std::to_string(ERR_TFMT));

  struct Case {
    const char* text;
    std::size_t read;  // 0: no time at all
    TIMEDATE time;
  };
  const Case cases[] = {{"02/29/2024 13:45:30.257", 23, {{0x004B93C1 - 25, 0x00258AD2}}},
                        {"  2/9/1999", 10, {{ALLDAY, 2451219}}},
                        {"7:05 and more", 4, {{(7 * 60 + 5) * 6000, ANYDAY}}},
                        {"02/29/2024 noon", 10, {{ALLDAY, 0x00258AD2}}},
                        {"02/29/2023", 0, {}},
                        {"13/01/2024", 0, {}},
                        {"24:00:00", 0, {}},
                        {"02/29/24", 0, {}},
                        {"", 0, {}}};
  for (const Case& c : cases) {
    std::string text = c.text;
    char* position = text.data();
    TIMEDATE time{};
    const STATUS status = ConvertTextToTIMEDATE(nullptr, nullptr, &position, 80, &time);
    EXPECT_EQ(status, c.read == 0 ? ERR_TDI_CONV : NOERROR) << c.text;
    EXPECT_EQ(static_cast<std::size_t>(position - text.data()), c.read) << c.text;
    if (status != NOERROR) continue;
    EXPECT_EQ(std::memcmp(&time, &c.time, sizeof time), 0) << c.text;
  }
  // No byte behind the length is read, and nothing is cut in the middle of a result.
  std::string text = "02/29/2024 13:45";
  char* position = text.data();
  TIMEDATE time{};
  EXPECT_EQ(ConvertTextToTIMEDATE(nullptr, nullptr, &position, 10, &time), NOERROR);
  EXPECT_EQ(time.Innards[0], ALLDAY);
  char small[10];
  WORD length = 0;
  EXPECT_EQ(ConvertTIMEDATEToText(nullptr, nullptr, &leapDay, small, 10, &length), ERR_TDO_CONV);
}

TEST(SimulatorTime, OrderAndDifference) {
  const TIMEDATE nextDay{{0, 0x00258AD3}};
  const TIMEDATE noTime{{ALLDAY, 0x00258AD2}};
  const TIMEDATE noDate{{0x004B93C2, ANYDAY}};
  struct Case {
    TIMEDATE left, right;
    int order;
    LONG seconds;
  };
  const Case cases[] = {
      {leapDay, leapDayWest, 0, 0},       {leapDayWest, leapDayEast, 0, 0},
      {leapDayWest, nextDay, -1, -36869}, {leapDay, {{0, 0x00FFFFFF}}, -1, INT32_MIN},
      {leapDay, noTime, 0, 49530},        {noDate, leapDay, 1, INT32_MIN},
      {nextDay, noTime, 1, 86400},        {wildcard, leapDay, 0, INT32_MIN}};
  for (const Case& c : cases) {
    EXPECT_EQ(TimeDateCompare(&c.left, &c.right), c.order);
    EXPECT_EQ(TimeDateCompare(&c.right, &c.left), -c.order);
    EXPECT_EQ(TimeDateDifference(&c.left, &c.right), c.seconds);
  }
  TIMEDATE constant{};
  TimeConstant(TIMEDATE_WILDCARD, &constant);
  EXPECT_TRUE(simulator::isWildcard(constant));
  EXPECT_FALSE(simulator::isWildcard(noTime));
  TimeConstant(TIMEDATE_MAXIMUM, &constant);
  EXPECT_EQ(TimeDateCompare(&constant, &nextDay), 1);
  EXPECT_DEATH(TimeConstant(3, &constant), "PANIC: TimeConstant");
}

TEST(SimulatorTime, ZonesAndLocalTime) {
  struct Case {
    TIME local;
    TIMEDATE gm;
  };
  const Case cases[] = {{{2024, 2, 29, 0, 9, 45, 30, 25, 1, 5, {}}, leapDayWest},
                        {{2024, 2, 29, 0, 19, 15, 30, 25, 0, -3005, {}}, leapDayEast},
                        {{2024, 2, 29, 0, 13, 45, 30, 25, 0, 0, {}}, leapDay},
                        {{2024, 3, 1, 0, 3, 45, 30, 25, 0, -14, {}}, {{0x004B93C1, 0x4E258AD2}}}};
  for (Case c : cases) {
    EXPECT_EQ(TimeLocalToGM(&c.local), FALSE);
    EXPECT_EQ(std::memcmp(&c.local.GM, &c.gm, sizeof c.gm), 0) << c.local.zone;
  }
  for (TIME bad :
       {TIME{2023, 2, 29, 0, 0, 0, 0, 0, 0, 0, {}}, TIME{2023, 0, 1, 0, 0, 0, 0, 0, 0, 0, {}},
        TIME{2023, 1, 1, 0, 24, 0, 0, 0, 0, 0, {}},
        TIME{2023, 1, 1, 0, 0, 0, 0, 0, 0, INT32_MIN, {}},
        TIME{40000, 1, 1, 0, 0, 0, 0, 0, 0, 0, {}}}) {
    EXPECT_NE(TimeLocalToGM(&bad), FALSE);
  }
  SimSetVariable("TimeZone", "-3005");
  SimSetVariable("dst", "1");
  int zone = 0;
  int dst = 0;
  OSCurrentTimeZone(&zone, &dst);
  OSCurrentTimeZone(nullptr, nullptr);
  INTLFORMAT settings{};
  OSGetIntlSettings(&settings, sizeof settings);
  EXPECT_EQ(zone, -3005);
  EXPECT_EQ(dst, 1);
  EXPECT_EQ(settings.TimeZone, -3005);
  EXPECT_EQ(settings.Length, 140);
  EXPECT_STREQ(settings.DateString, "/");
  simulator::forgetIni();
}

TEST(SimulatorMemory, LocksAreCountedAndAddressesStay) {
  const long before = SimOpenHandles("memory");
  DHANDLE handle = 7;
  ASSERT_EQ(OSMemAlloc(MEM_SHARE, 0, &handle), NOERROR);
  EXPECT_EQ(handle, NULLHANDLE);
  ASSERT_EQ(OSMemAlloc(0, 1000, &handle), NOERROR);
  auto* const address = static_cast<BYTE*>(OSLockObject(handle));
  EXPECT_NE(std::accumulate(address, address + 1000, 0), 0) << "hosts may not rely on zeroes";
  EXPECT_EQ(OSLockObject(handle), address);
  EXPECT_EQ(SimOpenHandles("locks"), 2);
  EXPECT_EQ(OSUnlockObject(handle), TRUE);
  EXPECT_EQ(OSUnlockObject(handle), TRUE);
  DWORD size = 0;
  EXPECT_EQ(OSMemGetSize(handle, &size), NOERROR);
  EXPECT_EQ(size, 1000u);
  EXPECT_EQ(SimOpenHandles("memory"), before + 1);
  EXPECT_EQ(OSMemFree(handle), NOERROR);
  DHANDLE next = 0;
  ASSERT_EQ(OSMemAlloc(0, 1, &next), NOERROR);
  EXPECT_NE(next, handle);
  OSMemFree(next);

  EXPECT_EQ(SimOpenHandles("memory"), before);
  EXPECT_EQ(SimOpenHandles("locks"), 0);
  EXPECT_EQ(SimOpenHandles("no such kind"), -1);
}

TEST(SimulatorMemoryDeathTest, BrokenHostsAreStopped) {
  DHANDLE handle = 0;
  DHANDLE table = 0;
  DHANDLE freed = 0;
  OSMemAlloc(0, 8, &handle);
  OSMemAlloc(0, 8, &freed);
  OSMemFree(freed);
  IDCreateTable(0, &table);
  for (const DHANDLE bad : {NULLHANDLE, freed, table, DHANDLE{0x7FFFFFFF}}) {
    EXPECT_DEATH(OSMemFree(bad), "PANIC: OSMemFree");
    EXPECT_DEATH(OSLockObject(bad), "PANIC: OSLockObject");
    EXPECT_DEATH(OSUnlockObject(bad), "PANIC: OSUnlockObject");
    EXPECT_DEATH(OSMemGetSize(bad, nullptr), "PANIC: OSMemGetSize");
  }
  EXPECT_DEATH(OSUnlockObject(handle), "not locked");
  OSLockObject(handle);
  EXPECT_DEATH(OSMemFree(handle), "still locked");
  OSUnlockObject(handle);

  EXPECT_EQ(IDDestroyTable(handle), ERR_IDTABLE_INVALID);
  EXPECT_EQ(IDInsert(NULLHANDLE, 4, nullptr), ERR_IDTABLE_INVALID);
  EXPECT_DEATH(IDEntries(handle), "PANIC: IDEntries");
  EXPECT_EQ(IDDestroyTable(table), NOERROR);
  DWORD id = 0;
  const std::pair<const char*, std::function<void()>> uses[] = {
      {"IDDestroyTable", [&] { IDDestroyTable(table); }},
      {"IDInsert", [&] { IDInsert(table, 4, nullptr); }},
      {"IDDelete", [&] { IDDelete(table, 4, nullptr); }},
      {"IDTableCopy", [&] { IDTableCopy(table, &freed); }},
      {"IDScan", [&] { IDScan(table, TRUE, &id); }},
      {"IDIsPresent", [&] { IDIsPresent(table, 4); }},
      {"IDEntries", [&] { IDEntries(table); }}};
  for (const auto& [name, use] : uses) {
    EXPECT_DEATH(use(), "PANIC: "s + name + ": .*destroyed");
  }
  OSMemFree(handle);
}

std::vector<DWORD> idsOf(DHANDLE table) {
  std::vector<DWORD> ids;
  DWORD id = 0;
  for (BOOL more = IDScan(table, TRUE, &id); more != FALSE; more = IDScan(table, FALSE, &id)) {
    ids.push_back(id);
  }
  return ids;
}

TEST(SimulatorIdTables, AreSortedSetsOfTheirOwn) {
  DHANDLE table = 0;
  EXPECT_EQ(IDCreateTable(3, &table), ERR_BAD_PARAM);
  ASSERT_EQ(IDCreateTable(4, &table), NOERROR);
  BOOL changed = FALSE;
  for (const DWORD id : {0x8FAu, 4u | RRV_DELETED, 0x8F6u, 4u}) {
    EXPECT_EQ(IDInsert(table, id, &changed), NOERROR);
    EXPECT_EQ(changed, TRUE);
  }
  EXPECT_EQ(IDInsert(table, 4, &changed), NOERROR);
  EXPECT_EQ(changed, FALSE);
  EXPECT_EQ(idsOf(table), (std::vector<DWORD>{4, 0x8F6, 0x8FA, 4 | RRV_DELETED}));
  DHANDLE copy = 0;
  ASSERT_EQ(IDTableCopy(table, &copy), NOERROR);
  EXPECT_EQ(IDDelete(table, 0x8F6, nullptr), NOERROR);
  EXPECT_EQ(IDDelete(table, 0x8F6, &changed), NOERROR);
  EXPECT_EQ(changed, FALSE);
  EXPECT_EQ(IDIsPresent(table, 0x8F6), FALSE);
  EXPECT_EQ(IDIsPresent(copy, 0x8F6), TRUE);
  EXPECT_EQ(IDEntries(table), 3u);
  EXPECT_EQ(IDEntries(copy), 4u);
  // A scan goes on above whatever the value is, also one that is not in the table.
  DWORD id = 5;
  EXPECT_EQ(IDScan(copy, FALSE, &id), TRUE);
  EXPECT_EQ(id, 0x8F6u);
  EXPECT_EQ(SimOpenHandles("tables"), 2);
  IDDestroyTable(copy);
  IDDestroyTable(table);
  EXPECT_EQ(SimOpenHandles("tables"), 0);
}

TEST(SimulatorOds, SizesAndRoundTripAtOddAddresses) {
  struct Case {
    WORD type, canonical;
    std::size_t host;
  };
  const Case cases[] = {{0, 2, 2},    {1, 4, 4},     {2, 8, 8},    {10, 8, 8},    {11, 16, 16},
                        {12, 16, 16}, {13, 2, 2},    {14, 4, 4},   {15, 8, 8},    {17, 4, 4},
                        {18, 4, 4},   {24, 54, 56},  {26, 28, 28}, {27, 6, 8},    {28, 28, 28},
                        {29, 10, 10}, {30, 32, 36},  {42, 2, 2},   {56, 20, 20},  {58, 36, 40},
                        {113, 8, 8},  {230, 12, 16}, {231, 2, 2},  {237, 16, 16}, {639, 20, 24}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    ASSERT_EQ(ODSLength(c.type), c.canonical);
    std::vector<BYTE> source(1 + 3u * c.canonical);
    std::iota(source.begin(), source.end(), BYTE{1});
    std::vector<BYTE> host(3 * c.host);  // A byte too many is found by the sanitizer.
    void* position = source.data() + 1;
    ODSReadMemory(&position, c.type, host.data(), 3);
    EXPECT_EQ(position, source.data() + source.size());
    std::vector<BYTE> written(source.size());
    position = written.data() + 1;
    ODSWriteMemory(&position, c.type, host.data(), 3);
    EXPECT_EQ(position, written.data() + written.size());
    written[0] = source[0];
    EXPECT_EQ(written, source);
    // The last structure begins where the host form's size says.
    EXPECT_EQ(host[2 * c.host], source[1 + 2u * c.canonical]);
  }
  EXPECT_DEATH(ODSLength(9999), "PANIC: ODSLength");
}

template <typename Structure>
Structure readFrom(const std::vector<BYTE>& canonical, WORD type) {
  Structure structure{};
  const BYTE* position = canonical.data();
  ODSReadMemory(&position, type, &structure, 1);
  return structure;
}

// Byte n of the canonical form is n, so a DWORD at offset n reads as below.
constexpr DWORD dwordAt(DWORD n) {
  return n | (n + 1) << 8 | (n + 2) << 16 | (n + 3) << 24;
}

TEST(SimulatorOds, FieldsBehindPaddingAreWhereTheDiskHasThem) {
  std::vector<BYTE> bytes(64);
  std::iota(bytes.begin(), bytes.end(), BYTE{0});
  EXPECT_EQ(readFrom<OBJECT_DESCRIPTOR>(bytes, ODS_OBJECT_DESCRIPTOR).RRV, dwordAt(2));
  const auto file = readFrom<FILEOBJECT>(bytes, ODS_FILEOBJECT);
  EXPECT_EQ(file.Header.RRV, dwordAt(2));
  EXPECT_EQ(file.FileNameLength, dwordAt(6) & 0xFFFF);
  EXPECT_EQ(file.FileSize, dwordAt(16));
  EXPECT_EQ(file.FileModified.Innards[1], dwordAt(32));
  const auto column = readFrom<VIEW_COLUMN_FORMAT>(bytes, ODS_VIEW_COLUMN_FORMAT);
  EXPECT_EQ(column.FontID, dwordAt(14));
  EXPECT_EQ(column.ListSep, dwordAt(30) & 0xFFFF);
  const auto hotspot = readFrom<CDHOTSPOTBEGIN>(bytes, ODS_CDHOTSPOTBEGIN);
  EXPECT_EQ(hotspot.Flags, dwordAt(6));
  EXPECT_EQ(hotspot.DataLength, dwordAt(10) & 0xFFFF);
  const auto part = readFrom<MIME_PART>(bytes, ODS_MIME_PART);
  EXPECT_EQ(part.dwFlags, dwordAt(2));
  EXPECT_EQ(part.wSpare, dwordAt(14) & 0xFFFF);
  EXPECT_EQ(part.dwSpare, dwordAt(16));
  SimSetVariable("SimShortOriginatorId", "1");
  EXPECT_EQ(ODSLength(ODS_UNIVERSALNOTEID), 16);
  simulator::forgetIni();
}

std::vector<BYTE> sampleSummary() {
  simulator::SummaryBuilder builder;
  builder.addText("$Path", "mail/\x82\x14\x20\xAC.nsf");
  builder.addTime("$Modified", leapDayWest);
  builder.addNumber("Size", 2.5);
  builder.addValue("Nothing", nullptr, 0);
  builder.addText("Empty", "");
  return builder.build();
}

TEST(SimulatorSummary, ItemsAreFoundWithTheirValues) {
  std::vector<BYTE> odd = sampleSummary();
  odd.insert(odd.begin(), 0);
  const BYTE* const buffer = odd.data() + 1;
  void* value = nullptr;
  WORD length = 0;
  WORD type = 0;
  ASSERT_TRUE(NSFLocateSummaryValue(buffer, "$MODIFIED", &value, &length, &type));
  EXPECT_EQ(type, TYPE_TIME);
  ASSERT_EQ(length, sizeof(TIMEDATE));
  EXPECT_EQ(std::memcmp(value, &leapDayWest, sizeof leapDayWest), 0);
  EXPECT_FALSE(NSFLocateSummaryValue(buffer, "Nothing", &value, &length, &type));
  EXPECT_FALSE(NSFLocateSummaryValue(buffer, "$Pat", &value, &length, &type));
  EXPECT_FALSE(NSFLocateSummaryValue(nullptr, "$Path", &value, &length, &type));

  char text[32];
  EXPECT_TRUE(NSFGetSummaryValue(buffer, "$path", text, sizeof text));
  EXPECT_STREQ(text, "mail/\x82\x14\x20\xAC.nsf");
  EXPECT_TRUE(NSFGetSummaryValue(buffer, "$path", text, 9)) << "room for two bytes of the three";
  EXPECT_STREQ(text, "mail/\x82");
  EXPECT_TRUE(NSFGetSummaryValue(buffer, "Empty", text, 1));
  EXPECT_STREQ(text, "");
  EXPECT_FALSE(NSFGetSummaryValue(buffer, "$Path", text, 0));
  EXPECT_FALSE(NSFGetSummaryValue(buffer, "Size", text, sizeof text)) << "no text";
}

// A value that is given must lie in the buffer.
void probe(const std::vector<BYTE>& summary, std::size_t size) {
  const std::unique_ptr<BYTE[]> exact(new BYTE[size]);  // The sanitizer guards its end.
  std::copy_n(summary.begin(), size, exact.get());
  for (const char* const name : {"$Path", "$Modified", "Size", "Empty", "", "Absent"}) {
    void* value = nullptr;
    WORD length = 0;
    char text[8];
    if (NSFLocateSummaryValue(exact.get(), name, &value, &length, nullptr)) {
      ASSERT_LE(static_cast<BYTE*>(value) + length, exact.get() + size);
    }
    NSFGetSummaryValue(exact.get(), name, text, sizeof text);
  }
}

TEST(SimulatorSummary, DamagedBuffersAreNeverLeft) {
  const std::vector<BYTE> sound = sampleSummary();
  for (std::size_t size = 0; size <= sound.size(); ++size) {
    std::vector<BYTE> cut = sound;
    const auto length = static_cast<USHORT>(size);
    std::memcpy(cut.data(), &length, sizeof length);
    probe(cut, std::max(size, sizeof(ITEM_TABLE)));
    char text[8];
    EXPECT_EQ(NSFGetSummaryValue(cut.data(), "Empty", text, 8) != FALSE, size == sound.size());
  }
  for (std::size_t i = sizeof(USHORT); i < sound.size(); ++i) {
    for (const BYTE damage : {0x00, 0x01, 0x7F, 0xFF}) {
      std::vector<BYTE> damaged = sound;
      damaged[i] = damage;
      probe(damaged, damaged.size());
    }
  }
}

// A notes.ini of its own for each test, and a runtime that is not started.
class SimulatorRuntime : public testing::Test {
 protected:
  void TearDown() override {
    unsetenv("NOTES_DATA_DIR");
    EXPECT_EQ(SimOpenHandles("runtime"), 0);
  }

  std::string write(const std::string& content) {
    writeFile(folder_ / "notes.ini", content);
    return "=" + (folder_ / "notes.ini").string();
  }

  static STATUS start(std::string iniArgument) {
    char* argv[] = {nullptr, iniArgument.data(), nullptr};
    return NotesInitExtended(3, argv);
  }

  static std::string variable(const char* name, WORD room = MAXENVVALUE) {
    char value[MAXENVVALUE + 1] = "unset";
    return OSGetEnvironmentString(name, value, room) ? value : "absent";
  }

  const TemporaryDirectory directory_;
  const std::filesystem::path folder_ = directory_.path();
};

TEST_F(SimulatorRuntime, ReadsItsVariables) {
  const std::string longValue(300, 'v');
  ASSERT_EQ(start(write("[Notes]\r\nDirectory = /local/data/\r\nPort=1352\nPort=1\n;Off=1\nnoise\n"
                        "Name=\u00C9mile=2\nLong=" +
                        longValue + "\nOdd=12x\nHuge=" + std::string(40, '9') +
                        "\nNone=\n= 5\n\nLast= -7 ")),
            NOERROR);
  EXPECT_EQ(simulator::dataDirectory(), "/local/data");
  const std::pair<const char*, std::string> values[] = {{"dIRECTORY", "/local/data/"},
                                                        {"Port", "1352"},
                                                        {"Name", "\x90mile=2"},
                                                        {"Long", std::string(MAXENVVALUE - 1, 'v')},
                                                        {"None", ""},
                                                        {"Off", "absent"}};
  for (const auto& [name, value] : values) EXPECT_EQ(variable(name), value) << name;
  EXPECT_EQ(variable("Name", 3), "\x90mi");
  EXPECT_EQ(variable("Name", 0), "");
  EXPECT_EQ(OSGetEnvironmentLong("PORT"), 1352);
  EXPECT_EQ(OSGetEnvironmentLong("Last"), -7);
  for (const char* const none : {"Odd", "Huge", "None", "Missing"}) {
    EXPECT_EQ(OSGetEnvironmentLong(none), 0) << none;
  }
  SimSetVariable("PORT", "2");
  EXPECT_EQ(variable("Port"), "2");
  NotesTerm();
  EXPECT_EQ(variable("Port"), "absent");
}

TEST_F(SimulatorRuntime, StartsAndEndsAreCounted) {
  EXPECT_EQ(NotesInitThread(), simulator::NotInitialised);
  EXPECT_DEATH(NotesTerm(), "PANIC: NotesTerm");
  EXPECT_DEATH(NotesTermThread(), "PANIC: NotesTermThread");
  EXPECT_EQ(NotesInitExtended(0, nullptr), simulator::IniUnreadable);
  EXPECT_EQ(start("="s + folder_.c_str()), simulator::IniUnreadable) << "a folder";
  EXPECT_EQ(start("="s + folder_.c_str() + "/notes.ini"), simulator::IniUnreadable);

  const std::string ini = write("A=1\n");
  setenv("NOTES_DATA_DIR", folder_.c_str(), 1);
  ASSERT_EQ(NotesInitExtended(0, nullptr), NOERROR);
  EXPECT_EQ(simulator::dataDirectory(), folder_) << "notes.ini names no directory";
  ASSERT_EQ(start(ini), NOERROR);
  NotesTerm();
  EXPECT_EQ(variable("A"), "1");
  DHANDLE block = NULLHANDLE;
  ASSERT_EQ(OSMemAlloc(0, 1, &block), NOERROR);
  EXPECT_DEATH(std::thread([&] { OSMemFree(block); }).join(), "PANIC: NotesInitThread");
  EXPECT_DEATH(std::thread([&] {
                 NotesInitThread();
                 NotesTermThread();
                 OSMemFree(block);
               }).join(),
               "PANIC: NotesInitThread");
  OSMemFree(block);
  std::thread([] {
    EXPECT_EQ(NotesInitThread(), NOERROR);
    EXPECT_EQ(NotesInitThread(), NOERROR);
    EXPECT_EQ(SimOpenHandles("threads"), 1);
    NotesTermThread();
    DHANDLE block = NULLHANDLE;
    EXPECT_EQ(OSMemAlloc(0, 1, &block) + OSMemFree(block), NOERROR) << "still started once";
    NotesTermThread();
  }).join();
  EXPECT_EQ(SimOpenHandles("threads"), 0);
  NotesTerm();
}

TEST(SimulatorMessages, StatusTextsAndNetPaths) {
  char text[400];
  EXPECT_EQ(OSLoadString(0, ERR_NOEXIST, text, 5), 5);
  EXPECT_EQ(std::strlen(text), 5u);
  EXPECT_EQ(OSLoadString(0, ERR_NOEXIST | STS_REMOTE, text, 5), 0) << "not masked";
  EXPECT_STREQ(text, "");
  EXPECT_GT(OSLoadString(0, simulator::NotSupportedYet, text, 99), 0);

  OSPathNetConstruct("TCPIP", "CN=S/O=Org", "mail/a.nsf", text);
  EXPECT_STREQ(text, "CN=S/O=Org!!mail/a.nsf");
  std::memset(text, '#', sizeof text);
  const std::string tooLong = std::string(MAXPATH - 2, 'p') + "\x14\x20\xAC";
  OSPathNetConstruct(nullptr, "", tooLong.c_str(), text);
  EXPECT_EQ(text, std::string(MAXPATH - 2, 'p')) << "no character is halved";
}

}  // namespace
