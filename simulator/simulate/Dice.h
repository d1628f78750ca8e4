// Chance that falls the same way on every machine: the standard's engines are exactly specified,
// its distributions are not.
#ifndef KOLN_SIMULATOR_SIMULATE_DICE_H
#define KOLN_SIMULATOR_SIMULATE_DICE_H

#include <cstdint>
#include <iterator>
#include <random>

namespace simulator {

class Dice {
 public:
  // Each use of chance has a stream of its own, so that one more mailbox, or one more note in it,
  // leaves the others as they are.
  enum class Stream : std::uint32_t {
    People = 1,
    Directory = 2,
    Mailbox = 3,
    Archive = 4,
    Application = 5
  };

  Dice(std::uint64_t seed, Stream stream, std::uint32_t index) {
    std::seed_seq sequence{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                           static_cast<std::uint32_t>(stream), index};
    engine_.seed(sequence);
  }

  std::uint64_t bits() { return engine_(); }
  // 0 to `count` - 1.
  std::uint64_t below(std::uint64_t count) { return engine_() % count; }
  // Both ends included.
  std::int64_t between(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(below(static_cast<std::uint64_t>(high - low) + 1));
  }
  bool oneIn(std::uint64_t count) { return below(count) == 0; }
  template <typename Container>
  const auto& pick(const Container& container) {
    return *std::next(std::begin(container),
                      static_cast<std::ptrdiff_t>(below(std::size(container))));
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace simulator

#endif
