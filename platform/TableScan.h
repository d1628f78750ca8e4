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
    const CallResult scanned = KOLN_INTO(more, IDScan, table_, first_, &id_);
    if (scanned.failed()) [[unlikely]] {
      scanned.record(error);
      failed_ = true;
      return false;
    }
    if (!more) {
      return false;
    }
    if (id_ <= previous && !isAllowedBack(previous)) [[unlikely]] {
      error.SetCustomMessage("The ID table does not end.");
      failed_ = true;
      return false;
    }
    first_ = FALSE;
    return true;
  }

  NOTEID id() const noexcept { return id_; }

  // Whether the walk ended before the table did.
  bool failed() const noexcept { return failed_; }

 private:
  static constexpr int mostStepsBack = 1000;

  // Whether an ID that is not above the last may be taken all the same.
  [[gnu::cold, gnu::noinline]] bool isAllowedBack(DWORD previous) {
    return first_ || (id_ != previous && ++stepsBack_ <= mostStepsBack);
  }

  const DHANDLE table_;
  DWORD id_ = 0;
  BOOL first_ = TRUE;
  int stepsBack_ = 0;
  bool failed_ = false;
};

}  // namespace koln

#endif
