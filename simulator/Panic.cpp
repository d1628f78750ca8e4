// The one place where the simulated runtime ends its process.
#include "Panic.h"

#include <cstdio>
#include <cstdlib>

namespace simulator {

void panic(const char* notesFunction, const std::string& what) {
  std::fprintf(stderr, "PANIC: %s: %s\n", notesFunction, what.c_str());
  std::abort();
}

}  // namespace simulator
