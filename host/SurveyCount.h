// What a mailbox holds, by age and by size of its notes, and what archiving would take away. All
// sums have the same size for one mailbox and for ten thousand.
#ifndef KOLN_HOST_SURVEY_COUNT_H
#define KOLN_HOST_SURVEY_COUNT_H

#include <koln.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>

#include "Complaints.h"
#include "NoteFacts.h"

namespace host {

/// A class of notes: those of at most `limit`, which belong to no class before it.
struct SurveyClass {
  const char* name;
  std::uint64_t limit;
};

constexpr std::uint64_t noLimit = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t surveyDay = std::uint64_t{24} * 60 * 60;

/// Limits in seconds. They belong to the younger class, as a note of exactly the age that
/// `koln archive --older-than` is given is too young.
constexpr std::array<SurveyClass, 6> ageClasses = {{{"up to 30 days", 30 * surveyDay},
                                                    {"30 to 90 days", 90 * surveyDay},
                                                    {"90 days to 1 year", 365 * surveyDay},
                                                    {"1 to 2 years", 730 * surveyDay},
                                                    {"2 to 5 years", 1825 * surveyDay},
                                                    {"over 5 years", noLimit}}};

/// Limits in bytes.
constexpr std::array<SurveyClass, 5> sizeClasses = {{{"up to 10 KiB", 10 << 10},
                                                     {"10 to 100 KiB", 100 << 10},
                                                     {"100 KiB to 1 MiB", 1 << 20},
                                                     {"1 to 10 MiB", 10 << 20},
                                                     {"over 10 MiB", noLimit}}};

struct SurveyAmount {
  std::uint64_t notes = 0;
  std::uint64_t bytes = 0;
  std::uint64_t candidates = 0;  ///< Notes among them that may be archived.
  std::uint64_t candidateBytes = 0;
  /// Bytes that would be gone if all candidates were archived. A stub may be larger than a short
  /// mail: below 0 archiving would cost.
  std::int64_t freed = 0;

  std::uint64_t gain() const noexcept { return freed > 0 ? static_cast<std::uint64_t>(freed) : 0; }

  SurveyAmount& operator+=(const SurveyAmount& other) noexcept;
};

struct SurveySums {
  SurveyAmount all;
  SurveyAmount old;  ///< What is older than the user's limit.
  std::array<SurveyAmount, ageClasses.size()> byAge;
  std::array<SurveyAmount, sizeClasses.size()> bySize;
  std::uint64_t stubs = 0;
  std::uint64_t unread = 0;  ///< Notes older than the limit that are no candidates as unread ones.
  std::uint64_t failed = 0;  ///< Notes that are in none of the numbers.

  SurveySums& operator+=(const SurveySums& other) noexcept;
};

struct SurveyedMailbox {
  std::string path;
  std::string title;  ///< UTF-8.
  SurveySums sums;
};

struct SurveyLimits {
  std::string olderThan;    ///< As the user wrote it.
  std::uint64_t age = 0;    ///< The same in seconds.
  bool withUnread = false;  ///< Whether unread notes are candidates.
};

/// Looks at all notes of a database. @param place For the progress: which database of how many.
/// @throws Failure if the database as a whole cannot be read, and if the user wants to stop.
SurveyedMailbox surveyed(KoLNDatabase& database, const std::string& path,
                         const SurveyLimits& limits, SizeFormula& formula, Complaints& complaints,
                         const std::string& place);

}  // namespace host

#endif
