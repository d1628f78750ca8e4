// See ServerName.h.
#include "ServerName.h"

#include "Environment.h"
#include "Text.h"

namespace simulator {

std::string abbreviatedName(std::string_view name) {
  std::string abbreviated;
  while (true) {
    const std::size_t end = name.find('/');
    std::string_view part = name.substr(0, end);
    const std::size_t label = part.find('=');
    if (label != std::string_view::npos) part.remove_prefix(label + 1);
    abbreviated += part;
    if (end == std::string_view::npos) return abbreviated;
    abbreviated += '/';
    name.remove_prefix(end + 1);
  }
}

std::string serverName() {
  return iniVariable("ServerName").value_or("");
}

bool isThisServer(const char* lmbcsName) {
  if (!lmbcsName || *lmbcsName == '\0') return true;
  return sameName(abbreviatedName(lmbcsToUtf8(lmbcsName)), abbreviatedName(serverName()));
}

}  // namespace simulator
