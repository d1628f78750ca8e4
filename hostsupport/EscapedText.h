// Control characters made visible, so that whatever a log line or an error message quotes cannot
// break the line or act on the terminal that shows it.
#ifndef KOLN_HOSTSUPPORT_ESCAPED_TEXT_H
#define KOLN_HOSTSUPPORT_ESCAPED_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace koln::hostsupport {

/// The most that one byte becomes.
inline constexpr std::size_t kEscapedByteMax = 4;

/// Writes one byte as it is to be shown; returns how many characters that took.
inline std::size_t escapeByte(unsigned char byte, char (&shown)[kEscapedByteMax]) noexcept {
  if (byte >= 0x20 && byte != 0x7F) {  // Above 0x7F stand the bytes of UTF-8 text.
    shown[0] = static_cast<char>(byte);
    return 1;
  }
  shown[0] = '\\';
  switch (byte) {
    case '\n':
      shown[1] = 'n';
      return 2;
    case '\r':
      shown[1] = 'r';
      return 2;
    case '\t':
      shown[1] = 't';
      return 2;
    default:
      shown[1] = 'x';
      shown[2] = "0123456789ABCDEF"[byte >> 4];
      shown[3] = "0123456789ABCDEF"[byte & 0x0F];
      return 4;
  }
}

/// A whole text as it is to be shown.
inline std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (const char byte : text) {
    char shown[kEscapedByteMax];
    result.append(shown, escapeByte(static_cast<unsigned char>(byte), shown));
  }
  return result;
}

}  // namespace koln::hostsupport

#endif
