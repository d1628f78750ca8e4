// Reads the entries of a view or folder, which come in pages of packed bytes.
#ifndef KOLN_EXAMPLES_PAGES_H
#define KOLN_EXAMPLES_PAGES_H

#include <cstring>

#include "partition.h"

// One page: memory of Notes, to be unlocked and freed. Nothing is read behind its end.
class Page {
 public:
  explicit Page(KoLNDatabase& database) : database_(database) {}
  ~Page() {
    if (bytes_ != nullptr) database_.UnlockObject(handle);
    if (handle != NULLHANDLE) database_.MemFreeObject(handle);
  }
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  void lock() {
    check(database_.GetObjectSize(handle, &left_), "the size of a page");
    bytes_ = place_ = static_cast<unsigned char*>(database_.LockObject(handle));
    if (bytes_ == nullptr) throw Failure("a page cannot be read");
  }

  unsigned char* take(std::size_t count) {
    if (count > left_) throw Failure("a page of the view is damaged");
    unsigned char* const bytes = place_;
    place_ += count;
    left_ -= static_cast<DWORD>(count);
    return bytes;
  }

  // Copies, as the bytes lie at any address.
  void read(void* out, std::size_t count) { std::memcpy(out, take(count), count); }

  DHANDLE handle = NULLHANDLE;

 private:
  KoLNDatabase& database_;
  unsigned char* bytes_ = nullptr;
  unsigned char* place_ = nullptr;
  DWORD left_ = 0;
};

// Calls `readEntry(page)` for every entry, from the first to the last.
// @param mask `READ_MASK_` bits: what an entry holds, in the order of the bits.
template <typename ReadEntry>
void readEntries(KoLNDatabase& database, KoLNView& view, DWORD mask, ReadEntry readEntry) {
  struct Collection {
    KoLNView& view;
    HCOLLECTION handle;
    ~Collection() { view.CloseCollection(handle); }
  };
  HCOLLECTION handle = 0;
  check(view.OpenCollection(0, NULLHANDLE, &handle, nullptr, nullptr, nullptr, nullptr),
        "the view cannot be opened");
  Collection collection = {view, handle};
  COLLECTIONPOSITION position = {};  // In front of the first entry.
  WORD signals = SIGNAL_MORE_TO_DO;
  while ((signals & SIGNAL_MORE_TO_DO) != 0) {
    Page page(database);
    DWORD count = 0;
    check(view.ReadColection(&collection.handle, &position, NAVIGATE_NEXT, 1, NAVIGATE_NEXT,
                             MAXDWORD, mask, &page.handle, nullptr, nullptr, &count, &signals),
          "the view cannot be read");
    if ((signals & SIGNAL_ANY_CONFLICT) != 0) throw Failure("the view has changed; try again");
    if (count == 0 && (signals & SIGNAL_MORE_TO_DO) != 0) throw Failure("the view does not end");
    if (count != 0) page.lock();
    for (; count != 0; --count) readEntry(page);
  }
}

#endif
