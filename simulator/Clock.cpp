// Binary times: made from the system's clock, compared, taken apart.
#include "Clock.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <string>

#include "Export.h"
#include "Panic.h"

namespace simulator {
namespace {

constexpr std::int64_t secondsPerDay = 24LL * 3600;

bool hasTime(const TIMEDATE& time) {
  return time.Innards[0] != ALLDAY;
}
bool hasDate(const TIMEDATE& time) {
  return time.Innards[1] != ANYDAY;
}

std::int64_t dayOf(const TIMEDATE& time) {
  return time.Innards[1] & julianDayMask;
}

}  // namespace

TIMEDATE currentTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return timeFromUnix(now.tv_sec, static_cast<int>(now.tv_nsec / 10'000'000));
}

TIMEDATE timeFromUnix(std::int64_t seconds, int hundredths) {
  constexpr std::int64_t first = -unixEpochDay * secondsPerDay;
  constexpr std::int64_t last =
      (std::int64_t{julianDayMask} - unixEpochDay + 1) * secondsPerDay - 1;
  const std::int64_t sinceFirstDay = std::clamp(seconds, first, last) - first;
  return {{static_cast<DWORD>(sinceFirstDay % secondsPerDay * 100 + hundredths),
           static_cast<DWORD>(sinceFirstDay / secondsPerDay)}};
}

std::int64_t unixFromTime(const TIMEDATE& time) {
  const std::int64_t day = hasDate(time) ? dayOf(time) - unixEpochDay : 0;
  return day * secondsPerDay + (hasTime(time) ? time.Innards[0] / 100 : 0);
}

bool isWildcard(const TIMEDATE& time) {
  return !hasTime(time) && !hasDate(time);
}

}  // namespace simulator

SIM_EXPORT void OSCurrentTIMEDATE(TIMEDATE* retTimeDate) {
  *retTimeDate = simulator::currentTime();
}

SIM_EXPORT void TimeConstant(WORD TimeConstantType, TIMEDATE* tdptr) {
  switch (TimeConstantType) {
    case TIMEDATE_MINIMUM:
      *tdptr = {{0, 0}};
      return;
    case TIMEDATE_MAXIMUM:
      *tdptr = {{0, simulator::julianDayMask}};
      return;
    case TIMEDATE_WILDCARD:
      *tdptr = {{ALLDAY, ANYDAY}};
      return;
    default:
      simulator::panic("TimeConstant", "no constant " + std::to_string(TimeConstantType));
  }
}

// A date or a time that one side lacks decides nothing.
SIM_EXPORT int TimeDateCompare(const TIMEDATE* t1, const TIMEDATE* t2) {
  const auto order = [](std::int64_t left, std::int64_t right) {
    return static_cast<int>(left > right) - static_cast<int>(left < right);
  };
  const bool bothDates = simulator::hasDate(*t1) && simulator::hasDate(*t2);
  const bool bothTimes = simulator::hasTime(*t1) && simulator::hasTime(*t2);
  const int byDate = bothDates ? order(simulator::dayOf(*t1), simulator::dayOf(*t2)) : 0;
  if (byDate != 0 || !bothTimes) return byDate;
  return order(t1->Innards[0], t2->Innards[0]);
}

SIM_EXPORT LONG TimeDateDifference(const TIMEDATE* t1, const TIMEDATE* t2) {
  const auto hundredths = [](const TIMEDATE& time) {
    return (simulator::hasDate(time) ? simulator::dayOf(time) : 0) * simulator::hundredthsPerDay +
           (simulator::hasTime(time) ? time.Innards[0] : 0);
  };
  const std::int64_t seconds = (hundredths(*t1) - hundredths(*t2)) / 100;
  return static_cast<LONG>(std::clamp<std::int64_t>(seconds, std::numeric_limits<LONG>::min(),
                                                    std::numeric_limits<LONG>::max()));
}

SIM_EXPORT DWORD TimeExtractJulianDate(const TIMEDATE* Time) {
  return Time->Innards[1] & simulator::julianDayMask;
}
