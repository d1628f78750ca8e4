// Every kind of object that a host holds by number (memory, databases, notes, collections) has one
// of these tables. They are strict on purpose: a number is not given again until the others have
// had their turn, so that a host that uses a freed handle is found out.
#ifndef KOLN_SIMULATOR_HANDLES_H
#define KOLN_SIMULATOR_HANDLES_H

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "NotesApi.h"

namespace simulator {

// All tables count from here: a number alone never tells the kind of its object.
inline constexpr DWORD firstHandle = 0x100;

// Thread-safe. A table that hosts can ask for (Control.h) is registered in HandleCounters.h by its
// owner.
template <typename Object>
class HandleTable {
 public:
  // `last`: the highest number to give, 0xFFFF for the kinds whose handle is a WORD.
  explicit HandleTable(DWORD last = 0x7FFFFFFF) : last_(last) {}

  // The new handle, never 0; 0 only if every number is in use.
  DWORD add(std::shared_ptr<Object> object) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (objects_.size() > last_ - firstHandle) return 0;
    while (objects_.count(next_) != 0) advance();
    const DWORD handle = next_;
    objects_.emplace(handle, std::move(object));
    advance();
    return handle;
  }

  // Null if the handle is unknown or was freed.
  std::shared_ptr<Object> find(DWORD handle) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : found->second;
  }

  // Takes the object out of the table; null if there was none.
  std::shared_ptr<Object> remove(DWORD handle) {
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
  void advance() { next_ = next_ == last_ ? firstHandle : next_ + 1; }

  mutable std::mutex mutex_;
  std::unordered_map<DWORD, std::shared_ptr<Object>> objects_;
  const DWORD last_;
  DWORD next_ = firstHandle;
};

}  // namespace simulator

#endif
