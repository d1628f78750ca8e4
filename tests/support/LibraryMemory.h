// Refuses memory to the library alone, at a chosen allocation. The test executable replaces operator
// new (and malloc with its kin, where no sanitizer owns them); who is asking is told from the stack,
// so that the test and the runtime, also when they are called back, get all they want.
#ifndef KOLN_TESTS_LIBRARY_MEMORY_H
#define KOLN_TESTS_LIBRARY_MEMORY_H

#include <cstddef>
#include <string>
#include <vector>

// While it lives, allocations of the library are counted from 1 and refused: number `first`, or, if
// `allAfter`, each from there on; 0: none. One at a time, on the thread that made it.
class LibraryMemory {
 public:
  LibraryMemory(std::size_t first, bool allAfter);
  ~LibraryMemory();
  LibraryMemory(const LibraryMemory&) = delete;
  LibraryMemory& operator=(const LibraryMemory&) = delete;

  static std::size_t asked();
  // The exported functions of the library that were refused, in their order.
  static const std::vector<std::string>& refusedTo();
};

#endif
