// What the members of a document have in common before and after their call of Notes.
#ifndef KOLN_DOCUMENT_NOTE_CHECKS_H
#define KOLN_DOCUMENT_NOTE_CHECKS_H

#include "platform/NotesCall.h"

namespace koln {

inline bool lacksNote(NOTEHANDLE note, KoLNError& error) {
  if (note != NULLHANDLE) [[likely]] {
    return false;
  }
  error.SetError(ERR_NULL_NOTEHANDLE);
  return true;
}

inline bool lacksDatabase(DBHANDLE db, KoLNError& error) {
  if (db != NULLHANDLE) [[likely]] {
    return false;
  }
  error.SetError(ERR_NULL_DBHANDLE);
  return true;
}

// Records a failed call of a place that has its own words for a call that throws.
inline void recordOr(const CallResult& call, const char* thrownMessage, KoLNError& error) {
  if (call.failed()) [[unlikely]] {
    call.threw() ? error.SetCustomMessage("%s", thrownMessage) : call.record(error);
  }
}

}  // namespace koln

#endif
