// How the values of a view's columns are put in order.
#ifndef KOLN_SIMULATOR_SORT_KEY_H
#define KOLN_SIMULATOR_SORT_KEY_H

#include <compare>
#include <cstdint>
#include <string>
#include <vector>

#include "ViewDocuments.h"

namespace simulator {

// Nothing comes first, then numbers, times and texts; these without regard to the case of ASCII
// letters. Of several values the first one counts.
struct SortKey {
  enum class Kind { Nothing, Number, Time, Text };

  Kind kind = Kind::Nothing;
  double number = 0;
  std::int64_t time = 0;
  std::string text;

  // NOLINTNEXTLINE(modernize-use-nullptr): it takes the operator's own 0 for a pointer.
  std::partial_ordering operator<=>(const SortKey&) const = default;
  bool operator==(const SortKey&) const = default;
};

SortKey sortKeyOf(const ColumnValue& value);

// The members of a list or range, each as a value; anything else as it is. A list without members,
// or an item that is absent, is one absent value.
std::vector<ColumnValue> membersOf(const ColumnValue& value);

}  // namespace simulator

#endif
