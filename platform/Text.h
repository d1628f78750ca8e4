// Bounded text: buffers for what Notes writes without a terminator, copies that cannot overrun, and
// translations that fall back to the text they began with.
#ifndef KOLN_PLATFORM_TEXT_H
#define KOLN_PLATFORM_TEXT_H

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/NotesCall.h"

namespace koln {

// A zeroed buffer for a call that is told `Capacity` and may fill it to the last byte: one byte
// more, so that the text is always terminated.
template <std::size_t Capacity>
class TextBuffer {
 public:
  static constexpr WORD capacity() noexcept { return static_cast<WORD>(Capacity); }
  char* data() noexcept { return bytes_; }
  const char* text() const noexcept { return bytes_; }
  bool empty() const noexcept { return bytes_[0] == '\0'; }
  std::size_t length() const noexcept { return std::strlen(bytes_); }

  // Replaces the content, cut at the capacity.
  void assign(std::string_view text) noexcept {
    const std::size_t length = std::min(text.size(), Capacity);
    std::memcpy(bytes_, text.data(), length);
    std::memset(bytes_ + length, 0, sizeof bytes_ - length);
  }

 private:
  static_assert(Capacity <= MAXWORD);
  char bytes_[Capacity + 1] = {};
};

// The length of a text as Notes takes it. What is longer becomes 0xFFFF, which Notes reads as "up
// to the terminator": nothing is cut by accident.
inline WORD wordLength(std::size_t length) noexcept {
  return static_cast<WORD>(std::min<std::size_t>(length, MAXWORD));
}

// Translates a whole text into a zeroed buffer. False if nothing comes out, which is also what an
// empty text gives; the buffer may then be partly filled.
template <std::size_t Capacity>
bool translate(WORD mode, const char* text, TextBuffer<Capacity>& out) noexcept {
  return KOLN_VALUE(WORD{0}, OSTranslate, mode, text, wordLength(std::strlen(text)), out.data(),
                    out.capacity()) != 0;
}

// The same, but keeps the text as it is where it cannot be translated. False then, for the log line
// that differs from place to place.
template <std::size_t Capacity>
bool translateOrKeep(WORD mode, const char* text, TextBuffer<Capacity>& out) noexcept {
  if (translate(mode, text, out)) {
    return true;
  }
  out.assign(text);
  return false;
}

// A finished log line or message of at most 4,095 bytes.
using FormattedText = char[4096];

// Formats as printf does, cut where the text ends. Null is an empty format; where an argument
// cannot be converted, the bare format still says what happened.
inline void formatText(FormattedText& out, const char* format, va_list arguments) noexcept {
  out[0] = '\0';
  if (format != nullptr && std::vsnprintf(out, sizeof out, format, arguments) < 0) {
    std::snprintf(out, sizeof out, "%s", format);
  }
}

// A copy for a getter; empty when memory is short.
inline std::string copyOf(const std::string& text) noexcept {
  try {
    return text;
  } catch (...) {
    return {};
  }
}

// Replaces a text by a copy; false, and the old text stays, when memory is short.
inline bool assignText(std::string& to, std::string_view from) noexcept {
  try {
    to.assign(from);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace koln

#endif
