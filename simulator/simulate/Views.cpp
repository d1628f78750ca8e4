// See Views.h.
#include "Views.h"

#include <fmt/format.h>

#include <iterator>
#include <string>

#include "NoteMaker.h"
#include "Text.h"
#include "ViewFormat.h"
#include "Writing.h"

namespace simulator {

namespace {

// Parents come before what is in them. Behind these there are as many more as are asked for.
constexpr const char* FolderNames[] = {
    "Projects",        "Projects\\Alpha",  "Projects\\Beta", "Projects\\Beta\\Reports",
    "Customers",       "Customers\\Köln",  "Private",        "Private\\Travel",
    "Projects\\Gamma", "Customers\\Zürich"};

std::string folderName(unsigned number) {
  if (number < std::size(FolderNames)) return FolderNames[number];
  return "Projects\\Project " + std::to_string(number + 1);
}

std::vector<ViewColumn> mailColumns(WORD sort) {
  std::vector<ViewColumn> columns = {
      {"$Unread", "", VCF1_M_Hidden | VCF1_M_Icon},
      {"$Responses", "", VCF1_M_Response},
      {"Subject", "Subject"},
      {"From", "Sender"},
      {"PostedDate", "Date", sort},
      {"$DocLength", "Size", 0, "@DocLength"},
  };
  for (ViewColumn& column : columns) {
    // A column that shows an item as it is has the item's name for its formula.
    if (column.formula.empty()) column.formula = column.item;
  }
  return columns;
}

std::vector<ViewColumn> categorised(const char* item, const char* title,
                                    std::vector<ViewColumn> columns) {
  columns.insert(columns.begin(), {item, title, VCF1_M_Sort | VCF1_M_SortCategorize, item});
  return columns;
}

NOTEID writeView(Store& store, const std::string& title, const std::string& flags,
                 const std::vector<ViewColumn>& columns, Dice& dice, const std::string& form = "") {
  NoteMaker note;
  note.text("$TITLE", title);
  note.text("$Flags", flags);
  note.item(ViewFormatItem, TYPE_VIEW_FORMAT, ITEM_SUMMARY, viewFormat(columns));
  if (!form.empty()) note.text(ViewSelectionItem, form);
  const std::int64_t created = Present - dice.between(2 * Year, 9 * Year);
  NoteHeader header = documentHeader(created, created, dice);
  header.noteClass = NOTE_CLASS_VIEW;
  return note.write(store, header);
}

// One in `share` of the notes is in the folder; with `allBut`, all the others are.
void fillFolder(Store& store, NOTEID folder, const std::vector<NOTEID>& notes, unsigned share,
                bool allBut, Dice& dice) {
  std::vector<NOTEID> members;
  for (const NOTEID note : notes) {
    if (dice.oneIn(share) != allBut) members.push_back(note);
  }
  store.addToFolder(folder, members);
}

}  // namespace

void writeMailViews(Store& store, const std::vector<NOTEID>& notes, unsigned folders, Dice& dice) {
  const std::vector<ViewColumn> newestFirst = mailColumns(VCF1_M_Sort | VCF1_M_SortDescending);
  writeView(store, "All Documents|($All)", "", newestFirst, dice);
  writeView(store, "By Category|$ByCategory", "",
            categorised("SendTo", "Category", mailColumns(VCF1_M_Sort)), dice, "Memo");
  const NOTEID inbox = writeView(store, "($Inbox)|$Inbox", "F", newestFirst, dice);
  fillFolder(store, inbox, notes, 5, true, dice);
  for (unsigned i = 0; i < folders; ++i) {
    const std::string name = folderName(i);
    const NOTEID folder =
        writeView(store, fmt::format("{}|${}", name, name), "F", newestFirst, dice);
    fillFolder(store, folder, notes, 4, false, dice);
  }
}

void writeApplicationViews(Store& store, Dice& dice) {
  const std::vector<ViewColumn> columns = {{"Subject", "Subject", VCF1_M_Sort, "Subject"},
                                           {"From", "Author", 0, "From"},
                                           {"$DocLength", "Size", 0, "@DocLength"}};
  writeView(store, "All Documents|($All)", "", columns, dice);
  writeView(store, "By Category|$ByCategory", "", categorised("Categories", "Category", columns),
            dice);
}

}  // namespace simulator
