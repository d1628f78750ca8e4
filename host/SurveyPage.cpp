#include "SurveyPage.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "Amounts.h"
#include "NewFile.h"
#include "ShownText.h"
#include "SurveyPageParts.h"

namespace host {
namespace {

constexpr std::size_t mostShown = 20;

// Titles and paths come from databases: nothing in them may become a part of the page.
std::string escaped(std::string_view text) {
  std::string safe;
  for (const char c : shown(text)) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      case '\'':
        safe += "&#39;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

// "12,345".
std::string grouped(std::uint64_t number) {
  std::string digits = fmt::format("{}", number);
  for (std::size_t place = digits.size(); place > 3;) {
    place -= 3;
    digits.insert(place, ",");
  }
  return digits;
}

std::string countedGrouped(std::uint64_t number, const char* one, const char* many) {
  return fmt::format("{} {}", grouped(number), number == 1 ? one : many);
}

double partOf(std::uint64_t part, std::uint64_t whole, double length) {
  return whole == 0 ? 0 : length * static_cast<double>(part) / static_cast<double>(whole);
}

template <std::size_t count>
std::string chart(const char* title, const std::array<SurveyClass, count>& classes,
                  const std::array<SurveyAmount, count>& amounts) {
  constexpr double left = 130;
  constexpr double longest = 245;
  constexpr double rowHeight = 34;
  std::uint64_t most = 0;
  for (const SurveyAmount& amount : amounts) {
    most = std::max(most, amount.bytes);
  }
  std::string text = fmt::format(
      "<figure><figcaption>{}</figcaption>\n<svg viewBox=\"0 0 470 {}\" role=\"img\" "
      "aria-label=\"{}\">\n",
      title, rowHeight * count, title);
  for (std::size_t i = 0; i < count; ++i) {
    const SurveyAmount& amount = amounts[i];
    const double whole = partOf(amount.bytes, most, longest);
    const double y = rowHeight * static_cast<double>(i);
    text += fmt::format(
        "<g><title>{0}: {1}, {2}; archiving all of it would free {3}</title>\n"
        "<text x=\"{4}\" y=\"{5}\" text-anchor=\"end\">{0}</text>\n"
        "<rect class=\"bar stays\" x=\"{6}\" y=\"{7}\" width=\"{8:.1f}\" height=\"20\" rx=\"2\"/>\n"
        "<rect class=\"bar goes\" x=\"{6}\" y=\"{7}\" width=\"{9:.1f}\" height=\"20\" rx=\"2\"/>\n"
        "<text class=\"amount\" x=\"{10:.1f}\" y=\"{5}\">{2}</text></g>\n",
        classes[i].name, countedGrouped(amount.notes, "note", "notes"), shortSize(amount.bytes),
        shortSize(amount.gain()), left - 10, y + 21, left, y + 6, whole,
        partOf(amount.gain(), most, longest), left + whole + 8);
  }
  return text + "</svg></figure>\n";
}

std::string bar(const SurveySums& sums, std::uint64_t most) {
  return fmt::format(
      "<div class=\"track\"><i class=\"bar goes\" style=\"width:{:.2f}%\"></i>"
      "<i class=\"bar stays\" style=\"width:{:.2f}%\"></i></div>",
      partOf(sums.old.gain(), most, 100), partOf(sums.all.bytes - sums.old.gain(), most, 100));
}

std::string row(const std::string& name, const SurveySums& sums, const std::string& drawn) {
  return fmt::format(
      "<tr><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{} %</td><td>{}</td></tr>\n", name,
      grouped(sums.all.notes), shortSize(sums.all.bytes), shortSize(sums.old.gain()),
      percentOf(sums.old.gain(), sums.all.bytes), drawn);
}

std::string card(const std::string& value, const char* label) {
  return fmt::format("<div><b>{}</b>{}</div>\n", value, label);
}

// What the numbers leave out, if they do.
std::string warning(const SurveyTotal& total) {
  return total.unreadable + total.sums.failed == 0
             ? std::string()
             : fmt::format(
                   "<p class=\"warning\">Not in these numbers, as they could not be read: "
                   "{} and {}.</p>\n",
                   countedGrouped(total.unreadable, "mailbox", "mailboxes"),
                   countedGrouped(total.sums.failed, "note", "notes"));
}

}  // namespace

SurveyPage::SurveyPage(const std::string& path, std::string place, const SurveyLimits& limits)
    : path_(path), place_(std::move(place)), limits_(limits) {
  std::error_code unknown;
  if (std::filesystem::is_directory(path_, unknown)) {
    throw diskFailure(path_, "cannot be written", EISDIR);
  }
  const NewFile trial(path_);  // Gone at once; a survey may take hours before it has a page.
}

void SurveyPage::add(const SurveyedMailbox& mailbox) {
  const auto more = [](const SurveyedMailbox& one, const SurveyedMailbox& other) {
    return one.sums.old.gain() > other.sums.old.gain();
  };
  largest_.insert(std::upper_bound(largest_.begin(), largest_.end(), mailbox, more), mailbox);
  if (largest_.size() > mostShown) {
    others_ += largest_.back().sums;
    largest_.pop_back();
  }
}

std::string SurveyPage::mailboxTable(const SurveyTotal& total) const {
  std::uint64_t most = 0;
  for (const SurveyedMailbox& mailbox : largest_) {
    most = std::max(most, mailbox.sums.all.bytes);
  }
  std::string rows;
  for (const SurveyedMailbox& mailbox : largest_) {
    const std::string& title = mailbox.title.empty() ? mailbox.path : mailbox.title;
    rows += row(fmt::format("<bdi>{}</bdi> <small><bdi>{}</bdi></small>", escaped(title),
                            escaped(mailbox.path)),
                mailbox.sums, bar(mailbox.sums, most));
  }
  if (total.mailboxes > largest_.size()) {
    rows +=
        row(countedGrouped(total.mailboxes - largest_.size(), "other mailbox", "other mailboxes"),
            others_, "");
  }
  return fmt::format(
      "<table><thead><tr><th>Mailbox</th><th>Notes</th><th>Size</th><th>Would be freed</th>"
      "<th>Share</th><th></th></tr></thead>\n<tbody>\n{}</tbody>\n<tfoot>{}</tfoot></table>\n",
      rows, row("All", total.sums, ""));
}

void SurveyPage::write(const SurveyTotal& total) const {
  const SurveySums& sums = total.sums;
  const std::string age = readableAge(limits_.olderThan);
  std::string body = fmt::format(
      "<h1>{}</h1>\n<p class=\"lead\">{} of <bdi>{}</bdi>, {:%Y-%m-%d %H:%M} UTC</p>\n{}",
      surveyHeadline(sums, limits_), countedGrouped(total.mailboxes, "mailbox", "mailboxes"),
      escaped(place_), fmt::gmtime(std::time(nullptr)), warning(total));
  body += "<section class=\"cards\">\n" + card(shortSize(sums.all.bytes), "in all notes") +
          card(shortSize(sums.old.gain()), "would be freed") +
          card(grouped(sums.old.candidates), "notes would be archived") +
          card(grouped(sums.stubs), "archived before");
  if (!limits_.withUnread) {
    body += card(grouped(sums.unread), "unread, and so left");
  }
  body +=
      "</section>\n<p class=\"legend\"><i class=\"goes\"></i>archiving would free<i "
      "class=\"stays\"></i>stays</p>\n<section class=\"charts\">\n" +
      chart("By age, if all were archived", ageClasses, sums.byAge) +
      chart("By size of the notes, if all were archived", sizeClasses, sums.bySize) +
      "</section>\n" +
      fmt::format("<h2>{}, if what is older than {} were archived</h2>\n",
                  total.mailboxes > mostShown ? "Where most would be freed" : "Mailboxes", age) +
      mailboxTable(total);
  NewFile file(path_);
  file.write(surveyPageBegin);
  file.write(body);
  file.write(surveyPageEnd);
  file.finish();
}

}  // namespace host
