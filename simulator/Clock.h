// Binary times of the API. The zone bits of a date word never change the instant; the times made
// here carry none (GMT).
#ifndef KOLN_SIMULATOR_CLOCK_H
#define KOLN_SIMULATOR_CLOCK_H

#include <cstdint>

#include "NotesApi.h"

namespace simulator {

// The bits of the date word that are the day number.
inline constexpr DWORD julianDayMask = 0x00FFFFFF;
// The Julian day number of 1970-01-01.
inline constexpr std::int64_t unixEpochDay = 2440588;
inline constexpr std::int64_t hundredthsPerDay = 24LL * 3600 * 100;

TIMEDATE currentTime();

// `hundredths` counts from the second's start. Times outside the range of day numbers are moved to
// its ends.
TIMEDATE timeFromUnix(std::int64_t seconds, int hundredths = 0);

// Rounds down to the second. A missing time counts as midnight, a missing date as 1970-01-01.
std::int64_t unixFromTime(const TIMEDATE& time);

// Neither a date nor a time.
bool isWildcard(const TIMEDATE& time);

}  // namespace simulator

#endif
