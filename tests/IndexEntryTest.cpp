// Lines of a text index: what each type shows, where a line ends, and what damaged bytes cannot do.
#include <map>

#include "NotesDatabase.h"
#include "support/ScarceMemory.h"
#include "support/ScriptedNotes.h"

namespace {

using namespace std::string_literals;
using Items = std::vector<std::pair<std::string, std::string>>;

template <typename... Values>
std::string bytesOf(Values... values) {
  return (std::string(reinterpret_cast<const char*>(&values), sizeof values) + ... + ""s);
}

// A copy at an odd address, behind which nothing is to be read.
std::vector<unsigned char> exact(const std::string& bytes) {
  std::vector<unsigned char> copy(1 + bytes.size());
  std::copy(bytes.begin(), bytes.end(), copy.begin() + 1);
  return copy;
}

class IndexEntryTest : public testing::Test, protected ScriptedNotes {
 protected:
  IndexEntryTest() {
    // The columns are the object's last field. Given here, they can be of every kind.
    std::memcpy(&columns, reinterpret_cast<char*>(&view + 1) - sizeof columns, sizeof columns);
    *columns = {{"c", 0}, {"hidden", 8}, {"category", 2}, {"response", 0x10}, {"icon", 0x40}};
    // clang-format off
    notes.NSFTranslateSpecial.answer([](void* in, WORD size, void* out, WORD room, auto, auto, auto, auto, auto, auto, auto, WORD* length) {
      return *length = copyText(0, static_cast<char*>(in), size, static_cast<char*>(out), room), NOERROR;
    });
    // A time is a letter and how often it stands there.
    notes.ConvertTIMEDATEToText.answer([](auto, auto, auto* time, char* out, WORD room, WORD* length) {
      std::memset(out, int(time->Innards[0]), std::min<DWORD>(room, *length = WORD(time->Innards[1])));
      return *length == 0 ? refused : NOERROR;
    });
    // clang-format on
  }
  // The index line of a table, separators as "|", behind its answer.
  std::string lineOf(const Items& items, std::size_t size = 0xFFFF, NOTEID id = 0x1F4) {
    std::string table = bytesOf(WORD{0}, WORD(items.size()));
    for (const auto& [name, value] : items) table += bytesOf(WORD(name.size()), WORD(value.size()));
    for (const auto& [name, value] : items) table += name + value;
    size = std::min(size, table.size());
    auto summary = exact(bytesOf(WORD(size)) + table.substr(2, std::max<std::size_t>(size, 4) - 2));
    const std::unique_ptr<char[]> entry(new char[4096]);
    std::string line(1,
                     char('0' + view.AddEntryToNoteIndex(entry.get(), &summary[1], id, {}, {}, 0)));
    line += entry.get();
    std::replace(line.begin(), line.end(), '\x12', '|');
    return line;
  }
  KoLNDatabase db{"own.nsf", instance};
  KoLNView view{db, 0x42};
  std::map<std::string, WORD>* columns;
};

TEST_F(IndexEntryTest, EveryTypeShowsInItsOwnWayAndOnlyWhole) {
  // clang-format off
  const auto text = [](const std::string& value) { return bytesOf(TYPE_TEXT) + value; };
  const auto number = [](double value) { return bytesOf(TYPE_NUMBER, value); };
  const auto list = [](WORD a, WORD b) { return bytesOf(TYPE_TEXT_LIST, WORD{2}, a, b) + std::string(a, 'a') + std::string(b, 'b'); };
  const auto range = [](WORD type, WORD a, WORD b, auto... values) { return bytesOf(type, a, b, values...); };
  const std::string a39(39, 'a'), one = "1.000000", five = one + one + one + one + one;
  const TIMEDATE t = {{'t', 3}}, u = {{'u', 2}}, none = {{'n', 0}};
  const struct { std::string value, shown; } cases[] = {
      {"", " "}, {"\5", " "}, {text(""), " "}, {bytesOf(WORD{0x600}) + "formula", " "}, {text("text%"), "text "}, {text("a\0b"s), "a"},
      {text(std::string(90, 't')), std::string(80, 't')}, {bytesOf(TYPE_TEXT_LIST, WORD{0}), " "}, {list(1, 2), "a bb"},
      {list(39, 39), a39 + " " + std::string(39, 'b')}, {list(39, 40), a39}, {list(80, 1), " "}, {number(3), "3"}, {number(-3), "-3"},
      {number(2.5), "2.500000"}, {number(-2.5), "-2.500000"}, {number(3.0000009), "3"}, {number(2.9999999), "3.000000"}, {number(1e10), "10000000000.000000"},
      {number(-2147483648.0), "-2147483648"}, {number(__builtin_nan("")), "nan"}, {number(0x1p256), "115792089237316195423570985008687907853269984665640564039457584007913129639936.0"},
      {range(TYPE_NUMBER_RANGE, 1, 1, 1.0, 2.5, -3.0), one + "2.500000 - -3.000000"}, {range(TYPE_NUMBER_RANGE, 10, 0, 1., 1., 1., 1., 1., 1., 1., 1., 1., 2.), (five + five).substr(8)},
      {range(TYPE_NUMBER_RANGE, 8, 1, 1., 1., 1., 1., 1., 1., 1., 1., 1., 1.), five + one + one + one + "1.000000 - 1.000"},
      {bytesOf(TYPE_TIME, t), "ttt"}, {bytesOf(TYPE_TIME, none), " "}, {range(TYPE_TIME_RANGE, 2, 2, t, u, u, t, t, u), "ttt,uu ; uu-ttt,ttt-uu"},
      {range(TYPE_TIME_RANGE, 2, 1, none, t, u, none), ",ttt ; uu-"}};
  // clang-format on
  for (const auto& test : cases) {
    EXPECT_EQ(lineOf({{"c", test.value}}), "0000001f4|" + test.shown + "|");
    for (std::size_t cut = 2; cut < test.value.size() && test.value.compare(0, 2, "\0\5"s); ++cut) {
      EXPECT_EQ(lineOf({{"c", test.value.substr(0, cut)}}), "0000001f4| |") << cut;
    }
  }
}

TEST_F(IndexEntryTest, ALineEndsBeforeTheColumnThatIsTooMuch) {
  const std::string a = bytesOf(TYPE_TEXT) + std::string(80, 'a');
  // clang-format off
  const struct { std::string name; NOTEID bit; std::size_t size, length; } cases[] = {  // Sizes with the type word; a line of 172 has ended, one of 174 goes on.
      {"c", 0, 71, 244}, {"c", 0, 72, 172}, {"other", 0, 71, 174}, {"other", 0, 72, 172}, {"hidden", 0, 72, 172},
      {"icon", 0, 72, 172}, {"category", 0, 82, 174}, {"category", NOTEID_CATEGORY, 72, 172},
      {"response", 0, 82, 174}, {"response", NOTEID_CATEGORY, 82, 174}};
  // clang-format on
  for (const auto& [name, bit, size, length] : cases) {
    const Items row = {{"c", a}, {"c", a}, {name, a.substr(0, size)}, {"icon", ""}, {"c", ""}};
    EXPECT_EQ(lineOf(row, 0xFFFF, 0x1F4 | bit).size(), length) << name << size;
  }
  for (const std::size_t count : {2042u, 2043u}) {
    const std::string line = lineOf(Items(count, {"c", ""}), 0xFFFF, 0xFFFFFFFF);
    EXPECT_EQ(line.substr(0, 12), count == 2042 ? "0ffffffff| |" : "1ffffffff| |");
    EXPECT_EQ(line.size(), 4094u);
  }
}

TEST_F(IndexEntryTest, ADamagedTableGivesItsWholeItems) {
  for (std::size_t size = 0; size <= 23; ++size) {
    const std::string line = size < 17 ? "" : size < 22 ? " |" : size < 23 ? " |xy|" : " |xy| |";
    EXPECT_EQ(lineOf({{"c", ""}, {"c", bytesOf(TYPE_TEXT) + "xy"}, {"c", ""}}, size),
              "0000001f4|" + line);
  }
}

TEST_F(IndexEntryTest, TheTextOfTimesEndsWithThePieceThatPassesItsLimit) {
  std::string value = bytesOf(WORD{0}, WORD{3});
  for (const DWORD length : {25, 26, 80, 80, 1, 1}) value += bytesOf(TIMEDATE{{'t', length}});
  auto bytes = exact(value);
  const std::unique_ptr<char[]> text(new char[218]);
  EXPECT_EQ(convertTimeRange(&bytes[1], text.get()), bytes.data() + bytes.size());
  EXPECT_EQ(std::strlen(text.get()), 217u);
}

TEST_F(IndexEntryTest, WithoutALineASummaryOrMemoryTheAnswerIsStillWhole) {
  std::string line(4096, '?');
  EXPECT_EQ(view.AddEntryToNoteIndex(nullptr, nullptr, 7, {}, {}, 0), 1);
  EXPECT_EQ(view.AddEntryToNoteIndex(&line[0], nullptr, 7, {}, {}, 0), 0);
  EXPECT_STREQ(line.c_str(), "00000007\x12");
  const std::string name(40, 'n'), value = bytesOf(TYPE_NUMBER, 3.0);
  auto summary = exact(bytesOf(WORD{73}, WORD{2}, WORD{1}, WORD{10}, WORD{40}, WORD{10}) + "c" +
                       value + name + value);
  SetLogCallback(nullptr);
  int answer = 0;
  {
    const ScarceMemory scarce(0);  // The short name needs none.
    answer = view.AddEntryToNoteIndex(&line[0], &summary[1], 7, {}, {}, 0);
  }
  EXPECT_EQ(answer, 1);
  EXPECT_STREQ(line.c_str(),
               "00000007\x12"
               "3\x12");
}

}  // namespace
