// A survey as a page to read and to hand on: one HTML file that needs neither network nor scripts.
#ifndef KOLN_HOST_SURVEY_PAGE_H
#define KOLN_HOST_SURVEY_PAGE_H

#include <string>
#include <vector>

#include "SurveyTable.h"

namespace host {

class SurveyPage {
 public:
  /// Finds out whether there can be a file of that name. @param place What was surveyed, for the
  /// reader. The limits must outlive the object. @throws Failure
  SurveyPage(const std::string& path, std::string place, const SurveyLimits& limits);

  /// Keeps those mailboxes of which most would go, and the sum of the others.
  void add(const SurveyedMailbox& mailbox);

  /// The file appears in one piece, or not at all. @throws Failure
  void write(const SurveyTotal& total) const;

 private:
  std::string mailboxTable(const SurveyTotal& total) const;

  const std::string path_;
  const std::string place_;
  const SurveyLimits& limits_;
  std::vector<SurveyedMailbox> largest_;
  SurveySums others_;
};

}  // namespace host

#endif
