// Texts as a terminal shows them. Paths and titles come from servers and file systems: nothing in
// them may break a line or steer the terminal, and columns must line up in every script.
#ifndef KOLN_HOST_SHOWN_TEXT_H
#define KOLN_HOST_SHOWN_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// UTF-8 text with control characters, and bytes that are no UTF-8, written as "\x1B".
std::string shown(std::string_view utf8);

/// How many columns of a terminal that takes.
std::size_t columnsOf(std::string_view utf8);

/// The text as a table cell: padded with blanks to `width` columns. What is wider stays as it is,
/// or is cut and ends in an ellipsis.
std::string cell(std::string_view utf8, std::size_t width, bool cut);

}  // namespace host

#endif
