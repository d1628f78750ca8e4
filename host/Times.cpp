#include "Times.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace host {
namespace {

constexpr DWORD hundredthsOfASecond = 100;
constexpr DWORD hundredthsOfADay = 24 * 60 * 60 * hundredthsOfASecond;

constexpr std::int64_t julianDayOf1970 = 2440588;

std::optional<std::string> dateOf(const TIMEDATE& time) {
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

std::optional<TIMEDATE> timeFromIso8601(std::string text) {
  const std::string pattern = "0000-00-00T00:00:00.00Z";
  constexpr std::size_t dateLength = 10;
  if (text.size() > dateLength && text.back() == 'Z') {
    text.pop_back();
  }
  if (text.size() < dateLength || text.size() >= pattern.size()) {
    return std::nullopt;
  }
  text += pattern.substr(text.size());
  const auto number = [&text](std::size_t place, std::size_t digits) {
    return static_cast<int>(std::strtol(text.substr(place, digits).c_str(), nullptr, 10));
  };
  std::tm parts = {};
  parts.tm_year = number(0, 4) - 1900;
  parts.tm_mon = number(5, 2) - 1;
  parts.tm_mday = number(8, 2);
  const DWORD seconds =
      static_cast<DWORD>((number(11, 2) * 60 + number(14, 2)) * 60 + number(17, 2));
  const std::int64_t day = timegm(&parts) / (std::int64_t{24} * 60 * 60) + julianDayOf1970;
  const TIMEDATE time = {{seconds * hundredthsOfASecond + static_cast<DWORD>(number(20, 2)),
                          static_cast<DWORD>(day) & 0xFFFFFF}};
  // Whatever is no date, no time or no digit would be written in another way.
  return iso8601(time) == text ? std::optional(time) : std::nullopt;
}

std::string readableTime(const TIMEDATE& time) {
  return iso8601(time).value_or(dateOf(time).value_or(clockOf(time).value_or("-")));
}

}  // namespace host
