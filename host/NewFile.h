// A file that gets its name when it is whole and on the disk; until then, and if anything fails,
// there is none.
#ifndef KOLN_HOST_NEW_FILE_H
#define KOLN_HOST_NEW_FILE_H

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "Failure.h"

namespace host {

class NewFile {
 public:
  /// Begins under a name in the same directory that ends in ".tmp". @throws Failure
  explicit NewFile(const std::string& path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  FILE* stream() const noexcept { return file_.get(); }

  /// @throws Failure
  void write(std::string_view text);
  void flush();

  /// Closes the file and gives it its name, in place of one that was there. @throws Failure
  void finish();

 private:
  const std::string path_;
  std::string temporary_;
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  bool renamed_ = false;
};

/// What cannot be done with a file, and what to do about it. @param error An error number.
Failure diskFailure(const std::string& path, const char* what, int error);

}  // namespace host

#endif
