// Stands between the library and a loaded runtime: numbers the calls through the KO_ pointers and
// makes chosen ones fail. What the runtime holds open for the library is counted by the runtime
// itself; only databases and notes, whose close call may fail and leave them open, are kept here.
#ifndef KOLN_TESTS_FAULTY_NOTES_H
#define KOLN_TESTS_FAULTY_NOTES_H

#include <cstddef>
#include <string>
#include <vector>

#include "NotesApi.h"

namespace faulty {

// How a call fails. A function without a status gives nothing in place of the first three; one
// without such outputs does not fail in the last two ways.
enum class Kind {
  Status,   // out of memory
  Flagged,  // the same from a server, and shown already
  Nothing,  // success, or whatever 0 means, and no result
  Throw,
  NoHandle,  // success, all done but for the handle, value or ID, which is 0
  NoLength   // success, all done but for the length of what comes out, which is 0
};

enum class Extent {
  One,
  FromThenOn,
  WithReleases,         // one, and every close, free and unlock behind it with a status
  WithThrowingReleases  // the same, which throw
};

// What is to fail: call number `first`, counted from 1; 0: none.
struct Plan {
  std::size_t first = 0;
  Extent extent = Extent::One;
  Kind kind = Kind::Status;
};

// While one lives, the bound pointers lead through here. One at a time, one thread.
class FaultyNotes {
 public:
  FaultyNotes();
  ~FaultyNotes();
  FaultyNotes(const FaultyNotes&) = delete;
  FaultyNotes& operator=(const FaultyNotes&) = delete;

  // Begins to count calls from 1 and to fail them. Calls outside of begin and end are passed on.
  void begin(const Plan& plan);
  void end();

  // Calls `watcher` at each call of Notes between begin and end, before it is made; null: nobody.
  void watch(void (*watcher)());

  // Calls that were made, and faults injected, since `begin`.
  std::size_t calls() const;
  std::size_t faults() const;
  // The function of the first call that failed.
  std::string firstFault() const;
  // The paths that NSFDbOpen has opened since `begin`.
  const std::vector<std::string>& opened() const;

  // Closes the databases and notes whose close call was made to fail; returns the others that are
  // open, which nobody has tried to close: the paths of databases, "note" for a note, sorted.
  std::vector<std::string> closeWhatFailedToClose();
};

}  // namespace faulty

#endif
