#include "Amounts.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <limits>
#include <string_view>

#include "Failure.h"

namespace host {
namespace {

constexpr std::uint64_t step = 1024;

struct Unit {
  char letter;
  std::uint64_t factor;
};

// A number and one letter behind it, which may be missing where `plain` says so.
template <std::size_t count>
std::uint64_t amountOf(const std::string& text, const std::array<Unit, count>& units, bool plain,
                       const char* thing, const char* hint) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  std::uint64_t factor = plain && rest == end ? 1 : 0;
  for (const Unit& unit : units) {
    if (end - rest == 1 && (*rest | 0x20) == unit.letter) {
      factor = unit.factor;
    }
  }
  if (error != std::errc() || factor == 0 ||
      number > std::numeric_limits<std::uint64_t>::max() / factor) {
    throw Failure(ExitCode::WrongUsage, fmt::format("'{}' is no {}; write {}", text, thing, hint));
  }
  return number * factor;
}

}  // namespace

std::uint64_t secondsFromAge(const std::string& text) {
  constexpr std::uint64_t day = std::uint64_t{24} * 60 * 60;
  constexpr std::array<Unit, 4> units = {
      {{'d', day}, {'w', 7 * day}, {'m', 30 * day}, {'y', 365 * day}}};
  return amountOf(text, units, false, "age",
                  "days as 90d, weeks as 12w, months as 6m or years as 2y");
}

std::uint64_t bytesFromSize(const std::string& text) {
  constexpr std::array<Unit, 3> units = {
      {{'k', step}, {'m', step * step}, {'g', step * step * step}}};
  return amountOf(text, units, true, "size", "bytes as 5000, or 100K, 5M or 1G");
}

std::string shortSize(std::uint64_t bytes) {
  constexpr std::array units = {"KiB", "MiB", "GiB", "TiB"};
  if (bytes < step) {
    return fmt::format("{} bytes", bytes);
  }
  double size = static_cast<double>(bytes) / step;
  std::size_t unit = 0;
  for (; size >= step && unit + 1 < units.size(); ++unit) {
    size /= step;
  }
  return fmt::format("{:.1f} {}", size, units[unit]);
}

std::string readableSize(std::uint64_t bytes) {
  return bytes < step ? shortSize(bytes) : fmt::format("{} bytes ({})", bytes, shortSize(bytes));
}

std::string counted(std::uint64_t number, const char* thing) {
  return fmt::format("{} {}{}", number, thing, number == 1 ? "" : "s");
}

}  // namespace host
