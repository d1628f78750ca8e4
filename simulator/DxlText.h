// How DXL writes single values: texts, numbers, times, IDs, base64. Each pair of functions is
// exact: what one has written the other reads back to the last bit, and what has no such text is
// refused by the writing side, so that the caller can store it raw.
#ifndef KOLN_SIMULATOR_DXL_TEXT_H
#define KOLN_SIMULATOR_DXL_TEXT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "NotesApi.h"

namespace simulator {

// Throws StatusError DxlUnreadable.
[[noreturn]] void unreadableDxl(const std::string& why);

// StatusError DxlUnreadable unless the text is UTF-8 with characters of XML only.
void requireXmlCharacters(std::string_view utf8);
// UTF-8 to UTF-8, for element content and attribute values alike.
std::string escapeXml(std::string_view utf8);
// Knows the references that XML itself defines; others make the DXL unreadable.
std::string unescapeXml(std::string_view escaped);
// An LMBCS text as UTF-8; nothing if XML cannot hold it or it would not come back byte for byte.
std::optional<std::string> readableText(std::string_view lmbcs);

// Shortest digits that mean the same number; nothing for infinities, what is no number, what is too
// small for full precision, and the negative zero.
std::optional<std::string> numberText(NUMBER number);
std::optional<NUMBER> numberOf(std::string_view text);

std::string hexText(std::uint64_t number, std::size_t digits = 1);
std::optional<std::uint64_t> hexNumber(std::string_view text, std::size_t mostDigits);

// Eight bytes as 16 digits, date word first.
std::string timeDigits(const TIMEDATE& time);
std::optional<TIMEDATE> timeOfDigits(std::string_view text);
std::string unidText(const UNIVERSALNOTEID& unid);
std::optional<UNIVERSALNOTEID> unidOf(std::string_view text);

// A time in GMT ("20240229T134530,25Z", or the date or the time alone) and beside it the zone that
// it is stamped with, which never changes the instant: "-0500" is five hours west of Greenwich, ""
// no zone. `raw` has the digits of a time that the calendar does not know, in place of all others.
struct TimeText {
  std::string text;
  std::string zone;
  bool daylightSaving = false;
  std::string raw;
};
TimeText timeText(const TIMEDATE& time);
std::optional<TIMEDATE> timeOf(const TimeText& text);

std::string toBase64(std::span<const BYTE> bytes);

// Reads the bytes of a base64 text piece by piece. White space in it means nothing.
class Base64Reader {
 public:
  explicit Base64Reader(std::string_view text) : text_(text) {}
  // At most `most` bytes, which is at least 3; none at the end. StatusError DxlUnreadable if the
  // text is no base64.
  std::vector<BYTE> next(std::size_t most);

 private:
  std::optional<char> take();

  std::string_view text_;
  bool ended_ = false;  // by padding
};

}  // namespace simulator

#endif
