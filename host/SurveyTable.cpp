#include "SurveyTable.h"

#include <fmt/format.h>

#include "Amounts.h"
#include "JsonLine.h"
#include "Output.h"
#include "ShownText.h"

namespace host {
namespace {

constexpr std::size_t nameWidth = 36;

void addAmount(Json& object, const SurveyAmount& amount) {
  object["notes"] = amount.notes;
  object["bytes"] = amount.bytes;
  object["candidates"] = amount.candidates;
  object["candidateBytes"] = amount.candidateBytes;
  object["freed"] = amount.freed;
}

template <std::size_t count>
Json classesOf(const std::array<SurveyClass, count>& classes, const char* limitName,
               const std::array<SurveyAmount, count>& amounts) {
  Json all = Json::array();
  for (std::size_t i = 0; i < count; ++i) {
    Json one = {{limitName, classes[i].limit == noLimit ? Json() : Json(classes[i].limit)}};
    addAmount(one, amounts[i]);
    all.push_back(std::move(one));
  }
  return all;
}

void addSums(Json& object, const SurveySums& sums, const SurveyLimits& limits) {
  addAmount(object, sums.all);
  object["stubs"] = sums.stubs;
  object["unread"] = limits.withUnread ? Json() : Json(sums.unread);
  object["failed"] = sums.failed;
  object["old"] = {{"olderThanSeconds", limits.age}};
  addAmount(object["old"], sums.old);
  object["byAge"] = classesOf(ageClasses, "upToSeconds", sums.byAge);
  object["bySize"] = classesOf(sizeClasses, "upToBytes", sums.bySize);
}

std::string row(const std::string& name, const SurveyAmount& all, const SurveyAmount& old) {
  return fmt::format("{}  {:>9}  {:>10}  {:>9}  {:>10}  {:>3} %\n", cell(name, nameWidth, false),
                     all.notes, shortSize(all.bytes), old.candidates, shortSize(old.gain()),
                     percentOf(old.gain(), all.bytes));
}

std::string heading(const char* name) {
  return fmt::format("{:<{}}  {:>9}  {:>10}  {:>9}  {:>10}  {:>5}\n", name, nameWidth, "NOTES",
                     "SIZE", "ARCHIVED", "FREED", "SHARE");
}

template <std::size_t count>
std::string table(const char* name, const std::array<SurveyClass, count>& classes,
                  const std::array<SurveyAmount, count>& amounts) {
  std::string text = '\n' + heading(name);
  for (std::size_t i = 0; i < count; ++i) {
    text += row(classes[i].name, amounts[i], amounts[i]);
  }
  return text;
}

}  // namespace

void SurveyTable::add(const SurveyedMailbox& mailbox) {
  if (json_) {
    Json object = {{"path", mailbox.path}, {"title", mailbox.title}};
    addSums(object, mailbox.sums, limits_);
    return writeResult(jsonLine(object));
  }
  if (!begun_) {
    begun_ = true;
    writeResult(
        heading(fmt::format("MAILBOX, OLDER THAN {}", readableAge(limits_.olderThan)).c_str()));
  }
  writeResult(row(mailbox.path, mailbox.sums.all, mailbox.sums.old));
}

void SurveyTable::end(const SurveyTotal& total) {
  const SurveySums& sums = total.sums;
  if (json_) {
    Json object = {{"mailboxes", total.mailboxes}, {"unreadable", total.unreadable}};
    addSums(object, sums, limits_);
    return writeResult(jsonLine(object));
  }
  std::string text;
  if (total.mailboxes > 1) {
    text += row(fmt::format("all {} mailboxes", total.mailboxes), sums.all, sums.old);
  }
  text += table("AGE, IF ALL OF IT WERE ARCHIVED", ageClasses, sums.byAge);
  text += table("SIZE, IF ALL OF IT WERE ARCHIVED", sizeClasses, sums.bySize);
  text += '\n' + surveyHeadline(sums, limits_) + ".\n";
  text += fmt::format("Archived before: {}.", counted(sums.stubs, "note"));
  if (!limits_.withUnread) {
    text += fmt::format(" Unread, and so left: {}.", counted(sums.unread, "note"));
  }
  writeResult(text + '\n');
}

std::string surveyHeadline(const SurveySums& sums, const SurveyLimits& limits) {
  return fmt::format("Archiving what is older than {} would free {} of {} ({} %)",
                     readableAge(limits.olderThan), shortSize(sums.old.gain()),
                     shortSize(sums.all.bytes), percentOf(sums.old.gain(), sums.all.bytes));
}

std::string readableAge(const std::string& age) {
  const std::uint64_t number = std::stoull(age);
  switch (age.back() | 0x20) {
    case 'd':
      return counted(number, "day");
    case 'w':
      return counted(number, "week");
    case 'm':
      return counted(number, "month");
    default:
      return counted(number, "year");
  }
}

std::uint64_t percentOf(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? 0 : static_cast<std::uint64_t>(100.0L * part / whole);
}

}  // namespace host
