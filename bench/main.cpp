// koln-bench: the library beside hand-written calls. scripts/bench runs it.
#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Modes.h"
#include "bench/Roads.h"
#include "koln.h"

namespace {

constexpr const char* usage =
    "usage: koln-bench [--check | --list | --instructions FILE [--update] | --growth PAIR SIDE]\n"
    "                  [--ground hollow|simulated] [--only TEXT] [--up-to SIZE]\n"
    "                  [--notes COUNT] [--persons COUNT] [OPTION...]\n"
    "Without a mode: times all pairs; OPTIONs are Google Benchmark's. --only keeps the pairs "
    "whose\n"
    "names hold TEXT, --up-to those whose size is at most SIZE (1024). --notes and\n"
    "--persons are what the simulated mailbox (20) and directory (10) hold.\n";

// A partition of the simulated runtime with this process prepared for it, removed at the end.
class Partition {
 public:
  Partition(std::size_t notes, std::size_t persons) {
    char name[] = "/tmp/koln-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) return;
    directory_ = name;
    const std::string command = fmt::format(
        "{} create {} --mailboxes 1 --notes {} --persons {} --folders 3 --seed 7 --home {} --user "
        "{} "
        ">/dev/null",
        KOLN_SIMULATE_TOOL, path(), notes, persons, KOLN_SIMULATOR_HOME,
        getpwuid(geteuid())->pw_name);
    if (std::system(command.c_str()) != 0) return;
    setenv("KOLN_CONFIG", (path() + "/registry.conf").c_str(), 1);
    setenv("KOLN_DEBUG_LOG", "none", 1);
    setenv("LD_LIBRARY_PATH", "/usr/lib", 1);
    for (const auto& entry : std::filesystem::directory_iterator(path() + "/data/mail")) {
      mailbox = "mail/" + entry.path().filename().string();
    }
    instance.emplace("Domino", "koln\x12" + path() + "/data/", "", false);
    started = instance->Initialize() && !instance->InitializeNotesEnv().IsErrorSet();
  }
  ~Partition() {
    std::error_code ignored;
    if (!directory_.empty()) std::filesystem::remove_all(directory_, ignored);
  }
  Partition(const Partition&) = delete;
  Partition& operator=(const Partition&) = delete;

  std::string path() const { return directory_ + "/partition"; }
  std::optional<KoLNInstance> instance;
  std::string mailbox;
  bool started = false;

 private:
  std::string directory_;
};

}  // namespace

int main(int argc, char** argv) {
  std::string mode, ground, only, baseline, pairName, side;
  std::size_t upTo = 1024;
  std::size_t notes = 20;
  std::size_t persons = 10;
  bool update = false;
  std::vector<char*> rest = {argv[0]};
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    const auto value = [&] { return i + 1 < argc ? argv[++i] : ""; };
    if (option == "--check" || option == "--list" || option == "--count") {
      mode = option;
    } else if (option == "--instructions") {
      mode = option;
      baseline = value();
    } else if (option == "--growth") {
      mode = option;
      pairName = value();
      side = value();
      upTo = SIZE_MAX;
    } else if (option == "--update") {
      update = true;
    } else if (option == "--ground") {
      ground = value();
    } else if (option == "--only") {
      only = value();
    } else if (option == "--notes") {
      notes = std::strtoull(value(), nullptr, 10);
    } else if (option == "--persons") {
      persons = std::strtoull(value(), nullptr, 10);
    } else if (option == "--up-to") {
      upTo = std::strtoull(value(), nullptr, 10);
    } else if (option.starts_with("--benchmark_")) {
      rest.push_back(argv[i]);
    } else {
      fmt::print(stderr, "{}", usage);
      return option == "--help" ? 0 : 2;
    }
  }

  std::optional<Partition> partition;
  std::optional<KoLNInstance> nowhere;
  bench::Pairs pairs;  // Gone before what they run on.
  if (ground != "simulated") {
    nowhere.emplace("Domino", "koln\x12/nowhere/", "", false);
    addAllRoads(pairs, {bench::Ground::Hollow, *nowhere, "mail/a.nsf", ""});
  }
  if (ground != "hollow") {
    partition.emplace(notes, persons);
    if (!partition->started) {
      fmt::print(stderr, "koln-bench: the simulated partition does not start; it needs root\n");
      return 1;
    }
    bench::keepLoadedFunctions();
    addAllRoads(pairs, {bench::Ground::Simulated, *partition->instance, partition->mailbox,
                        partition->path(), notes, persons});
  }
  std::erase_if(pairs, [&](const bench::Pair& pair) {
    return pair.name().find(only) == std::string::npos || pair.size > upTo;
  });

  if (mode == "--list") {
    for (const bench::Pair& pair : pairs) fmt::print("{}\n", pair.name());
    return 0;
  }
  if (mode == "--check") return bench::check(pairs);
  if (mode == "--count") return bench::countInstructions(pairs);
  if (mode == "--growth") return bench::measureGrowth(pairs, pairName, side);
  if (mode == "--instructions") {
    std::string arguments = fmt::format("--up-to {}", upTo);
    if (!ground.empty()) arguments += " --ground " + ground;
    if (!only.empty()) arguments += " --only '" + only + "'";
    return bench::compareInstructions(pairs, arguments, baseline, update);
  }
  return bench::measureTime(pairs, static_cast<int>(rest.size()), rest.data());
}
