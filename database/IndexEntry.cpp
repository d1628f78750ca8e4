// One line of a text index from one entry of a collection.
//
// Everything is built in fixed buffers, as there may be millions of entries; nothing of a summary
// buffer or a value is read behind the length that came with it.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "NotesDatabase.h"
#include "database/ColumnFlags.h"
#include "findDataPartition.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";
constexpr const char* function = "AddEntryToNoteIndex";

constexpr char separator = '\x12';
constexpr std::size_t entryCapacity = 4096;
constexpr std::size_t entryBudget = 240;
constexpr std::size_t itemLimit = 80;
constexpr std::size_t longestName = 127;
constexpr DWORD categoryBit = NOTEID_CATEGORY;

// A text that is built piece by piece; what does not fit is dropped.
template <std::size_t Capacity>
class Built {
 public:
  const char* text() const { return bytes_; }
  std::size_t length() const { return length_; }
  int shownLength() const { return static_cast<int>(length_); }  // For the log.

  void append(std::string_view piece) {
    const std::size_t taken = std::min(piece.size(), Capacity - length_);
    std::memcpy(bytes_ + length_, piece.data(), taken);
    length_ += taken;
    bytes_[length_] = '\0';
  }

  __attribute__((format(printf, 2, 3))) void format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = std::vsnprintf(bytes_ + length_, Capacity + 1 - length_, format, arguments);
    va_end(arguments);
    length_ = std::min(Capacity, length_ + static_cast<std::size_t>(std::max(written, 0)));
  }

  void cut(std::size_t length) {
    length_ = std::min(length_, length);
    bytes_[length_] = '\0';
  }

  // A text ends at its first NUL, wherever that comes from.
  void endAtNul() { cut(std::strlen(bytes_)); }

 private:
  char bytes_[Capacity + 1] = {};
  std::size_t length_ = 0;
};

// The longest piece that is formatted at once, two numbers of more than 300 digits, fits in.
using ItemText = Built<1024>;

// A value behind its type word.
struct Value {
  unsigned char* bytes;
  std::size_t length;

  template <typename Type>
  Type at(std::size_t offset) const {
    Type value;
    std::memcpy(&value, bytes + offset, sizeof value);
    return value;
  }
};

// A list of single values and a list of pairs of them, all inside the value.
struct Ranges {
  std::size_t list = 0;
  std::size_t pairs = 0;
  bool valid = false;

  Ranges(const Value& value, std::size_t size) {
    if (value.length < sizeof(RANGE)) {
      return;
    }
    const auto header = value.at<RANGE>(0);
    list = header.ListEntries;
    pairs = header.RangeEntries;
    valid = sizeof header + size * (list + 2 * pairs) <= value.length;
  }
};

void logTimeFailure(const char* where, const koln::CallResult& converted) {
  KoLNError error;
  converted.record(error);
  KOLN_LOG(where, -1,
           "Error: unable to convert TIMEDATE to text. ConvertTIMEDATEToText(...) returned: [%d]. "
           "Resulting error string: [%s].",
           converted.status(), error.GetMessage().c_str());
}

// The text of a time; empty where it has none, which is logged.
void timeText(const char* where, const TIMEDATE& time, koln::TextBuffer<MAXALPHATIMEDATE>& text) {
  WORD length = 0;
  const koln::CallResult converted = KOLN_STATUS(ConvertTIMEDATEToText, nullptr, nullptr, &time,
                                                 text.data(), text.capacity(), &length);
  if (converted.failed()) {
    logTimeFailure(where, converted);
    length = 0;
  }
  text.data()[std::min(length, text.capacity())] = '\0';
}

// ---- the values, type by type -----------------------------------------------------------------

// What an index function in a text may ask about its entry.
struct EntryContext {
  NOTEID noteId;
  INDEXSPECIALINFO* specialInfo;
  COLLECTIONPOSITION* position;
};

void renderText(const Value& value, const EntryContext& entry, ItemText& text) {
  KOLN_LOG(function, 4, "TYPE_TEXT");
  koln::TextBuffer<itemLimit> translated;
  WORD length = 0;
  const auto taken = static_cast<WORD>(std::min(value.length, itemLimit));
  const koln::CallResult result =
      KOLN_STATUS(NSFTranslateSpecial, value.bytes, taken, translated.data(), translated.capacity(),
                  entry.noteId, entry.position, entry.specialInfo, DHANDLE{NULLHANDLE},
                  DHANDLE{NULLHANDLE}, nullptr, nullptr, &length);
  if (result.failed()) {
    KoLNError error;
    result.record(error);
    KOLN_LOG(function, -1,
             "Error: unable to convert TYPE_TEXT to text. NSFTranslateSpecial(...) returned: [%d]. "
             "Resulting error string: [%s].",
             result.status(), error.GetMessage().c_str());
  } else {
    text.append({translated.text(), std::min(length, translated.capacity())});
    text.endAtNul();
  }
  KOLN_LOG(function, 4, "ItemText:%s, strlen(ItemText):%d", text.text(), text.shownLength());
}

