// Binary times of Notes as texts.
#ifndef KOLN_HOST_TIMES_H
#define KOLN_HOST_TIMES_H

#include <koln.h>

#include <optional>
#include <string>

namespace host {

/// ISO 8601 in UTC, to the hundredth of a second. Nothing if date or time is missing.
std::optional<std::string> iso8601(const TIMEDATE& time);

/// The time that such a text means; the clock may be left out, in whole or from behind. What is
/// left out is 0. Nothing for any other text.
std::optional<TIMEDATE> timeFromIso8601(std::string text);

/// For a reader: also a date or a time alone, and "-" for neither.
std::string readableTime(const TIMEDATE& time);

}  // namespace host

#endif
