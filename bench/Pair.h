// What is measured: one road through the library, beside the same Notes calls written by hand (the
// twin). Both do the same work and leave the same result, which `koln-bench --check` compares.
//
// A road is a class with
//   void prepare();               // optional: binds the hollow functions that it needs
//   void library();  void twin(); // one round
//   std::string result() const;   // what the last round has left, for the comparison
// and each side gets an object of its own.
#ifndef KOLN_BENCH_PAIR_H
#define KOLN_BENCH_PAIR_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "findDataPartition.h"

namespace bench {

// What the KO_ pointers lead to.
enum class Ground {
  Hollow,    // functions that cost next to nothing: only the layer is seen
  Simulated  // the simulated runtime
};

// What a pair must keep to. 0: no such limit.
struct Limits {
  double instructions = 1.25;   // library over twin, hollow ground
  double time = 1.03;           // library over twin, simulated ground
  double instructionsOver = 0;  // library less twin for each unit (see Pair::units), hollow ground
  bool allocatesNothing = false;
  double milliseconds = 0;  // the library, for a round
};

struct Pair {
  std::string road;
  std::size_t size = 0;  // Of what grows: files, entries, bytes.
  Ground ground = Ground::Hollow;
  Limits limits;
  unsigned rounds = 1;    // How many make one measurement.
  std::size_t units = 1;  // What `instructionsOver` counts in a round.
  std::function<void()> prepare;
  std::function<void(unsigned rounds)> library;
  std::function<void(unsigned rounds)> twin;
  std::function<std::string()> libraryResult;
  std::function<std::string()> twinResult;

  std::string name() const {
    return road + (size != 0 ? "/" + std::to_string(size) : "") +
           (ground == Ground::Hollow ? "/hollow" : "/simulated");
  }
};

// Binds all KO_ pointers to functions that do nothing and answer 0. A road's `prepare` takes the
// place of those that must answer more.
void bindHollowFunctions();

// Keeps what a loaded runtime was bound to; binds that again.
void keepLoadedFunctions();
void bindLoadedFunctions();

// Binds a ground's functions, and takes back what an earlier road has told the library.
inline void bind(Ground ground) {
  SetLogCallback(nullptr);
  ground == Ground::Hollow ? bindHollowFunctions() : bindLoadedFunctions();
}

// Makes the pair of one road. `arguments` make the road's two objects.
template <typename Road, typename... Arguments>
Pair makePair(std::string name, std::size_t size, Ground ground, unsigned rounds, Limits limits,
              const Arguments&... arguments) {
  // What a road holds open must be closed where it was opened.
  const auto make = [&] {
    return std::shared_ptr<Road>(new Road(arguments...), [ground](Road* road) {
      bind(ground);
      delete road;
    });
  };
  const auto mine = make();
  const auto twins = make();
  Pair pair;
  pair.road = std::move(name);
  pair.size = size;
  pair.ground = ground;
  pair.rounds = rounds;
  pair.limits = limits;
  pair.prepare = [mine, twins, ground] {
    bind(ground);
    if constexpr (requires { mine->prepare(); }) {
      for (const auto& road : {mine, twins}) road->prepare();
    }
  };
  pair.library = [mine](unsigned count) {
    for (; count != 0; --count) {
      mine->library();
      asm volatile("" ::: "memory");  // Keeps rounds without a visible result.
    }
  };
  pair.twin = [twins](unsigned count) {
    for (; count != 0; --count) {
      twins->twin();
      asm volatile("" ::: "memory");
    }
  };
  pair.libraryResult = [mine] { return mine->result(); };
  pair.twinResult = [twins] { return twins->result(); };
  return pair;
}

using Pairs = std::vector<Pair>;

}  // namespace bench

#endif
