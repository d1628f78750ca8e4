// OSTranslate: text from one encoding or case to another, in a buffer of the caller's.
#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "Characters.h"
#include "Export.h"

namespace simulator {
namespace {

// One that knows the case of all scripts, whatever locale the host runs in.
locale_t unicodeLocale() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

char32_t unchanged(char32_t character) {
  return character;
}

char32_t upper(char32_t character) {
  if (unicodeLocale() == nullptr) return character;
  return static_cast<char32_t>(towupper_l(static_cast<wint_t>(character), unicodeLocale()));
}

char32_t lower(char32_t character) {
  if (unicodeLocale() == nullptr) return character;
  return static_cast<char32_t>(towlower_l(static_cast<wint_t>(character), unicodeLocale()));
}

struct Translation {
  WORD mode;
  std::optional<char32_t> (*take)(std::string_view&);
  char32_t (*change)(char32_t);
  void (*append)(std::string&, char32_t);
};

// The native character set is UTF-8.
constexpr std::array<Translation, 8> translations = {{
    {OS_TRANSLATE_NATIVE_TO_LMBCS, takeUtf8, unchanged, appendLmbcs},
    {OS_TRANSLATE_LMBCS_TO_NATIVE, takeLmbcs, unchanged, appendUtf8},
    {OS_TRANSLATE_LOWER_TO_UPPER, takeLmbcs, upper, appendLmbcs},
    {OS_TRANSLATE_UPPER_TO_LOWER, takeLmbcs, lower, appendLmbcs},
    {OS_TRANSLATE_LMBCS_TO_UNICODE, takeLmbcs, unchanged, appendUtf16},
    {OS_TRANSLATE_LMBCS_TO_UTF8, takeLmbcs, unchanged, appendUtf8},
    {OS_TRANSLATE_UNICODE_TO_LMBCS, takeUtf16, unchanged, appendLmbcs},
    {OS_TRANSLATE_UTF8_TO_LMBCS, takeUtf8, unchanged, appendLmbcs},
}};

// Bytes in front of the terminator, which is a whole code unit in UTF-16.
std::size_t terminatedLength(const char* text, WORD mode) {
  if (mode != OS_TRANSLATE_UNICODE_TO_LMBCS) return std::strlen(text);
  std::size_t length = 0;
  while (text[length] != 0 || text[length + 1] != 0) length += sizeof(char16_t);
  return length;
}

}  // namespace
}  // namespace simulator

using simulator::Translation;
using simulator::translations;

// An unknown mode gives nothing. The result is put together first: In and Out may be one buffer.
SIM_EXPORT WORD OSTranslate(WORD TranslateMode, const char* In, WORD InLength, char* Out,
                            WORD OutLength) {
  const auto* const translation =
      std::find_if(translations.begin(), translations.end(),
                   [TranslateMode](const Translation& t) { return t.mode == TranslateMode; });
  if (translation == translations.end() || In == nullptr || Out == nullptr) return 0;
  std::string_view rest(
      In, InLength == MAXWORD ? simulator::terminatedLength(In, TranslateMode) : InLength);
  std::string result;
  while (!rest.empty()) {
    const std::optional<char32_t> character = translation->take(rest);
    if (!character) continue;
    const std::size_t whole = result.size();
    translation->append(result, translation->change(*character));
    if (result.size() > OutLength) {
      result.resize(whole);
      break;
    }
  }
  result.copy(Out, result.size());
  return static_cast<WORD>(result.size());
}
