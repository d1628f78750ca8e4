// The look-up of Unix users, safe for several threads.
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <vector>

#include "KoLib.h"

namespace {

// A directory server may hold long entries, but none of this size.
constexpr std::size_t kEntryMax = std::size_t{1024} * 1024;

struct Entry {
  struct passwd fields;
  std::vector<char> texts;  // What the pointers of `fields` point into.
};

// Returns 0 or an error number; `found` is null if there is no such user.
int lookUp(const char* user, Entry& entry, struct passwd*& found) {
  if (entry.texts.empty()) {
    entry.texts.resize(static_cast<std::size_t>(std::max(1024L, sysconf(_SC_GETPW_R_SIZE_MAX))));
  }
  for (;;) {
    const int error =
        getpwnam_r(user, &entry.fields, entry.texts.data(), entry.texts.size(), &found);
    if (error == ERANGE && entry.texts.size() < kEntryMax) {
      entry.texts.resize(entry.texts.size() * 2);
    } else if (error != EINTR) {
      return error;
    }
  }
}

}  // namespace

struct passwd* KO_getpwnam(const char* user) {
  if (user == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  const int before = errno;
  struct passwd* found = nullptr;
  int error = ENOMEM;
  try {
    thread_local Entry entry;
    error = lookUp(user, entry, found);
  } catch (const std::exception&) {
    found = nullptr;
  }
  // Some user directories report an unknown user in this way.
  if (error == ENOENT || error == ESRCH) {
    error = 0;
  }
  errno = found != nullptr ? before : error;
  return found;
}
