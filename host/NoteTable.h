// A table of note IDs as Notes hands it out: what was modified since a time, or all there is.
#ifndef KOLN_HOST_NOTE_TABLE_H
#define KOLN_HOST_NOTE_TABLE_H

#include <koln.h>

#include <optional>
#include <vector>

namespace host {

class NoteTable {
 public:
  /// The notes of a class that were modified since then, deletion stubs included (`RRV_DELETED`);
  /// without a time all notes, and no stubs. The database must outlive the table. @throws Failure
  NoteTable(KoLNDatabase& database, const std::optional<TIMEDATE>& since, WORD noteClass);
  ~NoteTable();
  NoteTable(const NoteTable&) = delete;
  NoteTable& operator=(const NoteTable&) = delete;

  /// From when on to ask the next time, so that nothing is missed.
  const TIMEDATE& until() const noexcept { return until_; }

  /// Null if there is nothing in it.
  DHANDLE& handle() noexcept { return handle_; }

  /// In ascending order.
  std::vector<NOTEID> ids();

 private:
  KoLNDatabase& database_;
  TIMEDATE until_ = {};
  DHANDLE handle_ = NULLHANDLE;
};

/// Who a stored note is, and in which version; nothing if it has been deleted. @throws Failure
std::optional<ORIGINATORID> storedIdentity(KoLNDatabase& database, NOTEID id);

}  // namespace host

#endif