void renderTextList(const Value& value, ItemText& text) {
  KOLN_LOG(function, 4, "TYPE_TEXT_LIST");
  const std::size_t count = value.length < sizeof(LIST) ? 0 : value.at<LIST>(0).ListEntries;
  std::size_t place = sizeof(LIST) + count * sizeof(USHORT);
  std::size_t end = place;
  for (std::size_t i = 0; i < count && end <= value.length; ++i) {
    end += value.at<USHORT>(sizeof(LIST) + i * sizeof(USHORT));
  }
  for (std::size_t i = 0; i < count && end <= value.length; ++i) {
    const std::size_t length = value.at<USHORT>(sizeof(LIST) + i * sizeof(USHORT));
    const std::size_t blank = i == 0 ? 0 : 1;
    if (text.length() + blank + length > itemLimit - 1) {
      break;
    }
    text.append(std::string_view(" ", blank));
    text.append({reinterpret_cast<const char*>(value.bytes + place), length});
    place += length;
  }
  text.endAtNul();
  KOLN_LOG(function, 4, "itemtext:%s,strlen(itemtext):%d", text.text(), text.shownLength());
}

void renderNumber(const Value& value, ItemText& text) {
  constexpr double closeToInteger = 0.000001;
  KOLN_LOG(function, 4, "itemtext-TYPE_NUMBER");
  if (value.length < sizeof(NUMBER)) {
    return;
  }
  const auto number = value.at<NUMBER>(0);
  const double integer = std::trunc(number);
  // NaN and infinities, which fit nothing, fail these comparisons.
  if (std::fabs(number - integer) <= closeToInteger && integer >= INT_MIN && integer <= INT_MAX) {
    text.format("%d", static_cast<int>(integer));
  } else {
    text.format("%f", number);
  }
  if (text.length() > itemLimit) {
    KOLN_LOG(function, -1, "TypeNumber_length:%d is greater than ITEM_LIMIT ", text.shownLength());
    text.cut(itemLimit);
  }
  KOLN_LOG(function, 4, "itemtext-TYPE_NUMBER:%s,strlen(itemtext-TYPE_NUMBER):%d", text.text(),
           text.shownLength());
}

void renderNumberRange(const Value& value, ItemText& text) {
  constexpr std::size_t enough = 66;  // Behind so many characters nothing more is begun.
  KOLN_LOG(function, 4, "TYPE_NUMBER_RANGE");
  const Ranges ranges(value, sizeof(NUMBER));
  if (!ranges.valid) {
    return;
  }
  // No separators, on purpose.
  std::size_t place = sizeof(RANGE);
  for (std::size_t i = 0; i < ranges.list && text.length() < enough; ++i) {
    text.format("%f", value.at<NUMBER>(place));
    place += sizeof(NUMBER);
    KOLN_LOG(function, 4, "ItemText TextLen--%d--%s", text.shownLength(), text.text());
  }
  place = sizeof(RANGE) + ranges.list * sizeof(NUMBER);
  for (std::size_t i = 0; i < ranges.pairs && text.length() < enough; ++i) {
    const auto pair = value.at<NUMBER_PAIR>(place);
    text.format("%f - %f", pair.Lower, pair.Upper);
    place += sizeof pair;
    KOLN_LOG(function, 4, "ItemText TextLen--%d--%s", text.shownLength(), text.text());
  }
  if (text.length() > itemLimit) {
    KOLN_LOG(function, -1, "error in case TYPE_NUMBER_RANGE:TextLen is more than ITEM_LIMIT");
  }
  KOLN_LOG(function, 4,
           "itemtext-TYPE_NUMBER_RANGE:%s,strlen(itemtext-TYPE_NUMBER_RANGE):%d:TextLen:%d",
           text.text(), text.shownLength(), text.shownLength());
}

