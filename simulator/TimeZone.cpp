// Zones and what depends on them: the settings of the server's country, and local times.
#include "TimeZone.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Clock.h"
#include "Environment.h"
#include "Export.h"

namespace simulator {
namespace {

TimeZone zoneOfMachine() {
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  const int dst = local.tm_isdst > 0 ? 1 : 0;
  const long west = -local.tm_gmtoff + dst * 3600L;
  const int minutes = static_cast<int>(std::abs(west) / 60);
  const int zone = minutes % 60 * 100 + minutes / 60;
  return {west < 0 ? -zone : zone, dst};
}

struct ZoneParts {
  int hours;
  int minutes;
  bool east;

  std::int64_t secondsWest() const { return (east ? -1 : 1) * (hours * 3600LL + minutes * 60LL); }

  // As the date word carries a zone: the whole hours, the quarters and the side of Greenwich.
  DWORD bits(bool daylightSaving) const {
    return (daylightSaving ? 1u << 31 : 0u) | (east ? 1u << 30 : 0u) |
           static_cast<DWORD>(minutes / 15) << 28 | static_cast<DWORD>(hours) << 24;
  }
};

ZoneParts partsOf(int zone) {
  return {std::abs(zone) % 100, std::abs(zone) / 100, zone < 0};
}

bool isLocalTime(const TIME& time) {
  const auto within = [](int value, int least, int most) {
    return value >= least && value <= most;
  };
  const std::chrono::year_month_day date{std::chrono::year(time.year),
                                         std::chrono::month(static_cast<unsigned>(time.month)),
                                         std::chrono::day(static_cast<unsigned>(time.day))};
  return within(time.year, 1, 32767) && within(time.month, 1, 12) && within(time.day, 1, 31) &&
         date.ok() && within(time.hour, 0, 23) && within(time.minute, 0, 59) &&
         within(time.second, 0, 59) && within(time.hundredth, 0, 99) && within(time.dst, 0, 1) &&
         within(time.zone, -5999, 5999) && partsOf(time.zone).hours <= 15 &&
         partsOf(time.zone).minutes < 60;
}

}  // namespace

TimeZone currentTimeZone() {
  const auto zone = iniVariable("TimeZone");
  if (!zone) return zoneOfMachine();
  return {static_cast<int>(std::strtol(zone->c_str(), nullptr, 10)),
          iniVariable("DST") == "1" ? 1 : 0};
}

}  // namespace simulator

SIM_EXPORT void OSCurrentTimeZone(int* retZone, int* retDST) {
  const simulator::TimeZone current = simulator::currentTimeZone();
  if (retZone != nullptr) *retZone = current.zone;
  if (retDST != nullptr) *retDST = current.dst;
}

SIM_EXPORT void OSGetIntlSettings(INTLFORMAT* retIntlFormat, WORD BufferSize) {
  INTLFORMAT settings{};
  settings.CurrencyDigits = 2;
  settings.Length = static_cast<BYTE>(std::min<WORD>(BufferSize, 0xFF));
  settings.TimeZone = simulator::currentTimeZone().zone;
  std::strcpy(settings.AMString, "AM");
  std::strcpy(settings.PMString, "PM");
  std::strcpy(settings.CurrencyString, "$");
  std::strcpy(settings.ThousandString, ",");
  std::strcpy(settings.DecimalString, ".");
  std::strcpy(settings.DateString, "/");
  std::strcpy(settings.TimeString, ":");
  std::strcpy(settings.YesterdayString, "Yesterday");
  std::strcpy(settings.TodayString, "Today");
  std::strcpy(settings.TomorrowString, "Tomorrow");
  std::memcpy(retIntlFormat, &settings, std::min<std::size_t>(BufferSize, sizeof settings));
}

// FALSE is success.
SIM_EXPORT BOOL TimeLocalToGM(TIME* Time) {
  if (Time == nullptr || !simulator::isLocalTime(*Time)) return TRUE;
  const simulator::ZoneParts zone = simulator::partsOf(Time->zone);
  const std::chrono::sys_days date{std::chrono::year_month_day(
      std::chrono::year(Time->year), std::chrono::month(static_cast<unsigned>(Time->month)),
      std::chrono::day(static_cast<unsigned>(Time->day)))};
  const std::int64_t local = date.time_since_epoch().count() * 24LL * 3600 + Time->hour * 3600LL +
                             Time->minute * 60LL + Time->second;
  Time->GM =
      simulator::timeFromUnix(local + zone.secondsWest() - Time->dst * 3600LL, Time->hundredth);
  Time->GM.Innards[1] |= zone.bits(Time->dst == 1);
  return FALSE;
}
