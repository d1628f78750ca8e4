// The times of DXL, see DxlText.h.
#include <array>
#include <chrono>
#include <cstdio>

#include "Clock.h"
#include "DxlText.h"

namespace simulator {
namespace {

constexpr int lastYear = 9999;  // of four digits
constexpr DWORD daylightSavingBit = 0x80000000;
constexpr DWORD eastBit = 0x40000000;

std::string digitsOf(unsigned number, int width) {
  std::array<char, 16> digits{};
  std::snprintf(digits.data(), digits.size(), "%0*u", width, number);
  return digits.data();
}

// Takes a number of exactly so many digits off the front.
std::optional<unsigned> takeDigits(std::string_view& text, std::size_t digits) {
  if (text.size() < digits) return std::nullopt;
  unsigned number = 0;
  for (const char c : text.substr(0, digits)) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + static_cast<unsigned>(c - '0');
  }
  text.remove_prefix(digits);
  return number;
}

bool take(std::string_view& text, char wanted) {
  if (!text.starts_with(wanted)) return false;
  text.remove_prefix(1);
  return true;
}

std::optional<std::string> dateText(DWORD day) {
  using namespace std::chrono;
  constexpr sys_days first = year(1) / January / 1;
  constexpr sys_days last = year(lastYear) / December / 31;
  const sys_days date{days(static_cast<std::int64_t>(day) - unixEpochDay)};
  if (date < first || date > last) return std::nullopt;
  const year_month_day parts(date);
  return digitsOf(static_cast<unsigned>(static_cast<int>(parts.year())), 4) +
         digitsOf(static_cast<unsigned>(parts.month()), 2) +
         digitsOf(static_cast<unsigned>(parts.day()), 2);
}

std::optional<DWORD> takeDate(std::string_view& text) {
  const auto year = takeDigits(text, 4);
  const auto month = takeDigits(text, 2);
  const auto day = takeDigits(text, 2);
  if (!year || *year == 0 || !month || !day) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(*year)),
                                         std::chrono::month(*month), std::chrono::day(*day)};
  if (!date.ok()) return std::nullopt;
  return static_cast<DWORD>(std::chrono::sys_days(date).time_since_epoch().count() + unixEpochDay);
}

std::string clockText(DWORD hundredths) {
  const DWORD seconds = hundredths / 100;
  return "T" + digitsOf(seconds / 3600, 2) + digitsOf(seconds / 60 % 60, 2) +
         digitsOf(seconds % 60, 2) + "," + digitsOf(hundredths % 100, 2) + "Z";
}

// Behind the "T".
std::optional<DWORD> takeClock(std::string_view& text) {
  const auto hour = takeDigits(text, 2);
  const auto minute = takeDigits(text, 2);
  const auto second = takeDigits(text, 2);
  if (!hour || *hour > 23 || !minute || *minute > 59 || !second || *second > 59) return {};
  if (!take(text, ',')) return std::nullopt;
  const auto hundredths = takeDigits(text, 2);
  if (!hundredths || !take(text, 'Z')) return std::nullopt;
  return ((*hour * 60 + *minute) * 60 + *second) * 100 + *hundredths;
}

// The bits of a date word but for daylight saving.
std::string zoneText(DWORD dateWord) {
  const DWORD bits = dateWord & ~daylightSavingBit & ~julianDayMask;
  if (bits == 0) return "";
  return ((bits & eastBit) != 0 ? "+" : "-") + digitsOf(bits >> 24 & 0xF, 2) +
         digitsOf((bits >> 28 & 0x3) * 15, 2);
}

std::optional<DWORD> zoneBits(std::string_view zone) {
  if (zone.empty()) return 0;
  const bool east = take(zone, '+');
  if (!east && !take(zone, '-')) return std::nullopt;
  const auto hours = takeDigits(zone, 2);
  const auto minutes = takeDigits(zone, 2);
  if (!hours || *hours > 0xF || !minutes || *minutes % 15 != 0 || *minutes > 45 || !zone.empty())
    return std::nullopt;
  return (east ? eastBit : 0) | *hours << 24 | *minutes / 15 << 28;
}

}  // namespace

std::string timeDigits(const TIMEDATE& time) {
  return hexText(time.Innards[1], 8) + hexText(time.Innards[0], 8);
}

std::optional<TIMEDATE> timeOfDigits(std::string_view text) {
  const auto number = hexNumber(text, 16);
  if (!number || text.size() != 16) return std::nullopt;
  return TIMEDATE{{static_cast<DWORD>(*number), static_cast<DWORD>(*number >> 32)}};
}

TimeText timeText(const TIMEDATE& time) {
  const auto [clock, dateWord] = time.Innards;
  const bool hasClock = clock != ALLDAY;
  const bool hasDate = dateWord != ANYDAY;
  const auto date = hasDate ? dateText(dateWord & julianDayMask) : std::string();
  if (!date || (hasClock && clock >= hundredthsPerDay) || isWildcard(time))
    return {"", "", false, timeDigits(time)};
  TimeText text{*date + (hasClock ? clockText(clock) : ""), "", false, ""};
  if (hasDate) {
    text.zone = zoneText(dateWord);
    text.daylightSaving = (dateWord & daylightSavingBit) != 0;
  }
  return text;
}

std::optional<TIMEDATE> timeOf(const TimeText& text) {
  if (!text.raw.empty()) {
    if (!text.text.empty() || !text.zone.empty() || text.daylightSaving) return std::nullopt;
    return timeOfDigits(text.raw);
  }
  TIMEDATE time = {{ALLDAY, ANYDAY}};
  std::string_view rest = text.text;
  if (!rest.starts_with('T')) {
    const auto date = takeDate(rest);
    const auto zone = zoneBits(text.zone);
    if (!date || !zone) return std::nullopt;
    time.Innards[1] = *date | *zone | (text.daylightSaving ? daylightSavingBit : 0);
  } else if (!text.zone.empty() || text.daylightSaving) {
    return std::nullopt;
  }
  if (take(rest, 'T')) {
    const auto clock = takeClock(rest);
    if (!clock) return std::nullopt;
    time.Innards[0] = *clock;
  }
  if (!rest.empty()) return std::nullopt;
  return time;
}

}  // namespace simulator
