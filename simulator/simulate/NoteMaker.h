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
  // Lists of single values and of pairs of them.
  void numberRange(std::string_view name, const std::vector<double>& values,
                   const std::vector<NUMBER_PAIR>& pairs);
  void timeRange(std::string_view name, const std::vector<TIMEDATE>& values,
                 const std::vector<TIMEDATE_PAIR>& pairs);
  // One text record per paragraph; as many items as the size of one allows need.
  void richText(std::string_view name, const std::vector<std::string>& paragraphs);
  // A body of one MIME part; the headers end with their empty line.
  void mimePart(std::string_view name, std::string_view headers, std::string_view data);
  // The value as it stands behind the type word.
  void item(std::string_view name, WORD type, WORD flags, std::vector<BYTE> value);
  // A "$FILE" item and the object with the bytes behind it.
  void attach(Store& store, std::string_view fileName, std::span<const BYTE> bytes,
              const TIMEDATE& modified);

  // Stores the note and gives its ID; the header needs none.
  NOTEID write(Store& store, NoteHeader header) {
    store.writeNote(header, items_);
    return header.id;
  }

 private:
  std::vector<NoteItem> items_;
};

}  // namespace simulator

#endif
