#include "ViewList.h"

#include <fmt/format.h>

#include <algorithm>

#include "Failure.h"
#include "NoteArgument.h"
#include "NoteTable.h"
#include "NotesFailure.h"
#include "Translation.h"

namespace host {
namespace {

// Of shared design elements of this class, those that are something else.
constexpr const char* otherFlags = "G40n^";

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  return begin == std::string::npos ? std::string()
                                    : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

}  // namespace

std::vector<NOTEID> viewNotesOf(KoLNDatabase& database) {
  return NoteTable(database, std::nullopt, NOTE_CLASS_VIEW).ids();
}

std::optional<ViewFacts> viewFactsOf(KoLNDatabase& database, NOTEID id) {
  KoLNDocument note(database.GetHandle(), id);
  const KoLNError error = note.Open(0);
  if (isError(error)) {
    throw failureOf(fmt::format("view {} cannot be opened", textFromNoteId(id)), error);
  }
  std::string flags;
  std::string title;
  note.GetItem("$Flags", flags);
  note.GetItem("$TITLE", title);
  if (flags.find_first_of(otherFlags) != std::string::npos) {
    return std::nullopt;
  }
  ViewFacts facts;
  facts.folder = flags.find('F') != std::string::npos;
  for (const std::string& name : partsOf(utf8FromLmbcs(title), '|')) {
    facts.aliases.push_back(trimmed(name));
  }
  facts.name = facts.aliases.front();
  facts.aliases.erase(facts.aliases.begin());
  return facts;
}

NOTEID findView(KoLNView& view, const std::string& name, const std::string& database) {
  unsigned int id = 0;
  const KoLNError error = view.FindID(id);
  const STATUS code = error.GetErrorCode() & ERR_MASK;
  if (code == ERR_NOT_FOUND || error.GetErrorCode() == KoLNError::CustomMessageCode) {
    throw Failure(ExitCode::Failed,
                  fmt::format("{0} has no view or folder '{1}'; 'koln views {0}' lists them",
                              database, name));
  }
  if (isError(error)) {
    throw failureOf(fmt::format("'{}' cannot be looked up in {}", name, database), error);
  }
  return id;
}

std::vector<std::string> partsOf(const std::string& text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

}  // namespace host
