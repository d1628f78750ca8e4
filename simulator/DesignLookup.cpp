// Finds design notes by name.
#include <string_view>

#include "Databases.h"
#include "Export.h"
#include "Status.h"
#include "Text.h"
#include "ViewFormat.h"

using namespace simulator;

namespace {

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(' '), text.size());
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// A title is a name and its aliases, with "|" between them; any of them will do, or the whole.
bool isCalled(std::string_view title, std::string_view name) {
  if (sameName(title, name)) return true;
  for (;;) {
    const std::size_t bar = title.find('|');
    if (sameName(trimmed(title.substr(0, bar)), name)) return true;
    if (bar == std::string_view::npos) return false;
    title.remove_prefix(bar + 1);
  }
}

bool fits(const std::vector<NoteItem>& items, std::string_view name, std::string_view unwanted) {
  const std::vector<std::string_view> titles = textsOf(items, "$TITLE");
  return std::any_of(titles.begin(), titles.end(),
                     [name](std::string_view title) { return isCalled(title, name); }) &&
         std::none_of(unwanted.begin(), unwanted.end(),
                      [&items](char flag) { return hasDesignFlag(items, flag); });
}

}  // namespace

SIM_EXPORT STATUS NIFFindDesignNoteExt(DBHANDLE hFile, const char* Name, WORD Class,
                                       const char* pszFlagsPattern, NOTEID* retNoteID,
                                       DWORD Options) {
  if (!retNoteID) return ERR_BAD_PARAM;
  *retNoteID = 0;
  return statusOf([&] {
    const StoreLease store = requireStore(hFile);
    if (!Name) throw StatusError(ERR_BAD_PARAM, "no name");
    const std::string_view pattern = pszFlagsPattern ? pszFlagsPattern : "";
    if (Options != 0 || (!pattern.empty() && pattern.front() != '-'))
      throw StatusError(NotSupportedYet, "kind of search for design notes");
    const std::string_view unwanted = pattern.substr(pattern.empty() ? 0 : 1);
    for (const NoteHeader& note : store->notes(Class)) {
      if (note.deleted || *Name == '\0' || !fits(store->summaryItems(note.id), Name, unwanted))
        continue;
      *retNoteID = note.id;
      return;
    }
    throw StatusError(ERR_NOT_FOUND, "no such design note");
  });
}
