// The base64 of DXL, see DxlText.h.
#include <algorithm>

#include "DxlText.h"

namespace simulator {
namespace {

constexpr char Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Digits are asked for one by one, so a table is worth it.
unsigned digitValue(char c) {
  static const auto values = [] {
    std::vector<BYTE> table(256, 64);
    for (BYTE i = 0; i < 64; ++i) table[static_cast<BYTE>(Digits[i])] = i;
    return table;
  }();
  const unsigned value = values[static_cast<BYTE>(c)];
  if (value > 63) unreadableDxl("not base64");
  return value;
}

}  // namespace

std::string toBase64(std::span<const BYTE> bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (; !bytes.empty(); bytes = bytes.subspan(std::min<std::size_t>(bytes.size(), 3))) {
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i)
      group = group << 8 | (i < bytes.size() ? bytes[i] : std::uint32_t{0});
    for (std::size_t i = 0; i < 4; ++i)
      text += i <= bytes.size() ? Digits[group >> (18 - 6 * i) & 0x3F] : '=';
  }
  return text;
}

std::optional<char> Base64Reader::take() {
  while (!text_.empty()) {
    const char c = text_.front();
    text_.remove_prefix(1);
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return c;
  }
  return std::nullopt;
}

std::vector<BYTE> Base64Reader::next(std::size_t most) {
  std::vector<BYTE> bytes;
  bytes.reserve(std::min(most, text_.size() / 4 * 3 + 3));
  while (bytes.size() + 3 <= most) {
    std::optional<char> c = take();
    if (!c) break;
    std::uint32_t group = 0;
    std::size_t padding = 0;
    for (int i = 0; i < 4; ++i, c = i < 4 ? take() : c) {
      if (!c || ended_ || (padding != 0 && *c != '=')) unreadableDxl("base64 ends too early");
      padding += *c == '=' ? 1 : 0;
      group = group << 6 | (*c == '=' ? 0 : digitValue(*c));
    }
    const std::uint32_t unused = padding == 0 ? 0 : group & ((1U << 8 * padding) - 1);
    if (padding > 2 || unused != 0) unreadableDxl("base64 with a wrong end");
    ended_ = padding != 0;
    for (std::size_t i = 0; i < 3 - padding; ++i)
      bytes.push_back(static_cast<BYTE>(group >> (16 - 8 * i)));
  }
  return bytes;
}

}  // namespace simulator
