// Times as text: "MM/DD/YYYY HH:MM:SS", always in GMT.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"
#include "Export.h"

namespace simulator {
namespace {

// What the text has room for.
constexpr int lastYear = 9999;

std::chrono::year_month_day dateOf(DWORD dateWord) {
  const std::int64_t day = static_cast<std::int64_t>(dateWord & julianDayMask) - unixEpochDay;
  return std::chrono::sys_days(std::chrono::days(day));
}

// Nothing for a time that has no such text.
std::optional<std::string> textOf(const TIMEDATE& time, bool wantsDate, bool wantsTime) {
  std::string text;
  char part[40];
  if (wantsDate && time.Innards[1] != ANYDAY) {
    const std::chrono::year_month_day date = dateOf(time.Innards[1]);
    const int year = static_cast<int>(date.year());
    if (year < 1 || year > lastYear) return std::nullopt;
    std::snprintf(part, sizeof part, "%02u/%02u/%04d", static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), year);
    text = part;
  }
  if (wantsTime && time.Innards[0] != ALLDAY) {
    if (time.Innards[0] >= hundredthsPerDay) return std::nullopt;
    const DWORD seconds = time.Innards[0] / 100;
    std::snprintf(part, sizeof part, "%02u:%02u:%02u", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    if (!text.empty()) text += ' ';
    text += part;
  }
  return text;
}

// Reads a text from the front; each function moves on only when it succeeds.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  std::size_t position() const { return position_; }

  void skipBlanks() {
    while (at(position_) == ' ') ++position_;
  }

  // "M/D/YYYY"
  std::optional<DWORD> date() {
    Reader ahead = *this;
    const auto month = ahead.number(1, 2);
    if (!month || !ahead.sign('/')) return std::nullopt;
    const auto day = ahead.number(1, 2);
    if (!day || !ahead.sign('/')) return std::nullopt;
    const auto year = ahead.number(4, 4);
    if (!year || *year == 0) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(*year)),
                                           std::chrono::month(*month), std::chrono::day(*day)};
    if (!date.ok()) return std::nullopt;
    *this = ahead;
    return static_cast<DWORD>(std::chrono::sys_days(date).time_since_epoch().count() +
                              unixEpochDay);
  }

  // "H:MM" or "H:MM:SS", whose fractions are dropped.
  std::optional<DWORD> time() {
    Reader ahead = *this;
    const auto hour = ahead.number(1, 2);
    if (!hour || *hour > 23 || !ahead.sign(':')) return std::nullopt;
    const auto minute = ahead.number(2, 2);
    if (!minute || *minute > 59) return std::nullopt;
    unsigned seconds = 0;
    if (ahead.sign(':')) {
      const auto given = ahead.number(2, 2);
      if (!given || *given > 59) return std::nullopt;
      seconds = *given;
      if (ahead.sign('.')) ahead.skipDigits();
    }
    *this = ahead;
    return ((*hour * 60 + *minute) * 60 + seconds) * 100;
  }

 private:
  char at(std::size_t index) const { return index < text_.size() ? text_[index] : '\0'; }
  bool isDigit(std::size_t index) const { return at(index) >= '0' && at(index) <= '9'; }

  void skipDigits() {
    while (isDigit(position_)) ++position_;
  }

  bool sign(char wanted) {
    if (at(position_) != wanted) return false;
    ++position_;
    return true;
  }

  std::optional<unsigned> number(std::size_t leastDigits, std::size_t mostDigits) {
    std::size_t digits = 0;
    unsigned value = 0;
    for (; digits < mostDigits && isDigit(position_ + digits); ++digits) {
      value = value * 10 + static_cast<unsigned>(at(position_ + digits) - '0');
    }
    if (digits < leastDigits || isDigit(position_ + digits)) return std::nullopt;
    position_ += digits;
    return value;
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace
}  // namespace simulator

// Of the formats only the structure counts: date, time or both. The text has no terminator.
SIM_EXPORT STATUS ConvertTIMEDATEToText(const void*, const TFMT* TextFormat,
                                        const TIMEDATE* InputTime, char* retTextBuffer,
                                        WORD TextBufferLength, WORD* retTextLength) {
  const BYTE structure = TextFormat == nullptr ? TSFMT_DATETIME : TextFormat->Structure;
  if (structure > TSFMT_CDATETIME) return ERR_TFMT;
  const auto text = simulator::textOf(*InputTime, structure != TSFMT_TIME, structure != TSFMT_DATE);
  if (!text || text->size() > TextBufferLength) return ERR_TDO_CONV;
  text->copy(retTextBuffer, text->size());
  *retTextLength = static_cast<WORD>(text->size());
  return NOERROR;
}

SIM_EXPORT STATUS ConvertTextToTIMEDATE(const void*, const TFMT*, char** Text, WORD MaxLength,
                                        TIMEDATE* retTIMEDATE) {
  simulator::Reader reader({*Text, strnlen(*Text, MaxLength)});
  reader.skipBlanks();
  const auto date = reader.date();
  simulator::Reader behindDate = reader;
  behindDate.skipBlanks();
  const auto time = behindDate.time();
  if (!date && !time) return ERR_TDI_CONV;
  *retTIMEDATE = {{time.value_or(ALLDAY), date.value_or(ANYDAY)}};
  *Text += time ? behindDate.position() : reader.position();
  return NOERROR;
}
