#include "Times.h"

#include <fmt/format.h>

#include <cstdint>
#include <ctime>

namespace host {
namespace {

constexpr DWORD hundredthsOfASecond = 100;
constexpr DWORD hundredthsOfADay = 24 * 60 * 60 * hundredthsOfASecond;

std::optional<std::string> dateOf(const TIMEDATE& time) {
  constexpr std::int64_t julianDayOf1970 = 2440588;
  const std::int64_t day = time.Innards[1] & 0xFFFFFF;
  if (time.Innards[1] == ANYDAY || day == 0) {
    return std::nullopt;
  }
  const std::time_t seconds = (day - julianDayOf1970) * 24 * 60 * 60;
  std::tm parts = {};
  if (gmtime_r(&seconds, &parts) == nullptr) {
    return std::nullopt;
  }
  return fmt::format("{:04}-{:02}-{:02}", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday);
}

std::optional<std::string> clockOf(const TIMEDATE& time) {
  const DWORD hundredths = time.Innards[0];
  if (hundredths >= hundredthsOfADay) {
    return std::nullopt;
  }
  const DWORD seconds = hundredths / hundredthsOfASecond;
  return fmt::format("{:02}:{:02}:{:02}.{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60,
                     hundredths % hundredthsOfASecond);
}

}  // namespace

std::optional<std::string> iso8601(const TIMEDATE& time) {
  const std::optional<std::string> date = dateOf(time);
  const std::optional<std::string> clock = clockOf(time);
  if (!date || !clock) {
    return std::nullopt;
  }
  return *date + 'T' + *clock + 'Z';
}

std::string readableTime(const TIMEDATE& time) {
  return iso8601(time).value_or(dateOf(time).value_or(clockOf(time).value_or("-")));
}

}  // namespace host
