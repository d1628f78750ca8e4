// The objects of a database: bytes that notes refer to by number, such as the content of attached
// files.
#include <algorithm>

#include "Databases.h"
#include "Export.h"
#include "Memory.h"

using namespace simulator;

namespace {

ObjectHeader requireObject(const StoreLease& store, DWORD id) {
  const std::optional<ObjectHeader> header = store->object(id);
  if (!header) throw StatusError(ERR_BAD_PARAM, "no such object");
  return *header;
}

// How many bytes `length` means, MAXDWORD being all from the offset on. None at all is an error.
DWORD requireLength(const ObjectHeader& object, DWORD offset, DWORD length) {
  if (length == 0 || (length == MAXDWORD && object.size == 0))
    throw StatusError(ERR_OBJECT_CANNOT_BE_ZERO, "no bytes asked for");
  if (offset >= object.size) throw StatusError(ERR_OBJECT_TRUNCATED, "behind the object's end");
  const DWORD available = object.size - offset;
  if (length == MAXDWORD) return available;
  if (length > available) throw StatusError(ERR_OBJECT_TRUNCATED, "behind the object's end");
  return length;
}

}  // namespace

SIM_EXPORT STATUS NSFDbAllocObject(DBHANDLE hDB, DWORD dwSize, WORD Class, WORD Privileges,
                                   DWORD* retObjectID) {
  if (!retObjectID) return ERR_BAD_PARAM;
  *retObjectID = 0;
  return statusOf([&] {
    *retObjectID = requireStore(hDB)->addObject({Class, Privileges, dwSize});
  });
}

// Objects are not stored with their type: it is in the item that refers to them.
SIM_EXPORT STATUS NSFDbGetObjectSize(DBHANDLE hDB, DWORD ObjectID, WORD /*ObjectType*/,
                                     DWORD* retSize, WORD* retClass, WORD* retPrivileges) {
  return statusOf([&] {
    const ObjectHeader object = requireObject(requireStore(hDB), ObjectID);
    if (retSize) *retSize = object.size;
    if (retClass) *retClass = object.objectClass;
    if (retPrivileges) *retPrivileges = object.privileges;
  });
}

SIM_EXPORT STATUS NSFDbReadObject(DBHANDLE hDB, DWORD ObjectID, DWORD Offset, DWORD Length,
                                  DHANDLE* rethBuffer) {
  if (!rethBuffer) return ERR_BAD_PARAM;
  *rethBuffer = NULLHANDLE;
  return statusOf([&] {
    const StoreLease store = requireStore(hDB);
    const DWORD length = requireLength(requireObject(store, ObjectID), Offset, Length);
    const std::vector<BYTE> bytes = store->readObject(ObjectID, Offset, length);
    *rethBuffer = allocateBytes(bytes.data(), bytes.size());
    if (*rethBuffer == NULLHANDLE) throw std::bad_alloc();
  });
}

SIM_EXPORT STATUS NSFDbWriteObject(DBHANDLE hDB, DWORD ObjectID, DHANDLE hBuffer, DWORD Offset,
                                   DWORD Length) {
  return statusOf([&] {
    const StoreLease store = requireStore(hDB);
    const DWORD length = requireLength(requireObject(store, ObjectID), Offset, Length);
    const auto bytes = unlockedBytes(hBuffer, "NSFDbWriteObject");
    if (!bytes) throw StatusError(ERR_BAD_PARAM, "the buffer is locked");
    if (bytes->size() < length) throw StatusError(ERR_BAD_PARAM, "the buffer is too short");
    store->writeObject(ObjectID, Offset, std::span(*bytes).first(length));
  });
}

SIM_EXPORT STATUS NSFDbFreeObject(DBHANDLE hDB, DWORD ObjectID) {
  return statusOf([&] { requireStore(hDB)->removeObject(ObjectID); });
}
