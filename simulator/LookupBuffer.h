// What a directory look-up has found, in one block of memory that the host locks, walks and frees.
// The layout is the runtime's own. Hosts walk by bare addresses, so every address that comes in is
// looked up among the living buffers first, and one that is not what it should be ends the process:
// a real runtime would read whatever is there.
//
// The block, offsets and sizes in DWORDs:
//   per record   number of matches, offset of its first match
//   per record   its matches: a mark, then offset and size of each item's value, 0 if absent;
//                behind the last one a mark that ends the record
//   the values   type word first, packed, so half of them are at odd addresses
#ifndef KOLN_SIMULATOR_LOOKUP_BUFFER_H
#define KOLN_SIMULATOR_LOOKUP_BUFFER_H

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "AddressBooks.h"
#include "NotesApi.h"

namespace simulator {

// One person that was found.
struct LookupMatch {
  const Persons* persons;  // its items are those of the look-up, others may follow
  std::uint32_t person;
};
using LookupRecord = std::vector<LookupMatch>;  // for one name

// A handle for the host: the records as often as there are name spaces, since all of these list the
// same persons. std::bad_alloc if that is more than one block can hold.
DHANDLE makeLookupBuffer(std::span<const LookupRecord> records, std::size_t nameSpaces,
                         std::size_t items);

// A living buffer; it stays alive as long as this object.
class LookupBuffer {
 public:
  // The one that has the address. `function` is the API function that was called; this and the
  // members panic in its name.
  static LookupBuffer holding(const void* address, const char* function);

  // Each takes the start of the buffer, or null for the first one.
  BYTE* nextRecord(const void* buffer, const void* last, DWORD* matches) const;
  BYTE* nextMatch(const void* buffer, const void* record, const void* last) const;
  // Type word first; empty if the item is absent.
  std::span<BYTE> item(const void* match, std::size_t item) const;

 private:
  friend DHANDLE makeLookupBuffer(std::span<const LookupRecord> records, std::size_t nameSpaces,
                                  std::size_t items);
  struct Shape {
    std::size_t size = 0;
    std::size_t records = 0;
    std::size_t items = 0;
    std::size_t values = 0;  // where they begin

    std::size_t matchesAt() const { return records * 2 * sizeof(DWORD); }
    std::size_t matchSize() const { return sizeof(DWORD) * (1 + 2 * items); }
  };
  struct Entry {
    std::weak_ptr<BYTE[]> bytes;
    Shape shape;
  };
  class Registry;

  LookupBuffer(std::shared_ptr<BYTE[]> bytes, const Shape& shape, const char* function)
      : bytes_(std::move(bytes)), shape_(shape), function_(function) {}
  void requireStart(const void* buffer) const;
  std::size_t offsetOf(const void* address) const;
  std::size_t recordAt(const void* address) const;
  DWORD dword(std::size_t offset) const;

  std::shared_ptr<BYTE[]> bytes_;
  Shape shape_;
  const char* function_;
};

}  // namespace simulator

#endif
