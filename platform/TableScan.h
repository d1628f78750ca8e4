// The walk over an ID table. A table ascends; one that stands still, or goes back again and again,
// is damaged and would never end.
#ifndef KOLN_PLATFORM_TABLE_SCAN_H
#define KOLN_PLATFORM_TABLE_SCAN_H

#include "platform/NotesCall.h"

namespace koln {

class TableScan {
 public:
  explicit TableScan(DHANDLE table) noexcept : table_(table) {}

  // Moves to the next ID. False at the end, and when the walk cannot go on, which is recorded.
  bool next(KoLNError& error) {
    const DWORD previous = id_;
    BOOL more = FALSE;
    const CallResult scanned = KOLN_INTO(more, IDScan, table_, first_ ? TRUE : FALSE, &id_);
    if (scanned.failed()) {
      scanned.record(error);
      failed_ = true;
      return false;
    }
    if (more && !first_ && (id_ == previous || (id_ < previous && ++stepsBack_ > mostStepsBack))) {
      error.SetCustomMessage("The ID table does not end.");
      failed_ = true;
      return false;
    }
    first_ = false;
    return more != FALSE;
  }

  NOTEID id() const noexcept { return id_; }

  // Whether the walk ended before the table did.
  bool failed() const noexcept { return failed_; }

 private:
  static constexpr int mostStepsBack = 1000;

  const DHANDLE table_;
  DWORD id_ = 0;
  bool first_ = true;
  int stepsBack_ = 0;
  bool failed_ = false;
};

}  // namespace koln

#endif
