// A view read for a text index: the titles of its columns, and one entry as a line.
#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "NotesDatabase.h"
#include "bench/Roads.h"

namespace bench {
namespace {

// ---- what the view shows ----------------------------------------------------------------------

template <typename... Values>
std::string packed(const Values&... values) {
  std::string bytes;
  (bytes.append(reinterpret_cast<const char*>(&values), sizeof values), ...);
  return bytes;
}

struct Column {
  std::string item, title, value;  // The value with its type word.
  WORD flags = 0;
};

constexpr TIMEDATE posted = {4250000, 0x257CED};
const std::array<Column, 8> columns = {{
    {"Subject", "Subject", packed(TYPE_TEXT) + "Minutes of the meeting: part 2/3", VCF1_M_Sort},
    {"Tags", "Tags",
     packed(TYPE_TEXT_LIST, LIST{3}, USHORT{4}, USHORT{3}, USHORT{5}) + "leftendright"},
    {"Bytes", "Size", packed(TYPE_NUMBER, NUMBER{48213})},
    {"Range", "Range", packed(TYPE_NUMBER_RANGE, RANGE{1, 1}, NUMBER{2.5}, NUMBER_PAIR{1, 9})},
    {"Posted", "Date", packed(TYPE_TIME, posted), VCF1_M_SortDescending},
    {"Period", "Period",
     packed(TYPE_TIME_RANGE, RANGE{1, 1}, posted, TIMEDATE_PAIR{posted, posted})},
    {"Remark", "Remark", ""},
    {"From", "Sender|Owner", packed(TYPE_TEXT) + "Ada"},
}};

// The item "$ViewFormat" without its type word.
std::string viewFormat() {
  std::string bytes =
      packed(VIEW_FORMAT_VERSION, VIEW_CLASS_TABLE, WORD{columns.size()}) + std::string(6, '\0');
  std::string texts;
  for (const auto& [item, title, value, flags] : columns) {
    const WORD words[] = {VIEW_COLUMN_FORMAT_SIGNATURE,
                          flags,
                          static_cast<WORD>(item.size()),
                          static_cast<WORD>(title.size()),
                          0,
                          0,
                          80};
    bytes += packed(words) + std::string(18, '\0');
    texts += item + title;
  }
  return bytes + texts;
}

std::string summaryBuffer() {
  std::string items, values;
  for (const auto& [item, title, value, flags] : columns) {
    items += packed(static_cast<USHORT>(item.size()), static_cast<USHORT>(value.size()));
    values += item + value;
  }
  const std::size_t length = sizeof(ITEM_TABLE) + items.size() + values.size();
  return packed(static_cast<USHORT>(length), USHORT{columns.size()}) + items + values;
}

void readHollow(void* from, WORD type, void* out, WORD /*iterations*/) {
  char*& place = *static_cast<char**>(from);
  const std::size_t size = type == ODS_VIEW_FORMAT_HEADER  ? 2
                           : type == ODS_VIEW_TABLE_FORMAT ? 10
                                                           : 14;
  std::memcpy(out, place, size);
  place += size;
  if (type != ODS_VIEW_COLUMN_FORMAT) return;  // In memory that has padding in its middle.
  std::memcpy(&static_cast<VIEW_COLUMN_FORMAT*>(out)->FontID, place, 18);
  place += 18;
}

void bindHollowView() {
  static std::string format = packed(TYPE_VIEW_FORMAT) + viewFormat();
  KO_NSFNoteOpen = [](auto, auto, auto, NOTEHANDLE* note) -> STATUS { return *note = 9, NOERROR; };
  KO_NSFItemInfo = [](auto, auto, auto, auto, WORD* type, BLOCKID* value, DWORD* size) -> STATUS {
    return *type = TYPE_VIEW_FORMAT, *value = {21, 0}, *size = DWORD(format.size()), NOERROR;
  };
  KO_OSLockObject = [](auto) -> void* { return format.data(); };
  KO_ODSLength = [](auto) -> WORD { return 32; };
  KO_ODSReadMemory = readHollow;
  KO_OSTranslate = [](auto, const char* in, WORD length, char* out, auto) -> WORD {
    std::memcpy(out, in, length);
    return length;
  };
  KO_NSFTranslateSpecial = [](void* in, WORD length, void* out, auto, auto, auto, auto, auto, auto,
                              auto, auto, WORD* written) -> STATUS {
    std::memcpy(out, in, *written = length);
    return NOERROR;
  };
  KO_ConvertTIMEDATEToText = [](auto, auto, auto, char* out, auto, WORD* length) -> STATUS {
    constexpr std::string_view text = "11/23/2026 11:48 AM";
    std::memcpy(out, text.data(), *length = text.size());
    return NOERROR;
  };
}

// ---- by hand ----------------------------------------------------------------------------------

using Flags = std::map<std::string, WORD>;

bool isHidden(WORD flags) {
  return (flags & (VCF1_M_Hidden | VCF1_M_SortCategorize | VCF1_M_Icon | VCF1_M_Response)) != 0;
}

// In UTF-8, without what would part fields or paths.
template <WORD Capacity>
std::string shown(const std::string& text) {
  char utf8[Capacity];
  WORD length = 0;
  if (!text.empty()) {
    length = KO_OSTranslate(OS_TRANSLATE_LMBCS_TO_UTF8, text.c_str(),
                            static_cast<WORD>(text.size()), utf8, Capacity);
  }
  std::string result = length != 0 ? std::string(utf8, length) : text;
  for (char& byte : result) {
    const auto code = static_cast<unsigned char>(byte);
    if (code < ' ' || code == 0xFF || std::strchr("\\/:*?\"<>|%", byte) != nullptr) byte = ' ';
  }
  return result;
}

template <typename Value>
Value take(const char*& place) {
  Value value;
  std::memcpy(&value, place, sizeof value);
  place += sizeof value;
  return value;
}

std::string textOf(const TIMEDATE& time) {
  char text[MAXALPHATIMEDATE];
  WORD length = 0;
  const STATUS status =
      KO_ConvertTIMEDATEToText(nullptr, nullptr, &time, text, MAXALPHATIMEDATE, &length);
  return status == NOERROR ? std::string(text, length) : std::string();
}

std::string textOf(NUMBER number) {
  char text[400];
  std::snprintf(text, sizeof text, "%f", number);
  return text;
}

constexpr std::size_t longestColumn = 80;
constexpr std::size_t longestLine = 240;

struct Entry {
  std::string summary = summaryBuffer();
  NOTEID id = 0x8FA;
  INDEXSPECIALINFO special = {};
  COLLECTIONPOSITION position = {};
};

std::string textOfText(const char* value, std::size_t length, Entry& entry) {
  char text[longestColumn];
  WORD written = 0;
  const STATUS status = KO_NSFTranslateSpecial(
      const_cast<char*>(value), static_cast<WORD>(std::min(length, longestColumn)), text,
      longestColumn, entry.id, &entry.position, &entry.special, NULLHANDLE, NULLHANDLE, nullptr,
      nullptr, &written);
  return status == NOERROR ? std::string(text, written) : std::string();
}

std::string textOfList(const char* place) {
  std::string text;
  const auto count = take<LIST>(place).ListEntries;
  const char* piece = place + count * sizeof(USHORT);
  for (USHORT i = 0; i < count; ++i) {
    const auto size = take<USHORT>(place);
    if (text.size() + (i != 0 ? 1 : 0) + size >= longestColumn) break;
    if (i != 0) text += ' ';
    text.append(piece, size);
    piece += size;
  }
  return text;
}

// A list of values and a list of pairs of them. Nothing is begun behind `enough` characters.
template <typename Value, typename Pair>
std::string textOfRange(const char* place, std::size_t enough, const char* comma,
                        const char* between, const char* dash) {
  std::string text;
  const auto range = take<RANGE>(place);
  for (USHORT i = 0; i < range.ListEntries && text.size() < enough; ++i) {
    if (i != 0) text += comma;
    text += textOf(take<Value>(place));
  }
  if (range.RangeEntries != 0) text += between;
  for (USHORT i = 0; i < range.RangeEntries && text.size() < enough; ++i) {
    if (i != 0) text += comma;
    const auto pair = take<Pair>(place);
    text += textOf(pair.Lower);
    text += dash;
    text += textOf(pair.Upper);
  }
  return text;
}

std::string textOfValue(const char* place, std::size_t length, Entry& entry) {
  switch (const auto type = take<WORD>(place); type) {
    case TYPE_TEXT:
      return textOfText(place, length - sizeof type, entry);
    case TYPE_TEXT_LIST:
      return textOfList(place);
    case TYPE_NUMBER: {
      const auto number = take<NUMBER>(place);
      const double integer = std::trunc(number);
      const bool whole =
          std::fabs(number - integer) <= 0.000001 && integer >= INT_MIN && integer <= INT_MAX;
      return whole ? std::to_string(static_cast<int>(integer)) : textOf(number);
    }
    case TYPE_NUMBER_RANGE:
      return textOfRange<NUMBER, NUMBER_PAIR>(place, 66, "", "", " - ");
    case TYPE_TIME:
      return textOf(take<TIMEDATE>(place));
    case TYPE_TIME_RANGE:
      return textOfRange<TIMEDATE, TIMEDATE_PAIR>(place, 56, ",", " ; ", "-");
    default:
      return {};
  }
}

std::string lineOf(Entry& entry, const Flags& flags) {
  char id[16];
  std::snprintf(id, sizeof id, "%08x\x12", entry.id);
  std::string line = id;
  const char* place = entry.summary.data();
  const char* const end = place + entry.summary.size();
  const auto table = take<ITEM_TABLE>(place);
  const char* value = place + table.Items * sizeof(ITEM);
  for (USHORT i = 0; i < table.Items; ++i) {
    const auto item = take<ITEM>(place);
    if (item.NameLength + item.ValueLength > end - value) break;
    const std::string name(value, item.NameLength);
    value += item.NameLength;
    const auto column = flags.find(name);
    const bool shows = column != flags.end() && !isHidden(column->second);
    std::string text;
    if (item.ValueLength >= sizeof(WORD)) text = textOfValue(value, item.ValueLength, entry);
    value += item.ValueLength;
    if (text.size() > longestColumn) text.resize(longestColumn);
    if (line.size() + text.size() > longestLine) break;
    if (!shows) continue;
    text = shown<longestLine>(text);
    line += text.empty() ? " " : text;
    line += '\x12';
  }
  return line;
}

// The titles of the columns that show; their flags by item name. False for a damaged format.
bool readColumns(const char* format, DWORD length, std::string& titles, Flags& flags) {
  const char* const end = format + length;
  void* cursor = const_cast<char*>(format + sizeof(WORD));
  VIEW_FORMAT_HEADER header;
  KO_ODSReadMemory(&cursor, ODS_VIEW_FORMAT_HEADER, &header, 1);
  if (header.Version != VIEW_FORMAT_VERSION) return false;
  cursor = const_cast<char*>(format + sizeof(WORD));
  VIEW_TABLE_FORMAT table;
  KO_ODSReadMemory(&cursor, ODS_VIEW_TABLE_FORMAT, &table, 1);
  const char* text = static_cast<char*>(cursor) +
                     KO_ODSLength(ODS_VIEW_COLUMN_FORMAT) * std::size_t{table.Columns};
  for (WORD i = 0; i < table.Columns; ++i) {
    VIEW_COLUMN_FORMAT column;
    KO_ODSReadMemory(&cursor, ODS_VIEW_COLUMN_FORMAT, &column, 1);
    if (text > end || column.ItemNameSize + column.TitleSize > end - text) return false;
    const std::string item(text, column.ItemNameSize);
    std::string title(text + column.ItemNameSize, column.TitleSize);
    text += column.ItemNameSize + column.TitleSize + column.FormulaSize + column.ConstantValueSize;
    if (title.size() + titles.size() + 8 > 200) break;
    if (isHidden(column.Flags1) || item == "$ThreadsEmbed") continue;
    title = shown<1024>(title);
    if (title.empty()) continue;
    titles += '\x12' + title;
    flags[item] = column.Flags1;
  }
  return true;
}

// ---- the roads --------------------------------------------------------------------------------

// A view of a database of these roads' own.
struct ViewRoad {
  explicit ViewRoad(const Site& site)
      : ground(site.ground), database(site.partition + "/views.nsf", site.instance) {
    if (ground == Ground::Simulated) makeView();
    view.emplace(database, id);
  }

