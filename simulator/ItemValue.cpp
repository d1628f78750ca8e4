// See ItemValue.h.
#include "ItemValue.h"

#include <cstring>

namespace simulator {

namespace {

USHORT wordAt(const char* address) {
  USHORT word = 0;
  std::memcpy(&word, address, sizeof word);
  return word;
}

// A count, as many lengths, and behind them the texts.
std::vector<std::string_view> members(std::string_view list) {
  std::vector<std::string_view> found;
  if (list.size() < sizeof(USHORT)) return found;
  const std::size_t count = wordAt(list.data());
  std::string_view lengths = list.substr(sizeof(USHORT));
  if (lengths.size() / sizeof(USHORT) < count) return found;
  std::string_view rest = lengths.substr(count * sizeof(USHORT));
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t length = wordAt(lengths.data() + i * sizeof(USHORT));
    if (length > rest.size()) break;
    found.push_back(rest.substr(0, length));
    rest.remove_prefix(length);
  }
  return found;
}

}  // namespace

std::vector<std::string_view> texts(const ItemValue& value) {
  if (!value.isText()) return {};
  const std::string_view bytes(reinterpret_cast<const char*>(value.bytes.data()),
                               value.bytes.size());
  if (value.type == TYPE_TEXT_LIST) return members(bytes);
  return {bytes};
}

}  // namespace simulator
