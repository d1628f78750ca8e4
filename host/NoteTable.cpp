#include "NoteTable.h"

#include <fmt/format.h>

#include "NoteArgument.h"
#include "NotesFailure.h"

namespace host {

NoteTable::NoteTable(KoLNDatabase& database, const std::optional<TIMEDATE>& since, WORD noteClass)
    : database_(database) {
  TIMEDATE from = {};
  KoLNUtilities().GetTimeDate(TIMEDATE_MINIMUM, &from);
  const KoLNError error =
      database.DiscoverModifiedDocuments(since.value_or(from), &until_, noteClass, &handle_);
  if (isError(error)) {
    throw failureOf("which notes have been modified cannot be told", error);
  }
}

NoteTable::~NoteTable() {
  if (handle_ != NULLHANDLE) {
    static_cast<void>(KoLNUtilities().MemFreeTable(handle_));  // The library has logged a failure.
  }
}

std::vector<NOTEID> NoteTable::ids() {
  std::vector<NOTEID> found;
  if (handle_ == NULLHANDLE) {
    return found;
  }
  found.reserve(KoLNUtilities().CountTableEntries(handle_));
  for (DWORD id = 0; database_.NoteIDScan(handle_, found.empty() ? TRUE : FALSE, &id) != FALSE;) {
    found.push_back(id);
  }
  return found;
}

std::optional<ORIGINATORID> storedIdentity(KoLNDatabase& database, NOTEID id) {
  ORIGINATORID identity = {};
  TIMEDATE modified = {};
  WORD noteClass = 0;
  const KoLNError error =
      KoLNDocument(database.GetHandle(), id).GetInfoExtended(&identity, &modified, &noteClass);
  const STATUS code = error.GetErrorCode() & ERR_MASK;
  if (code == ERR_NOTE_DELETED || code == ERR_INVALID_NOTE) {
    return std::nullopt;
  }
  if (isError(error)) {
    throw failureOf(fmt::format("the identity of note {} cannot be told", textFromNoteId(id)),
                    error);
  }
  return identity;
}

}  // namespace host
