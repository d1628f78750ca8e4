// Memory runs out at every allocation that the library makes in a scenario, at that one alone and at
// all behind it: nothing crashes, nothing is thrown out, all is given back, somebody is told, and
// the same work goes well afterwards.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "support/FaultyNotes.h"
#include "support/LibraryMemory.h"
#include "support/LogCapture.h"
#include "support/Sweep.h"

// The leak check of AddressSanitizer, where that is: unlike its own at the end of a process, it can
// be made in a child. What putenv was given is never freed on purpose.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" [[gnu::weak]] int __lsan_do_recoverable_leak_check();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:SetEnvironmentVariable\n";
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using faulty::FaultyNotes;
using sweep::Bench;

// What is lost without a word: the text that a getter copies, and what a constructor, which has no
// record, makes for later (the cache of a quota, the texts and columns of a view); a member that
// needs it then tells.
const char* const mayLoseSilently[] = {"KoLNInstance::GetDataDirectory",
                                       "KoLNDatabase::KoLNDatabase(", "KoLNView::KoLNView("};

bool losesSilently(const std::string& function) {
  return std::ranges::any_of(mayLoseSilently,
                             [&](const char* name) { return function.starts_with(name); });
}

class MemorySweepTest : public sweep::SweepTest {
 protected:
  static void TearDownTestSuite() {
    count.print();
    SweepTest::TearDownTestSuite();
  }
  static inline sweep::SharedCount count{"allocations failed"};
};

TEST_P(MemorySweepTest, NothingBreaksIt) {
  onPartition([](Bench& bench) {
    FaultyNotes notes;
    LogCapture log;
    bench.note = prepareNote(bench);
    const auto before = openHandles();
    std::size_t failed = 0;

    const auto run = [&](std::size_t first, bool allAfter) {
      const std::string where =
          "allocation " + std::to_string(first) + (allAfter ? " and all after" : " alone");
      bench.told.clear();
      log.take();
      notes.begin({});
      std::string thrown;
      {
        const LibraryMemory memory(first, allAfter);
        try {
          GetParam().run(bench);
        } catch (const std::exception& exception) {
          thrown = exception.what();
        }
      }
      notes.end();
      std::vector<std::string> left;
      for (const std::string& path : notes.opened()) {
        if (GetParam().leavesOpen(path)) left.push_back(path);
      }
      std::sort(left.begin(), left.end());
      const std::vector<std::string>& refused = LibraryMemory::refusedTo();
      bool told = !bench.told.empty() || std::ranges::all_of(refused, losesSilently);
      for (const LogCapture::Line& line : log.take()) told = told || line.level <= 0;
      const auto forgotten = notes.closeWhatFailedToClose();
      const auto open = openHandles();
      failed += refused.size();
      EXPECT_EQ(thrown, "") << where;
      EXPECT_EQ(forgotten, left) << where;
      EXPECT_EQ(open, before) << where;
      EXPECT_TRUE(told) << where << " is not told: " << testing::PrintToString(refused);
      return thrown.empty() && forgotten == left && open == before && told;
    };
    ASSERT_TRUE(run(0, false) && bench.told.empty()) << testing::PrintToString(bench.told);
    const std::size_t allocations = LibraryMemory::asked();
    for (const bool allAfter : {false, true}) {
      for (std::size_t first = 1; first <= allocations; ++first) {
        if (!run(first, allAfter)) return;
      }
    }
    EXPECT_TRUE(run(0, false) && bench.told.empty()) << testing::PrintToString(bench.told);
    if (__lsan_do_recoverable_leak_check != nullptr) {
      EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
    }
    count.add(failed);
    std::printf("%s: %zu allocations, %zu failed\n", GetParam().name, allocations, failed);
  });
}

INSTANTIATE_TEST_SUITE_P(All, MemorySweepTest, testing::ValuesIn(sweep::everyScenario()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
