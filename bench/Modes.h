// What `koln-bench` does with the pairs. Each answers with the process's status.
#ifndef KOLN_BENCH_MODES_H
#define KOLN_BENCH_MODES_H

#include <string>

#include "bench/Pair.h"

namespace bench {

// Whether both sides of each pair leave the same result, and what the library allocates.
int check(const Pairs& pairs);

// Times all pairs side by side with Google Benchmark, which takes what it knows of the arguments.
int measureTime(const Pairs& pairs, int argc, char** argv);

// Under callgrind: counts the instructions of each side.
int countInstructions(const Pairs& pairs);

// Runs this program under callgrind with `--count` and `arguments`, and prints the table. What is
// more than 2 % dearer than in the file `baseline` fails; `update` writes the file instead.
int compareInstructions(const Pairs& pairs, const std::string& arguments,
                        const std::string& baseline, bool update);

// Runs one side of one pair in this process and prints seconds and peak memory.
int measureGrowth(const Pairs& pairs, const std::string& name, const std::string& side);

}  // namespace bench

#endif
