// What a database says of itself: information buffer, identity, replica information, times.
#include <algorithm>
#include <cstring>
#include <string>

#include "Clock.h"
#include "Databases.h"
#include "Export.h"
#include "InfoBuffer.h"
#include "Text.h"

using namespace simulator;

namespace {

// Changes the properties of a database; its design counts as modified.
template <typename Change>
STATUS changeProperties(DBHANDLE hDB, Change&& change) {
  return statusOf([&] {
    StoreLease store = requireStore(hDB);
    Transaction batch = store->batch();
    DatabaseProperties properties = store->properties();
    change(properties);
    properties.nonDataModified = currentTime();
    store->setProperties(properties);
    batch.commit();
  });
}

}  // namespace

SIM_EXPORT STATUS NSFDbInfoGet(DBHANDLE hDB, char* retBuffer) {
  return statusOf([&] {
    if (!retBuffer) throw StatusError(ERR_BAD_PARAM, "no buffer");
    const std::string info = requireStore(hDB)->properties().info;
    const std::string_view fitting = cutLmbcs(info, NSF_INFO_SIZE - 1);
    std::fill_n(retBuffer, NSF_INFO_SIZE, '\0');
    std::copy(fitting.begin(), fitting.end(), retBuffer);
  });
}

SIM_EXPORT STATUS NSFDbInfoSet(DBHANDLE hDB, char* Buffer) {
  return changeProperties(hDB, [&](DatabaseProperties& properties) {
    if (!Buffer) throw StatusError(ERR_BAD_PARAM, "no buffer");
    const std::size_t length = ::strnlen(Buffer, NSF_INFO_SIZE);
    if (length == NSF_INFO_SIZE) throw StatusError(ERR_NSF_INFO_SIZE, "information too long");
    properties.info.assign(Buffer, length);
  });
}

SIM_EXPORT void NSFDbInfoParse(char* Info, WORD What, char* Buffer, WORD Length) {
  if (!Buffer) return;
  std::string_view part;
  if (Info) part = infoPart({Info, ::strnlen(Info, NSF_INFO_SIZE)}, What);
  part = cutLmbcs(part, Length);
  std::copy(part.begin(), part.end(), Buffer);
  Buffer[part.size()] = '\0';
}

SIM_EXPORT STATUS NSFDbIDGet(DBHANDLE hDB, TIMEDATE* retDbID) {
  return statusOf([&] {
    const DBID id = requireStore(hDB).id();
    if (retDbID) *retDbID = id;
  });
}

SIM_EXPORT STATUS NSFDbReplicaInfoGet(DBHANDLE hDB, DBREPLICAINFO* retReplicationInfo) {
  return statusOf([&] {
    const DBREPLICAINFO replica = requireStore(hDB)->properties().replica;
    if (retReplicationInfo) *retReplicationInfo = replica;
  });
}

SIM_EXPORT STATUS NSFDbReplicaInfoSet(DBHANDLE hDB, DBREPLICAINFO* ReplicationInfo) {
  return changeProperties(hDB, [&](DatabaseProperties& properties) {
    if (!ReplicationInfo) throw StatusError(ERR_BAD_PARAM, "no replica information");
    properties.replica = *ReplicationInfo;
  });
}

SIM_EXPORT STATUS NSFDbModifiedTime(DBHANDLE hDB, TIMEDATE* retDataModified,
                                    TIMEDATE* retNonDataModified) {
  return statusOf([&] {
    const DatabaseProperties properties = requireStore(hDB)->properties();
    if (retDataModified) *retDataModified = properties.dataModified;
    if (retNonDataModified) *retNonDataModified = properties.nonDataModified;
  });
}
