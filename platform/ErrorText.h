// The text that Notes has for a status; what stands behind `KoLNUtilities::GetNotesErrorMsg`.
#ifndef KOLN_PLATFORM_ERROR_TEXT_H
#define KOLN_PLATFORM_ERROR_TEXT_H

#include <string>

#include "NotesApi.h"

namespace koln {

// Empty, with a log line, when Notes has no text for it or cannot be asked.
std::string notesErrorText(STATUS status) noexcept;

}  // namespace koln

#endif
