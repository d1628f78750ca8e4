// See AddressBooks.h.
#include "AddressBooks.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <utility>

#include "Databases.h"
#include "Environment.h"
#include "ServerName.h"
#include "Text.h"

namespace simulator {

namespace {

// The item that tells persons from groups and servers.
constexpr std::string_view KindItem = "type";
constexpr std::string_view Person = "person";

std::string smallLetters(std::string_view text) {
  std::string small(text);
  for (char& c : small) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return small;
}

std::vector<std::string> listedBooks() {
  const std::string list = iniVariable("NAMES").value_or("names.nsf");
  constexpr std::string_view blanks = " \t";
  std::vector<std::string> names;
  for (std::size_t begin = 0; begin <= list.size();) {
    const std::size_t end = std::min(list.find(',', begin), list.size());
    const std::string_view name = std::string_view(list).substr(begin, end - begin);
    begin = end + 1;
    const std::size_t first = name.find_first_not_of(blanks);
    if (first != std::string_view::npos)
      names.emplace_back(name.substr(first, name.find_last_not_of(blanks) - first + 1));
  }
  return names;
}

// The items of one note after the other, until it is known whether the note is a person.
class PersonReader {
 public:
  explicit PersonReader(const std::vector<std::string>& names) {
    for (const std::string& name : names) items_[name] = std::make_shared<PersonItem>();
  }

  void take(NOTEID note, const NoteItem& item) {
    if (note != note_) finishNote();
    note_ = note;
    std::string name = smallLetters(item.name);
    if (name == KindItem) {
      const std::vector<std::string_view> kinds = texts({item.type, item.value});
      isPerson_ = isPerson_ || (!kinds.empty() && smallLetters(kinds.front()) == Person);
    }
    const auto wanted = items_.find(name);
    if (wanted != items_.end()) pending_.push_back({wanted->second.get(), item});
  }

  void finishNote() {
    if (isPerson_) {
      for (const auto& [target, item] : pending_) target->add(count_, item.type, item.value);
      ++count_;
    }
    pending_.clear();
    isPerson_ = false;
  }

  std::uint32_t count() const { return count_; }
  const std::map<std::string, std::shared_ptr<PersonItem>>& items() const { return items_; }

 private:
  struct Pending {
    PersonItem* target;
    NoteItem item;
  };

