// One side of one pair in a process of its own, so that the peak of its memory is its own.
#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>

#include "bench/Modes.h"

namespace {

// Kilobytes.
long peak() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

int bench::measureGrowth(const Pairs& pairs, const std::string& name, const std::string& side) {
  const auto pair =
      std::ranges::find_if(pairs, [&](const Pair& candidate) { return candidate.name() == name; });
  if (pair == pairs.end()) {
    fmt::print(stderr, "koln-bench: there is no pair {}\n", name);
    return 2;
  }
  pair->prepare();
  const auto& run = side == "twin" ? pair->twin : pair->library;
  const long before = peak();
  double best = 0;
  for (int attempt = 0; attempt < 3; ++attempt) {
    const auto start = std::chrono::steady_clock::now();
    run(1);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    best = attempt == 0 ? taken.count() : std::min(best, taken.count());
  }
  fmt::print("{:.9f} {}\n", best, peak() - before);
  return 0;
}
