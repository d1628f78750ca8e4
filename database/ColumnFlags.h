// What the flags of a view's column say about where the column shows.
#ifndef KOLN_DATABASE_COLUMN_FLAGS_H
#define KOLN_DATABASE_COLUMN_FLAGS_H

#include "NotesApi.h"

namespace koln {

constexpr bool isCategory(WORD flags) noexcept {
  return (flags & VCF1_M_SortCategorize) != 0;
}

constexpr bool isIcon(WORD flags) noexcept {
  return (flags & VCF1_M_Icon) != 0;
}

constexpr bool isResponse(WORD flags) noexcept {
  return (flags & VCF1_M_Response) != 0;
}

// The other three kinds have no place in a list of columns either.
constexpr bool isHidden(WORD flags) noexcept {
  return (flags & VCF1_M_Hidden) != 0 || isCategory(flags) || isIcon(flags) || isResponse(flags);
}

}  // namespace koln

#endif
