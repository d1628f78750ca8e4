#include "Translation.h"

#include <fmt/format.h>
#include <koln.h>

#include <algorithm>
#include <cstring>

#include "Failure.h"

namespace host {
namespace {

// A call of Notes takes and gives no more than a word counts, and a byte of LMBCS can become three.
constexpr std::size_t mostAtOnce = MAXWORD / 3 - 1;

std::string translate(WORD mode, std::string_view text) {
  std::string result(text.size() * 3 + 1, '\0');
  const WORD length =
      KoLNUtilities().NotesTranslate(mode, text.data(), static_cast<WORD>(text.size()),
                                     result.data(), static_cast<WORD>(result.size() - 1));
  result.resize(length);
  return result;
}

// How much of a long text to take: up to the end of a line, so that no character is torn. A byte
// below 32 can begin a character of up to three bytes; a new line behind two others is none.
std::size_t pieceOf(std::string_view text) {
  if (text.size() <= mostAtOnce) {
    return text.size();
  }
  const auto plain = [text](std::size_t place) {
    return static_cast<unsigned char>(text[place]) >= 0x20;
  };
  for (std::size_t place = mostAtOnce - 1; place >= 2; --place) {
    if (text[place] == '\n' && plain(place - 1) && plain(place - 2)) {
      return place + 1;
    }
  }
  return mostAtOnce;
}

Failure untranslatable(const std::string& text) {
  return {ExitCode::WrongUsage,
          fmt::format("Notes cannot take the text '{}'; write it in UTF-8, without a zero byte and "
                      "no longer than {} bytes",
                      text.substr(0, 60), mostAtOnce)};
}

}  // namespace

std::string utf8FromLmbcs(std::string_view lmbcs) {
  std::string text;
  while (!lmbcs.empty()) {
    const std::string_view piece = lmbcs.substr(0, pieceOf(lmbcs));
    const std::string translated = translate(OS_TRANSLATE_LMBCS_TO_UTF8, piece);
    text += translated.empty() ? piece : std::string_view(translated);
    lmbcs.remove_prefix(piece.size());
  }
  return text;
}

std::string lmbcsFromUtf8(const std::string& utf8) {
  if (utf8.empty()) {
    return {};
  }
  std::string text =
      utf8.size() > mostAtOnce ? std::string() : translate(OS_TRANSLATE_UTF8_TO_LMBCS, utf8);
  if (text.empty()) {
    throw untranslatable(utf8);
  }
  return text;
}

std::string nativeFromUtf8(const std::string& utf8) {
  if (utf8.size() > mostAtOnce) {
    throw untranslatable(utf8);
  }
  const std::size_t most = utf8.size() * 3;
  std::string text(most + 1, '\0');
  if (!KoLNUtilities().ConvertUtf8ToNative(utf8.c_str(), text.data(), static_cast<int>(most))) {
    throw untranslatable(utf8);
  }
  text.resize(std::strlen(text.c_str()));
  return text;
}

}  // namespace host
