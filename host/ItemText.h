// The items of a note as a person reads them.
#ifndef KOLN_HOST_ITEM_TEXT_H
#define KOLN_HOST_ITEM_TEXT_H

#include <koln.h>

#include <string>
#include <string_view>

namespace host {

/// As in "TEXT_LIST"; the number of a type without name.
std::string typeName(WORD type);

/// As in "summary, names"; bits without name as a number.
std::string flagNames(WORD flags);

/// A value, given without its type word, as UTF-8; members of lists with "; " between them. Where
/// there is nothing to read, or the value is damaged, how its bytes begin.
std::string readableValue(WORD type, std::string_view value);

}  // namespace host

#endif
