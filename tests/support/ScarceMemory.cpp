#include "ScarceMemory.h"

#include <cstdlib>
#include <new>

namespace {

constexpr int unlimited = -1;
thread_local int left = unlimited;
thread_local bool refused = false;

void* allocate(std::size_t size) noexcept {
  if (left == 0) {
    refused = true;
    return nullptr;
  }
  left -= left > 0 ? 1 : 0;
  return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
  void* const memory = allocate(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
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

ScarceMemory::ScarceMemory(int allowed) noexcept {
  refused = false;
  left = allowed;
}
ScarceMemory::~ScarceMemory() {
  left = unlimited;
}

bool ScarceMemory::ranOut() noexcept {
  return refused;
}

AmpleMemory::AmpleMemory() noexcept : before_(std::exchange(left, unlimited)) {}
AmpleMemory::~AmpleMemory() {
  left = before_;
}
