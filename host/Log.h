// The log callback: takes every line of the library and decides where it goes.
#ifndef KOLN_HOST_LOG_H
#define KOLN_HOST_LOG_H

#include <functional>
#include <string>
#include <string_view>

namespace host {

struct LogLine {
  std::string_view function;
  int level;
  std::string_view text;
};

/// Installs the log callback. All lines go to the debug log; those up to `level` to stderr as well,
/// unless the debug log is stderr already.
void installLog(int level, bool debugLogIsStderr);

/// Has every further line shown to a reader as well, on the thread that it comes from; an empty one
/// ends that. To be set while no work is going on.
void readLog(std::function<void(const LogLine&)> reader);

/// The latest line at level 0 or below: the library's own word on a step that has just failed.
std::string lastLogLine();

}  // namespace host

#endif
