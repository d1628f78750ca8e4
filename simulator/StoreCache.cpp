// See StoreCache.h.
#include "StoreCache.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <list>
#include <optional>
#include <utility>

namespace simulator {

namespace {
constexpr std::size_t Capacity = 32;
}

struct CachedStore {
  explicit CachedStore(std::string storePath) : path(std::move(storePath)) {}

  const std::string path;
  std::mutex mutex;
  // Behind the mutex:
  std::optional<Store> store;
  struct stat file = {};  // as the last lease left it
  DBID id = {};
};

namespace {

bool sameFile(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

bool sameState(const struct stat& left, const struct stat& right) {
  return left.st_size == right.st_size && left.st_mtim.tv_sec == right.st_mtim.tv_sec &&
         left.st_mtim.tv_nsec == right.st_mtim.tv_nsec;
}

}  // namespace

StoreLease::StoreLease(std::shared_ptr<CachedStore> cached)
    : cached_(std::move(cached)), lock_(cached_->mutex) {
  struct stat file = {};
  if (::stat(cached_->path.c_str(), &file) != 0) {
    cached_->store.reset();
    throw StatusError(errno == ENOENT || errno == ENOTDIR ? ERR_NOEXIST : ERR_OPEN_FILE,
                      cached_->path + ": " + std::strerror(errno));
  }
  if (cached_->store && sameFile(cached_->file, file) && sameState(cached_->file, file)) return;
  cached_->store.reset();
  cached_->store.emplace(Store::open(cached_->path));
  try {
    cached_->id = cached_->store->properties().id;
  } catch (...) {
    cached_->store.reset();
    throw;
  }
  cached_->file = file;
}

// What this lease has written is no change that the next one must notice.
StoreLease::~StoreLease() {
  struct stat file = {};
  if (cached_ && ::stat(cached_->path.c_str(), &file) == 0 && sameFile(cached_->file, file))
    cached_->file = file;
}

Store* StoreLease::operator->() const {
  return &*cached_->store;
}

const DBID& StoreLease::id() const {
  return cached_->id;
}

StoreSeal::StoreSeal(std::shared_ptr<CachedStore> cached)
    : cached_(std::move(cached)), lock_(cached_->mutex) {
  cached_->store.reset();
}

namespace {

std::shared_ptr<CachedStore> entryOf(const std::string& path) {
  static std::mutex mutex;
  static std::list<std::shared_ptr<CachedStore>> recent;  // the one used last comes first
  std::shared_ptr<CachedStore> cached;
  std::shared_ptr<CachedStore> evicted;  // closed when no lock is held
  {
    const std::lock_guard<std::mutex> guard(mutex);
    for (auto entry = recent.begin(); entry != recent.end(); ++entry) {
      if ((*entry)->path != path) continue;
      recent.splice(recent.begin(), recent, entry);
      cached = recent.front();
      break;
    }
    if (!cached) {
      cached = recent.emplace_front(std::make_shared<CachedStore>(path));
      if (recent.size() > Capacity) {
        evicted = std::move(recent.back());
        recent.pop_back();
      }
    }
  }
  return cached;
}

}  // namespace

StoreLease leaseStore(const std::string& path) {
  return StoreLease(entryOf(path));
}

StoreSeal sealStore(const std::string& path) {
  return StoreSeal(entryOf(path));
}

}  // namespace simulator
