#include "ShownText.h"

#include <fmt/format.h>

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <iterator>

namespace host {
namespace {

// Makes the C library read UTF-8 in this thread, whatever the user's locale. The process's own
// locale stays: the Notes runtime looks at it.
class Utf8Reading {
 public:
  Utf8Reading() noexcept : before_(uselocale(utf8())) {}
  ~Utf8Reading() { uselocale(before_); }
  Utf8Reading(const Utf8Reading&) = delete;
  Utf8Reading& operator=(const Utf8Reading&) = delete;

 private:
  // Null where the system lacks the locale; then whatever is not ASCII is shown escaped.
  static locale_t utf8() noexcept {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }
  const locale_t before_;
};

// Calls `take(text, columns)` for every character.
template <typename Take>
void forEachShown(std::string_view utf8, Take take) {
  const Utf8Reading reading;
  std::mbstate_t state = {};
  while (!utf8.empty()) {
    wchar_t character = 0;
    std::size_t length = std::mbrtowc(&character, utf8.data(), utf8.size(), &state);
    const bool valid = length != 0 && length <= utf8.size();
    const int columns = valid ? wcwidth(character) : -1;
    if (!valid) {
      length = 1;
      state = {};
    }
    const std::string_view bytes = utf8.substr(0, length);
    if (columns >= 0) {
      take(bytes, static_cast<std::size_t>(columns));
    } else {
      std::string escaped;
      for (const char byte : bytes) {
        fmt::format_to(std::back_inserter(escaped), "\\x{:02X}", static_cast<unsigned char>(byte));
      }
      take(std::string_view(escaped), escaped.size());
    }
    utf8.remove_prefix(length);
  }
}

}  // namespace

std::string shown(std::string_view utf8) {
  std::string text;
  forEachShown(utf8, [&text](std::string_view character, std::size_t) { text += character; });
  return text;
}

std::size_t columnsOf(std::string_view utf8) {
  std::size_t columns = 0;
  forEachShown(utf8, [&columns](std::string_view, std::size_t wide) { columns += wide; });
  return columns;
}

std::string cell(std::string_view utf8, std::size_t width, bool cut) {
  std::string text;
  std::size_t columns = 0;
  std::size_t fittingBytes = 0;  // What fits beside the ellipsis.
  std::size_t fittingColumns = 0;
  forEachShown(utf8, [&](std::string_view character, std::size_t wide) {
    text += character;
    columns += wide;
    if (columns < width) {
      fittingBytes = text.size();
      fittingColumns = columns;
    }
  });
  if (cut && columns > width) {
    text.resize(fittingBytes);
    text += "…";
    columns = fittingColumns + 1;
  }
  text.append(width - std::min(width, columns), ' ');
  return text;
}

}  // namespace host
