// The index of a collection: the entries in their order, the category entries among them, and the
// ways from one to another. It is made when the collection is opened and does not change.
#ifndef KOLN_SIMULATOR_COLLECTION_INDEX_H
#define KOLN_SIMULATOR_COLLECTION_INDEX_H

#include <cstdint>
#include <optional>
#include <vector>

#include "NotesApi.h"
#include "ViewDocuments.h"

namespace simulator {

class CollectionIndex {
 public:
  struct Entry {
    NOTEID id = 0;
    WORD noteClass = NOTE_CLASS_NONE;
    UNIVERSALNOTEID unid = {};
    std::size_t summary = 0;  // see summaryOf
    std::size_t parent = 0;
    WORD level = 0;
    DWORD rank = 0;  // among its siblings, from 1
    DWORD descendants = 0;
    std::vector<std::size_t> children;

    bool isCategory() const { return (id & NOTEID_CATEGORY) != 0; }
  };

  // A document is below the category of each value that it has in a categorised column. Within the
  // categories the sorted columns decide, from left to right, and in the end the note IDs.
  CollectionIndex(const std::vector<ViewDocument>& documents,
                  const std::vector<ViewColumn>& columns);

  // Entries are numbered from 1 in the order in which NAVIGATE_NEXT comes to them. The root, which
  // hosts do not see, is number 0: what is on the top level is below it.
  static constexpr std::size_t Root = 0;
  const Entry& entry(std::size_t number) const { return entries_[number]; }
  // The columns' values as a summary buffer.
  const std::vector<BYTE>& summaryOf(const Entry& entry) const { return summaries_[entry.summary]; }

  struct Place {
    std::size_t number = Root;
    bool behind = true;  // not on the entry, but between it and the next
  };
  // StatusError ERR_BAD_PARAM if the position has more levels than there can be.
  Place find(const COLLECTIONPOSITION& position) const;
  // Leaves what is not about the place as it is.
  void tell(std::size_t number, COLLECTIONPOSITION& position) const;

  static bool knows(WORD navigator);
  // Nothing if there is no entry in that direction.
  std::optional<std::size_t> move(WORD navigator, const Place& from) const;

 private:
  friend class IndexBuilder;
  std::optional<std::size_t> peer(std::size_t number, DWORD rank) const;
  std::optional<std::size_t> search(std::size_t number, bool category) const;

  std::vector<Entry> entries_;
  std::vector<std::vector<BYTE>> summaries_;
};

}  // namespace simulator

#endif
