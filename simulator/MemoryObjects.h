// The objects behind memory handles. Blocks and ID tables share one range of numbers, so that one
// passed for the other is noticed.
#ifndef KOLN_SIMULATOR_MEMORY_OBJECTS_H
#define KOLN_SIMULATOR_MEMORY_OBJECTS_H

#include "Handles.h"

namespace simulator {

class MemoryObject {
 public:
  MemoryObject() = default;
  MemoryObject(const MemoryObject&) = delete;
  MemoryObject& operator=(const MemoryObject&) = delete;
  virtual ~MemoryObject() = default;
};

HandleTable<MemoryObject>& memoryObjects();

// How many objects of one kind are open.
template <typename Kind>
std::size_t countMemoryObjects() {
  std::size_t count = 0;
  memoryObjects().forEach([&count](const MemoryObject& object) {
    if (dynamic_cast<const Kind*>(&object) != nullptr) ++count;
  });
  return count;
}

}  // namespace simulator

#endif
