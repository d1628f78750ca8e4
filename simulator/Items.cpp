// The items of an open note. Nothing here touches the file: that is for the update.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "Export.h"
#include "Memory.h"
#include "Notes.h"

using namespace simulator;

SIM_EXPORT STATUS NSFItemInfo(NOTEHANDLE note_handle, const char* item_name, WORD name_len,
                              BLOCKID* item_blockid, WORD* value_datatype, BLOCKID* value_blockid,
                              DWORD* value_len) {
  if (item_blockid) *item_blockid = {};
  if (value_datatype) *value_datatype = TYPE_INVALID_OR_UNKNOWN;
  if (value_blockid) *value_blockid = {};
  if (value_len) *value_len = 0;
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(note_handle, "NSFItemInfo");
    const std::string_view name = itemName(item_name, name_len);
    std::optional<std::size_t> index = note->find(name);
    if (name.empty() && !note->items().empty()) index = 0;
    if (!index) throw StatusError(ERR_ITEM_NOT_FOUND, std::string(name) + ": no such item");
    const NoteItem& item = note->items()[*index];
    if (item_blockid) *item_blockid = note->itemBlock(*index);
    if (value_datatype) *value_datatype = item.type;
    if (value_blockid) *value_blockid = note->valueBlock(*index);
    if (value_len) *value_len = static_cast<DWORD>(sizeof item.type + item.value.size());
  });
}

// The routine sees the items that there are when the scan begins, and copies of their values: it
// may use the note as it likes. Its exceptions are its own.
SIM_EXPORT STATUS NSFItemScan(NOTEHANDLE note_handle, NSFITEMSCANPROC ActionRoutine,
                              void* func_param) {
  std::vector<NoteItem> items;
  const STATUS status = statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(note_handle, "NSFItemScan");
    if (!ActionRoutine) throw StatusError(ERR_BAD_PARAM, "no routine");
    items = note->items();
  });
  if (status != NOERROR) return status;
  for (NoteItem& item : items) {
    const auto* const type = reinterpret_cast<const BYTE*>(&item.type);
    item.value.insert(item.value.begin(), type, type + sizeof item.type);
    const STATUS answer =
        ActionRoutine(0, item.flags, item.name.data(), static_cast<WORD>(item.name.size()),
                      item.value.data(), static_cast<DWORD>(item.value.size()), func_param);
    if (answer != NOERROR) return answer;
  }
  return NOERROR;
}

SIM_EXPORT STATUS NSFItemAppend(NOTEHANDLE note_handle, WORD item_flags, const char* item_name,
                                WORD name_len, WORD item_type, const void* item_value,
                                DWORD value_len) {
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(note_handle, "NSFItemAppend");
    if (!item_value && value_len != 0) throw StatusError(ERR_BAD_PARAM, "no value");
    const auto* const value = static_cast<const BYTE*>(item_value);
    // Of a value that is too large, as much as it takes to be refused.
    const std::size_t size = std::min<std::size_t>(value_len, LargestValue + 1);
    note->append({std::string(itemName(item_name, name_len)), item_flags, item_type,
                  std::vector<BYTE>(value, value + size)});
  });
}

// The note takes the value over from the block, so that the block is the host's no longer: whoever
// frees or locks it afterwards is stopped. `fDealloc` FALSE would leave the object to somebody
// else, but in this runtime an object always goes with the item that refers to it.
SIM_EXPORT STATUS NSFItemAppendObject(NOTEHANDLE hNote, WORD ItemFlags, const char* Name,
                                      WORD NameLength, BLOCKID bhValue, DWORD ValueLength,
                                      BOOL /*fDealloc*/) {
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(hNote, "NSFItemAppendObject");
    const auto block = unlockedBytes(bhValue.pool, "NSFItemAppendObject");
    if (!block) throw StatusError(ERR_BAD_PARAM, "the block is locked");
    NoteItem item{std::string(itemName(Name, NameLength)), ItemFlags, TYPE_OBJECT, {}};
    if (bhValue.block > block->size() || ValueLength > block->size() - bhValue.block ||
        ValueLength < sizeof item.type)
      throw StatusError(ERR_BAD_PARAM, "the block is too short");
    const std::span<const BYTE> bytes = std::span(*block).subspan(bhValue.block, ValueLength);
    std::memcpy(&item.type, bytes.data(), sizeof item.type);
    if (item.type != TYPE_OBJECT) throw StatusError(ERR_BAD_PARAM, "not the value of an object");
    const std::span<const BYTE> value = bytes.subspan(sizeof item.type);
    item.value.assign(value.begin(), value.end());
    note->append(std::move(item));
    OSMemFree(bhValue.pool);
  });
}

// With the items of attachments their objects go too, once the note is updated.
SIM_EXPORT STATUS NSFItemDelete(NOTEHANDLE note_handle, const char* item_name, WORD name_len) {
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(note_handle, "NSFItemDelete");
    const std::string_view name = itemName(item_name, name_len);
    if (!note->erase(name, "NSFItemDelete"))
      throw StatusError(ERR_ITEM_NOT_FOUND, std::string(name) + ": no such item");
  });
}
