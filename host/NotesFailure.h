// What Notes refused, in the user's words: the text, the code, and what to do about it.
#ifndef KOLN_HOST_NOTES_FAILURE_H
#define KOLN_HOST_NOTES_FAILURE_H

#include <koln.h>

#include <string>
#include <string_view>

#include "Failure.h"

namespace host {

/// Whether there is an error at all: some members of the library record a code alone.
bool isError(const KoLNError& error);

/// A Notes error as a user reads it: the text and the code. Works for a code alone as well.
std::string described(const KoLNError& error);

/// What the user can do about it.
const char* remedy(const KoLNError& error) noexcept;

/// Whether an error says that rights are missing.
bool isAccessError(const KoLNError& error) noexcept;

/// The end of a command: what could not be done, why, and what to do.
Failure failureOf(std::string_view what, const KoLNError& error);

}  // namespace host

#endif
