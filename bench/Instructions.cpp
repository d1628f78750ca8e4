// Instructions as callgrind counts them: the same number each time, whatever else the machine does.
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "bench/Modes.h"

namespace {

constexpr double tolerance = 1.02;

struct Count {
  double library = 0;
  double twin = 0;
};
using Counts = std::map<std::string, Count>;  // by name, for one round

// One side's instructions are dumped under its name; those of an empty measurement are no part.
void countSide(const bench::Pair& pair, const std::string& side,
               const std::function<void(unsigned)>& run) {
  pair.prepare();
  run(2);  // Binds what is bound at the first call, and fills what is kept.
  CALLGRIND_ZERO_STATS;
  CALLGRIND_TOGGLE_COLLECT;
  run(pair.rounds);
  CALLGRIND_TOGGLE_COLLECT;
  const std::string name =
      pair.name() + "/" + side;  // Must live longer than the macro's first line.
  CALLGRIND_DUMP_STATS_AT(name.c_str());
}

// Reads callgrind's dumps: the name that was given with each, and its total.
std::map<std::string, double> readDumps(const std::filesystem::path& directory) {
  std::map<std::string, double> totals;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::ifstream in(entry.path());
    const std::string trigger = "desc: Trigger: Client Request: ";
    std::string line, name;
    double total = 0;
    while (std::getline(in, line)) {
      if (line.starts_with(trigger)) name = line.substr(trigger.size());
      if (line.starts_with("totals: ")) total = std::stod(line.substr(8));
      if (line.starts_with("summary: ") && total == 0) total = std::stod(line.substr(9));
    }
    if (!name.empty()) totals[name] = total;
  }
  return totals;
}

Counts readTable(const std::string& path) {
  Counts counts;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string name;
    Count count;
    if (line.starts_with('#') || !(words >> name >> count.library >> count.twin)) continue;
    counts[name] = count;
  }
  return counts;
}

// What of a pair is above its goals; empty if nothing.
std::string judge(const bench::Pair& pair, const Count& count) {
  std::string verdict;
  if (pair.ground != bench::Ground::Hollow) return verdict;
  const bench::Limits& limits = pair.limits;
  if (limits.instructions != 0 && count.library > limits.instructions * count.twin) {
    verdict += fmt::format(" ABOVE {:.2f}", limits.instructions);
  }
  if (limits.instructionsOver != 0 &&
      (count.library - count.twin) / static_cast<double>(pair.units) > limits.instructionsOver) {
    verdict += fmt::format(" ABOVE +{:.0f}", limits.instructionsOver);
  }
  return verdict;
}

}  // namespace

int bench::countInstructions(const Pairs& pairs) {
  if (RUNNING_ON_VALGRIND == 0) {
    fmt::print(stderr, "koln-bench: --count is for callgrind; use --instructions\n");
    return 2;
  }
  for (const Pair& pair : pairs) {
    countSide(pair, "library", pair.library);
    countSide(pair, "twin", pair.twin);
  }
  return 0;
}

int bench::compareInstructions(const Pairs& pairs, const std::string& arguments,
                               const std::string& baseline, bool update) {
  char directory[] = "/tmp/koln-bench-XXXXXX";
  if (mkdtemp(directory) == nullptr) {
    std::perror("koln-bench: mkdtemp");
    return 1;
  }
  // The same environment each time: its size moves the stack.
  const std::string command = fmt::format(
      "env -i PATH=/usr/bin:/bin HOME=/ LD_LIBRARY_PATH=/usr/lib valgrind --tool=callgrind "
      "--collect-atstart=no --dump-instr=no --callgrind-out-file={}/out '{}' --count {} >{}.log "
      "2>&1",
      directory, std::filesystem::read_symlink("/proc/self/exe").string(), arguments, directory);
  const int status = std::system(command.c_str());
  const auto totals = readDumps(directory);
  std::filesystem::remove_all(directory);
  if (status != 0 || totals.empty()) {
    fmt::print(stderr, "koln-bench: callgrind failed; see {}.log\n", directory);
    return 1;
  }
  std::filesystem::remove(std::string(directory) + ".log");

  const Counts before = readTable(baseline);
  std::string table = "# Instructions of one round: pair, library, twin.\n";
  int failures = 0;
  fmt::print("{:<52}{:>13}{:>13}{:>8}{:>9}\n", "instructions a round", "library", "twin", "ratio",
             "before");
  for (const Pair& pair : pairs) {
    const auto side = [&](const char* name) {
      const auto found = totals.find(pair.name() + "/" + name);
      return found == totals.end() ? -1 : found->second / pair.rounds;
    };
    const Count count = {side("library"), side("twin")};
    std::string verdict = judge(pair, count);
    if (count.library < 0 || count.twin < 0) verdict += " NOT COUNTED";
    std::string change;
    if (const auto old = before.find(pair.name()); old != before.end()) {
      change = fmt::format("{:+.1f}%", (count.library / old->second.library - 1) * 100);
      if (!update && count.library > tolerance * old->second.library) verdict += " DEARER";
    }
    failures += verdict.empty() ? 0 : 1;
    table += fmt::format("{} {:.1f} {:.1f}\n", pair.name(), count.library, count.twin);
    fmt::print("{:<52}{:>13.1f}{:>13.1f}{:>8.3f}{:>9}{}\n", pair.name(), count.library, count.twin,
               count.library / count.twin, change, verdict);
  }
  if (update && !(std::ofstream(baseline) << table)) {
    fmt::print(stderr, "koln-bench: {} cannot be written\n", baseline);
    return 1;
  }
  fmt::print("{} pairs, {} failures\n", pairs.size(), failures);
  return failures != 0 ? 1 : 0;
}
