// Texts on their way between the user (UTF-8) and Notes (LMBCS).
#ifndef KOLN_HOST_TRANSLATION_H
#define KOLN_HOST_TRANSLATION_H

#include <string>
#include <string_view>

namespace host {

/// LMBCS as UTF-8, of any length. What Notes cannot translate stays as it is.
std::string utf8FromLmbcs(std::string_view lmbcs);

/// UTF-8 as LMBCS. @throws Failure for a text that cannot be translated or is too long for Notes.
std::string lmbcsFromUtf8(const std::string& utf8);

/// UTF-8 in the native character set of the runtime. @throws Failure likewise.
std::string nativeFromUtf8(const std::string& utf8);

}  // namespace host

#endif
