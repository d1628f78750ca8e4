// Translations of the simulated runtime. In front of the text stand the number of the translation,
// whether its terminator tells its length, and how long the result may be.
#include "Export.h"
#include "Fuzz.h"

namespace {

constexpr WORD modes[] = {OS_TRANSLATE_NATIVE_TO_LMBCS,  OS_TRANSLATE_LMBCS_TO_NATIVE,
                          OS_TRANSLATE_LOWER_TO_UPPER,   OS_TRANSLATE_UPPER_TO_LOWER,
                          OS_TRANSLATE_LMBCS_TO_UNICODE, OS_TRANSLATE_LMBCS_TO_UTF8,
                          OS_TRANSLATE_UNICODE_TO_LMBCS, OS_TRANSLATE_UTF8_TO_LMBCS};

std::string translated(WORD mode, std::string_view text, WORD room, bool terminated = false) {
  // The terminator of UTF-16 is a whole code unit.
  std::string whole(text);
  whole.resize(terminated ? (text.size() + 3) / 2 * 2 : text.size());
  const fuzz::Block in(whole);
  fuzz::Block out(room);
  const auto length = static_cast<WORD>(text.size());
  const WORD written =
      OSTranslate(mode, in.data(), terminated ? MAXWORD : length, out.data(), room);
  fuzz::require(written <= room, "the result fits");
  return {out.data(), written};
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const WORD mode = modes[input.take() % std::size(modes)];
  const bool terminated = (input.take() & 1) != 0;
  const auto room = std::min<WORD>(input.take<WORD>(), 2048);
  const std::string_view text = input.rest().substr(0, 4096);
  // A byte that is malformed becomes three at the most.
  const auto ample = static_cast<WORD>(4 * text.size());
  const std::string some = translated(mode, text, room, terminated);
  fuzz::require(room > ample || translated(mode, text, ample, terminated).starts_with(some),
                "less room gives the beginning");
  const std::string utf8 = translated(OS_TRANSLATE_LMBCS_TO_UTF8, text, ample);
  const std::string lmbcs = translated(OS_TRANSLATE_UTF8_TO_LMBCS, utf8, ample);
  fuzz::require(translated(OS_TRANSLATE_LMBCS_TO_UTF8, lmbcs, ample) == utf8,
                "LMBCS holds all that came from it");
  return 0;
}
