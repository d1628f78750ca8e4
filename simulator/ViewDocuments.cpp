// See ViewDocuments.h. A view of a large database has to be read in one pass, or opening it would
// take as long as opening each of its documents.
#include "ViewDocuments.h"

#include <algorithm>
#include <cstring>

#include "Text.h"

namespace simulator {

namespace {

constexpr const char* FormItem = "Form";

ViewDocument documentOf(const NoteHeader& header, std::size_t columns) {
  return {header.id,
          header.noteClass,
          {header.originator.File, header.originator.Note},
          std::vector<ColumnValue>(columns)};
}

std::vector<ViewDocument> notesOf(const StoreLease& store, WORD classMask, std::size_t columns) {
  std::vector<ViewDocument> documents;
  for (const NoteHeader& header : store->notes(classMask)) {
    if (!header.deleted) documents.push_back(documentOf(header, columns));
  }
  return documents;
}

std::vector<ViewDocument> membersOf(const StoreLease& store, NOTEID folder, std::size_t columns) {
  std::vector<ViewDocument> documents;
  for (const NOTEID id : store->folderNotes(folder)) {
    const std::optional<NoteHeader> header = store->note(id);
    if (header && !header->deleted) documents.push_back(documentOf(*header, columns));
  }
  return documents;
}

// Null for a note that has come in since the documents were listed.
ViewDocument* find(std::vector<ViewDocument>& documents, NOTEID id) {
  const auto found = std::lower_bound(
      documents.begin(), documents.end(), id,
      [](const ViewDocument& document, NOTEID wanted) { return document.id < wanted; });
  return found == documents.end() || found->id != id ? nullptr : &*found;
}

ColumnValue numberValue(NUMBER number) {
  ColumnValue value{TYPE_NUMBER, std::vector<BYTE>(sizeof number)};
  std::memcpy(value.bytes.data(), &number, sizeof number);
  return value;
}

}  // namespace

std::vector<ViewDocument> viewDocuments(const StoreLease& store, NOTEID view,
                                        const ViewDesign& design) {
  // Behind the columns there is one more, for the selection.
  const std::size_t form = design.columns.size();
  const std::optional<NOTEID> folder = design.folder ? std::optional(view) : std::nullopt;
  std::vector<ViewDocument> documents = design.folder
                                            ? membersOf(store, view, form + 1)
                                            : notesOf(store, NOTE_CLASS_DOCUMENT, form + 1);
  std::vector<std::string> names;
  for (const ViewColumn& column : design.columns) names.push_back(column.item);
  names.emplace_back(FormItem);
  store->visitItems(
      names,
      [&](NOTEID id, const NoteItem& item) {
        // As real views, which have nothing but the summary items at hand.
        ViewDocument* const document =
            (item.flags & ITEM_SUMMARY) != 0 ? find(documents, id) : nullptr;
        for (std::size_t i = 0; document && i < names.size(); ++i) {
          ColumnValue& value = document->values[i];
          if (value.absent() && sameName(names[i], item.name)) value = {item.type, item.value};
        }
      },
      folder);
  if (!design.form.empty()) {
    std::erase_if(documents, [&](const ViewDocument& document) {
      const ColumnValue& value = document.values[form];
      return value.type != TYPE_TEXT ||
             !sameName(std::string(value.bytes.begin(), value.bytes.end()), design.form);
    });
  }
  for (ViewDocument& document : documents) document.values.pop_back();
  for (std::size_t i = 0; i < form; ++i) {
    if (!design.columns[i].showsSize()) continue;
    store->visitSizes(
        [&](NOTEID id, std::uint64_t size) {
          if (ViewDocument* const document = find(documents, id))
            document->values[i] = numberValue(static_cast<NUMBER>(size));
        },
        folder);
  }
  return documents;
}

std::vector<ViewDocument> designNotes(const StoreLease& store) {
  return notesOf(store, NOTE_CLASS_ALLNONDATA, 0);
}

}  // namespace simulator
