// Where the owners of handles say how many are open, so that a test can ask for leaks by the name
// of a kind without knowing any owner (SimOpenHandles in Control.h).
#ifndef KOLN_SIMULATOR_HANDLE_COUNTERS_H
#define KOLN_SIMULATOR_HANDLE_COUNTERS_H

#include <cstddef>
#include <functional>
#include <string>

namespace simulator {

// Registers how to count the open objects of a kind. The result is always true, so that a file can
// register its table when it is loaded:
//   HandleTable<Database> databases;
//   const bool counted = registerHandleCounter("databases", [] { return databases.size(); });
bool registerHandleCounter(const std::string& kind, std::function<std::size_t()> count);

}  // namespace simulator

#endif