  void makeView() {
    if (database.Open().IsErrorSet()) {
      database.Create();
      database.Open();
    }
    KoLNDesignDocument design;
    NOTEHANDLE created = NULLHANDLE;
    KO_NSFNoteCreate(database.GetHandle(), &created);
    design.SetNoteHandle(created);
    WORD noteClass = NOTE_CLASS_VIEW;
    design.SetInfo(_NOTE_CLASS, &noteClass);
    std::string format = viewFormat();
    char item[] = "$ViewFormat";
    design.AppendItem(0, item, 11, TYPE_VIEW_FORMAT, format.data(), DWORD(format.size()));
    design.Update(0);
    design.GetInfo(_NOTE_ID, &id);
  }

  void prepare() {
    if (ground == Ground::Hollow) bindHollowView();
  }
  std::string printable(std::string text) const {
    std::replace(text.begin(), text.end(), '\x12', '#');
    return text;
  }

  const Ground ground;
  KoLNDatabase database;
  NOTEID id = 0x8FA;
  std::optional<KoLNView> view;
  bool done = false;
};

struct IndexEntry : ViewRoad {
  explicit IndexEntry(const Site& site) : ViewRoad(site) {
    for (const Column& column : columns) flags[column.item] = column.flags;
  }
  void prepare() {
    ViewRoad::prepare();
    std::string titles;  // The view knows its columns from then on.
    view->GetCoulmnTitles(&titles);
    view->Close();
  }

