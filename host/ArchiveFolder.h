// The folder of one database in the archive: whose it is while a run goes on, and which files it
// holds.
#ifndef KOLN_HOST_ARCHIVE_FOLDER_H
#define KOLN_HOST_ARCHIVE_FOLDER_H

#include <string>
#include <vector>

#include "Failure.h"
#include "FolderLock.h"

namespace host {

constexpr const char* copySuffix = ".dxl";
constexpr const char* temporarySuffix = ".tmp";

class ArchiveFolder {
 public:
  /// Makes the folder `name` below `root` where it is missing and locks it against other runs.
  /// What a run that was cut short has left half written is removed. @throws Failure
  ArchiveFolder(const std::string& root, std::string name);
  ArchiveFolder(const ArchiveFolder&) = delete;
  ArchiveFolder& operator=(const ArchiveFolder&) = delete;

  const std::string& path() const noexcept { return path_; }

  /// Where the copy of a note stands.
  std::string copyOf(const std::string& unid) const { return path_ + '/' + unid + copySuffix; }

  /// The same as stubs name it: without the root, which may move.
  std::string markerOf(const std::string& unid) const { return name_ + '/' + unid + copySuffix; }

  /// The UNID in the name of a copy in this folder; empty if a marker names something else.
  std::string unidOf(const std::string& marker) const;

  /// Whether the disk is as good as full, so that no further copy fits.
  bool isFull() const noexcept;

  /// The UNIDs of the copies that are there.
  const std::vector<std::string>& copies() const noexcept { return copies_; }

 private:
  void readEntries();

  const std::string name_;
  const std::string path_;
  const FolderLock lock_;
  std::vector<std::string> copies_;
};

/// 32 hexadecimal digits, capitals.
bool isUnidText(const std::string& text) noexcept;

/// Makes sure that the name of a file is on the disk. @throws Failure
void syncDirectoryOf(const std::string& path);

/// What became of a file, and what to do.
Failure fileFailure(const std::string& path, const char* what, int error);

}  // namespace host

#endif
