// What the library tells in its log alone. A walk that the library makes by itself goes on when one
// database cannot be reported, and only a line says so; a user must hear of it all the same.
#ifndef KOLN_HOST_LOG_READING_H
#define KOLN_HOST_LOG_READING_H

#include <optional>
#include <string>
#include <string_view>

#include "Log.h"

namespace host {

/// What Notes said, where the line holds that; else the whole line.
std::string errorTextOf(std::string_view line);

struct Unreported {
  std::string path;    // LMBCS, as in the line; empty if the library did not name it.
  std::string reason;  // Likewise.
};

/// Reads the lines of `KoLNUtilities::ProcessDatabase` in their order.
class UnreportedLines {
 public:
  /// The database that the line says is not reported, if it says so.
  std::optional<Unreported> read(const LogLine& line);

 private:
  std::string current_;  // The database that the lines are about, as far as it is known.
};

}  // namespace host

#endif
