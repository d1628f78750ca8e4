#include "ScarceMemory.h"

#include "ReplacedNew.h"

namespace {

constexpr int unlimited = -1;
thread_local int left = unlimited;
thread_local bool refused = false;

}  // namespace

bool refusesMemory(const void* /*caller*/) noexcept {
  if (left == 0) {
    refused = true;
    return true;
  }
  left -= left > 0 ? 1 : 0;
  return false;
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
