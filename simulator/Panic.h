// What a real runtime answers to a broken host: it stops the process. The simulated one does the
// same, so that tests find the fault where it happens.
#ifndef KOLN_SIMULATOR_PANIC_H
#define KOLN_SIMULATOR_PANIC_H

#include <string>

namespace simulator {

// Prints one line to stderr and aborts.
[[noreturn]] void panic(const char* notesFunction, const std::string& what);

}  // namespace simulator

#endif
