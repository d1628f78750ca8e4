#include "Output.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Console.h"
#include "Failure.h"
#include "ShownText.h"

namespace host {
namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t replicaIdWidth = 17;
constexpr std::size_t ownerWidth = 30;

std::size_t terminalColumns() noexcept {
  constexpr std::size_t usual = 80;
  winsize size = {};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

}  // namespace

Output::Output(bool json, Columns columnsShown)
    : json_(json), columns_(columnsShown), terminal_(isatty(STDOUT_FILENO) == 1) {
  if (terminal_) {
    // Decided before the first row, so that rows can be shown as they come.
    const std::size_t taken = columns_ == Columns::Short  ? gap
                              : columns_ == Columns::Long ? 2 * gap + replicaIdWidth
                                                          : 3 * gap + replicaIdWidth + ownerWidth;
    const std::size_t columns = std::max(terminalColumns(), taken + 40) - taken;
    pathWidth_ = std::min<std::size_t>(columns / 2, 60);
    titleWidth_ = std::min<std::size_t>(columns - pathWidth_, 60);
  }
}

bool Output::write(const DiscoveryRecord& record) {
  if (error_ != 0) {
    return false;
  }
  std::string text = json_ ? jsonLine(record) : row(record);
  if (!json_ && count_ == 0) {
    text.insert(0, heading());
  }
  error_ = writeWhole(STDOUT_FILENO, text + '\n');
  if (error_ != 0) {
    return false;
  }
  ++count_;
  return true;
}

std::string Output::jsonLine(const DiscoveryRecord& record) const {
  nlohmann::ordered_json line = {{"path", record.path}};
  if (columns_ != Columns::Path) {
    line["title"] = record.title;
  }
  if (columns_ == Columns::Long || columns_ == Columns::Owned) {
    line["view"] = record.view;
    line["replicaId"] = record.replicaId;
    line[columns_ == Columns::Owned ? "owner" : "extra"] = record.extra;
  }
  // Bytes that are no UTF-8 (the library cuts long texts) become U+FFFD.
  return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string Output::heading() const {
  DiscoveryRecord names;
  names.path = "PATH";
  names.title = "TITLE";
  names.replicaId = "REPLICA ID";
  names.extra = "OWNER";
  const bool bold = colourful();
  return fmt::format("{}{}{}\n", bold ? "\033[1m" : "", row(names), bold ? "\033[m" : "");
}

// A path is never cut; on a terminal a long one takes its room from the title, which is cut.
std::string Output::row(const DiscoveryRecord& record) const {
  if (columns_ == Columns::Path) {
    return shown(record.path);
  }
  const std::string blanks(gap, ' ');
  const std::string beginning = cell(record.path, pathWidth_, false) + blanks;
  if (columns_ == Columns::Short) {
    return beginning + shown(record.title);
  }
  std::size_t titleWidth = titleWidth_;
  if (terminal_) {
    constexpr std::size_t leastTitle = 12;
    const std::size_t pathColumns = columnsOf(record.path);
    const std::size_t excess = pathColumns - std::min(pathColumns, pathWidth_);
    titleWidth = std::max(leastTitle, titleWidth - std::min(titleWidth, excess));
  }
  const std::string owner =
      columns_ == Columns::Owned ? blanks + shown(record.extra) : std::string();
  return beginning + cell(record.title, titleWidth, terminal_) + blanks +
         cell(record.replicaId, owner.empty() ? 0 : replicaIdWidth, false) + owner;
}

bool colourful() noexcept {
  const char* const noColor = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) == 1 && (noColor == nullptr || *noColor == '\0');
}

void writeResult(std::string_view text) {
  switch (const int error = writeWhole(STDOUT_FILENO, text)) {
    case 0:
      return;
    case EINTR:
      throw Failure(ExitCode::Interrupted, "interrupted while the result was written");
    case EPIPE:
      throw OutputFailure(ExitCode::Failed, "the reader of the result has gone");
    default:
      throw OutputFailure(ExitCode::Failed,
                          fmt::format("the result cannot be written: {}", strerror(error)));
  }
}

}  // namespace host
