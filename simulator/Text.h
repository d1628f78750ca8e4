// The texts of the Notes C API are LMBCS, those of the file system, of notes.ini and of the stored
// databases UTF-8. Here is the way between them.
#ifndef KOLN_SIMULATOR_TEXT_H
#define KOLN_SIMULATOR_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace simulator {

// Any Unicode text, nul characters included; each invalid UTF-8 sequence becomes U+FFFD. So do
// U+F601 to U+F6FF, for which LMBCS has no form of their own.
std::string utf8ToLmbcs(std::string_view utf8);

// Characters of the code pages that the runtime never writes are left out, and so is a character
// that the text's end cuts off; a lone surrogate becomes U+FFFD.
std::string lmbcsToUtf8(std::string_view lmbcs);

// The longest part of an LMBCS text that has at most `size` bytes and whole characters only.
std::string_view cutLmbcs(std::string_view lmbcs, std::size_t size);

// Names (of items, of variables) are the same whatever the case of their ASCII letters.
bool sameName(std::string_view left, std::string_view right);

}  // namespace simulator

#endif
