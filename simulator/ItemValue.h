// The value of an item without its type word, as notes, directories and look-up buffers have it,
// and the texts in it.
#ifndef KOLN_SIMULATOR_ITEM_VALUE_H
#define KOLN_SIMULATOR_ITEM_VALUE_H

#include <span>
#include <string_view>
#include <vector>

#include "NotesApi.h"

namespace simulator {

struct ItemValue {
  WORD type = TYPE_TEXT;
  std::span<const BYTE> bytes;  // any alignment

  bool isText() const { return type == TYPE_TEXT || type == TYPE_TEXT_LIST; }
};

// The text of a text item, or the members of a list (LMBCS); what a damaged list says of bytes that
// it does not have is left out. Nothing for the other types.
std::vector<std::string_view> texts(const ItemValue& value);

}  // namespace simulator

#endif
