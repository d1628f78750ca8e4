// See SortKey.h.
#include "SortKey.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "Clock.h"
#include "ItemValue.h"

namespace simulator {

namespace {

// Nothing if the bytes end before the value does.
template <typename Value>
std::optional<Value> valueAt(std::span<const BYTE> bytes, std::size_t offset) {
  if (bytes.size() < offset + sizeof(Value)) return std::nullopt;
  Value value{};
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

std::size_t offsetOfFirst(WORD type) {
  return type == TYPE_NUMBER_RANGE || type == TYPE_TIME_RANGE ? sizeof(RANGE) : 0;
}

char folded(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

// `single`: size of one value. A pair becomes a range of its own.
void appendRange(std::vector<ColumnValue>& members, const ColumnValue& value, WORD singleType,
                 std::size_t single) {
  const auto counts = valueAt<RANGE>(value.bytes, 0);
  if (!counts) return;
  std::span<const BYTE> rest = std::span(value.bytes).subspan(sizeof(RANGE));
  for (USHORT i = 0; i < counts->ListEntries && rest.size() >= single; ++i) {
    members.push_back({singleType, {rest.begin(), rest.begin() + static_cast<long>(single)}});
    rest = rest.subspan(single);
  }
  static constexpr RANGE onePair = {0, 1};
  for (USHORT i = 0; i < counts->RangeEntries && rest.size() >= 2 * single; ++i) {
    std::vector<BYTE> range(sizeof onePair + 2 * single);
    std::memcpy(range.data(), &onePair, sizeof onePair);
    std::copy_n(rest.begin(), 2 * single, range.begin() + sizeof onePair);
    members.push_back({value.type, std::move(range)});
    rest = rest.subspan(2 * single);
  }
}

}  // namespace

SortKey sortKeyOf(const ColumnValue& value) {
  SortKey key;
  switch (value.type) {
    case TYPE_NUMBER:
    case TYPE_NUMBER_RANGE:
      if (const auto number = valueAt<NUMBER>(value.bytes, offsetOfFirst(value.type))) {
        key.kind = SortKey::Kind::Number;
        // What is no number has no place between the numbers: in front of them.
        key.number = std::isnan(*number) ? -HUGE_VAL : *number;
      }
      break;
    case TYPE_TIME:
    case TYPE_TIME_RANGE:
      if (const auto time = valueAt<TIMEDATE>(value.bytes, offsetOfFirst(value.type))) {
        key.kind = SortKey::Kind::Time;
        key.time = std::int64_t{time->Innards[1] & julianDayMask} << 32 | time->Innards[0];
      }
      break;
    case TYPE_TEXT:
    case TYPE_TEXT_LIST: {
      const std::vector<std::string_view> all = texts({value.type, value.bytes});
      if (all.empty() || all.front().empty()) break;
      key.kind = SortKey::Kind::Text;
      key.text = all.front();
      std::transform(key.text.begin(), key.text.end(), key.text.begin(), folded);
      break;
    }
    default:
      break;
  }
  return key;
}

std::vector<ColumnValue> membersOf(const ColumnValue& value) {
  std::vector<ColumnValue> members;
  switch (value.type) {
    case TYPE_TEXT_LIST:
      for (const std::string_view text : texts({value.type, value.bytes}))
        members.push_back({TYPE_TEXT, {text.begin(), text.end()}});
      break;
    case TYPE_NUMBER_RANGE:
      appendRange(members, value, TYPE_NUMBER, sizeof(NUMBER));
      break;
    case TYPE_TIME_RANGE:
      appendRange(members, value, TYPE_TIME, sizeof(TIMEDATE));
      break;
    default:
      members.push_back(value);
      break;
  }
  if (members.empty()) members.emplace_back();
  return members;
}

}  // namespace simulator