  std::map<std::string, std::shared_ptr<PersonItem>> items_;
  NOTEID note_ = 0;
  bool isPerson_ = false;
  std::vector<Pending> pending_;
  std::uint32_t count_ = 0;
};

}  // namespace

std::string nameKey(std::string_view lmbcsName) {
  return smallLetters(abbreviatedName(lmbcsToUtf8(lmbcsName)));
}

// ---- PersonItem ---------------------------------------------------------------------------------

void PersonItem::add(std::uint32_t person, WORD type, std::span<const BYTE> bytes) {
  if (person < values_.size()) return;
  if (bytes.size() > std::numeric_limits<USHORT>::max() - sizeof(WORD)) return;
  values_.resize(person + std::size_t{1});
  values_.back() = {bytes_.size(), type, static_cast<USHORT>(bytes.size())};
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

std::optional<ItemValue> PersonItem::of(std::uint32_t person) const {
  if (person >= values_.size()) return std::nullopt;
  const Value& value = values_[person];
  if (value.type == TYPE_INVALID_OR_UNKNOWN) return std::nullopt;
  return ItemValue{value.type, std::span(bytes_).subspan(value.offset, value.size)};
}

void PersonItem::index() const {
  std::vector<Key> keys;
  for (std::uint32_t person = 0; person < values_.size(); ++person) {
    const std::optional<ItemValue> value = of(person);
    if (!value) continue;
    for (const std::string_view text : texts(*value))
      keys.emplace_back(std::hash<std::string>()(nameKey(text)), person);
  }
  std::sort(keys.begin(), keys.end());
  keys_ = std::move(keys);
}

std::vector<std::uint32_t> PersonItem::personsWith(const std::string& key) const {
  std::call_once(indexed_, [this] { index(); });
  const std::size_t hash = std::hash<std::string>()(key);
  std::vector<std::uint32_t> persons;
  for (auto entry = std::lower_bound(keys_.begin(), keys_.end(), Key{hash, 0});
       entry != keys_.end() && entry->first == hash; ++entry) {
    const std::uint32_t person = entry->second;
    if (!persons.empty() && persons.back() == person) continue;
    const std::vector<std::string_view> names = texts(*of(person));
    if (std::any_of(names.begin(), names.end(),
                    [&key](std::string_view name) { return nameKey(name) == key; }))
      persons.push_back(person);
  }
  return persons;
}

// ---- AddressBook --------------------------------------------------------------------------------

void AddressBook::forget() {
  items_.clear();
  count_.reset();
}

// Opens the file if that has not been done yet, or if another file has taken its path meanwhile.
void AddressBook::connect() {
  struct stat file = {};
  const bool there = ::stat(path_.c_str(), &file) == 0;
  if (there && store_ && device_ == file.st_dev && inode_ == file.st_ino) return;
  forget();
  store_.reset();
  try {
    if (!there) throw StatusError(ERR_NOEXIST, std::strerror(errno));
    store_.emplace(Store::open(path_));
  } catch (const StatusError& error) {
    throw StatusError(ERR_NO_NAMES_FILE, path_ + ": " + error.what());
  }
  device_ = file.st_dev;
  inode_ = file.st_ino;
  version_ = store_->changesByOthers();
}

void AddressBook::readItems(const std::vector<std::string>& names) {
  PersonReader reader(names);
  std::vector<std::string> read = names;
  read.emplace_back(KindItem);
  store_->visitItems(read,
                     [&reader](NOTEID note, const NoteItem& item) { reader.take(note, item); });
  reader.finishNote();
  count_ = reader.count();
  for (const auto& [name, item] : reader.items()) items_[name] = item;
}

Persons AddressBook::read(std::span<const std::string> itemNames) {
  const std::lock_guard<std::mutex> guard(mutex_);
  connect();
  if (const std::int64_t version = store_->changesByOthers(); version != version_) {
    forget();
    version_ = version;
  }
  std::vector<std::string> wanted;
  for (const std::string& name : itemNames) wanted.push_back(smallLetters(name));
  std::vector<std::string> missing;
  std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(missing),
               [this](const std::string& name) { return !items_.contains(name); });
  if (!missing.empty() || !count_) {
    const bool nothingKnown = !count_;
    readItems(missing);
    // What one pass reads belongs together, but if the file has changed before it, what earlier
    // ones have read does not. A later change is found the next time.
    if (!nothingKnown && store_->changesByOthers() != version_) {
      forget();
      readItems(wanted);
    }
  }
  Persons persons;
  persons.count = *count_;
  for (const std::string& name : wanted) persons.items.push_back(items_.at(name));
  return persons;
}

std::vector<std::shared_ptr<AddressBook>> addressBooks() {
  static std::mutex mutex;
  static std::vector<std::shared_ptr<AddressBook>> known;
  std::vector<std::shared_ptr<AddressBook>> books;
  const std::lock_guard<std::mutex> guard(mutex);
  for (const std::string& name : listedBooks()) {
    const LocatedFile file = locateFile(utf8ToLmbcs(name).c_str());
    if (file.offline) throw StatusError(ERR_NO_NAMES_FILE, file.path + ": offline");
    if (!file.mode) continue;
    const auto isThis = [&file](const auto& book) { return book->path() == file.path; };
    if (std::any_of(books.begin(), books.end(), isThis)) continue;
    const auto found = std::find_if(known.begin(), known.end(), isThis);
    books.push_back(found != known.end() ? *found : std::make_shared<AddressBook>(file.path));
  }
  if (books.empty()) throw StatusError(ERR_NO_NAMES_FILE, "there is no address book");
  known = books;  // the others are closed
  return books;
}

}  // namespace simulator
