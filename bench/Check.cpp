// The twins are worth something only if they do the same.
#include <fmt/format.h>

#include <cstdio>

#include "bench/Allocations.h"
#include "bench/Modes.h"

int bench::check(const Pairs& pairs) {
  int failures = 0;
  for (const Pair& pair : pairs) {
    pair.prepare();
    pair.library(1);  // The first round may fill caches that live on.
    const std::size_t before = allocations();
    pair.library(1);
    const std::size_t allocated = allocations() - before;
    pair.twin(1);
    pair.twin(1);
    const std::string mine = pair.libraryResult();
    const std::string twins = pair.twinResult();
    if (mine.empty() || mine != twins) {
      ++failures;
      fmt::print("{}: the library leaves\n  {}\nand the twin\n  {}\n", pair.name(), mine, twins);
    }
    if (pair.limits.allocatesNothing && pair.ground == Ground::Hollow && allocated != 0) {
      ++failures;
      fmt::print("{}: {} allocations in a round that needs none\n", pair.name(), allocated);
    }
  }
  fmt::print("{} pairs, {} failures\n", pairs.size(), failures);
  return pairs.empty() || failures != 0 ? 1 : 0;
}
