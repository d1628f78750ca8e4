// Stands in for the calls of the start-up code that need rights, wait, or look at a file that all
// tests of a machine would share. The test executable defines these functions of the C library
// itself; without a stand-in alive they are the real ones.
#ifndef KOLN_TESTS_IDENTITY_H
#define KOLN_TESTS_IDENTITY_H

#include <string>
#include <vector>

// Changes neither the user nor the groups: `initgroups`, `setresgid`, `setresuid`.
class FakeIdentity {
 public:
  FakeIdentity();
  ~FakeIdentity();
  FakeIdentity(const FakeIdentity&) = delete;
  FakeIdentity& operator=(const FakeIdentity&) = delete;

  // Makes the calls of that name fail with this `errno`.
  void fail(const std::string& call, int error);

  // The calls in their order, as in "setresgid(70, 70, -1)"; taken out.
  std::vector<std::string> take();
};

// The debug hold file, there for the next `looks` looks; sleeping takes no time. Without one alive
// the hold file is never there, whatever lies in the file system.
class HoldFile {
 public:
  explicit HoldFile(int looks);
  ~HoldFile();
  HoldFile(const HoldFile&) = delete;
  HoldFile& operator=(const HoldFile&) = delete;

  // How long each sleep was to take, in seconds.
  const std::vector<unsigned>& sleeps() const;
};

#endif
