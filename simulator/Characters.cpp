// The encodings themselves: UTF-8, UTF-16 and LMBCS optimised for group 1 (code page 850).
#include "Characters.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace simulator {
namespace {

// Code page 850 from 0x80 on.
constexpr std::array<char16_t, 128> codePage850 = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF,
    0x00EE, 0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9,
    0x00FF, 0x00D6, 0x00DC, 0x00F8, 0x00A3, 0x00D8, 0x00D7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA,
    0x00F1, 0x00D1, 0x00AA, 0x00BA, 0x00BF, 0x00AE, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB,
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x00C1, 0x00C2, 0x00C0, 0x00A9, 0x2563, 0x2551, 0x2557,
    0x255D, 0x00A2, 0x00A5, 0x2510, 0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x00E3, 0x00C3,
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x00A4, 0x00F0, 0x00D0, 0x00CA, 0x00CB,
    0x00C8, 0x0131, 0x00CD, 0x00CE, 0x00CF, 0x2518, 0x250C, 0x2588, 0x2584, 0x00A6, 0x00CC, 0x2580,
    0x00D3, 0x00DF, 0x00D4, 0x00D2, 0x00F5, 0x00D5, 0x00B5, 0x00FE, 0x00DE, 0x00DA, 0x00DB, 0x00D9,
    0x00FD, 0x00DD, 0x00AF, 0x00B4, 0x00AD, 0x00B1, 0x2017, 0x00BE, 0x00B6, 0x00A7, 0x00F7, 0x00B8,
    0x00B0, 0x00A8, 0x00B7, 0x00B9, 0x00B3, 0x00B2, 0x25A0, 0x00A0};

using CharacterAndByte = std::pair<char16_t, unsigned char>;

// The way back, sorted for a binary search.
constexpr std::array<CharacterAndByte, 128> toCodePage850 = [] {
  std::array<CharacterAndByte, 128> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i].first = codePage850[i];
    table[i].second = static_cast<unsigned char>(0x80 + i);
  }
  std::sort(table.begin(), table.end(),
            [](const CharacterAndByte& a, const CharacterAndByte& b) { return a.first < b.first; });
  return table;
}();

// Group bytes of LMBCS.
constexpr unsigned char groupLatin1 = 0x01;
constexpr unsigned char groupControl = 0x0F;
constexpr unsigned char groupUnicode = 0x14;
// Stands for a low byte of 0, so that no nul byte occurs inside a character.
constexpr unsigned char noLowByte = 0xF6;

unsigned char byteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

bool isHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

char32_t joinSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// Calls `append` with the one or two UTF-16 code units of a character.
template <typename Append>
void splitUtf16(char32_t character, const Append& append) {
  if (character < 0x10000) {
    append(static_cast<char16_t>(character));
    return;
  }
  append(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
  append(static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF)));
}

// The code unit of a Unicode sequence that the text is known to begin with.
char32_t unicodeUnit(std::string_view text) {
  if (byteAt(text, 1) == noLowByte) return static_cast<char32_t>(byteAt(text, 2) << 8);
  return static_cast<char32_t>(byteAt(text, 1) << 8 | byteAt(text, 2));
}

bool startsWithUnicode(std::string_view text) {
  return text.size() >= 3 && byteAt(text, 0) == groupUnicode;
}

// How many bytes an LMBCS character has by its first byte.
std::size_t lmbcsLength(std::string_view text) {
  switch (byteAt(text, 0)) {
    case groupLatin1:
    case 0x02:
    case 0x03:
    case 0x04:
    case 0x05:
    case 0x06:
    case 0x08:
    case 0x0B:
    case groupControl:
      return 2;
    case 0x10:
    case 0x11:
    case 0x12:
    case 0x13:
    case groupUnicode:
      return 3;
    default:
      return 1;
  }
}

bool isLiteral(unsigned char byte) {
  return byte == 0 || byte == '\t' || byte == '\n' || byte == '\r' || byte == 0x19 ||
         (byte >= 0x20 && byte < 0x80);
}

// A character of one or two bytes; nothing for those that this runtime has no table for.
std::optional<char32_t> shortLmbcs(std::string_view character) {
  const unsigned char lead = byteAt(character, 0);
  if (isLiteral(lead)) return lead;
  if (lead >= 0x80) return codePage850[lead - 0x80];
  if (character.size() < 2) return std::nullopt;
  const unsigned char second = byteAt(character, 1);
  if (lead == groupLatin1 && second >= 0x80) return codePage850[second - 0x80];
  if (lead != groupControl) return std::nullopt;
  if (second > 0x20 && second < 0x40) return second - 0x20;
  if (second >= 0x80 && second < 0xA0) return second;
  return std::nullopt;
}

}  // namespace