  void library() {
    done = view->AddEntryToNoteIndex(line.data(),
                                     reinterpret_cast<unsigned char*>(entry.summary.data()),
                                     entry.id, entry.special, entry.position, 0) == 0;
  }
  void twin() {
    const std::string text = lineOf(entry, flags);
    done = text.size() < line.size();
    if (done) std::memcpy(line.data(), text.c_str(), text.size() + 1);
  }
  std::string result() const { return done ? printable(line.data()) : ""; }

  Entry entry;
  Flags flags;
  std::array<char, 4096> line = {};
};

struct ColumnTitles : ViewRoad {
  using ViewRoad::ViewRoad;

  void library() {
    done = !view->GetCoulmnTitles(&titles).IsErrorSet() && !view->Close().IsErrorSet();
  }
  void twin() {
    done = false;
    NOTEHANDLE note = NULLHANDLE;
    if (KO_NSFNoteOpen(database.GetHandle(), id, 0, &note) != NOERROR) return;
    WORD type = 0;
    BLOCKID block = {};
    DWORD length = 0;
    bool read = false;
    if (KO_NSFItemInfo(note, "$ViewFormat", 11, nullptr, &type, &block, &length) == NOERROR &&
        type == TYPE_VIEW_FORMAT) {
      const auto* const pool = static_cast<const char*>(KO_OSLockObject(block.pool));
      if (pool != nullptr) {
        titles.clear();
        flags.clear();
        read = readColumns(pool + block.block, length, titles, flags);
        KO_OSUnlockObject(block.pool);
      }
    }
    done = KO_NSFNoteClose(note) == NOERROR && read;
  }
  std::string result() const { return done ? printable(titles) : ""; }

  std::string titles;
  Flags flags;
};

}  // namespace

void addViewRoads(Pairs& pairs, const Site& site) {
  const unsigned rounds = site.ground == Ground::Hollow ? 100 : 20;
  pairs.push_back(
      makePair<IndexEntry>("index-entry", 0, site.ground, rounds, {1.00, 1.03, 0, false}, site));
  pairs.push_back(makePair<ColumnTitles>("column-titles", 0, site.ground, rounds, {}, site));
}

}  // namespace bench
