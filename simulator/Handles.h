// Every kind of object that a host holds by number (memory, databases, notes, collections) has one
// of these tables. They are strict on purpose: a number is not given again until the others have
// had their turn, and never by another kind, so that a host that uses a freed handle or one of
// another kind is found out.
#ifndef KOLN_SIMULATOR_HANDLES_H
#define KOLN_SIMULATOR_HANDLES_H

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "NotesApi.h"

namespace simulator {

inline constexpr DWORD firstHandle = 0x100;

// The kinds take turns in the numbers. Memory includes ID tables and MIME streams.
enum class HandleKind : DWORD {
  Memory,
  Database,
  Note,
  Collection,
  Exporter,
  Importer,
  Computation,
  Count
};

// Ends the process if the runtime is started but the calling thread is not; the first use of a
// handle is where that is noticed.
void requireStartedThread();

// Thread-safe. A table that hosts can ask for (Control.h) is registered in HandleCounters.h by its
// owner.
template <typename Object>
class HandleTable {
 public:
  // `last`: the highest number to give, 0xFFFF for the kinds whose handle is a WORD.
  explicit HandleTable(HandleKind kind, DWORD last = 0x7FFFFFFF)
      : first_(firstHandle + static_cast<DWORD>(kind)), last_(last) {}

  // The new handle, never 0; 0 only if every number is in use.
  DWORD add(std::shared_ptr<Object> object) {
    requireStartedThread();
    const std::lock_guard<std::mutex> guard(mutex_);
    if (objects_.size() > (last_ - first_) / step) return 0;
    while (objects_.count(next_) != 0) advance();
    const DWORD handle = next_;
    objects_.emplace(handle, std::move(object));
    advance();
    return handle;
  }

  // Null if the handle is unknown or was freed.
  std::shared_ptr<Object> find(DWORD handle) const {
    requireStartedThread();
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : found->second;
  }

  // Takes the object out of the table; null if there was none.
  std::shared_ptr<Object> remove(DWORD handle) {
    requireStartedThread();
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = objects_.find(handle);
    if (found == objects_.end()) return nullptr;
    std::shared_ptr<Object> object = std::move(found->second);
    objects_.erase(found);
    return object;
  }

  std::size_t size() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return objects_.size();
  }

  // `visit` must not use the table.
  template <typename Visit>
  void forEach(const Visit& visit) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    for (const auto& [handle, object] : objects_) visit(*object);
  }

 private:
  static constexpr DWORD step = static_cast<DWORD>(HandleKind::Count);

  void advance() { next_ = next_ > last_ - step ? first_ : next_ + step; }

  mutable std::mutex mutex_;
  std::unordered_map<DWORD, std::shared_ptr<Object>> objects_;
  const DWORD first_;
  const DWORD last_;
  DWORD next_ = first_;
};

}  // namespace simulator

#endif
