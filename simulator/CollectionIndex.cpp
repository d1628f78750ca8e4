// See CollectionIndex.h: where positions lead, and the ways from there. IndexBuilder.cpp makes the
// entries.
#include "CollectionIndex.h"

namespace simulator {

CollectionIndex::Place CollectionIndex::find(const COLLECTIONPOSITION& position) const {
  if (position.Level >= MAXTUMBLERLEVELS) throw StatusError(ERR_BAD_PARAM, "too many levels");
  std::size_t number = Root;
  for (WORD level = 0; level <= position.Level; ++level) {
    const Entry& parent = entries_[number];
    const DWORD rank = position.Tumbler[level];
    if (rank == 0) return {number, true};
    if (rank > parent.children.size()) return {number + parent.descendants, true};
    number = parent.children[rank - 1];
  }
  return {number, false};
}

void CollectionIndex::tell(std::size_t number, COLLECTIONPOSITION& position) const {
  position.Level = entries_[number].level;
  for (; number != Root; number = entries_[number].parent)
    position.Tumbler[entries_[number].level] = entries_[number].rank;
}

bool CollectionIndex::knows(WORD navigator) {
  switch (navigator) {
    case NAVIGATE_CURRENT:
    case NAVIGATE_NEXT:
    case NAVIGATE_PREV:
    case NAVIGATE_NEXT_EXPANDED:
    case NAVIGATE_PREV_EXPANDED:
    case NAVIGATE_PARENT:
    case NAVIGATE_CHILD:
    case NAVIGATE_NEXT_PEER:
    case NAVIGATE_PREV_PEER:
    case NAVIGATE_FIRST_PEER:
    case NAVIGATE_LAST_PEER:
    case NAVIGATE_CURRENT_MAIN:
    case NAVIGATE_NEXT_MAIN:
    case NAVIGATE_PREV_MAIN:
    case NAVIGATE_NEXT_CATEGORY:
    case NAVIGATE_NEXT_NONCATEGORY:
      return true;
    default:
      return false;
  }
}

std::optional<std::size_t> CollectionIndex::peer(std::size_t number, DWORD rank) const {
  const std::vector<std::size_t>& peers = entries_[entries_[number].parent].children;
  if (rank == 0 || rank > peers.size()) return std::nullopt;
  return peers[rank - 1];
}

std::optional<std::size_t> CollectionIndex::search(std::size_t number, bool category) const {
  for (; number < entries_.size(); ++number) {
    if (entries_[number].isCategory() == category) return number;
  }
  return std::nullopt;
}

// Nothing is collapsed, and responses are not told from main documents: those are the documents.
std::optional<std::size_t> CollectionIndex::move(WORD navigator, const Place& from) const {
  const std::size_t number = from.number;
  switch (navigator) {
    case NAVIGATE_NEXT:
    case NAVIGATE_NEXT_EXPANDED:
      return number + 1 < entries_.size() ? std::optional(number + 1) : std::nullopt;
    case NAVIGATE_PREV:
    case NAVIGATE_PREV_EXPANDED: {
      const std::size_t previous = from.behind || number == Root ? number : number - 1;
      return previous == Root ? std::nullopt : std::optional(previous);
    }
    case NAVIGATE_NEXT_CATEGORY:
      return search(number + 1, true);
    case NAVIGATE_NEXT_NONCATEGORY:
      return search(number + 1, false);
    default:
      break;
  }
  // The other ways begin at an entry.
  if (from.behind) return std::nullopt;
  const Entry& entry = entries_[number];
  const bool main = !entry.isCategory();
  switch (navigator) {
    case NAVIGATE_PARENT:
      return entry.parent == Root ? std::nullopt : std::optional(entry.parent);
    case NAVIGATE_CHILD:
      return entry.children.empty() ? std::nullopt : std::optional(entry.children.front());
    case NAVIGATE_NEXT_PEER:
      return peer(number, entry.rank + 1);
    case NAVIGATE_PREV_PEER:
      return peer(number, entry.rank - 1);
    case NAVIGATE_FIRST_PEER:
      return peer(number, 1);
    case NAVIGATE_LAST_PEER:
      return entries_[entry.parent].children.back();
    case NAVIGATE_CURRENT_MAIN:
      return main ? std::optional(number) : std::nullopt;
    case NAVIGATE_NEXT_MAIN:
      return main ? peer(number, entry.rank + 1) : std::nullopt;
    case NAVIGATE_PREV_MAIN:
      return main ? peer(number, entry.rank - 1) : std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace simulator
