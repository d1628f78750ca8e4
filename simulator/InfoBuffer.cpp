// See InfoBuffer.h.
#include "InfoBuffer.h"

#include <algorithm>

#include "Text.h"

namespace simulator {

namespace {
constexpr std::string_view DesignClassMark = "\n#2";
}

std::string infoWithTitle(std::string_view titleUtf8, std::string_view designClass) {
  std::string title = utf8ToLmbcs(titleUtf8);
  std::replace(title.begin(), title.end(), '\n', ' ');  // a newline would end the title
  std::string tail;
  if (!designClass.empty()) tail = "\n" + std::string(DesignClassMark) + std::string(designClass);
  constexpr std::size_t room = NSF_INFO_SIZE - 1;
  if (tail.size() > room) tail.clear();
  return std::string(cutLmbcs(title, room - tail.size())) + tail;
}

std::string_view infoPart(std::string_view info, WORD part) {
  if (part > INFOPARSE_DESIGN_CLASS) return {};
  for (WORD line = 0;; ++line) {
    const std::size_t end = std::min(info.find('\n'), info.size());
    const std::string_view text = info.substr(0, end);
    // The first two lines are known by their place, the classes by their mark.
    const bool marked = line >= 2 && text.size() >= 2 && text[0] == '#';
    if (line == part && line < 2) return text;
    if (marked && part >= 2 && text[1] == (part == INFOPARSE_CLASS ? '1' : '2'))
      return text.substr(2);
    if (end == info.size()) return {};
    info.remove_prefix(end + 1);
  }
}

}  // namespace simulator
