#include "Identity.h"

#include <dlfcn.h>
#include <grp.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "ScarceMemory.h"

namespace {

bool fakesIdentity = false;
std::vector<std::string> calls;
std::string failing;
int failure = 0;

bool fakesSleep = false;
int looksLeft = 0;
std::vector<unsigned> slept;

template <typename Function>
Function* real(Function* /*standIn*/, const char* name) noexcept {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int answer(const std::string& name, const std::string& arguments) {
  calls.push_back(name + "(" + arguments + ")");
  errno = failing == name ? failure : errno;
  return failing == name ? -1 : 0;
}

int answer(const std::string& name, unsigned first, unsigned second, unsigned third) {
  const AmpleMemory ample;
  std::string arguments;
  for (const unsigned id : {first, second, third}) {
    arguments += (arguments.empty() ? "" : ", ") + std::to_string(static_cast<int>(id));
  }
  return answer(name, arguments);
}

}  // namespace

extern "C" int initgroups(const char* user, gid_t group) {
  if (!fakesIdentity) {
    return real(&initgroups, "initgroups")(user, group);
  }
  const AmpleMemory ample;
  return answer("initgroups", user + (", " + std::to_string(group)));
}

extern "C" int setresgid(gid_t group, gid_t effective, gid_t saved) noexcept {
  return fakesIdentity ? answer("setresgid", group, effective, saved)
                       : real(&setresgid, "setresgid")(group, effective, saved);
}

extern "C" int setresuid(uid_t user, uid_t effective, uid_t saved) noexcept {
  return fakesIdentity ? answer("setresuid", user, effective, saved)
                       : real(&setresuid, "setresuid")(user, effective, saved);
}

extern "C" int access(const char* path, int mode) noexcept {
  if (std::strcmp(path, "/tmp/lndb_debug") != 0) {
    return real(&access, "access")(path, mode);
  }
  errno = ENOENT;
  return looksLeft > 0 && looksLeft-- > 0 ? 0 : -1;
}

extern "C" unsigned sleep(unsigned seconds) {
  if (!fakesSleep) {
    return real(&sleep, "sleep")(seconds);
  }
  slept.push_back(seconds);
  return 0;
}

FakeIdentity::FakeIdentity() {
  calls.clear();
  failing.clear();
  fakesIdentity = true;
}
FakeIdentity::~FakeIdentity() {
  fakesIdentity = false;
}

void FakeIdentity::fail(const std::string& call, int error) {
  failing = call;
  failure = error;
}

std::vector<std::string> FakeIdentity::take() {
  return std::exchange(calls, {});
}

HoldFile::HoldFile(int looks) {
  fakesSleep = true;
  looksLeft = looks;
  slept.clear();
}
HoldFile::~HoldFile() {
  fakesSleep = false;
  looksLeft = 0;
}

const std::vector<unsigned>& HoldFile::sleeps() const {
  return slept;
}
