// The result on stdout: a table to read, or JSON lines for programs.
#ifndef KOLN_HOST_OUTPUT_H
#define KOLN_HOST_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>

#include "DiscoveryRecord.h"

namespace host {

/// What a row shows of a record.
enum class Columns {
  Path,   ///< The path alone.
  Short,  ///< Path and title: the short form of a record.
  Long,   ///< Replica ID, view and extra as well.
  Owned,  ///< The same with the extra as the owner's name.
};

/// Writes one record after the other as they come, each in one piece, and counts them.
class Output {
 public:
  Output(bool json, Columns columns);

  Columns columns() const noexcept { return columns_; }

  /// @return False if the record could not be written; the output then stays failed.
  bool write(const DiscoveryRecord& record);

  /// Records written so far.
  std::size_t count() const noexcept { return count_; }

  /// The error number of the write that failed, else 0.
  int error() const noexcept { return error_; }

 private:
  std::string jsonLine(const DiscoveryRecord& record) const;
  std::string heading() const;
  std::string row(const DiscoveryRecord& record) const;

  const bool json_;
  const Columns columns_;
  const bool terminal_;
  std::size_t pathWidth_ = 40;
  std::size_t titleWidth_ = 40;
  std::size_t count_ = 0;
  int error_ = 0;
};

/// Whether the result may have colours: a terminal takes it and NO_COLOR is not set.
bool colourful() noexcept;

/// Writes a result that is one text. @throws Failure if that is not possible.
void writeResult(std::string_view text);

}  // namespace host

#endif
