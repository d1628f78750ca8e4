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

  bool operator==(const CollectionEntry& other) const {
    return id == other.id && noteClass == other.noteClass;
  }
};

struct CollectionPage {
  enum class Content { Entries, None, NotLocked, Damaged };

  Content content = Content::None;
  std::vector<CollectionEntry> entries;
  bool more = false;
};

// Reads the next page. `error` is set if that failed, or if the page is damaged; the log line
// differs from place to place. The call does not say how long its buffer is: the buffer's own size
// tells.
inline CallResult readPage(HCOLLECTION collection, COLLECTIONPOSITION& position, WORD skipNavigator,
                           DWORD returnCount, CollectionPage& page, KoLNError& error) {
  constexpr std::size_t entrySize = sizeof(NOTEID) + sizeof(WORD);
  page = {};
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
  if (measured.failed() || size / entrySize < returned) {
    page.content = CollectionPage::Content::Damaged;
    if (measured.failed()) {
      measured.record(error);
    } else {
      error.SetCustomMessage("The buffer of a collection has %u bytes for %u entries.", size,
                             returned);
    }
    return read;
  }
  const auto* const bytes = static_cast<const BYTE*>(locked.address());
  page.entries.resize(returned);
  for (std::size_t i = 0; i < page.entries.size(); ++i) {
    std::memcpy(&page.entries[i].id, bytes + i * entrySize, sizeof(NOTEID));
    std::memcpy(&page.entries[i].noteClass, bytes + i * entrySize + sizeof(NOTEID), sizeof(WORD));
  }
  page.content = CollectionPage::Content::Entries;
  page.more = (signals & SIGNAL_MORE_TO_DO) != 0;
  return read;
}

}  // namespace koln

#endif