std::optional<char32_t> takeUtf8(std::string_view& text) {
  const unsigned char lead = byteAt(text, 0);
  std::size_t length = 1;
  if (lead >= 0xC2 && lead <= 0xDF) length = 2;
  if (lead >= 0xE0 && lead <= 0xEF) length = 3;
  if (lead >= 0xF0 && lead <= 0xF4) length = 4;
  if (length == 1) {
    text.remove_prefix(1);
    return lead < 0x80 ? lead : replacementCharacter;
  }
  char32_t character = lead & (0xFFu >> (length + 1));
  std::size_t taken = 1;
  for (; taken < length && taken < text.size(); ++taken) {
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
    if (taken == 1) {  // Keeps out overlong forms, surrogates and what is above U+10FFFF.
      if (lead == 0xE0) lowest = 0xA0;
      if (lead == 0xED) highest = 0x9F;
      if (lead == 0xF0) lowest = 0x90;
      if (lead == 0xF4) highest = 0x8F;
    }
    const unsigned char byte = byteAt(text, taken);
    if (byte < lowest || byte > highest) break;
    character = character << 6 | (byte & 0x3Fu);
  }
  text.remove_prefix(taken);
  return taken == length ? character : replacementCharacter;
}

std::optional<char32_t> takeLmbcs(std::string_view& text) {
  if (startsWithUnicode(text)) {
    const char32_t unit = unicodeUnit(text);
    text.remove_prefix(3);
    if (isHighSurrogate(unit) && startsWithUnicode(text) && isLowSurrogate(unicodeUnit(text))) {
      const char32_t character = joinSurrogates(unit, unicodeUnit(text));
      text.remove_prefix(3);
      return character;
    }
    return isHighSurrogate(unit) || isLowSurrogate(unit) ? replacementCharacter : unit;
  }
  const std::string_view character = text.substr(0, lmbcsLength(text));
  text.remove_prefix(character.size());
  return shortLmbcs(character);
}

std::optional<char32_t> takeUtf16(std::string_view& text) {
  const auto takeUnit = [&text] {
    char16_t unit = 0;
    std::memcpy(&unit, text.data(), sizeof unit);
    text.remove_prefix(sizeof unit);
    return static_cast<char32_t>(unit);
  };
  if (text.size() < sizeof(char16_t)) {
    text = {};
    return std::nullopt;
  }
  const char32_t unit = takeUnit();
  if (isHighSurrogate(unit) && text.size() >= sizeof(char16_t)) {
    const std::string_view afterFirst = text;
    const char32_t second = takeUnit();
    if (isLowSurrogate(second)) return joinSurrogates(unit, second);
    text = afterFirst;
  }
  return isHighSurrogate(unit) || isLowSurrogate(unit) ? replacementCharacter : unit;
}

void appendUtf8(std::string& text, char32_t character) {
  const auto append = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (character < 0x80) {
    append(character);
    return;
  }
  if (character < 0x800) {
    append(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      append(0xE0 | character >> 12);
    } else {
      append(0xF0 | character >> 18);
      append(0x80 | (character >> 12 & 0x3F));
    }
    append(0x80 | (character >> 6 & 0x3F));
  }
  append(0x80 | (character & 0x3F));
}

void appendLmbcs(std::string& text, char32_t character) {
  const auto append = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (character < 0x80) {
    if (!isLiteral(static_cast<unsigned char>(character))) {
      append(groupControl);
      character += 0x20;
    }
    append(character);
    return;
  }
  if (character < 0xA0) {
    append(groupControl);
    append(character);
    return;
  }
  const auto* found = std::lower_bound(
      toCodePage850.begin(), toCodePage850.end(), character,
      [](const CharacterAndByte& entry, char32_t wanted) { return entry.first < wanted; });
  if (found != toCodePage850.end() && found->first == character) {
    append(found->second);
    return;
  }
  // Written as they are, these would read as a character whose low byte is 0.
  if (character > 0xF600 && character <= 0xF6FF) character = replacementCharacter;
  splitUtf16(character, [&append](char16_t unit) {
    const bool hasLowByte = (unit & 0xFF) != 0;
    append(groupUnicode);
    append(hasLowByte ? unit >> 8 : noLowByte);
    append(hasLowByte ? unit & 0xFF : unit >> 8);
  });
}

void appendUtf16(std::string& text, char32_t character) {
  splitUtf16(character, [&text](char16_t unit) {
    text.append(reinterpret_cast<const char*>(&unit), sizeof unit);
  });
}

}  // namespace simulator
