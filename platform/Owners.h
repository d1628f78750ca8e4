// Owners of what Notes hands out. Each releases on every way out of a scope, and swallows what a
// release call throws: a destructor that throws would end the host's process. What must stay open
// is taken out of its owner with `release()` in one visible line.
#ifndef KOLN_PLATFORM_OWNERS_H
#define KOLN_PLATFORM_OWNERS_H

#include <utility>

#include "platform/NotesCall.h"

namespace koln {

// The address of a memory object while it is locked; null when it cannot be locked, as handle 0
// never is (a real runtime would stop the process).
class LockedObject {
 public:
  explicit LockedObject(DHANDLE object) noexcept
      : object_(object),
        address_(object != NULLHANDLE
                     ? KOLN_VALUE(static_cast<void*>(nullptr), OSLockObject, object)
                     : nullptr) {}
  ~LockedObject() {
    BOOL ignored = FALSE;
    static_cast<void>(unlock(ignored).failed());
  }
  LockedObject(const LockedObject&) = delete;
  LockedObject& operator=(const LockedObject&) = delete;

  void* address() const noexcept { return address_; }

  // Unlocks now, if it is locked. `answer` receives what the call answers.
  CallResult unlock(BOOL& answer) noexcept {
    if (std::exchange(address_, nullptr) == nullptr) {
      return {"OSUnlockObject", NOERROR};
    }
    return KOLN_INTO(answer, OSUnlockObject, object_);
  }

 private:
  DHANDLE object_;
  void* address_;
};

// A memory object, freed unless its handle is 0. Declare it before the `LockedObject` of its
// handle: a locked object must not be freed.
class OwnedMemory {
 public:
  explicit OwnedMemory(DHANDLE object) noexcept : object_(object) {}
  ~OwnedMemory() {
    if (object_ != NULLHANDLE) {
      static_cast<void>(KOLN_STATUS(OSMemFree, object_).failed());
    }
  }
  OwnedMemory(const OwnedMemory&) = delete;
  OwnedMemory& operator=(const OwnedMemory&) = delete;

  DHANDLE handle() const noexcept { return object_; }

 private:
  DHANDLE object_;
};

// An ID table, destroyed unless its handle is 0.
class OwnedTable {
 public:
  explicit OwnedTable(DHANDLE table) noexcept : table_(table) {}
  ~OwnedTable() {
    if (table_ != NULLHANDLE) {
      static_cast<void>(KOLN_STATUS(IDDestroyTable, table_).failed());
    }
  }
  OwnedTable(const OwnedTable&) = delete;
  OwnedTable& operator=(const OwnedTable&) = delete;

  DHANDLE handle() const noexcept { return table_; }

 private:
  DHANDLE table_;
};

// An open collection. What a failed open call left in its output is none: make the owner
// afterwards.
class OpenCollection {
 public:
  explicit OpenCollection(HCOLLECTION collection) noexcept : collection_(collection) {}
  ~OpenCollection() { static_cast<void>(close().failed()); }
  OpenCollection(const OpenCollection&) = delete;
  OpenCollection& operator=(const OpenCollection&) = delete;

  HCOLLECTION handle() const noexcept { return collection_; }

  // Closes now, where the outcome matters; once, whatever it is.
  CallResult close() noexcept {
    const HCOLLECTION collection = std::exchange(collection_, HCOLLECTION{0});
    return collection == 0 ? CallResult("NIFCloseCollection", NOERROR)
                           : KOLN_STATUS(NIFCloseCollection, collection);
  }

 private:
  HCOLLECTION collection_;
};

// An open note; closed unless `handle` is 0.
class OpenNote {
 public:
  // Takes a note whose open call has succeeded; what a failed one left in its output is no handle.
  explicit OpenNote(NOTEHANDLE handle) noexcept : handle_(handle) {}
  ~OpenNote() { close(); }
  OpenNote(const OpenNote&) = delete;
  OpenNote& operator=(const OpenNote&) = delete;

  NOTEHANDLE handle() const noexcept { return handle_; }

  // Hands the note over; whoever takes it closes it.
  NOTEHANDLE release() noexcept { return std::exchange(handle_, NULLHANDLE); }

  void close() noexcept {
    if (handle_ != NULLHANDLE) {
      static_cast<void>(KOLN_STATUS(NSFNoteClose, release()).failed());
    }
  }

 private:
  NOTEHANDLE handle_;
};

}  // namespace koln

#endif
