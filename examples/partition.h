// What the examples behind the first share: a partition that is started, and one way to fail.
#ifndef KOLN_EXAMPLES_PARTITION_H
#define KOLN_EXAMPLES_PARTITION_H

#include <koln.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <vector>

// The library throws nothing; the examples do, so that everything is released on the way out.
typedef std::runtime_error Failure;

// Some members record a code alone, so asking `IsErrorSet` is not enough.
inline void check(const KoLNError& error, const std::string& what) {
  if (!error.IsErrorSet() && error.GetErrorCode() == 0) return;
  const std::string text = error.GetMessage();
  throw Failure(what + ": " +
                (text.empty() ? KoLNUtilities::GetNotesErrorMsg(error.GetErrorCode()) : text));
}

inline volatile std::sig_atomic_t& interrupted() {
  static volatile std::sig_atomic_t flag = 0;
  return flag;
}

struct Partition {
  explicit Partition(const std::string& dataDirectory)
      : instance("Domino", "Domino\x12" + dataDirectory, "", false) {
    // Without this callback the library takes it that the job is to stop, and leaves work undone.
    SetJobQuitCallback([] { return interrupted() != 0; });
    // A clean record of the start alone does not mean that there is a runtime.
    if (!instance.Initialize()) throw Failure("no Notes runtime for " + dataDirectory);
    check(instance.InitializeNotesEnv(), "the Notes runtime does not start");
    std::signal(SIGINT, [](int) { interrupted() = 1; });
  }

  KoLNInstance instance;
};

// The IDs of what has changed since a time. The top bit marks what was deleted.
inline std::vector<NOTEID> changedNotes(KoLNDatabase& database, TIMEDATE since, WORD noteClass,
                                        TIMEDATE& until) {
  std::vector<NOTEID> ids;
  DHANDLE table = NULLHANDLE;
  check(database.DiscoverModifiedDocuments(since, &until, noteClass, &table),
        "the notes cannot be listed");
  if (table == NULLHANDLE) return ids;  // Nothing has changed.
  for (NOTEID id = 0; database.NoteIDScan(table, ids.empty(), &id);) ids.push_back(id);
  KoLNUtilities().MemFreeTable(table);
  return ids;
}

inline TIMEDATE beginning() {
  TIMEDATE time = {};
  KoLNUtilities().GetTimeDate(TIMEDATE_MINIMUM, &time);
  return time;
}

// Checks the number of words and runs the example. 0: done, 1: failed, 2: wrong usage.
inline int runExample(int argc, char** argv, int words, const char* usage, int (*run)(char**)) {
  if (argc != words + 1) return std::fprintf(stderr, "usage: %s %s\n", argv[0], usage), 2;
  try {
    return run(argv + 1);
  } catch (const std::exception& failure) {
    return std::fprintf(stderr, "%s: %s\n", argv[0], failure.what()), 1;
  }
}

#endif
