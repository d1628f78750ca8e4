// The files of a directory, as searches and look-ups go through them. The order is always the same:
// what is in a directory by the bytes of the names, then what is in its sub-directories.
#ifndef KOLN_SIMULATOR_DIRECTORY_WALK_H
#define KOLN_SIMULATOR_DIRECTORY_WALK_H

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "NotesApi.h"

namespace simulator {

struct FoundFile {
  std::string path;
  std::string name;
  bool directory = false;
  TIMEDATE modified = {};
};

class DirectoryWalk {
 public:
  // `mask`: a FILE_* type plus modifiers. StatusError NotSupportedYet for a type that means nothing
  // here.
  explicit DirectoryWalk(WORD mask);

  std::vector<FoundFile> run(const std::string& directory);

  // What the whole search answers when part of the tree could not be read. The rest is searched.
  STATUS unreadable() const { return unreadable_; }

 private:
  WORD fileType() const { return mask_ & FILE_TYPEMASK; }
  bool wantsDirectories() const { return (mask_ & FILE_DIRS) || fileType() == FILE_DIRSONLY; }
  void walk(const std::string& directory);

  const WORD mask_;
  std::vector<FoundFile> found_;
  std::vector<std::pair<dev_t, ino_t>> ancestors_;
  STATUS unreadable_ = NOERROR;
};

}  // namespace simulator

#endif
