#include "Collection.h"

#include <fmt/format.h>

#include <cstring>
#include <utility>

#include "Failure.h"
#include "Interrupt.h"
#include "NotesFailure.h"

namespace host {
namespace {

constexpr DWORD summaryMask = READ_MASK_NOTEID | READ_MASK_INDEXSIBLINGS | READ_MASK_INDEXCHILDREN |
                              READ_MASK_INDEXDESCENDANTS | READ_MASK_INDEXPOSITION |
                              READ_MASK_SUMMARY;

Failure damaged(const std::string& name) {
  return {ExitCode::Failed,
          fmt::format("a page of '{}' is damaged; have the server rebuild the view", name)};
}

// The memory of one page.
class Page {
 public:
  explicit Page(KoLNDatabase& database) : database_(database) {}
  ~Page() {
    if (bytes_ != nullptr) {
      database_.UnlockObject(handle);
    }
    if (handle != NULLHANDLE) {
      database_.MemFreeObject(handle);
    }
  }
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  void lock(const std::string& name) {
    DWORD size = 0;
    bytes_ = database_.LockObject(handle);
    const KoLNError error = database_.GetObjectSize(handle, &size);
    if (bytes_ == nullptr || isError(error)) {
      throw damaged(name);
    }
    place_ = static_cast<unsigned char*>(bytes_);
    left_ = size;
  }

  // The next bytes, wherever they lie, or none where the page ends.
  unsigned char* take(std::size_t count) {
    if (place_ == nullptr || count > left_) {
      return nullptr;
    }
    left_ -= count;
    return std::exchange(place_, place_ + count);
  }

  template <typename Part>
  bool read(Part& part, std::size_t count = sizeof(Part)) {
    const unsigned char* const bytes = take(count);
    if (bytes != nullptr) {
      std::memcpy(&part, bytes, count);
    }
    return bytes != nullptr;
  }

  DHANDLE handle = NULLHANDLE;

 private:
  KoLNDatabase& database_;
  void* bytes_ = nullptr;
  unsigned char* place_ = nullptr;
  std::size_t left_ = 0;
};

// A position is handed over with the levels that are in use alone.
bool readPosition(Page& page, COLLECTIONPOSITION& position) {
  constexpr std::size_t head = offsetof(COLLECTIONPOSITION, Tumbler);
  if (!page.read(position, head) || position.Level >= MAXTUMBLERLEVELS) {
    return false;
  }
  const std::size_t levels = std::size_t{position.Level} + 1;
  const unsigned char* const numbers = page.take(levels * sizeof(DWORD));
  if (numbers != nullptr) {
    std::memcpy(position.Tumbler, numbers, levels * sizeof(DWORD));
  }
  return numbers != nullptr;
}

bool readSummary(Page& page, unsigned char*& summary) {
  ITEM_TABLE table = {};
  summary = page.take(sizeof table);
  if (summary == nullptr) {
    return false;
  }
  std::memcpy(&table, summary, sizeof table);
  return table.Length >= sizeof table && page.take(table.Length - sizeof table) != nullptr;
}

bool readEntry(Page& page, Collection::Content content, CollectionEntry& entry) {
  entry = {};
  if (content == Collection::Content::Ids) {
    return page.read(entry.id);
  }
  return page.read(entry.id) && page.read(entry.special.IndexSiblings) &&
         page.read(entry.special.IndexChildren) && page.read(entry.special.IndexDescendants) &&
         readPosition(page, entry.position) && readSummary(page, entry.summary);
}

}  // namespace

Collection::Collection(KoLNDatabase& database, KoLNView& view, std::string name)
    : database_(database), view_(view), name_(std::move(name)) {
  const KoLNError error =
      view_.OpenCollection(0, NULLHANDLE, &handle_, nullptr, nullptr, nullptr, nullptr);
  if (isError(error)) {
    throw failureOf(fmt::format("'{}' cannot be opened", name_), error);
  }
}

Collection::~Collection() {
  static_cast<void>(view_.CloseCollection(handle_));  // The library has logged a failure.
}

bool Collection::visit(Content content,
                       const std::function<void(const CollectionEntry&)>& visitor) {
  const DWORD mask = content == Content::Ids ? READ_MASK_NOTEID : summaryMask;
  COLLECTIONPOSITION position = {};  // In front of the first entry.
  WORD signals = 0;
  bool same = true;
  do {
    if (interruptRequested()) {
      throw Failure(ExitCode::Interrupted, fmt::format("interrupted while '{}' was read", name_));
    }
    const COLLECTIONPOSITION before = position;
    Page page(database_);
    DWORD count = 0;
    signals = 0;
    const KoLNError error =
        view_.ReadColection(&handle_, &position, NAVIGATE_NEXT, 1, NAVIGATE_NEXT, MAXDWORD, mask,
                            &page.handle, nullptr, nullptr, &count, &signals);
    if (isError(error)) {
      throw failureOf(fmt::format("'{}' cannot be read", name_), error);
    }
    if (count != 0) {
      page.lock(name_);
    }
    CollectionEntry entry;
    for (DWORD i = 0; i < count; ++i) {
      if (!readEntry(page, content, entry)) {
        throw damaged(name_);
      }
      visitor(entry);
    }
    same = same && (signals & SIGNAL_ANY_CONFLICT) == 0;
    const bool stuck = count == 0 || std::memcmp(&before, &position, sizeof before) == 0;
    if ((signals & SIGNAL_NOT_SUPPORTED) != 0 || ((signals & SIGNAL_MORE_TO_DO) != 0 && stuck)) {
      throw Failure(
          ExitCode::Failed,
          fmt::format("'{}' cannot be read to its end; have the server rebuild the view", name_));
    }
  } while ((signals & SIGNAL_MORE_TO_DO) != 0);
  return same;
}

}  // namespace host
