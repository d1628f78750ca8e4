// What a view shows, before it is put in order: its documents and the values of its columns.
#ifndef KOLN_SIMULATOR_VIEW_DOCUMENTS_H
#define KOLN_SIMULATOR_VIEW_DOCUMENTS_H

#include <vector>

#include "NotesApi.h"
#include "StoreCache.h"
#include "ViewFormat.h"

namespace simulator {

struct ColumnValue {
  WORD type = TYPE_INVALID_OR_UNKNOWN;  // this one: the document has no such item
  std::vector<BYTE> bytes;              // without the type word

  bool absent() const { return type == TYPE_INVALID_OR_UNKNOWN; }
};

struct ViewDocument {
  NOTEID id = 0;
  WORD noteClass = NOTE_CLASS_DOCUMENT;
  UNIVERSALNOTEID unid = {};
  std::vector<ColumnValue> values;  // one for each column
};

// By ID. `view` is the note of the design.
std::vector<ViewDocument> viewDocuments(const StoreLease& store, NOTEID view,
                                        const ViewDesign& design);

// Views, forms and so on, for the collection of a database's design. It has no columns.
std::vector<ViewDocument> designNotes(const StoreLease& store);

}  // namespace simulator

#endif
