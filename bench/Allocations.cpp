#include "bench/Allocations.h"

#include <cstdlib>
#include <new>

namespace {
std::size_t count = 0;
}

std::size_t bench::allocations() noexcept {
  return count;
}

// The library's allocations come here too, as this executable exports these.
void* operator new(std::size_t size) {
  ++count;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
