// OSMemAlloc and what goes with it. Whatever would stop a real process stops this one too.
#include "Memory.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "Export.h"
#include "HandleCounters.h"
#include "MemoryObjects.h"
#include "Panic.h"

namespace simulator {
namespace {

// New blocks are filled with this: a host that takes them for zeroed is found out.
constexpr BYTE freshByte = 0xC7;

enum class Owner { Host, Runtime };

class MemoryBlock : public MemoryObject {
 public:
  MemoryBlock(std::shared_ptr<BYTE[]> bytes, DWORD size, Owner owner = Owner::Host)
      : bytes_(std::move(bytes)), size_(size), owner_(owner) {}

  BYTE* bytes() const { return bytes_.get(); }
  DWORD size() const { return size_; }
  Owner owner() const { return owner_; }
  int locks() const { return locks_.load(); }
  void lock() { ++locks_; }
  // False if it was not locked.
  bool unlock() {
    int held = locks_.load();
    while (held > 0 && !locks_.compare_exchange_weak(held, held - 1)) {
    }
    return held > 0;
  }

 private:
  const std::shared_ptr<BYTE[]> bytes_;
  const DWORD size_;
  const Owner owner_;
  std::atomic<int> locks_{0};
};

const bool blocksCounted = registerHandleCounter("memory", [] {
  std::size_t blocks = 0;
  memoryObjects().forEach([&blocks](const MemoryObject& object) {
    const auto* const block = dynamic_cast<const MemoryBlock*>(&object);
    if (block != nullptr && block->owner() == Owner::Host) ++blocks;
  });
  return blocks;
});
const bool locksCounted = registerHandleCounter("locks", [] {
  std::size_t locks = 0;
  memoryObjects().forEach([&locks](const MemoryObject& object) {
    const auto* const block = dynamic_cast<const MemoryBlock*>(&object);
    if (block != nullptr) locks += static_cast<std::size_t>(block->locks());
  });
  return locks;
});

std::string describe(DHANDLE handle, const char* what) {
  return "memory handle " + std::to_string(handle) + " " + what;
}

// The block, or the end of the process.
std::shared_ptr<MemoryBlock> blockOf(DHANDLE handle, const char* function) {
  if (handle == NULLHANDLE) panic(function, "memory handle is null");
  const std::shared_ptr<MemoryObject> object = memoryObjects().find(handle);
  if (object == nullptr) panic(function, describe(handle, "was never given or is freed"));
  auto block = std::dynamic_pointer_cast<MemoryBlock>(object);
  if (block == nullptr) panic(function, describe(handle, "is no block of memory"));
  return block;
}

// Null if there is no memory left.
std::shared_ptr<MemoryBlock> newBlock(std::size_t size) {
  if (size > std::numeric_limits<DWORD>::max()) return nullptr;
  std::unique_ptr<BYTE[]> bytes(new (std::nothrow) BYTE[size]);
  if (bytes == nullptr) return nullptr;
  return std::make_shared<MemoryBlock>(std::move(bytes), static_cast<DWORD>(size));
}

DHANDLE addBlock(std::shared_ptr<BYTE[]> bytes, std::size_t size, Owner owner) {
  if (size == 0 || size > std::numeric_limits<DWORD>::max()) return NULLHANDLE;
  return memoryObjects().add(
      std::make_shared<MemoryBlock>(std::move(bytes), static_cast<DWORD>(size), owner));
}

// Takes an unlocked block out of the table, or ends the process.
void removeBlock(DHANDLE handle, Owner owner, const char* function) {
  const std::shared_ptr<MemoryBlock> block = blockOf(handle, function);
  if (block->owner() != owner) panic(function, describe(handle, "belongs to an open note"));
  if (block->locks() != 0) panic(function, describe(handle, "is still locked"));
  memoryObjects().remove(handle);
}

}  // namespace

HandleTable<MemoryObject>& memoryObjects() {
  static HandleTable<MemoryObject> table(HandleKind::Memory);
  return table;
}

DHANDLE allocateBytes(const void* data, std::size_t size) {
  const std::shared_ptr<MemoryBlock> block = size == 0 ? nullptr : newBlock(size);
  if (block == nullptr) return NULLHANDLE;
  std::memcpy(block->bytes(), data, size);
  return memoryObjects().add(block);
}

std::optional<std::vector<BYTE>> unlockedBytes(DHANDLE handle, const char* function) {
  const std::shared_ptr<MemoryBlock> block = blockOf(handle, function);
  if (block->locks() != 0) return std::nullopt;
  return std::vector<BYTE>(block->bytes(), block->bytes() + block->size());
}

DHANDLE adoptBytes(std::shared_ptr<BYTE[]> bytes, std::size_t size) {
  return addBlock(std::move(bytes), size, Owner::Host);
}

DHANDLE lendBytes(std::shared_ptr<BYTE[]> bytes, std::size_t size) {
  return addBlock(std::move(bytes), size, Owner::Runtime);
}

void takeBackBytes(DHANDLE handle, const char* function) {
  removeBlock(handle, Owner::Runtime, function);
}

std::optional<std::span<const BYTE>> lockedBytesFrom(const void* address) {
  std::optional<std::span<const BYTE>> found;
  memoryObjects().forEach([&](const MemoryObject& object) {
    const auto* const block = dynamic_cast<const MemoryBlock*>(&object);
    if (block == nullptr || block->locks() == 0) return;
    const BYTE* const begin = block->bytes();
    const BYTE* const end = begin + block->size();
    const auto* const start = static_cast<const BYTE*>(address);
    if (!std::less<>()(start, begin) && std::less<>()(start, end)) found.emplace(start, end);
  });
  return found;
}

}  // namespace simulator

SIM_EXPORT STATUS OSMemAlloc(WORD, DWORD dwSize, DHANDLE* retHandle) {
  if (retHandle == nullptr) return ERR_BAD_PARAM;
  *retHandle = NULLHANDLE;
  if (dwSize == 0) return NOERROR;
  const auto block = simulator::newBlock(dwSize);
  if (block == nullptr) return ERR_MEMORY;
  std::fill_n(block->bytes(), dwSize, simulator::freshByte);
  *retHandle = simulator::memoryObjects().add(block);
  return *retHandle == NULLHANDLE ? ERR_MEMORY : NOERROR;
}

SIM_EXPORT STATUS OSMemFree(DHANDLE Handle) {
  simulator::removeBlock(Handle, simulator::Owner::Host, "OSMemFree");
  return NOERROR;
}

SIM_EXPORT STATUS OSMemGetSize(DHANDLE Handle, DWORD* retSize) {
  const auto block = simulator::blockOf(Handle, "OSMemGetSize");
  if (retSize != nullptr) *retSize = block->size();
  return NOERROR;
}

SIM_EXPORT void* OSLockObject(DHANDLE Handle) {
  const auto block = simulator::blockOf(Handle, "OSLockObject");
  block->lock();
  return block->bytes();
}

SIM_EXPORT BOOL OSUnlockObject(DHANDLE Handle) {
  if (!simulator::blockOf(Handle, "OSUnlockObject")->unlock()) {
    simulator::panic("OSUnlockObject", simulator::describe(Handle, "is not locked"));
  }
  return TRUE;
}
