// The design of a view or folder, as its note has it: which documents it shows and in what columns.
// The columns are in the item "$ViewFormat", in the form on disk that hosts read too.
#ifndef KOLN_SIMULATOR_VIEW_FORMAT_H
#define KOLN_SIMULATOR_VIEW_FORMAT_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "NotesApi.h"
#include "Store.h"

namespace simulator {

inline constexpr const char* ViewFormatItem = "$ViewFormat";
// Selection formulas are not computed. A view shows all documents, or those with the form that this
// item of the runtime's own names.
inline constexpr const char* ViewSelectionItem = "$SimSelection";

struct ViewColumn {
  std::string item;   // the column shows the item of this name
  std::string title;  // LMBCS, as all texts here
  WORD flags = 0;     // VCF1_M_*
  // Not computed either, with one exception: the size of the document.
  std::string formula = {};
  WORD width = 10 * 8;  // in eighths of a character

  bool showsSize() const;
};

std::vector<BYTE> viewFormat(std::span<const ViewColumn> columns);

struct ViewDesign {
  bool folder = false;
  std::string form;  // of the documents in a view; empty if all are shown
  std::vector<ViewColumn> columns;
};

// StatusError ERR_ITEM_NOT_FOUND for a note without columns, ERR_INVALID_NOTE for damaged ones.
ViewDesign viewDesign(std::span<const NoteItem> items);

// The texts of the item, none if it is absent or no text. They live as long as the items.
std::vector<std::string_view> textsOf(std::span<const NoteItem> items, std::string_view name);

// Whether "$Flags" holds the character.
bool hasDesignFlag(std::span<const NoteItem> items, char flag);

}  // namespace simulator

#endif
