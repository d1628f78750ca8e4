#include "ReplacedNew.h"

#include <cstdlib>
#include <new>

namespace {

void* allocate(std::size_t size, const void* caller) noexcept {
  return refusesMemory(caller) ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size, const void* caller) {
  void* const memory = allocate(size, caller);
  return memory != nullptr ? memory : throw std::bad_alloc();
}

}  // namespace

// NOLINTBEGIN(misc-new-delete-overloads)
void* operator new(std::size_t size) {
  return allocateOrThrow(size, __builtin_return_address(0));
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size, __builtin_return_address(0));
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size, __builtin_return_address(0));
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size, __builtin_return_address(0));
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
// NOLINTEND(misc-new-delete-overloads)
