// Wall-clock comparison. Both sides run in turns, many times, in one process: what slows the machine
// down meets both, and the fastest run of each is the one that was least disturbed.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "bench/Modes.h"

namespace {

// Shows nothing of single runs, and keeps the fastest of each side.
class Fastest : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      double& best =
          nanoseconds.try_emplace(run.run_name.function_name, std::numeric_limits<double>::max())
              .first->second;
      best = std::min(best, run.cpu_accumulated_time * 1e9 / static_cast<double>(run.iterations));
    }
  }
  std::map<std::string, double> nanoseconds;  // for one iteration
};

}  // namespace

int bench::measureTime(const Pairs& pairs, int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  std::vector<std::string> defaults = {"--benchmark_repetitions=25", "--benchmark_min_time=0.01",
                                       "--benchmark_enable_random_interleaving=true"};
  for (std::string& text : defaults) arguments.insert(arguments.begin() + 1, text.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());

  for (const Pair& pair : pairs) {
    for (const auto& [side, run] : {std::pair("library", &pair.library), {"twin", &pair.twin}}) {
      benchmark::RegisterBenchmark((pair.name() + "/" + side).c_str(),
                                   [&pair, run = run](benchmark::State& state) {
                                     pair.prepare();
                                     for (auto _ : state) (*run)(pair.rounds);
                                   });
    }
  }
  Fastest fastest;
  benchmark::RunSpecifiedBenchmarks(&fastest);

  int failures = 0;
  fmt::print("{:<52}{:>14}{:>14}{:>8}{:>7}\n", "ns a round", "library", "twin", "ratio", "goal");
  for (const Pair& pair : pairs) {
    const double library = fastest.nanoseconds[pair.name() + "/library"] / pair.rounds;
    const double twin = fastest.nanoseconds[pair.name() + "/twin"] / pair.rounds;
    // On hollow ground nearly nothing is divided by nearly nothing: there instructions count.
    const double goal = pair.ground == Ground::Simulated ? pair.limits.time : 0;
    const bool failed = goal != 0 && library > goal * twin;
    failures += failed ? 1 : 0;
    fmt::print("{:<52}{:>14.1f}{:>14.1f}{:>8.3f}{:>7}{}\n", pair.name(), library, twin,
               library / twin, goal != 0 ? fmt::format("{:.2f}", goal) : "", failed ? " FAIL" : "");
  }
  fmt::print("{} pairs, {} above their goal\n", pairs.size(), failures);
  return failures != 0 ? 1 : 0;
}
