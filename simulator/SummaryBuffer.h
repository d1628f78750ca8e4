// Summary buffers, as searches and collections hand them out: a table of item names and values.
#ifndef KOLN_SIMULATOR_SUMMARY_BUFFER_H
#define KOLN_SIMULATOR_SUMMARY_BUFFER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "NotesApi.h"

namespace simulator {

// Collects items and lays them out. The length of a buffer is a WORD, so an item that would make it
// larger than 65,535 bytes is left out, and truncated() tells.
class SummaryBuilder {
 public:
  void addText(std::string_view name, std::string_view lmbcs);
  void addTime(std::string_view name, TIMEDATE time);
  void addNumber(std::string_view name, double number);
  // The value as items hold it, without its type word.
  void add(std::string_view name, WORD type, const void* value, std::size_t size);
  // With the type word first; `size` 0 is an item without a value.
  void addValue(std::string_view name, const void* valueWithTypeWord, std::size_t size);

  bool truncated() const { return truncated_; }
  std::vector<BYTE> build() const;

 private:
  std::vector<ITEM> items_;
  std::vector<BYTE> data_;  // Names and values in turn, as they stand behind the table.
  bool truncated_ = false;
};

}  // namespace simulator

#endif
