// Every call of Notes fails once, at every position of a scenario and in every way: the library must
// not crash, let nothing thrown out, give back all it held, say that something is wrong, and do the
// same work again afterwards. Against the simulated runtime, which ends the process over any handle
// that is used wrongly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/FaultyNotes.h"
#include "support/LogCapture.h"
#include "support/Sweep.h"

namespace {

using faulty::Extent;
using faulty::FaultyNotes;
using faulty::Kind;
using faulty::Plan;
using sweep::Bench;

// Calls whose failure nobody needs to hear of: they have no status, and what they answer then is
// ordinary news; an item that is not there; or they give back what is not needed any more.
const std::set<std::string> mayFailSilently = {"IDScan",
                                               "MailGetMessageAttachmentInfo",
                                               "NSFItemGetTime",
                                               "NSFNoteGetInfo",
                                               "NSFNoteSetInfo",
                                               "ODSReadMemory",
                                               "ODSWriteMemory",
                                               "OSCurrentTIMEDATE",
                                               "OSGetEnvironmentLong",
                                               "TimeConstant",
                                               "TimeDateDifference",
                                               "TimeLocalToGM",
                                               "NSFItemGetText",
                                               "NSFItemInfo",
                                               "OSMemGetSize",
                                               "DXLDeleteExporter",
                                               "DXLDeleteImporter",
                                               "IDDestroyTable",
                                               "NSFDbClose",
                                               "NSFNoteClose",
                                               "NotesTerm",
                                               "NotesTermThread",
                                               "OSMemFree",
                                               "OSUnlockObject"};

// A success that came with nothing has told all there is.
bool answersSuccess(Kind kind) {
  return kind == Kind::Nothing || kind == Kind::NoHandle || kind == Kind::NoLength;
}

// What a success gives matters at the call itself; a release has nothing to give.
const std::pair<Extent, std::vector<Kind>> sweeps[] = {
    {Extent::One,
     {Kind::Status, Kind::Flagged, Kind::Nothing, Kind::Throw, Kind::NoHandle, Kind::NoLength}},
    {Extent::FromThenOn, {Kind::Status, Kind::Flagged, Kind::Nothing, Kind::Throw}},
    {Extent::WithReleases, {Kind::Status, Kind::Throw}}};

class FaultSweepTest : public sweep::SweepTest {
 protected:
  static void TearDownTestSuite() {
    count.print();
    SweepTest::TearDownTestSuite();
  }
  static inline sweep::SharedCount count{"faults injected"};
};

TEST_P(FaultSweepTest, NothingBreaksIt) {
  onPartition([](Bench& bench) {
    FaultyNotes notes;
    LogCapture log;
    bench.note = prepareNote(bench);
    ASSERT_TRUE(bench.told.empty()) << testing::PrintToString(bench.told);
    const auto before = openHandles();

    // Failures are looked at here: a child's are known to the test only when the child has ended.
    const auto run = [&](const Plan& plan, const std::string& where) {
      bench.told.clear();
      log.take();
      notes.begin(plan);
      GetParam().run(bench);
      notes.end();
      std::vector<std::string> left;
      for (const std::string& path : notes.opened()) {
        if (GetParam().leavesOpen(path)) left.push_back(path);
      }
      std::sort(left.begin(), left.end());
      const auto forgotten = notes.closeWhatFailedToClose();
      const auto open = openHandles();
      EXPECT_EQ(forgotten, left) << where;
      EXPECT_EQ(open, before) << where;
      return forgotten == left && open == before;
    };
    const auto runWell = [&](const std::string& where) {
      const bool clean = run({}, where);
      EXPECT_TRUE(bench.told.empty()) << where << ": " << testing::PrintToString(bench.told);
      return clean && bench.told.empty();
    };
    ASSERT_TRUE(runWell("without a fault"));
    const std::size_t calls = notes.calls();

    std::size_t faults = 0;
    for (const auto& [extent, kinds] : sweeps) {
      for (const Kind kind : kinds) {
        for (std::size_t first = 1; first <= calls; ++first) {
          const std::string where = "call " + std::to_string(first) + ", kind " +
                                    std::to_string(static_cast<int>(kind)) + ", extent " +
                                    std::to_string(static_cast<int>(extent));
          const bool clean = run({first, extent, kind}, where);
          if (notes.faults() == 0) continue;  // The call has no such output.
          faults += notes.faults();
          const std::string name = notes.firstFault();
          bool told = !bench.told.empty() || answersSuccess(kind) || mayFailSilently.contains(name);
          for (const LogCapture::Line& line : log.take()) told = told || line.level <= 0;
          EXPECT_TRUE(told) << name << ", " << where << " is not told";
          const bool again = extent == Extent::One && (kind == Kind::Status || kind == Kind::Throw);
          if (!clean || !told || (again && !runWell("after " + name + ", " + where))) return;
        }
      }
    }
    ASSERT_TRUE(runWell("after all"));
    count.add(faults);
    std::printf("%s: %zu calls, %zu faults\n", GetParam().name, calls, faults);
  });
}

INSTANTIATE_TEST_SUITE_P(All, FaultSweepTest, testing::ValuesIn(sweep::everyScenario()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
