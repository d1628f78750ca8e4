// One page of a collection read with note IDs and classes alone: six bytes an entry.
#ifndef KOLN_DATABASE_COLLECTION_PAGE_H
#define KOLN_DATABASE_COLLECTION_PAGE_H

#include <cstring>
#include <vector>

#include "platform/NotesCall.h"
#include "platform/Owners.h"

namespace koln {

struct CollectionEntry {
  NOTEID id;
  WORD noteClass;
};

// The entries of a page as they came, behind each other without padding.
class CollectionEntries {
 public:
  static constexpr std::size_t entrySize = sizeof(NOTEID) + sizeof(WORD);

  void assign(const BYTE* entries, std::size_t count) {
    bytes_.assign(entries, entries + count * entrySize);
  }
  void clear() { bytes_.clear(); }  // Keeps the memory: the next page is as large.
  void swap(CollectionEntries& other) noexcept { bytes_.swap(other.bytes_); }

  // Reads one entry after the other.
  class Iterator {
   public:
    explicit Iterator(const BYTE* place) : place_(place) {}
    CollectionEntry operator*() const {
      CollectionEntry entry;
      std::memcpy(&entry.id, place_, sizeof entry.id);
      std::memcpy(&entry.noteClass, place_ + sizeof entry.id, sizeof entry.noteClass);
      return entry;
    }
    Iterator& operator++() {
      place_ += entrySize;
      return *this;
    }
    bool operator==(const Iterator& other) const = default;

   private:
    const BYTE* place_;
  };
  Iterator begin() const { return Iterator(bytes_.data()); }
  Iterator end() const { return Iterator(bytes_.data() + bytes_.size()); }

  bool operator==(const CollectionEntries& other) const = default;

 private:
  std::vector<BYTE> bytes_;
};

struct CollectionPage {
  enum class Content { Entries, None, NotLocked, Damaged };

  Content content = Content::None;
  CollectionEntries entries;
  bool more = false;
};

// Reads the next page. `error` is set if that failed, or if the page is damaged; the log line
// differs from place to place. The call does not say how long its buffer is: the buffer's own size
// tells.
inline CallResult readPage(HCOLLECTION collection, COLLECTIONPOSITION& position, WORD skipNavigator,
                           DWORD returnCount, CollectionPage& page, KoLNError& error) {
  page.content = CollectionPage::Content::None;
  page.entries.clear();
  page.more = false;
  DHANDLE buffer = NULLHANDLE;
  DWORD returned = 0;
  WORD signals = 0;
  const CallResult read = KOLN_STATUS(
      NIFReadEntries, collection, &position, skipNavigator, DWORD{1}, NAVIGATE_NEXT, returnCount,
      READ_MASK_NOTEID | READ_MASK_NOTECLASS, &buffer, nullptr, nullptr, &returned, &signals);
  if (read.failed()) {
    read.record(error);
    return read;
  }
  const OwnedMemory owned(buffer);
  if (buffer == NULLHANDLE || returned == 0) {
    return read;
  }
  const LockedObject locked(buffer);
  if (locked.address() == nullptr) {
    page.content = CollectionPage::Content::NotLocked;
    return read;
  }
  DWORD size = 0;
  const CallResult measured = KOLN_STATUS(OSMemGetSize, buffer, &size);
  if (measured.failed() || size / CollectionEntries::entrySize < returned) {
    page.content = CollectionPage::Content::Damaged;
    if (measured.failed()) {
      measured.record(error);
    } else {
      error.SetCustomMessage("The buffer of a collection has %u bytes for %u entries.", size,
                             returned);
    }
    return read;
  }
  page.entries.assign(static_cast<const BYTE*>(locked.address()), returned);
  page.content = CollectionPage::Content::Entries;
  page.more = (signals & SIGNAL_MORE_TO_DO) != 0;
  return read;
}

}  // namespace koln

#endif
