// One character at a time in each encoding that the API knows. Whatever converts or cuts text is
// built on these, so that no text is ever cut inside a character.
#ifndef KOLN_SIMULATOR_CHARACTERS_H
#define KOLN_SIMULATOR_CHARACTERS_H

#include <optional>
#include <string>
#include <string_view>

namespace simulator {

inline constexpr char32_t replacementCharacter = 0xFFFD;

// Each takes one character off the front of a text that is not empty. Nothing comes back for bytes
// that stand for no character; what is malformed is U+FFFD.
std::optional<char32_t> takeUtf8(std::string_view& text);
std::optional<char32_t> takeLmbcs(std::string_view& text);
// Code units in the byte order of the host.
std::optional<char32_t> takeUtf16(std::string_view& text);

void appendUtf8(std::string& text, char32_t character);
void appendLmbcs(std::string& text, char32_t character);
void appendUtf16(std::string& text, char32_t character);

}  // namespace simulator

#endif
