// A folder that one run at a time works in.
#ifndef KOLN_HOST_FOLDER_LOCK_H
#define KOLN_HOST_FOLDER_LOCK_H

#include <string>

namespace host {

class FolderLock {
 public:
  /// Makes the folder where it is missing, with its name on the disk, and locks it until the object
  /// goes. @param work What another run does that has it locked, as in "archiving this database
  /// to". @throws Failure
  FolderLock(const std::string& folder, const char* work);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int file_ = -1;
};

}  // namespace host

#endif
