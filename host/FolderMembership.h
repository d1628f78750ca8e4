// Which notes are in which folders, in the form in which the library puts restored notes back.
//
// For each folder: its ORIGINATORID (28 bytes), the number of its notes (4), and for each note its
// on-disk ORIGINATORID, which is as long as Notes says: the UNID comes first.
#ifndef KOLN_HOST_FOLDER_MEMBERSHIP_H
#define KOLN_HOST_FOLDER_MEMBERSHIP_H

#include <koln.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Complaints.h"

namespace host {

struct FolderFacts {
  std::string unid;
  std::string name;  ///< UTF-8.
  std::uint32_t notes = 0;
};

struct FolderMembership {
  std::string records;
  WORD itemBytes = 0;
  std::vector<FolderFacts> folders;
  std::vector<std::string> unread;  ///< Names of folders that could not be read.
};

/// Bytes of an item here. @throws Failure
WORD folderItemBytes();

/// Reads all folders. One that cannot be read is told and listed. @throws Failure
FolderMembership membershipOf(KoLNDatabase& database, Complaints& complaints);

/// The same records with what is asked for alone. Both are asked with UNIDs. @throws Failure for
/// records that are damaged
std::string selectedRecords(const std::string& records, WORD itemBytes,
                            const std::function<bool(const std::string&)>& wantsFolder,
                            const std::function<bool(const std::string&)>& wantsNote);

}  // namespace host

#endif
