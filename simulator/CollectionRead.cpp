// NIFReadEntries: goes through a collection and hands out entries, a page at a time.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>
#include <string>

#include "Collections.h"
#include "Environment.h"
#include "Export.h"
#include "Memory.h"

namespace simulator {

namespace {

// Statistics, scores and tables of values without names are refused: hosts would read them in a
// layout that is not known here.
constexpr DWORD KnownMask = READ_MASK_NOTEID | READ_MASK_NOTEUNID | READ_MASK_NOTECLASS |
                            READ_MASK_INDEXSIBLINGS | READ_MASK_INDEXCHILDREN |
                            READ_MASK_INDEXDESCENDANTS | READ_MASK_INDEXANYUNREAD |
                            READ_MASK_INDENTLEVELS | READ_MASK_INDEXPOSITION | READ_MASK_SUMMARY;

constexpr std::size_t LargestPage = 65'400;

std::size_t pageSize() {
  const std::string text = iniVariable("SimCollectionPage").value_or("");
  std::size_t size = LargestPage;
  std::from_chars(text.data(), text.data() + text.size(), size);
  return std::min(size, LargestPage);
}

class Page {
 public:
  Page(const CollectionIndex& index, DWORD mask)
      : index_(index), mask_(mask), capacity_(pageSize()) {}

  // False if there is no room for the entry. The first one is taken whatever its size, or a host
  // would never get it.
  bool add(std::size_t number) {
    const std::size_t before = bytes_.size();
    append(number);
    if (entries_ != 0 && bytes_.size() > capacity_) {
      bytes_.resize(before);
      return false;
    }
    ++entries_;
    return true;
  }

  DWORD entries() const { return entries_; }
  const std::vector<BYTE>& bytes() const { return bytes_; }

 private:
  template <typename Part>
  void part(DWORD bit, const Part& value) {
    if ((mask_ & bit) != 0) put(&value, sizeof value);
  }
  void put(const void* value, std::size_t size) {
    const auto* const bytes = static_cast<const BYTE*>(value);
    bytes_.insert(bytes_.end(), bytes, bytes + size);
  }

  void append(std::size_t number) {
    const CollectionIndex::Entry& entry = index_.entry(number);
    part(READ_MASK_NOTEID, entry.id);
    part(READ_MASK_NOTEUNID, entry.unid);
    part(READ_MASK_NOTECLASS, entry.noteClass);
    // An entry is among its own siblings.
    part(READ_MASK_INDEXSIBLINGS, static_cast<DWORD>(index_.entry(entry.parent).children.size()));
    part(READ_MASK_INDEXCHILDREN, static_cast<DWORD>(entry.children.size()));
    part(READ_MASK_INDEXDESCENDANTS, entry.descendants);
    part(READ_MASK_INDEXANYUNREAD, WORD{0});  // collections are opened without an unread list
    part(READ_MASK_INDENTLEVELS, WORD{0});    // only responses are indented
    if ((mask_ & READ_MASK_INDEXPOSITION) != 0) {
      COLLECTIONPOSITION position = {};
      index_.tell(number, position);
      put(&position, sizeof(DWORD) * (position.Level + 2U));
    }
    if ((mask_ & READ_MASK_SUMMARY) != 0) {
      const std::vector<BYTE>& summary = index_.summaryOf(entry);
      put(summary.data(), summary.size());
    }
  }

  const CollectionIndex& index_;
  const DWORD mask_;
  const std::size_t capacity_;
  std::vector<BYTE> bytes_;
  DWORD entries_ = 0;
};

struct Step {
  WORD navigator;
  DWORD count;
};

// How often it went on; `place` is where it got to.
DWORD skip(const CollectionIndex& index, const Step& step, CollectionIndex::Place& place) {
  DWORD skipped = 0;
  while (skipped < step.count) {
    const auto next = index.move(step.navigator, place);
    if (!next) break;
    place = {*next, false};
    ++skipped;
  }
  return skipped;
}

// Begins with the entry at the place and leaves the place at the last one read. False if the page
// is full before all is read.
bool read(const CollectionIndex& index, const Step& step, CollectionIndex::Place& place,
          Page& page) {
  for (std::size_t number = place.number; page.entries() < step.count;) {
    if (!page.add(number)) return false;
    place = {number, false};
    const auto next = index.move(step.navigator, place);
    if (!next) break;
    number = *next;
  }
  return true;
}

}  // namespace

}  // namespace simulator

using namespace simulator;

// Behind the end of a collection, or where a way does not go on, there are no entries: no error.
SIM_EXPORT STATUS NIFReadEntries(HCOLLECTION hCollection, COLLECTIONPOSITION* IndexPos,
                                 WORD SkipNavigator, DWORD SkipCount, WORD ReturnNavigator,
                                 DWORD ReturnCount, DWORD ReturnMask, DHANDLE* rethBuffer,
                                 WORD* retBufferLength, DWORD* retNumEntriesSkipped,
                                 DWORD* retNumEntriesReturned, WORD* retSignalFlags) {
  if (rethBuffer) *rethBuffer = NULLHANDLE;
  if (retBufferLength) *retBufferLength = 0;
  if (retNumEntriesSkipped) *retNumEntriesSkipped = 0;
  if (retNumEntriesReturned) *retNumEntriesReturned = 0;
  if (retSignalFlags) *retSignalFlags = 0;
  return statusOf([&] {
    const auto collection = requireCollection(hCollection, "NIFReadEntries");
    const CollectionIndex& index = *collection->index;
    if (!IndexPos || (ReturnCount != 0 && !rethBuffer))
      throw StatusError(ERR_BAD_PARAM, "no position or no place for the entries");
    if ((ReturnMask & ~KnownMask) != 0) throw StatusError(ERR_UNSUPPORTED_FLAGS, "read mask");
    CollectionIndex::Place place = index.find(*IndexPos);
    const auto signal = [&](WORD flag) {
      if (retSignalFlags) *retSignalFlags = static_cast<WORD>(*retSignalFlags | flag);
    };
    if (!CollectionIndex::knows(SkipNavigator) || !CollectionIndex::knows(ReturnNavigator))
      return signal(SIGNAL_NOT_SUPPORTED);

    const DWORD toSkip = SkipNavigator == NAVIGATE_CURRENT ? 0 : SkipCount;
    const DWORD skipped = skip(index, {SkipNavigator, toSkip}, place);
    Page page(index, ReturnMask);
    if (skipped == toSkip && !place.behind &&
        !read(index, {ReturnNavigator, ReturnCount}, place, page))
      signal(SIGNAL_MORE_TO_DO);
    if (!page.bytes().empty()) {
      *rethBuffer = allocateBytes(page.bytes().data(), page.bytes().size());
      if (*rethBuffer == NULLHANDLE) throw std::bad_alloc();
    }
    if (!place.behind) index.tell(place.number, *IndexPos);
    if (retBufferLength) *retBufferLength = static_cast<WORD>(page.bytes().size());
    if (retNumEntriesSkipped) *retNumEntriesSkipped = skipped;
    if (retNumEntriesReturned) *retNumEntriesReturned = page.entries();
  });
}
