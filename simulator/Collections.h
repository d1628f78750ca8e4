// Open collections, as the functions behind an HCOLLECTION find them. A collection shows what its
// view held when it was opened; what is changed later is seen by those who open it again.
#ifndef KOLN_SIMULATOR_COLLECTIONS_H
#define KOLN_SIMULATOR_COLLECTIONS_H

#include <memory>

#include "CollectionIndex.h"
#include "Databases.h"
#include "NotesApi.h"

namespace simulator {

struct Collection {
  DBHANDLE handle = NULLHANDLE;
  std::shared_ptr<const OpenDatabase> database;
  NOTEID view = 0;
  UNIVERSALNOTEID viewUnid = {};
  std::shared_ptr<const CollectionIndex> index;
};

// StatusError ERR_COLLECTION_HANDLE for handle 0; ends the process if the collection was closed,
// never opened, or its database has been closed.
std::shared_ptr<const Collection> requireCollection(HCOLLECTION handle, const char* function);

}  // namespace simulator

#endif