void renderTime(const Value& value, ItemText& text) {
  KOLN_LOG(function, 4, "TYPE_TIME");
  if (value.length < sizeof(TIMEDATE)) {
    return;
  }
  koln::TextBuffer<MAXALPHATIMEDATE> time;
  timeText(function, value.at<TIMEDATE>(0), time);
  text.append(time.text());
  KOLN_LOG(function, 4, "itemtext-TYPE_TIME:%s,strlen(itemtext-TYPE_TIME):%d", text.text(),
           text.shownLength());
}

void renderTimeRange(const Value& value, ItemText& text) {
  KOLN_LOG(function, 4, "TYPE_TIME_RANGE");
  if (Ranges(value, sizeof(TIMEDATE)).valid) {
    char times[itemLimit * 4] = {};
    convertTimeRange(value.bytes, times);
    text.append(times);
  }
}

// What an item's value shows; nothing for the types that a view does not show.
void render(WORD type, const Value& value, const EntryContext& entry, ItemText& text) {
  switch (type) {
    case TYPE_TEXT:
      return renderText(value, entry, text);
    case TYPE_TEXT_LIST:
      return renderTextList(value, text);
    case TYPE_NUMBER:
      return renderNumber(value, text);
    case TYPE_NUMBER_RANGE:
      return renderNumberRange(value, text);
    case TYPE_TIME:
      return renderTime(value, text);
    case TYPE_TIME_RANGE:
      return renderTimeRange(value, text);
    default:
      return;
  }
}

// ---- the entry --------------------------------------------------------------------------------

// Walks the items of a summary buffer; ends where the buffer does, whatever its counts say.
class SummaryWalk {
 public:
  explicit SummaryWalk(unsigned char* summary) : bytes_(summary) {
    if (bytes_ == nullptr) {
      return;
    }
    ITEM_TABLE table;
    std::memcpy(&table, bytes_, sizeof table);
    length_ = table.Length;
    place_ = sizeof table + sizeof(ITEM) * table.Items;
    if (place_ <= length_) {
      items_ = table.Items;
    }
  }

  bool next() {
    if (item_ == items_) {
      return false;
    }
    ITEM item;
    std::memcpy(&item, bytes_ + sizeof(ITEM_TABLE) + sizeof item * item_++, sizeof item);
    if (std::size_t{item.NameLength} + item.ValueLength > length_ - place_) {
      items_ = item_;
      return false;
    }
    name = {reinterpret_cast<const char*>(bytes_ + place_), item.NameLength};
    value = {bytes_ + place_ + item.NameLength, item.ValueLength};
    place_ += name.size() + value.length;
    return true;
  }

  std::string_view name;
  Value value = {};  // Type word first.

 private:
  unsigned char* bytes_;
  std::size_t length_ = 0;
  std::size_t items_ = 0;
  std::size_t item_ = 0;
  std::size_t place_ = 0;
};

// The line that is built in the caller's buffer.
class EntryLine {
 public:
  EntryLine(char* entry, NOTEID noteId) : entry_(entry) {
    length_ =
        static_cast<std::size_t>(std::snprintf(entry_, entryCapacity, "%08x%c", noteId, separator));
    KOLN_LOG(function, 4, "indexentry1:%s, length:%d", entry_, static_cast<int>(length_));
  }

  std::size_t length() const { return length_; }
  const char* text() const { return entry_; }

  // Appends a column, a blank for an empty one. False if the buffer has no room for it.
  bool append(std::string_view text) {
    const std::string_view shown = text.empty() ? " " : text;
    const std::size_t blank = text.empty() ? 1 : 0;
    if (length_ + blank + text.size() + 3 > entryCapacity) {
      KOLN_LOG(function, -1, "Out of memory for ViewStr");
      return false;
    }
    std::memcpy(entry_ + length_, shown.data(), shown.size());
    length_ += shown.size();
    entry_[length_++] = separator;
    entry_[length_] = '\0';
    KOLN_LOG(function, 4, "indexentry2:%s, length:%d", entry_, static_cast<int>(length_));
    return true;
  }

 private:
  char* entry_;
  std::size_t length_;
};

// A column's text as it stands in the line.
void showColumn(const ItemText& text, koln::TextBuffer<entryBudget>& shown) {
  if (text.length() != 0 &&
      !koln::translateOrKeep(OS_TRANSLATE_LMBCS_TO_UTF8, text.text(), shown)) {
    KOLN_LOG(function, -1, "OSTranslate failed on column string: %s", text.text());
  }
  KONormalizeText(shown.data());
  KOLN_LOG(function, 4, "utf8ColStr:%s,length:%d", shown.text(), static_cast<int>(shown.length()));
}

enum class Step { Next, Budget, Full };

