// The entries of a view or folder in their order. They come in pages of what Notes can hand over at
// once, and one page is kept at a time.
#ifndef KOLN_HOST_COLLECTION_H
#define KOLN_HOST_COLLECTION_H

#include <koln.h>

#include <functional>
#include <string>

namespace host {

struct CollectionEntry {
  NOTEID id = 0;  ///< With the category bit for a category.
  // With summaries only:
  INDEXSPECIALINFO special = {};
  COLLECTIONPOSITION position = {};
  unsigned char* summary = nullptr;  ///< Valid during the visit.

  bool isCategory() const noexcept { return (id & NOTEID_CATEGORY) != 0; }
};

class Collection {
 public:
  /// @param view Whose ID is known. @param name For messages. All but the name must outlive the
  /// object. @throws Failure
  Collection(KoLNDatabase& database, KoLNView& view, std::string name);
  ~Collection();
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;

  enum class Content { Ids, Summaries };

  /// Visits all entries. @return Whether the collection stayed the same meanwhile; if not, entries
  /// may be missing or come twice. @throws Failure
  bool visit(Content content, const std::function<void(const CollectionEntry&)>& visitor);

 private:
  KoLNDatabase& database_;
  KoLNView& view_;
  const std::string name_;
  HCOLLECTION handle_ = 0;
};

}  // namespace host

#endif
