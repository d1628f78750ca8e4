// A walk over databases whose records the library sends: they go to stdout as they come, what is
// not reported to stderr, and in the end all of it makes the exit code.
#ifndef KOLN_HOST_REPORT_H
#define KOLN_HOST_REPORT_H

#include <cstddef>
#include <string>
#include <string_view>

#include "Failure.h"
#include "LogReading.h"
#include "Output.h"

namespace host {

class Report {
 public:
  /// What the records are of, as in "mail file" and "mail files".
  struct Things {
    const char* one;
    const char* many;
  };

  /// @param mostLines How many databases that are not reported get a line each; the rest is
  /// counted.
  Report(bool json, Columns columns, Things things, std::size_t mostLines);
  /// Stops reading the log.
  ~Report();
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  /// For walks that the library makes by itself: has what is not reported read from its log.
  void readLibraryLines();

  /// How many there will be, for the progress.
  void expect(std::size_t total) noexcept { total_ = total; }

  /// Whether the records are of the short form.
  bool shortForm() const noexcept { return output_.columns() == Columns::Short; }

  /// Takes a message of the library. @return Whether it was delivered.
  bool deliver(std::string_view message);

  /// A record of which only the path is known. @return Whether it was written.
  bool writePath(const std::string& path);

  void notReported(const std::string& path, const std::string& reason);

  /// Whether nobody wants further records.
  bool mustStop() const;

  /// Databases that were written, and those that were not.
  std::size_t written() const noexcept { return output_.count(); }
  std::size_t missing() const noexcept { return missing_; }

  /// Takes the progress away and tells how many lines were left out. @throws Failure if the walk
  /// was stopped.
  void end();

  /// For somebody who watches: what there was, and where.
  void summary(const std::string& place) const;

  /// `Done`, or `DoneInPart` if something is missing.
  ExitCode result() const noexcept { return missing_ == 0 ? ExitCode::Done : ExitCode::DoneInPart; }

 private:
  std::string counted(std::size_t number) const;
  void advance();
  void throwIfStopped() const;

  Output output_;
  const Things things_;
  const std::size_t mostLines_;
  UnreportedLines lines_;
  std::size_t total_ = 0;
  std::size_t missing_ = 0;
};

}  // namespace host

#endif
