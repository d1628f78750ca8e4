// The directory of the server: the address books that NAMES of notes.ini lists, and the persons in
// them. A directory can have a million persons, and hosts ask for all of them again and again. So
// what was read stays in memory, item by item in packed form, until the file changes.
#ifndef KOLN_SIMULATOR_ADDRESS_BOOKS_H
#define KOLN_SIMULATOR_ADDRESS_BOOKS_H

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ItemValue.h"
#include "Store.h"

namespace simulator {

// What the spellings of one name have in common: canonical or abbreviated, whatever the case of the
// ASCII letters.
std::string nameKey(std::string_view lmbcsName);

// One item of all persons of a book. Persons are numbered from 0, in the order of their notes.
class PersonItem {
 public:
  // A value that is too long for a look-up, whose sizes are words, counts as absent; of several
  // items of that name the first counts. In the order of the persons.
  void add(std::uint32_t person, WORD type, std::span<const BYTE> bytes);

  std::optional<ItemValue> of(std::uint32_t person) const;
  // The persons with a text of that key, in their order.
  std::vector<std::uint32_t> personsWith(const std::string& key) const;

 private:
  struct Value {
    std::size_t offset = 0;
    WORD type = TYPE_INVALID_OR_UNKNOWN;
    USHORT size = 0;
  };
  using Key = std::pair<std::size_t, std::uint32_t>;  // hash of a text's key, person
  void index() const;

  std::vector<Value> values_;
  std::vector<BYTE> bytes_;
  // Made when the first name is looked up.
  mutable std::once_flag indexed_;
  mutable std::vector<Key> keys_;
};

// The persons as they were at one moment.
struct Persons {
  std::uint32_t count = 0;
  std::vector<std::shared_ptr<const PersonItem>> items;  // those asked for, in that order
};

// Thread-safe.
class AddressBook {
 public:
  explicit AddressBook(std::string path) : path_(std::move(path)) {}

  const std::string& path() const { return path_; }
  // Item names are LMBCS, their case does not matter. StatusError ERR_NO_NAMES_FILE if the file
  // cannot be opened as a database.
  Persons read(std::span<const std::string> itemNames);

 private:
  void connect();
  void forget();
  void readItems(const std::vector<std::string>& names);

  const std::string path_;
  std::mutex mutex_;
  // Behind the mutex. The store is the book's own and never written to, so that every change of the
  // file is one by others.
  std::optional<Store> store_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::int64_t version_ = 0;
  std::optional<std::uint32_t> count_;                              // nothing: not read yet
  std::map<std::string, std::shared_ptr<const PersonItem>> items_;  // by name in small letters
};

// The books that exist, in the order of NAMES; without that variable, names.nsf. StatusError
// ERR_NO_NAMES_FILE if there is none, or if one of them is offline.
std::vector<std::shared_ptr<AddressBook>> addressBooks();

}  // namespace simulator

#endif
