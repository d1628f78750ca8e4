// What the sweeps over failing calls and failing allocations share: scenarios that do the library's
// work, and a started partition of the simulated runtime to do it on.
#ifndef KOLN_TESTS_SWEEP_H
#define KOLN_TESTS_SWEEP_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "koln.h"
#include "simulator/Control.h"
#include "support/ChildProcess.h"
#include "support/FaultyNotes.h"
#include "support/LogCapture.h"
#include "support/TemporaryDirectory.h"

namespace sweep {

inline bool same(const std::string& a, const std::string& b) {
  return a == b;
}
template <typename Value>
bool same(const Value& a, const Value& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// A value that no call leaves behind.
template <typename Value>
Value marked() {
  Value value;
  std::memset(&value, 0x5A, sizeof value);
  return value;
}

// What a scenario works on, and what it has seen fail.
struct Bench {
  KoLNInstance& instance;
  std::string mailbox;
  NOTEID note = 0;  // A new note with a body, an attachment and seals.
  std::vector<std::string> told;

  // Keeps what a record tells. True to go on.
  bool done(const KoLNError& error) {
    if (error.IsErrorSet() || error.GetErrorCode() != NOERROR) {
      told.push_back(std::to_string(error.GetErrorCode()) + ": " + error.GetMessage());
      return false;
    }
    return true;
  }
  // The same for a result that is no record.
  bool holds(bool result, const char* what) {
    if (!result) {
      told.emplace_back(what);
    }
    return result;
  }
  // The same for a call that must leave what it fills alone where it fails.
  template <typename Call, typename... Out>
  bool keeps(Call call, Out&... out) {
    const std::tuple<Out...> before(out...);
    return done(call()) || unchanged(before, out...);
  }
  // The same where the result is no record.
  template <typename Call, typename... Out>
  bool keeps(const char* what, Call call, Out&... out) {
    const std::tuple<Out...> before(out...);
    return holds(call(), what) || unchanged(before, out...);
  }

 private:
  // False: the call has failed.
  template <typename... Out>
  bool unchanged(const std::tuple<Out...>& before, const Out&... out) const {
    const bool kept =
        std::apply([&](const Out&... old) { return (same(old, out) && ...); }, before);
    EXPECT_TRUE(kept) << "an out-argument has changed: " << told.back();
    return false;
  }
};

struct Scenario {
  const char* name;
  void (*run)(Bench&);
  // Where databases stay open on purpose: the end of the one path that is closed all the same.
  const char* leavesOpenBut = nullptr;

  bool leavesOpen(const std::string& path) const {
    return leavesOpenBut != nullptr && !path.ends_with(leavesOpenBut);
  }

  friend void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }
};

std::vector<Scenario> documentScenarios();
std::vector<Scenario> databaseScenarios();
std::vector<Scenario> toolScenarios();

inline std::vector<Scenario> everyScenario() {
  std::vector<Scenario> all = documentScenarios();
  for (const auto& more : {databaseScenarios(), toolScenarios()}) {
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

// Counts what the children inject and prints the sum when all are done.
class SharedCount {
 public:
  explicit SharedCount(const char* what)
      : what_(what),
        count_(static_cast<std::size_t*>(mmap(nullptr, sizeof(std::size_t), PROT_READ | PROT_WRITE,
                                              MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  void add(std::size_t more) { *count_ += more; }
  void print() const { std::printf("%s: %zu\n", what_, *count_); }

 private:
  const char* what_;
  std::size_t* count_;
};

class SweepTest : public testing::TestWithParam<Scenario> {
 protected:
  static void SetUpTestSuite() {
    // Databases are written and flushed again and again: in memory, where the machine has that.
    if (access("/dev/shm", W_OK | X_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
    directory = std::make_unique<TemporaryDirectory>();
    const std::string command =
        std::string(KOLN_SIMULATE_TOOL) + " create " + partition() +
        " --mailboxes 1 --notes 4 --folders 3 --seed 7 --home " KOLN_SIMULATOR_HOME " --user " +
        getpwuid(geteuid())->pw_name + " > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
  }
  static void TearDownTestSuite() { directory.reset(); }
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root: starting a partition sets its groups";
  }

  // Runs the body in a child process with the partition started.
  static void onPartition(const std::function<void(Bench&)>& body) {
    inChild([&] {
      setenv("KOLN_CONFIG", (partition() + "/registry.conf").c_str(), 1);
      setenv("KOLN_DEBUG_LOG", "none", 1);
      setenv("LD_LIBRARY_PATH", "/usr/lib", 1);
      KoLNInstance instance("Domino", "koln\x12" + partition() + "/data/", "", false);
      ASSERT_TRUE(instance.Initialize());
      ASSERT_FALSE(instance.InitializeNotesEnv().IsErrorSet());
      SetJobQuitCallback([] { return false; });
      SetSendMsgCallback([](char*) { return false; });
      std::string mailbox;
      for (const auto& entry : std::filesystem::directory_iterator(partition() + "/data/mail")) {
        mailbox = "mail/" + entry.path().filename().string();
      }
      Bench bench{instance, mailbox, 0, {}};
      body(bench);
    });
  }

  static std::string partition() { return directory->path() + "/partition"; }

  static std::map<std::string, long> openHandles() {
    constexpr const char* runtimePath = KOLN_SIMULATOR_HOME "/notes/latest/linux/libnotes.so";
    void* const runtime = dlopen(runtimePath, RTLD_LAZY | RTLD_NOLOAD);
    const auto count =
        reinterpret_cast<decltype(&SimOpenHandles)>(dlsym(runtime, "SimOpenHandles"));
    std::map<std::string, long> open;
    for (const char* const kind : {"memory", "locks", "tables", "databases", "notes",
                                   "computations", "mime", "importers", "exporters", "collections"})
      open[kind] = count(kind);
    dlclose(runtime);
    return open;
  }

  // A note that has everything an archiving run takes away.
  static NOTEID prepareNote(Bench& bench) {
    const std::string file = directory->path() + "/attached.bin";
    writeFile(file, std::string(3000, 'x'));
    KoLNDatabase db(bench.mailbox, bench.instance);
    EXPECT_TRUE(bench.done(db.Open()));
    KoLNDataDocument note(db.GetHandle(), 0);
    NOTEID id = 0;
    const bool made = bench.done(note.Create()) && bench.done(note.SetItemText("Form", "Memo")) &&
                      bench.done(note.SetItemText("Subject", "Sweep")) &&
                      bench.done(note.SetItemText("Body", "text")) &&
                      bench.done(note.SetItemText("$Seal", "s")) &&
                      bench.done(note.SetItemText("$SealData", "s")) &&
                      bench.done(note.SetAttachment("$FILE", file, "attached.bin", 0)) &&
                      bench.done(note.Update(0)) && bench.done(note.GetInfo(_NOTE_ID, &id));
    EXPECT_TRUE(made) << testing::PrintToString(bench.told);
    return id;
  }

  // A scenario on a note of its own, run again and again: each run must give back all it held.
  class Rounds {
   public:
    Rounds(Bench& bench, const Scenario& scenario) : bench_(bench), scenario_(scenario) {
      bench.note = prepareNote(bench);
      before_ = openHandles();
    }

    // `work` runs the scenario. Failures are looked at here: a child's are known to the test only
    // when the child has ended.
    bool run(const faulty::Plan& plan, const std::string& where,
             const std::function<void()>& work) {
      bench_.told.clear();
      log_.take();
      notes_.begin(plan);
      work();
      notes_.end();
      lines_ = log_.take();
      std::vector<std::string> left;
      for (const std::string& path : notes_.opened()) {
        if (scenario_.leavesOpen(path)) left.push_back(path);
      }
      std::sort(left.begin(), left.end());
      const auto forgotten = notes_.closeWhatFailedToClose();
      const auto open = openHandles();
      EXPECT_EQ(forgotten, left) << where;
      EXPECT_EQ(open, before_) << where;
      return forgotten == left && open == before_;
    }
    bool run(const faulty::Plan& plan, const std::string& where) {
      return run(plan, where, [&] { scenario_.run(bench_); });
    }

    faulty::FaultyNotes& notes() { return notes_; }
    // What the last run has logged.
    const std::vector<LogCapture::Line>& lines() const { return lines_; }

   private:
    Bench& bench_;
    const Scenario& scenario_;
    faulty::FaultyNotes notes_;
    LogCapture log_;
    std::map<std::string, long> before_;
    std::vector<LogCapture::Line> lines_;
  };

  static inline std::unique_ptr<TemporaryDirectory> directory;
};

}  // namespace sweep

#endif
