// Puts a note together item by item, in the forms that items have in memory.
#ifndef KOLN_SIMULATOR_SIMULATE_NOTE_MAKER_H
#define KOLN_SIMULATOR_SIMULATE_NOTE_MAKER_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Store.h"

namespace simulator {

class NoteMaker {
 public:
  // Texts are UTF-8.
  void text(std::string_view name, std::string_view value, WORD flags = ITEM_SUMMARY);
  void textList(std::string_view name, const std::vector<std::string>& values,
                WORD flags = ITEM_SUMMARY);
  void number(std::string_view name, double value);
  void time(std::string_view name, const TIMEDATE& value);
  // One text record per paragraph; as many items as the size of one allows need.
  void richText(std::string_view name, const std::vector<std::string>& paragraphs);
  // A "$FILE" item and the object with the bytes behind it.
  void attach(Store& store, std::string_view fileName, std::span<const BYTE> bytes,
              const TIMEDATE& modified);

  // Stores the note; the header needs no ID.
  void write(Store& store, NoteHeader header) { store.writeNote(header, items_); }

 private:
  void add(std::string_view name, WORD type, WORD flags, std::vector<BYTE> value);

  std::vector<NoteItem> items_;
};

}  // namespace simulator

#endif