Step addColumn(const SummaryWalk& item, const WORD* flags, const EntryContext& entry,
               EntryLine& line) {
  const bool shows = flags != nullptr && !koln::isHidden(*flags);
  WORD type = 0;
  if (item.value.length == 0) {
    return !shows || line.append({}) ? Step::Next : Step::Full;
  }
  ItemText text;
  if (item.value.length >= sizeof type) {
    type = item.value.at<WORD>(0);
    render(type, {item.value.bytes + sizeof type, item.value.length - sizeof type}, entry, text);
  }
  if (flags != nullptr && ((koln::isCategory(*flags) && (entry.noteId & categoryBit) == 0) ||
                           koln::isResponse(*flags))) {
    text.cut(0);
  }
  text.cut(itemLimit);
  // A column that does not show is measured too, and can end the line, on purpose.
  if (line.length() + text.length() > entryBudget) {
    return Step::Budget;
  }
  if (!shows) {
    return Step::Next;
  }
  koln::TextBuffer<entryBudget> shown;
  showColumn(text, shown);
  return line.append(shown.text()) ? Step::Next : Step::Full;
}

}  // namespace

int KoLNView::AddEntryToNoteIndex(char* entry, unsigned char* summary, unsigned int noteID,
                                  INDEXSPECIALINFO specialInfo, COLLECTIONPOSITION position,
                                  unsigned short /*ignored*/) {
  constexpr int done = 0;
  constexpr int full = 1;
  if (entry == nullptr) {
    return full;
  }
  try {
    EntryLine line(entry, noteID);
    const EntryContext context = {noteID, &specialInfo, &position};
    for (SummaryWalk item(summary); item.next();) {
      const WORD* flags = nullptr;
      if (columns_ != nullptr) {
        const auto column = columns_->find(std::string(item.name.substr(0, longestName)));
        flags = column == columns_->end() ? nullptr : &column->second;
      }
      const Step step = addColumn(item, flags, context, line);
      if (step == Step::Full) {
        return full;
      }
      if (step == Step::Budget) {
        break;
      }
    }
    KOLN_LOG(function, 4, "Final_Indexentry:%s,lenght:%d", line.text(),
             static_cast<int>(line.length()));
    return done;
  } catch (...) {  // Memory for a name; the line is whole up to here.
    KOLN_LOG(function, -1, "Out of memory for ViewStr");
    return full;
  }
}

unsigned char* convertTimeRange(unsigned char* value, char* text) {
  constexpr const char* where = "convertTimeRange";
  constexpr std::size_t lastStart = 55;  // A piece is begun while the text has no more than this.
  // What the text can grow to: a piece behind 55 characters is at most a comma, two times of 80
  // characters and a dash.
  Built<217> times;
  RANGE header;
  std::memcpy(&header, value, sizeof header);
  unsigned char* place = value + sizeof header;
  koln::TextBuffer<MAXALPHATIMEDATE> piece;

  for (std::size_t i = 0; i < header.ListEntries && times.length() <= lastStart; ++i) {
    TIMEDATE time;
    std::memcpy(&time, place + i * sizeof time, sizeof time);
    if (i != 0) {
      times.append(",");
    }
    timeText(where, time, piece);
    times.append(piece.text());
    KOLN_LOG(where, 4, "convertTimeRange1:ItemText%s, lenght:%d", times.text(),
             times.shownLength());
  }
  place += std::size_t{header.ListEntries} * sizeof(TIMEDATE);

  if (header.RangeEntries != 0) {
    times.append(" ; ");
    KOLN_LOG(where, 4, "convertTimeRange2:ItemText%s, lenght:%d", times.text(),
             times.shownLength());
  }
  for (std::size_t i = 0; i < header.RangeEntries && times.length() <= lastStart; ++i) {
    TIMEDATE_PAIR pair;
    std::memcpy(&pair, place + i * sizeof pair, sizeof pair);
    if (i != 0) {
      times.append(",");
    }
    timeText(where, pair.Lower, piece);
    times.append(piece.text());
    times.append("-");
    timeText(where, pair.Upper, piece);
    times.append(piece.text());
    KOLN_LOG(where, 4, "convertTimeRange3:ItemText%s, lenght:%d", times.text(),
             times.shownLength());
  }
  KOLN_LOG(where, 4, "convertTimeRange Text length:%d", times.shownLength());
  std::memcpy(text, times.text(), times.length() + 1);
  return place + std::size_t{header.RangeEntries} * sizeof(TIMEDATE_PAIR);
}
