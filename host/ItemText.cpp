#include "ItemText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "Times.h"
#include "Translation.h"

namespace host {
namespace {

struct Named {
  WORD number;
  const char* name;
};

#define NAMED(type) \
  { TYPE_##type, #type }
constexpr Named types[] = {NAMED(COMPOSITE),
                           NAMED(COLLATION),
                           NAMED(OBJECT),
                           NAMED(NOTEREF_LIST),
                           NAMED(VIEW_FORMAT),
                           NAMED(ICON),
                           NAMED(NOTELINK_LIST),
                           NAMED(SIGNATURE),
                           NAMED(SEAL),
                           NAMED(SEALDATA),
                           NAMED(SEAL_LIST),
                           NAMED(HIGHLIGHTS),
                           NAMED(WORKSHEET_DATA),
                           NAMED(USERDATA),
                           NAMED(QUERY),
                           NAMED(ACTION),
                           NAMED(ASSISTANT_INFO),
                           NAMED(VIEWMAP_DATASET),
                           NAMED(VIEWMAP_LAYOUT),
                           NAMED(LSOBJECT),
                           NAMED(HTML),
                           NAMED(SCHED_LIST),
                           NAMED(CALENDAR_FORMAT),
                           NAMED(MIME_PART),
                           NAMED(ERROR),
                           NAMED(UNAVAILABLE),
                           NAMED(NUMBER),
                           NAMED(NUMBER_RANGE),
                           NAMED(TIME),
                           NAMED(TIME_RANGE),
                           NAMED(TEXT),
                           NAMED(TEXT_LIST),
                           NAMED(RFC822_TEXT),
                           NAMED(FORMULA),
                           NAMED(USERID)};
#undef NAMED

constexpr Named flagBits[] = {
    {ITEM_SIGN, "sign"},           {ITEM_SEAL, "seal"},       {ITEM_SUMMARY, "summary"},
    {ITEM_READWRITERS, "authors"}, {ITEM_NAMES, "names"},     {ITEM_PLACEHOLDER, "placeholder"},
    {ITEM_PROTECTED, "protected"}, {ITEM_READERS, "readers"}, {ITEM_UNCHANGED, "unchanged"}};

constexpr const char* separator = "; ";

// Takes a value off the front. Nothing if the bytes do not reach.
template <typename Value>
std::optional<Value> take(std::string_view& bytes) {
  Value value;
  if (bytes.size() < sizeof value) {
    return std::nullopt;
  }
  std::memcpy(&value, bytes.data(), sizeof value);
  bytes.remove_prefix(sizeof value);
  return value;
}

std::optional<std::string_view> take(std::string_view& bytes, std::size_t count) {
  if (bytes.size() < count) {
    return std::nullopt;
  }
  const std::string_view taken = bytes.substr(0, count);
  bytes.remove_prefix(count);
  return taken;
}

// Inside a text a zero byte ends a line.
std::string textOf(std::string_view lmbcs) {
  std::string text(lmbcs);
  std::replace(text.begin(), text.end(), '\0', '\n');
  return utf8FromLmbcs(text);
}

std::string readable(NUMBER number) {
  return fmt::format("{}", number);
}

std::string readable(const TIMEDATE& time) {
  return readableTime(time);
}

template <typename Value>
std::optional<std::string> oneValue(std::string_view value) {
  const auto number = take<Value>(value);
  return number ? std::optional(readable(*number)) : std::nullopt;
}

// Single values, and behind them pairs.
template <typename Value>
std::optional<std::string> valuesAndPairs(std::string_view value) {
  const auto counts = take<RANGE>(value);
  const std::size_t all =
      counts ? counts->ListEntries + std::size_t{2} * counts->RangeEntries : std::size_t{0};
  if (!counts || value.size() < all * sizeof(Value)) {
    return std::nullopt;
  }
  std::vector<std::string> parts;
  for (std::size_t i = 0; i < all; ++i) {
    std::string part = readable(*take<Value>(value));
    if (i >= counts->ListEntries) {
      part += " to " + readable(*take<Value>(value));
      ++i;
    }
    parts.push_back(std::move(part));
  }
  return fmt::format("{}", fmt::join(parts, separator));
}

std::optional<std::string> textList(std::string_view value) {
  const auto list = take<LIST>(value);
  auto lengths = list ? take(value, list->ListEntries * sizeof(USHORT)) : std::nullopt;
  if (!lengths) {
    return std::nullopt;
  }
  std::vector<std::string> parts;
  while (const auto length = take<USHORT>(*lengths)) {
    const auto text = take(value, *length);
    if (!text) {
      return std::nullopt;
    }
    parts.push_back(textOf(*text));
  }
  return fmt::format("{}", fmt::join(parts, separator));
}

// The texts of rich text. A record tells its length in its first bytes, and begins at an even
// place.
std::string richText(std::string_view value) {
  std::string text;
  constexpr std::size_t textRecordHeader = 8;
  while (value.size() >= sizeof(WORD)) {
    std::string_view rest = value;
    const WORD signature = *take<WORD>(rest);
    const unsigned high = signature >> 8;
    const std::size_t length = high == 0xFF   ? take<WORD>(rest).value_or(0)
                               : high == 0x00 ? take<DWORD>(rest).value_or(0)
                                              : high;
    if (length < sizeof(WORD) || length > value.size()) {
      break;
    }
    if (signature == SIG_CD_TEXT && length > textRecordHeader) {
      text += (text.empty() ? "" : "\n") +
              textOf(value.substr(textRecordHeader, length - textRecordHeader));
    }
    value.remove_prefix(std::min(value.size(), length + length % 2));
  }
  return text;
}

// The parts of stored descriptors, which are packed.
template <typename Value>
Value at(std::string_view value, std::size_t place) {
  value.remove_prefix(std::min(place, value.size()));
  return take<Value>(value).value_or(Value{});
}

std::optional<std::string> fileName(std::string_view value) {
  constexpr std::size_t nameLengthPlace = 6;
  constexpr std::size_t sizePlace = 16;
  constexpr std::size_t descriptorSize = 36;
  const std::size_t length = at<WORD>(value, nameLengthPlace);
  if ((at<WORD>(value, 0) & 0xFF) != OBJECT_FILE || value.size() < descriptorSize + length) {
    return std::nullopt;
  }
  return fmt::format("{}, {} bytes", textOf(value.substr(descriptorSize, length)),
                     at<DWORD>(value, sizePlace));
}

std::optional<std::string> mimeText(std::string_view value) {
  constexpr std::size_t boundaryLengthPlace = 10;
  constexpr std::size_t headerSize = 20;
  const std::size_t start = headerSize + at<WORD>(value, boundaryLengthPlace);
  return value.size() < start ? std::nullopt : std::optional(std::string(value.substr(start)));
}

std::optional<std::string> readableForm(WORD type, std::string_view value) {
  switch (type) {
    case TYPE_TEXT:
      return textOf(value);
    case TYPE_TEXT_LIST:
      return textList(value);
    case TYPE_NUMBER:
      return oneValue<NUMBER>(value);
    case TYPE_NUMBER_RANGE:
      return valuesAndPairs<NUMBER>(value);
    case TYPE_TIME:
      return oneValue<TIMEDATE>(value);
    case TYPE_TIME_RANGE:
      return valuesAndPairs<TIMEDATE>(value);
    case TYPE_COMPOSITE:
      return richText(value);
    case TYPE_OBJECT:
      return fileName(value);
    case TYPE_MIME_PART:
      return mimeText(value);
    default:
      return std::nullopt;
  }
}

}  // namespace

std::string typeName(WORD type) {
  const auto* const found =
      std::find_if(std::begin(types), std::end(types),
                   [type](const Named& known) { return known.number == type; });
  return found == std::end(types) ? fmt::format("0x{:04X}", type) : found->name;
}

std::string flagNames(WORD flags) {
  std::vector<std::string> names;
  unsigned unnamed = flags;
  for (const Named& bit : flagBits) {
    if ((flags & bit.number) != 0) {
      names.emplace_back(bit.name);
      unnamed &= ~unsigned{bit.number};
    }
  }
  if (unnamed != 0) {
    names.push_back(fmt::format("0x{:04X}", unnamed));
  }
  return fmt::format("{}", fmt::join(names, ", "));
}

std::string readableValue(WORD type, std::string_view value) {
  if (auto text = readableForm(type, value)) {
    return *std::move(text);
  }
  constexpr std::size_t most = 16;
  std::string bytes;
  for (const char byte : value.substr(0, most)) {
    fmt::format_to(std::back_inserter(bytes), "{:02X} ", static_cast<unsigned char>(byte));
  }
  return bytes + (value.size() > most ? "..." : "");
}

}  // namespace host
