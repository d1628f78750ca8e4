// See LookupBuffer.h.
#include "LookupBuffer.h"

#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "Memory.h"
#include "Panic.h"

namespace simulator {

namespace {

constexpr DWORD MatchMark = 0x4843544D;
constexpr DWORD EndMark = 0x444E454D;
constexpr std::size_t RecordSize = 2 * sizeof(DWORD);

// Writes a block from its start to its end.
class Cursor {
 public:
  explicit Cursor(BYTE* position) : position_(position) {}

  void dword(std::size_t value) {
    const auto word = static_cast<DWORD>(value);
    bytes(&word, sizeof word);
  }
  void bytes(const void* data, std::size_t size) {
    if (size == 0) return;  // `data` may be null then
    std::memcpy(position_, data, size);
    position_ += size;
  }

 private:
  BYTE* position_;
};

std::optional<ItemValue> valueOf(const LookupMatch& match, std::size_t item) {
  return match.persons->items[item]->of(match.person);
}

}  // namespace

// The buffers that hosts have not freed yet, by address.
class LookupBuffer::Registry {
 public:
  static Registry& instance() {
    static Registry registry;
    return registry;
  }

  void add(const std::shared_ptr<BYTE[]>& bytes, const Shape& shape) {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::erase_if(buffers_, [](const auto& entry) { return entry.second.bytes.expired(); });
    buffers_[bytes.get()] = {bytes, shape};
  }

  std::pair<std::shared_ptr<BYTE[]>, Shape> find(const void* address) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    auto after = buffers_.upper_bound(static_cast<const BYTE*>(address));
    if (after == buffers_.begin()) return {};
    const auto& [start, entry] = *--after;
    const auto distance = static_cast<const BYTE*>(address) - start;
    if (static_cast<std::size_t>(distance) >= entry.shape.size) return {};
    return {entry.bytes.lock(), entry.shape};
  }

 private:
  mutable std::mutex mutex_;
  std::map<const BYTE*, Entry, std::less<>> buffers_;
};

DHANDLE makeLookupBuffer(std::span<const LookupRecord> records, std::size_t nameSpaces,
                         std::size_t items) {
  LookupBuffer::Shape shape;
  shape.records = records.size() * nameSpaces;
  shape.items = items;
  std::size_t matchBytes = 0;
  std::size_t valueBytes = 0;
  for (const LookupRecord& record : records) {
    matchBytes += (record.size() + 1) * shape.matchSize();
    for (const LookupMatch& match : record) {
      for (std::size_t item = 0; item < items; ++item) {
        if (const auto value = valueOf(match, item))
          valueBytes += sizeof(WORD) + value->bytes.size();
      }
    }
  }
  shape.values = shape.matchesAt() + matchBytes * nameSpaces;
  shape.size = shape.values + valueBytes * nameSpaces;
  if (shape.size > std::numeric_limits<DWORD>::max()) throw std::bad_alloc();

  const std::shared_ptr<BYTE[]> block(new BYTE[shape.size]());
  Cursor heads(block.get());
  Cursor matches(block.get() + shape.matchesAt());
  Cursor values(block.get() + shape.values);
  const std::vector<BYTE> end(shape.matchSize() - sizeof(DWORD));
  std::size_t matchAt = shape.matchesAt();
  std::size_t valueAt = shape.values;
  for (std::size_t i = 0; i < shape.records; ++i) {
    const LookupRecord& record = records[i % records.size()];
    heads.dword(record.size());
    heads.dword(matchAt);
    for (const LookupMatch& match : record) {
      matches.dword(MatchMark);
      for (std::size_t item = 0; item < items; ++item) {
        const std::optional<ItemValue> value = valueOf(match, item);
        const std::size_t size = value ? sizeof(WORD) + value->bytes.size() : 0;
        matches.dword(value ? valueAt : 0);
        matches.dword(size);
        if (!value) continue;
        values.bytes(&value->type, sizeof(WORD));
        values.bytes(value->bytes.data(), value->bytes.size());
        valueAt += size;
      }
    }
    matches.dword(EndMark);
    matches.bytes(end.data(), end.size());
    matchAt += (record.size() + 1) * shape.matchSize();
  }
  const DHANDLE handle = adoptBytes(block, shape.size);
  if (handle == NULLHANDLE) throw std::bad_alloc();
  LookupBuffer::Registry::instance().add(block, shape);
  return handle;
}

LookupBuffer LookupBuffer::holding(const void* address, const char* function) {
  auto [bytes, shape] = Registry::instance().find(address);
  if (!bytes) panic(function, "the address is in no look-up buffer");
  return {std::move(bytes), shape, function};
}

void LookupBuffer::requireStart(const void* buffer) const {
  if (buffer != bytes_.get()) panic(function_, "not the start of a look-up buffer");
}

std::size_t LookupBuffer::offsetOf(const void* address) const {
  const auto distance = static_cast<const BYTE*>(address) - bytes_.get();
  if (distance < 0 || static_cast<std::size_t>(distance) >= shape_.size)
    panic(function_, "the address is in another look-up buffer or in none");
  return static_cast<std::size_t>(distance);
}

DWORD LookupBuffer::dword(std::size_t offset) const {
  DWORD value = 0;
  std::memcpy(&value, bytes_.get() + offset, sizeof value);
  return value;
}

std::size_t LookupBuffer::recordAt(const void* address) const {
  const std::size_t offset = offsetOf(address);
  if (offset >= shape_.matchesAt() || offset % RecordSize != 0)
    panic(function_, "the address is not that of a record");
  return offset;
}

BYTE* LookupBuffer::nextRecord(const void* buffer, const void* last, DWORD* matches) const {
  requireStart(buffer);
  const std::size_t next = last == nullptr ? 0 : recordAt(last) + RecordSize;
  const bool atEnd = next >= shape_.matchesAt();
  if (matches != nullptr) *matches = atEnd ? 0 : dword(next);
  return atEnd ? nullptr : bytes_.get() + next;
}

BYTE* LookupBuffer::nextMatch(const void* buffer, const void* record, const void* last) const {
  requireStart(buffer);
  const std::size_t head = recordAt(record);
  const std::size_t first = dword(head + sizeof(DWORD));
  const std::size_t end = first + dword(head) * shape_.matchSize();
  if (first < shape_.matchesAt() || end + shape_.matchSize() > shape_.values)
    panic(function_, "the look-up buffer was overwritten");
  if (last == nullptr) return bytes_.get() + first;
  const std::size_t offset = offsetOf(last);
  if (offset < first || offset >= end || (offset - first) % shape_.matchSize() != 0)
    panic(function_, "the address is not that of a match of the record");
  return bytes_.get() + offset + shape_.matchSize();
}

std::span<BYTE> LookupBuffer::item(const void* match, std::size_t item) const {
  const std::size_t offset = offsetOf(match);
  const bool isMatch = offset >= shape_.matchesAt() && offset < shape_.values &&
                       (offset - shape_.matchesAt()) % shape_.matchSize() == 0 &&
                       dword(offset) == MatchMark;
  if (!isMatch) panic(function_, "the address is not that of a match");
  if (item >= shape_.items) return {};
  const std::size_t entry = offset + sizeof(DWORD) * (1 + 2 * item);
  const std::size_t value = dword(entry);
  const std::size_t size = dword(entry + sizeof(DWORD));
  if (value == 0) return {};
  if (value < shape_.values || value > shape_.size || size < sizeof(WORD) ||
      size > shape_.size - value)
    panic(function_, "the look-up buffer was overwritten");
  return {bytes_.get() + value, size};
}

}  // namespace simulator
