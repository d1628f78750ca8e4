// The views and folders of a database.
#ifndef KOLN_HOST_VIEW_LIST_H
#define KOLN_HOST_VIEW_LIST_H

#include <koln.h>

#include <optional>
#include <string>
#include <vector>

namespace host {

struct ViewFacts {
  std::string name;  ///< UTF-8; levels of nested folders are parted by a backslash.
  std::vector<std::string> aliases;
  bool folder = false;
};

/// Their note IDs and those of other design elements of the same class. @throws Failure
std::vector<NOTEID> viewNotesOf(KoLNDatabase& database);

/// Nothing for a design element that users do not see as a view or folder. @throws Failure
std::optional<ViewFacts> viewFactsOf(KoLNDatabase& database, NOTEID id);

/// The ID of a view or folder by one of its names. @throws Failure that says how to find one
NOTEID findView(KoLNView& view, const std::string& name, const std::string& database);

/// The parts of a text that has a separator between them.
std::vector<std::string> partsOf(const std::string& text, char separator);

}  // namespace host

#endif
