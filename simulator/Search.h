// What NSFSearch is asked for, and the two places that answer: a database handle searches its
// notes, a directory handle its files.
//
// Both collect what is found first and call the host's routine afterwards, holding neither a lock
// nor a store: the routine may open, change and delete what it is told of, and its exceptions are
// its own.
#ifndef KOLN_SIMULATOR_SEARCH_H
#define KOLN_SIMULATOR_SEARCH_H

#include <optional>
#include <vector>

#include "NotesApi.h"

namespace simulator {

struct SearchCall {
  DBHANDLE handle = NULLHANDLE;
  FORMULAHANDLE formula = NULLHANDLE;
  WORD flags = 0;                 // SEARCH_*
  WORD mask = 0;                  // NOTE_CLASS_*, or a FILE_* type for a search over files
  std::optional<TIMEDATE> since;  // nothing if every time will do
  NSFSEARCHPROC routine = nullptr;
  void* parameter = nullptr;
  TIMEDATE* until = nullptr;  // may be null

  bool withSummary() const { return (flags & SEARCH_SUMMARY) != 0; }
};

// One call of the routine, `summary` being what a SummaryBuilder has made or empty for none.
STATUS tell(const SearchCall& call, SEARCH_MATCH& match, std::vector<BYTE>& summary);

// Each gives the status that NSFSearch answers.
STATUS searchFiles(const SearchCall& call);
STATUS searchNotes(const SearchCall& call);

}  // namespace simulator

#endif
