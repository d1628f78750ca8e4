// Open notes and their handles: what the other files of notes and items are built on.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

#include "Clock.h"
#include "HandleCounters.h"
#include "ItemValue.h"
#include "Memory.h"
#include "NoteHandles.h"
#include "Notes.h"
#include "Panic.h"
#include "Text.h"

namespace simulator {

namespace {

constexpr std::size_t LongestName = MAXPATH - 1;
constexpr std::size_t LargestSummaryValue = std::size_t{32} * 1024;

// Blocks of items begin with bytes that mean nothing, so that a host that leaves `block` out of an
// address is found out.
constexpr BLOCK ItemOffset = 2;
constexpr BLOCK ValueOffset = 14;
constexpr BYTE Meaningless = 0xC7;

const bool counted = registerHandleCounter("notes", [] { return noteHandles().size(); });

bool knownType(WORD type) {
  const int number = type & 0x00FF;
  switch (type >> 8) {
    case 0:
      return number >= TYPE_COMPOSITE && number <= TYPE_MIME_PART;
    case TYPE_NUMBER >> 8:
    case TYPE_TIME >> 8:
      return number <= 1;
    case TYPE_TEXT >> 8:
      return number <= 2;
    case TYPE_ERROR >> 8:
    case TYPE_UNAVAILABLE >> 8:
    case TYPE_FORMULA >> 8:
    case TYPE_USERID >> 8:
      return number == 0;
    default:
      return false;
  }
}

bool wholeRange(std::span<const BYTE> value, std::size_t single, std::size_t pair) {
  RANGE range{};
  if (value.size() < sizeof range) return false;
  std::memcpy(&range, value.data(), sizeof range);
  return value.size() == sizeof range + range.ListEntries * single + range.RangeEntries * pair;
}

bool wholeTextList(std::span<const BYTE> value) {
  LIST list{};
  if (value.size() < sizeof list) return false;
  std::memcpy(&list, value.data(), sizeof list);
  const std::vector<std::string_view> members = texts({TYPE_TEXT_LIST, value});
  std::size_t size = sizeof list + members.size() * sizeof(USHORT);
  for (const std::string_view member : members) size += member.size();
  return members.size() == list.ListEntries && size == value.size();
}

// Whether the bytes are what the type says.
bool wholeValue(WORD type, std::span<const BYTE> value) {
  switch (type) {
    case TYPE_NUMBER:
      return value.size() == sizeof(NUMBER);
    case TYPE_TIME:
      return value.size() == sizeof(TIMEDATE);
    case TYPE_NUMBER_RANGE:
      return wholeRange(value, sizeof(NUMBER), sizeof(NUMBER_PAIR));
    case TYPE_TIME_RANGE:
      return wholeRange(value, sizeof(TIMEDATE), sizeof(TIMEDATE_PAIR));
    case TYPE_TEXT_LIST:
      return wholeTextList(value);
    case TYPE_OBJECT:
      return value.size() >= sizeof(WORD) + sizeof(DWORD);
    default:
      return true;
  }
}

// StatusError if no note can hold the item.
void requireFitting(const NoteItem& item) {
  if (item.name.empty() || item.name.size() > LongestName ||
      item.name.find('\0') != std::string::npos)
    throw StatusError(ERR_BAD_PARAM, "not the name of an item");
  if ((item.flags & ITEM_SUMMARY) != 0 && item.value.size() > LargestSummaryValue)
    throw StatusError(ERR_SUMMARY_TOO_BIG, item.name + ": too large for a summary item");
  if (item.value.size() > LargestValue)
    throw StatusError(ERR_SEGMENT_TOO_BIG, item.name + ": too large for an item");
  if (!knownType(item.type)) throw StatusError(ERR_BAD_PARAM, item.name + ": no type of items");
  if (!wholeValue(item.type, item.value))
    throw StatusError(ERR_BAD_PARAM, item.name + ": the value is not one of its type");
}

NoteHeader requireLiving(std::optional<NoteHeader> header, STATUS unknown) {
  if (!header) throw StatusError(unknown, "no such note");
  if (header->deleted) throw StatusError(ERR_NOTE_DELETED, "a deletion stub");
  return *header;
}

std::string describe(NOTEHANDLE note, const char* what) {
  return "note handle " + std::to_string(note) + " " + what;
}

}  // namespace

// ---- an open note -------------------------------------------------------------------------------

OpenNote::OpenNote(DBHANDLE database, NoteHeader noteHeader, std::vector<NoteItem> items)
    : header(noteHeader),
      opened(header.originator),
      database_(database),
      openDatabase_(requireDatabase(database)),
      items_(std::move(items)),
      blocks_(items_.size()) {}

bool OpenNote::databaseOpen() const {
  try {
    return requireDatabase(database_) == openDatabase_;
  } catch (const StatusError&) {
    return false;
  }
}

std::optional<std::size_t> OpenNote::find(std::string_view name, std::size_t from) const {
  for (std::size_t i = from; i < items_.size(); ++i) {
    if (sameName(items_[i].name, name)) return i;
  }
  return std::nullopt;
}

void OpenNote::append(NoteItem item) {
  requireFitting(item);
  blocks_.reserve(items_.size() + 1);
  items_.push_back(std::move(item));
  blocks_.push_back(NULLHANDLE);
}

void OpenNote::replace(NoteItem item, const char* function) {
  requireFitting(item);
  erase(item.name, function);
  append(std::move(item));
}

bool OpenNote::erase(std::string_view name, const char* function) {
  const std::size_t before = items_.size();
  for (auto found = find(name); found; found = find(name, *found)) {
    const auto index = static_cast<std::ptrdiff_t>(*found);
    if (blocks_[*found] != NULLHANDLE) takeBackBytes(blocks_[*found], function);
    items_.erase(items_.begin() + index);
    blocks_.erase(blocks_.begin() + index);
  }
  return items_.size() != before;
}

DHANDLE OpenNote::block(std::size_t index) {
  DHANDLE& handle = blocks_[index];
  if (handle != NULLHANDLE) return handle;
  const NoteItem& item = items_[index];
  const std::size_t size = ValueOffset + sizeof item.type + item.value.size();
  std::shared_ptr<BYTE[]> bytes(new BYTE[size]);
  std::fill_n(bytes.get(), ValueOffset, Meaningless);
  std::memcpy(bytes.get() + ValueOffset, &item.type, sizeof item.type);
  std::copy(item.value.begin(), item.value.end(), bytes.get() + ValueOffset + sizeof item.type);
  handle = lendBytes(std::move(bytes), size);
  if (handle == NULLHANDLE) throw std::bad_alloc();
  return handle;
}

BLOCKID OpenNote::valueBlock(std::size_t index) {
  return {block(index), ValueOffset};
}

BLOCKID OpenNote::itemBlock(std::size_t index) {
  return {block(index), ItemOffset};
}

void OpenNote::takeBackBlocks(const char* function) {
  for (DHANDLE& handle : blocks_) {
    if (handle != NULLHANDLE) takeBackBytes(std::exchange(handle, NULLHANDLE), function);
  }
}

// ---- handles ------------------------------------------------------------------------------------

HandleTable<OpenNote>& noteHandles() {
  static HandleTable<OpenNote> table(HandleKind::Note);
  return table;
}

std::shared_ptr<OpenNote> requireNote(NOTEHANDLE note, const char* function) {
  if (note == NULLHANDLE) throw StatusError(ERR_NULL_NOTEHANDLE, "note handle is 0");
  std::shared_ptr<OpenNote> open = noteHandles().find(note);
  if (!open) panic(function, describe(note, "was never given or is closed"));
  if (!open->databaseOpen()) panic(function, describe(note, "is of a database that is closed"));
  return open;
}

std::shared_ptr<OpenNote> existingNote(NOTEHANDLE note, const char* function) {
  if (note == NULLHANDLE) panic(function, "note handle is null");
  return requireNote(note, function);
}

NoteContent contentOf(NOTEHANDLE note, const char* function) {
  const std::shared_ptr<OpenNote> open = requireNote(note, function);
  return {open->database(), open->header, open->items()};
}

std::string_view itemName(const char* name, WORD length) {
  if (!name && length != 0) throw StatusError(ERR_BAD_PARAM, "no name");
  return name ? std::string_view(name, length) : std::string_view();
}

// ---- stored notes -------------------------------------------------------------------------------

NoteHeader storedNote(const StoreLease& store, NOTEID id) {
  if ((id & RRV_DELETED) != 0) throw StatusError(ERR_NOTE_DELETED, "ID of a deleted note");
  return requireLiving(store->note(id), ERR_INVALID_NOTE);
}

NoteHeader storedNote(const StoreLease& store, const UNIVERSALNOTEID& unid) {
  return requireLiving(store->note(unid), ERR_NOT_FOUND);
}

std::set<DWORD> objectsOf(std::span<const NoteItem> items) {
  std::set<DWORD> objects;
  for (const NoteItem& item : items) {
    DWORD id = 0;
    if (item.type != TYPE_OBJECT || item.value.size() < sizeof(WORD) + sizeof id) continue;
    std::memcpy(&id, item.value.data() + sizeof(WORD), sizeof id);
    objects.insert(id);
  }
  return objects;
}

void removeObjects(const StoreLease& store, const std::set<DWORD>& objects) {
  for (const DWORD id : objects) {
    if (store->object(id)) store->removeObject(id);
  }
}

TIMEDATE nextUpdateTime() {
  static std::mutex mutex;
  static std::int64_t last = 0;
  const TIMEDATE now = currentTime();
  const std::lock_guard<std::mutex> guard(mutex);
  last = std::max(last, unixFromTime(now) * 100 + now.Innards[0] % 100);
  return timeFromUnix(last / 100, static_cast<int>(last % 100));
}

}  // namespace simulator
