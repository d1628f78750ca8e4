// The start and the end of the runtime, in the process and in each of its threads.
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>

#include "Environment.h"
#include "Export.h"
#include "HandleCounters.h"
#include "Handles.h"
#include "Panic.h"
#include "Status.h"

namespace simulator {
namespace {

std::mutex mutex;
std::atomic<std::size_t> starts{0};  // changed under the mutex
std::atomic<std::size_t> threads{0};
thread_local std::size_t startsOfThread = 0;
thread_local bool hasStartedRuntime = false;  // such a thread needs no NotesInitThread

const bool startsCounted = registerHandleCounter("runtime", [] { return starts.load(); });
const bool threadsCounted = registerHandleCounter("threads", [] { return threads.load(); });

// "=path" among the arguments, which end at the first null, else the data directory of the
// environment.
std::string iniPath(int argc, char** argv) {
  for (int i = 1; argv != nullptr && i < argc && argv[i] != nullptr; ++i) {
    if (argv[i][0] == '=') return argv[i] + 1;
  }
  const char* const directory = std::getenv("NOTES_DATA_DIR");
  return directory == nullptr ? std::string() : std::string(directory) + "/notes.ini";
}

}  // namespace

void requireStartedThread() {
  if (startsOfThread == 0 && !hasStartedRuntime && starts != 0) {
    panic("NotesInitThread", "not called by a thread that uses a handle");
  }
}

}  // namespace simulator

// Only the first of several starts reads notes.ini.
SIM_EXPORT STATUS NotesInitExtended(int argc, char** argv) {
  const std::lock_guard<std::mutex> guard(simulator::mutex);
  if (simulator::starts == 0 && !simulator::loadIni(simulator::iniPath(argc, argv))) {
    return simulator::IniUnreadable;
  }
  ++simulator::starts;
  simulator::hasStartedRuntime = true;
  return NOERROR;
}

SIM_EXPORT void NotesTerm() {
  const std::lock_guard<std::mutex> guard(simulator::mutex);
  if (simulator::starts == 0) simulator::panic("NotesTerm", "the runtime is not started");
  if (--simulator::starts == 0) simulator::forgetIni();
}

SIM_EXPORT STATUS NotesInitThread() {
  const std::lock_guard<std::mutex> guard(simulator::mutex);
  if (simulator::starts == 0) return simulator::NotInitialised;
  if (simulator::startsOfThread++ == 0) ++simulator::threads;
  return NOERROR;
}

SIM_EXPORT void NotesTermThread() {
  if (simulator::startsOfThread == 0) {
    simulator::panic("NotesTermThread", "the thread was not started with NotesInitThread");
  }
  if (--simulator::startsOfThread == 0) --simulator::threads;
}
