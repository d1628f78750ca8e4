// What must be known of a note before it is archived, and of a stub to find its copy again.
#ifndef KOLN_HOST_NOTE_FACTS_H
#define KOLN_HOST_NOTE_FACTS_H

#include <koln.h>

#include <optional>
#include <string>
#include <vector>

namespace host {

/// The formula that measures notes, from the start of the work to its end. One per process.
class SizeFormula {
 public:
  SizeFormula();
  ~SizeFormula();
  SizeFormula(const SizeFormula&) = delete;
  SizeFormula& operator=(const SizeFormula&) = delete;

  /// @throws Failure
  unsigned int sizeOf(KoLNDocument& note);

 private:
  KoLNUtilities utilities_;
};

struct NoteFacts {
  ORIGINATORID identity = {};
  std::string unid;
  std::string subject;    ///< UTF-8.
  unsigned long age = 0;  ///< Seconds since it was delivered or posted; 0 if neither is known.
  unsigned int size = 0;  ///< Attachments included.
  std::vector<ATTACHMENT> attachments;
  /// What the stub says of its copy; nothing if the note is no stub.
  std::optional<std::string> stub;
};

/// The note items in which a stub tells where its copy is, and how it came about.
constexpr const char* stubItem = "StubData";
constexpr const char* stubDetailsItem = "StubDetails";

/// Opens a note as it is stored, MIME included. @return False if it has been deleted. @throws
/// Failure
bool openAsStored(KoLNDocument& note);

/// @throws Failure
NoteFacts factsOf(KoLNDataDocument& note, SizeFormula& formula);

/// The whole value of a text item as it is stored; nothing if there is none. @throws Failure
std::optional<std::string> storedText(KoLNDocument& note, const char* item);

/// The documents of a database, in ascending order. @throws Failure
std::vector<NOTEID> documentsOf(KoLNDatabase& database);

/// The ID of a note in this database; nothing if it is not there. @throws Failure
std::optional<NOTEID> idOf(KoLNDatabase& database, const std::string& unid);

}  // namespace host

#endif
