// The sets of a backup: DIR/REPLICA/set-000001 and so on, each full or incremental.
//
//   notes/<UNID>.dxl  a staged file for each note
//   folders.bin       which notes are in which folders, all of them
//   set.json          what belongs to the set, how long it is, and checksums
//
// A set is built under a name that ends in ".tmp" and renamed when all of it is on the disk. So a
// set of its final name is whole.
#ifndef KOLN_HOST_BACKUP_SET_H
#define KOLN_HOST_BACKUP_SET_H

#include <koln.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "FolderMembership.h"
#include "StagedFile.h"

namespace host {

struct DeletedNote {
  NOTEID id = 0;
  std::string unid;
};

/// A note that could not be saved; the next incremental set takes it again.
struct MissingNote {
  NOTEID id = 0;
  std::string reason;
};

struct SetContents {
  std::string database;
  std::string replicaId;
  std::string since;  ///< As `iso8601` writes it; empty for a full set.
  std::string until;
  std::vector<StagedNote> notes;
  std::vector<DeletedNote> deleted;
  std::vector<MissingNote> missing;
  FolderMembership folders;  ///< Without the records where they have not been read.
  std::uint64_t folderBytes = 0;
  std::uint32_t folderChecksum = 0;

  bool full() const noexcept { return since.empty(); }
  bool complete() const noexcept { return missing.empty() && folders.unread.empty(); }
};

/// As it stands in set.json.
nlohmann::ordered_json jsonOf(const StagedNote& note);

struct BackupSet {
  unsigned number = 0;
  std::string path;
  SetContents contents;

  std::string fileOf(const StagedNote& note) const;
};

/// Numbers of the whole sets in the folder of a database, ascending. @throws Failure
std::vector<unsigned> setNumbers(const std::string& folder);

/// Reads set.json. @throws Failure if it is damaged
BackupSet readSet(const std::string& folder, unsigned number);

/// The sets from the last full one on. @throws Failure if there is none, or one between is missing
std::vector<BackupSet> lastChain(const std::string& folder);

/// Reads folders.bin. @throws Failure if it is not as set.json says
std::string readRecords(const BackupSet& set);

/// Removes what runs that were cut short have left. Call it with the folder locked. @throws Failure
void removeHalfSets(const std::string& folder);

/// A set that is being built. What is not finished is removed.
class NewSet {
 public:
  /// @throws Failure, as all members do.
  NewSet(const std::string& folder, unsigned number);
  ~NewSet();
  NewSet(const NewSet&) = delete;
  NewSet& operator=(const NewSet&) = delete;

  const std::string& finalPath() const noexcept { return path_; }
  std::string fileOf(const std::string& unid) const;

  /// Throws what keeps files from being written there, if anything does.
  void probe() const;

  /// Writes folders.bin and set.json, and gives the set its name.
  void finish(const SetContents& contents);

 private:
  const std::string path_;
  const std::string temporary_;
  bool finished_ = false;
};

}  // namespace host

#endif
