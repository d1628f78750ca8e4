// One side of one pair in a process of its own, so that the peak of its memory is its own.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>

#include "bench/Modes.h"

namespace {

// A value of the process's status, in kilobytes.
long kilobytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long value = 0;
    if (word == name + ':' && status >> value) return value;
  }
  return 0;
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
  std::ofstream("/proc/self/clear_refs") << 5;  // From here on the peak counts anew.
  const long before = kilobytes("VmRSS");
  double best = 0;
  for (int attempt = 0; attempt < 5; ++attempt) {
    const auto start = std::chrono::steady_clock::now();
    run(1);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    best = attempt == 0 ? taken.count() : std::min(best, taken.count());
  }
  fmt::print("{:.9f} {}\n", best, std::max(kilobytes("VmHWM") - before, 0L));
  return 0;
}
