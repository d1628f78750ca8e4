// See DxlText.h; times are in DxlTimes.cpp, base64 is in DxlBase64.cpp.
#include "DxlText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "Characters.h"
#include "Sqlite.h"
#include "Status.h"
#include "Text.h"

namespace simulator {
namespace {

bool isXmlCharacter(char32_t character) {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  return character < 0xD800 || (character > 0xDFFF && character < 0xFFFE) ||
         (character > 0xFFFF && character <= 0x10FFFF);
}

// What stands between "&" and ";".
char32_t referenceOf(std::string_view name) {
  if (name == "amp") return '&';
  if (name == "lt") return '<';
  if (name == "gt") return '>';
  if (name == "quot") return '"';
  if (name == "apos") return '\'';
  const bool hex = name.starts_with("#x");
  const std::string_view digits = name.starts_with('#') ? name.substr(hex ? 2 : 1) : "";
  std::uint32_t character = 0;
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, character, hex ? 16 : 10);
  if (digits.empty() || read.ec != std::errc() || read.ptr != end || !isXmlCharacter(character))
    unreadableDxl("unknown reference");
  return character;
}

}  // namespace

void unreadableDxl(const std::string& why) {
  throw StatusError(DxlUnreadable, why);
}

void requireXmlCharacters(std::string_view utf8) {
  while (!utf8.empty()) {
    if (utf8.front() >= 0x20) {  // most of all
      utf8.remove_prefix(1);
      continue;
    }
    const bool replacement = utf8.starts_with("\xEF\xBF\xBD");
    const auto character = takeUtf8(utf8);
    if (!character || !isXmlCharacter(*character) ||
        (*character == replacementCharacter && !replacement))
      unreadableDxl("not a character of XML in UTF-8");
  }
}

std::string escapeXml(std::string_view utf8) {
  std::string escaped;
  escaped.reserve(utf8.size());
  for (const char c : utf8) {
    // References, so that no reader takes these for markup or brings line ends into another form.
    if (std::strchr("&<>'\"\t\n\r", c) != nullptr && c != '\0')
      escaped += "&#" + std::to_string(static_cast<int>(c)) + ";";
    else
      escaped += c;
  }
  return escaped;
}

std::string unescapeXml(std::string_view escaped) {
  std::string utf8;
  utf8.reserve(escaped.size());
  while (!escaped.empty()) {
    const std::size_t start = std::min(escaped.find('&'), escaped.size());
    utf8 += escaped.substr(0, start);
    escaped.remove_prefix(start);
    if (escaped.empty()) break;
    const std::size_t end = escaped.find(';');
    if (end == std::string_view::npos) unreadableDxl("reference without an end");
    appendUtf8(utf8, referenceOf(escaped.substr(1, end - 1)));
    escaped.remove_prefix(end + 1);
  }
  return utf8;
}

std::optional<std::string> readableText(std::string_view lmbcs) {
  std::string utf8 = lmbcsToUtf8(lmbcs);
  if (utf8ToLmbcs(utf8) != lmbcs) return std::nullopt;
  for (std::string_view rest = utf8; !rest.empty();) {
    const auto character = takeUtf8(rest);
    if (!character || !isXmlCharacter(*character)) return std::nullopt;
  }
  return utf8;
}

std::optional<std::string> numberText(NUMBER number) {
  const bool plainZero = number == 0 && !std::signbit(number);
  if (!std::isnormal(number) && !plainZero) return std::nullopt;
  char digits[40];
  const auto written = std::to_chars(digits, digits + sizeof digits, number);
  return std::string(digits, written.ptr);
}

std::optional<NUMBER> numberOf(std::string_view text) {
  NUMBER number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::string hexText(std::uint64_t number, std::size_t digits) {
  std::string text;
  for (; number != 0 || text.size() < digits; number >>= 4)
    text.insert(text.begin(), "0123456789ABCDEF"[number & 0xF]);
  return text;
}

std::optional<std::uint64_t> hexNumber(std::string_view text, std::size_t mostDigits) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  if (text.empty() || text.size() > mostDigits) return std::nullopt;
  const auto read = std::from_chars(text.data(), end, number, 16);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return number;
}

std::string unidText(const UNIVERSALNOTEID& unid) {
  return timeDigits(unid.File) + timeDigits(unid.Note);
}

std::optional<UNIVERSALNOTEID> unidOf(std::string_view text) {
  if (text.size() != 32) return std::nullopt;
  const auto file = timeOfDigits(text.substr(0, 16));
  const auto note = timeOfDigits(text.substr(16));
  if (!file || !note) return std::nullopt;
  return UNIVERSALNOTEID{*file, *note};
}

}  // namespace simulator
