// Binary times of Notes as texts.
#ifndef KOLN_HOST_TIMES_H
#define KOLN_HOST_TIMES_H

#include <koln.h>

#include <optional>
#include <string>

namespace host {

/// ISO 8601 in UTC, to the hundredth of a second. Nothing if date or time is missing.
std::optional<std::string> iso8601(const TIMEDATE& time);

/// For a reader: also a date or a time alone, and "-" for neither.
std::string readableTime(const TIMEDATE& time);

}  // namespace host

#endif
