#include "LogReading.h"

namespace host {
namespace {

// What stands between two marks, the second one looked for from the end; paths may hold anything.
std::string between(std::string_view text, std::string_view begin, std::string_view end) {
  const std::size_t first = text.find(begin);
  if (first == std::string_view::npos) {
    return {};
  }
  text.remove_prefix(first + begin.size());
  const std::size_t last = text.rfind(end);
  return last == std::string_view::npos ? std::string() : std::string(text.substr(0, last));
}

}  // namespace

std::string errorTextOf(std::string_view line) {
  const std::string text = between(line, "Resulting error string: [", "]");
  return text.empty() ? std::string(line) : text;
}

std::optional<Unreported> UnreportedLines::read(const LogLine& line) {
  if (line.function != "ProcessDatabase") {
    return std::nullopt;
  }
  const std::string_view text = line.text;
  if (line.level > 0) {
    if (text.starts_with("Retrieving mailfile database information")) {
      current_ = between(text, "[", "] from Domino");
    }
    return std::nullopt;
  }
  if (text.starts_with("Error: failure in sending")) {
    return std::nullopt;  // Told as a failure of the output.
  }
  if (text.starts_with("Filtering non-linked")) {
    return Unreported{between(text, "[", "]"),
                      "the library takes a path with \":\" for one outside the data directory"};
  }
  if (text.starts_with("DBTitle OSTranslate failed")) {
    return Unreported{current_, "it has no title; give it one"};
  }
  const std::string path = between(text, ": [", "]. NSF");
  return Unreported{path.empty() ? current_ : path, errorTextOf(text)};
}

}  // namespace host
