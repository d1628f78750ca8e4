// Whole texts, from the characters of Characters.h.
#include "Text.h"

#include "Characters.h"

namespace simulator {

std::string utf8ToLmbcs(std::string_view utf8) {
  std::string lmbcs;
  lmbcs.reserve(utf8.size());
  while (!utf8.empty()) {
    if (const auto character = takeUtf8(utf8)) appendLmbcs(lmbcs, *character);
  }
  return lmbcs;
}

std::string lmbcsToUtf8(std::string_view lmbcs) {
  std::string utf8;
  utf8.reserve(lmbcs.size());
  while (!lmbcs.empty()) {
    if (const auto character = takeLmbcs(lmbcs)) appendUtf8(utf8, *character);
  }
  return utf8;
}

std::string_view cutLmbcs(std::string_view lmbcs, std::size_t size) {
  if (lmbcs.size() <= size) return lmbcs;
  std::string_view rest = lmbcs;
  std::size_t whole = 0;
  while (whole < size) {
    takeLmbcs(rest);
    const std::size_t next = lmbcs.size() - rest.size();
    if (next > size) break;
    whole = next;
  }
  return lmbcs.substr(0, whole);
}

bool sameName(std::string_view left, std::string_view right) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (lower(left[i]) != lower(right[i])) return false;
  }
  return true;
}

}  // namespace simulator
