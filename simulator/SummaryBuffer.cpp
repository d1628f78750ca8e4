// Summary buffers: made by the builder, read by NSFLocateSummaryValue and NSFGetSummaryValue, which
// hosts also give buffers that are damaged.
#include "SummaryBuffer.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "Export.h"
#include "Text.h"

namespace simulator {
namespace {

constexpr std::size_t mostBytes = MAXWORD;

template <typename Structure>
Structure copied(const BYTE* bytes) {
  Structure structure{};
  std::memcpy(&structure, bytes, sizeof structure);
  return structure;
}

// What stands behind the type word of an item's value.
struct SummaryValue {
  WORD type;
  const BYTE* bytes;
  WORD size;
};

// Nothing if the item is not there, has no value, or the buffer does not hold what its table says.
std::optional<SummaryValue> locate(const void* buffer, const char* name) {
  if (buffer == nullptr || name == nullptr) return std::nullopt;
  const BYTE* const bytes = static_cast<const BYTE*>(buffer);
  const auto table = copied<ITEM_TABLE>(bytes);
  std::size_t next = sizeof table + std::size_t{table.Items} * sizeof(ITEM);
  if (next > table.Length) return std::nullopt;
  for (std::size_t i = 0; i < table.Items; ++i) {
    const auto item = copied<ITEM>(bytes + sizeof table + i * sizeof(ITEM));
    const std::size_t value = next + item.NameLength;
    const std::string_view itemName(reinterpret_cast<const char*>(bytes + next), item.NameLength);
    next = value + item.ValueLength;
    if (next > table.Length) return std::nullopt;
    if (!sameName(itemName, name)) continue;
    if (item.ValueLength < sizeof(WORD)) return std::nullopt;
    return SummaryValue{copied<WORD>(bytes + value), bytes + value + sizeof(WORD),
                        static_cast<WORD>(item.ValueLength - sizeof(WORD))};
  }
  return std::nullopt;
}

}  // namespace

void SummaryBuilder::addText(std::string_view name, std::string_view lmbcs) {
  add(name, TYPE_TEXT, lmbcs.data(), lmbcs.size());
}

void SummaryBuilder::addTime(std::string_view name, TIMEDATE time) {
  add(name, TYPE_TIME, &time, sizeof time);
}

void SummaryBuilder::addNumber(std::string_view name, double number) {
  add(name, TYPE_NUMBER, &number, sizeof number);
}

void SummaryBuilder::add(std::string_view name, WORD type, const void* value, std::size_t size) {
  std::vector<BYTE> whole(sizeof type + size);
  std::memcpy(whole.data(), &type, sizeof type);
  if (size != 0) std::memcpy(whole.data() + sizeof type, value, size);
  addValue(name, whole.data(), whole.size());
}

void SummaryBuilder::addValue(std::string_view name, const void* valueWithTypeWord,
                              std::size_t size) {
  const std::size_t used = sizeof(ITEM_TABLE) + items_.size() * sizeof(ITEM) + data_.size();
  const std::size_t needed = sizeof(ITEM) + name.size() + size;
  if (needed > mostBytes - used) {
    truncated_ = true;
    return;
  }
  items_.push_back({static_cast<USHORT>(name.size()), static_cast<USHORT>(size)});
  const auto* const value = static_cast<const BYTE*>(valueWithTypeWord);
  data_.insert(data_.end(), name.begin(), name.end());
  data_.insert(data_.end(), value, value + size);
}

std::vector<BYTE> SummaryBuilder::build() const {
  const std::size_t tableSize = sizeof(ITEM_TABLE) + items_.size() * sizeof(ITEM);
  std::vector<BYTE> buffer(tableSize + data_.size());
  const ITEM_TABLE table{static_cast<USHORT>(buffer.size()), static_cast<USHORT>(items_.size())};
  std::memcpy(buffer.data(), &table, sizeof table);
  if (!items_.empty()) {
    std::memcpy(buffer.data() + sizeof table, items_.data(), items_.size() * sizeof(ITEM));
  }
  std::copy(data_.begin(), data_.end(), buffer.begin() + static_cast<std::ptrdiff_t>(tableSize));
  return buffer;
}

}  // namespace simulator

SIM_EXPORT BOOL NSFLocateSummaryValue(const void* summary_buffer_ptr, const char* item_name,
                                      void** item_value_ptr_ptr, WORD* item_len_ptr,
                                      WORD* item_type_ptr) {
  const auto value = simulator::locate(summary_buffer_ptr, item_name);
  if (!value) return FALSE;
  if (item_value_ptr_ptr != nullptr) *item_value_ptr_ptr = const_cast<BYTE*>(value->bytes);
  if (item_len_ptr != nullptr) *item_len_ptr = value->size;
  if (item_type_ptr != nullptr) *item_type_ptr = value->type;
  return TRUE;
}

// Texts only; max_buffer_len counts the terminator.
SIM_EXPORT BOOL NSFGetSummaryValue(const void* summary_buffer_ptr, const char* text_item_name,
                                   char* text_item_value, WORD max_buffer_len) {
  const auto value = simulator::locate(summary_buffer_ptr, text_item_name);
  if (!value || value->type != TYPE_TEXT || text_item_value == nullptr || max_buffer_len == 0) {
    return FALSE;
  }
  const std::string_view text = simulator::cutLmbcs(
      {reinterpret_cast<const char*>(value->bytes), value->size}, max_buffer_len - 1u);
  std::memcpy(text_item_value, text.data(), text.size());
  text_item_value[text.size()] = '\0';
  return TRUE;
}

// The summary texts of this runtime hold no special formatting, so they pass as they are.
SIM_EXPORT STATUS NSFTranslateSpecial(void* InputString, WORD InputStringLength, void* OutputString,
                                      WORD OutputStringBufferLength, NOTEID, void*,
                                      INDEXSPECIALINFO*, DHANDLE, DHANDLE, char*, char*,
                                      WORD* retLength) {
  if ((InputString == nullptr && InputStringLength != 0) || OutputString == nullptr) {
    return ERR_BAD_PARAM;
  }
  const std::string_view text = simulator::cutLmbcs(
      {static_cast<const char*>(InputString), InputStringLength}, OutputStringBufferLength);
  if (!text.empty()) std::memmove(OutputString, text.data(), text.size());
  if (retLength != nullptr) *retLength = static_cast<WORD>(text.size());
  return NOERROR;
}
