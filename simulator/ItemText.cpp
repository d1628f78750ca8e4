// Items that are texts or times, as values that a host can use at once.
#include <cstring>
#include <string>

#include "Export.h"
#include "ItemValue.h"
#include "Notes.h"
#include "Status.h"
#include "Text.h"

using namespace simulator;

namespace {

// The text of the first item of the name, the members of a list with a separator between them.
// Empty if there is no such item or it is no text.
std::string textOf(const OpenNote& note, std::string_view name, char separator) {
  const std::optional<std::size_t> index = note.find(name);
  if (!index) return {};
  const NoteItem& item = note.items()[*index];
  std::string text;
  bool first = true;
  for (const std::string_view member : texts({item.type, item.value})) {
    if (!first) text += separator;
    text += member;
    first = false;
  }
  return text;
}

// As much as a buffer with room for `size` bytes holds, with a terminator; gives the length.
WORD copyText(std::string_view text, char* buffer, WORD size) {
  if (!buffer || size == 0) return 0;
  const std::string_view fitting = cutLmbcs(text, size - 1u);
  std::memcpy(buffer, fitting.data(), fitting.size());
  buffer[fitting.size()] = '\0';
  return static_cast<WORD>(fitting.size());
}

}  // namespace

SIM_EXPORT STATUS NSFItemSetText(NOTEHANDLE hNote, const char* ItemName, const char* ItemText,
                                 WORD TextLength) {
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(hNote, "NSFItemSetText");
    if (!ItemName || (!ItemText && TextLength != 0)) throw StatusError(ERR_BAD_PARAM, "no text");
    const std::size_t length = TextLength == MAXWORD ? std::strlen(ItemText) : TextLength;
    const auto* const bytes = reinterpret_cast<const BYTE*>(ItemText);
    note->replace({ItemName, ITEM_SUMMARY, TYPE_TEXT, std::vector<BYTE>(bytes, bytes + length)},
                  "NSFItemSetText");
  });
}

SIM_EXPORT WORD NSFItemGetText(NOTEHANDLE note_handle, const char* item_name, char* item_text,
                               WORD text_len) {
  const auto note = existingNote(note_handle, "NSFItemGetText");
  return copyText(item_name ? textOf(*note, item_name, ';') : "", item_text, text_len);
}

SIM_EXPORT BOOL NSFItemGetTime(NOTEHANDLE note_handle, const char* td_item_name,
                               TIMEDATE* td_item_value) {
  const auto note = existingNote(note_handle, "NSFItemGetTime");
  const auto index = td_item_name ? note->find(td_item_name) : std::nullopt;
  if (!index) return FALSE;
  const NoteItem& item = note->items()[*index];
  if (item.type != TYPE_TIME || item.value.size() != sizeof(TIMEDATE)) return FALSE;
  if (td_item_value) std::memcpy(td_item_value, item.value.data(), sizeof(TIMEDATE));
  return TRUE;
}

SIM_EXPORT STATUS MailGetMessageItem(DHANDLE hMessage, WORD ItemCode, char* retString,
                                     WORD StringSize, WORD* retStringLength) {
  if (retStringLength) *retStringLength = 0;
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(hMessage, "MailGetMessageItem");
    if (!retString || StringSize == 0) throw StatusError(ERR_BAD_PARAM, "no buffer");
    if (ItemCode != MAIL_SUBJECT_ITEM_NUM) throw StatusError(NotSupportedYet, "other mail items");
    const WORD length = copyText(textOf(*note, "Subject", ','), retString, StringSize);
    if (retStringLength) *retStringLength = length;
  });
}
