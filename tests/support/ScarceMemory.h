// Lets memory run out at a chosen allocation.
//
// The test executable replaces the global operator new; the library's allocations come here too.
#ifndef KOLN_TESTS_SCARCE_MEMORY_H
#define KOLN_TESTS_SCARCE_MEMORY_H

#include <gtest/gtest.h>

#include <utility>

// While it lives, this thread gets memory `allowed` times and then no more.
class ScarceMemory {
 public:
  explicit ScarceMemory(int allowed) noexcept;
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;

  // Whether an allocation has been refused.
  static bool ranOut() noexcept;
};

// Gives the fakes memory as long as it lives, so that only the library's allocations count.
class AmpleMemory {
 public:
  AmpleMemory() noexcept;
  ~AmpleMemory();
  AmpleMemory(const AmpleMemory&) = delete;
  AmpleMemory& operator=(const AmpleMemory&) = delete;

 private:
  int before_;
};

// Runs `attempt` with memory for 0, 1, 2 ... allocations until nothing is refused any more. It must
// answer true exactly when it had all it asked for, and throw nothing. How often it failed.
template <typename Attempt>
int failuresForWantOfMemory(Attempt attempt) {
  for (int limit = 0;; ++limit) {
    bool done = false;
    {
      const ScarceMemory scarce(limit);
      done = attempt();
    }
    EXPECT_EQ(done, !ScarceMemory::ranOut()) << "with memory for " << limit << " allocations";
    if (!ScarceMemory::ranOut()) {
      return limit;
    }
  }
}

#endif
