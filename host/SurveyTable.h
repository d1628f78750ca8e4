// The result of a survey on stdout: a line for each mailbox as it comes, in the end the sums.
#ifndef KOLN_HOST_SURVEY_TABLE_H
#define KOLN_HOST_SURVEY_TABLE_H

#include <cstdint>
#include <string>

#include "SurveyCount.h"

namespace host {

/// What the sums are of.
struct SurveyTotal {
  std::uint64_t mailboxes = 0;
  std::uint64_t unreadable = 0;  ///< Mailboxes that are in none of the numbers.
  SurveySums sums;
};

/// All members throw a `Failure` if stdout takes nothing.
class SurveyTable {
 public:
  /// The limits must outlive the object.
  SurveyTable(bool json, const SurveyLimits& limits) : json_(json), limits_(limits) {}

  void add(const SurveyedMailbox& mailbox);
  void end(const SurveyTotal& total);

 private:
  const bool json_;
  const SurveyLimits& limits_;
  bool begun_ = false;
};

/// "Archiving what is older than 1 year would free 3.1 GiB of 8.0 GiB (39 %)".
std::string surveyHeadline(const SurveySums& sums, const SurveyLimits& limits);

/// "1 year" for "1y".
std::string readableAge(const std::string& age);

/// In percent, rounded down; 0 of nothing.
std::uint64_t percentOf(std::uint64_t part, std::uint64_t whole);

}  // namespace host

#endif
