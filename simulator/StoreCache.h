// Hosts keep thousands of databases open, and a SQLite connection costs a file descriptor and
// memory. So an open database is only a path and an identity, and connections are kept here: a few,
// the ones used last.
#ifndef KOLN_SIMULATOR_STORE_CACHE_H
#define KOLN_SIMULATOR_STORE_CACHE_H

#include <memory>
#include <mutex>
#include <string>

#include "NotesApi.h"
#include "Store.h"

namespace simulator {

struct CachedStore;

// A store for the use of one thread. Others that want the same database wait meanwhile, so do not
// call a host's routine while holding one.
class StoreLease {
 public:
  explicit StoreLease(std::shared_ptr<CachedStore> cached);
  StoreLease(StoreLease&&) noexcept = default;
  ~StoreLease();
  Store* operator->() const;
  // Identity of the database that the path leads to at this moment.
  const DBID& id() const;

 private:
  std::shared_ptr<CachedStore> cached_;
  std::unique_lock<std::mutex> lock_;
};

// Connects if there is no connection yet, or if another file has taken the path meanwhile or its
// content was replaced, as a restore does it.
StoreLease leaseStore(const std::string& path);

// Keeps the threads of this process away from a file that is going to be replaced or removed.
class StoreSeal {
 public:
  explicit StoreSeal(std::shared_ptr<CachedStore> cached);

 private:
  std::shared_ptr<CachedStore> cached_;
  std::unique_lock<std::mutex> lock_;
};

// Waits for the lease of another thread, then closes the connection.
StoreSeal sealStore(const std::string& path);

}  // namespace simulator

#endif
