#include "LibraryMemory.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>

#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "ReplacedNew.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KOLN_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KOLN_SANITIZED
#endif

namespace {

thread_local bool active = false;
std::size_t first = 0;
bool allAfter = false;
std::size_t asks = 0;
std::vector<std::string> refusals;

// Where an object's code lies.
struct Range {
  const char* begin = nullptr;
  const char* end = nullptr;

  bool holds(const void* address) const {
    return address >= static_cast<const void*>(begin) && address < static_cast<const void*>(end);
  }
};
Range library;
// What may ask in between without being the one that needs it.
Range languageRuntime;
Range c;

Range rangeOf(const void* address) {
  struct Search {
    const void* address;
    Range found;
  } search = {address, {}};
  dl_iterate_phdr(
      [](dl_phdr_info* object, std::size_t, void* context) {
        auto& wanted = *static_cast<Search*>(context);
        for (int i = 0; i < object->dlpi_phnum; ++i) {
          const ElfW(Phdr)& header = object->dlpi_phdr[i];
          if (header.p_type != PT_LOAD || (header.p_flags & PF_X) == 0) continue;
          // NOLINTNEXTLINE(performance-no-int-to-ptr)
          const char* const begin =
              reinterpret_cast<const char*>(object->dlpi_addr) + header.p_vaddr;
          const Range code = {begin, begin + header.p_memsz};
          if (code.holds(wanted.address)) wanted.found = code;
        }
        return 0;
      },
      &search);
  return search.found;
}

using Frames = void* [32];

// The place on the stack of the first function that is not the language's own code: behind the
// frames of this file, which end with `caller`.
int findAsker(Frames& frames, int count, const void* caller) {
  int i = 0;
  while (i < count && frames[i] != caller) ++i;
  while (i < count && (languageRuntime.holds(frames[i]) || c.holds(frames[i]))) ++i;
  return i;
}

bool libraryAsks(const void* caller) {
  if (library.holds(caller)) return true;
  if (!languageRuntime.holds(caller) && !c.holds(caller)) return false;
  Frames frames;
  const int count = backtrace(frames, std::size(frames));
  const int asker = findAsker(frames, count, caller);
  return asker < count && library.holds(frames[asker]);
}

std::string nameAsker(const void* caller) {
  Frames frames;
  const int count = backtrace(frames, std::size(frames));
  for (int i = findAsker(frames, count, caller); i < count; ++i) {
    Dl_info found = {};
    const void* const call = static_cast<const char*>(frames[i]) - 1;
    if (library.holds(call) && dladdr(call, &found) != 0 && found.dli_sname != nullptr) {
      int status = 0;
      const std::unique_ptr<char, decltype(&std::free)> name(
          abi::__cxa_demangle(found.dli_sname, nullptr, nullptr, &status), &std::free);
      return status == 0 ? name.get() : found.dli_sname;
    }
  }
  return {};
}

}  // namespace

bool refusesMemory(const void* caller) noexcept {
  if (!active) return false;
  active = false;  // What follows may allocate.
  bool refused = false;
  if (libraryAsks(caller)) {
    ++asks;
    refused = first != 0 && (asks == first || (allAfter && asks > first));
    if (refused) refusals.push_back(nameAsker(caller));
  }
  active = true;
  return refused;
}

// What the C library allocates for the library (strdup) comes here as well, and operator new once
// more, which is not the library.
#if !defined(KOLN_SANITIZED) && defined(__GLIBC__)
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(std::size_t size) noexcept {
  return refusesMemory(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  return refusesMemory(__builtin_return_address(0)) ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) noexcept {
  return refusesMemory(__builtin_return_address(0)) ? nullptr : __libc_realloc(memory, size);
}
}
#endif

LibraryMemory::LibraryMemory(std::size_t firstRefused, bool andAllAfter) {
  if (library.begin == nullptr) {
    // By symbols looked up, as the executable's own addresses may be stubs, and that no sanitizer
    // has in the executable.
    library = rangeOf(dlsym(RTLD_DEFAULT, "_ZN9KoLNError8SetErrorEt"));
    languageRuntime = rangeOf(dlsym(RTLD_DEFAULT, "_ZSt17__throw_bad_allocv"));
    c = rangeOf(dlsym(RTLD_DEFAULT, "gnu_get_libc_version"));
    if (library.begin == nullptr || languageRuntime.begin == nullptr || c.begin == nullptr) {
      std::abort();  // Nothing would ever be refused.
    }
    void* frame = nullptr;
    backtrace(&frame, 1);  // The first call loads what unwinds.
  }
  first = firstRefused;
  allAfter = andAllAfter;
  asks = 0;
  refusals.clear();
  active = true;
}

LibraryMemory::~LibraryMemory() {
  active = false;
}

std::size_t LibraryMemory::asked() {
  return asks;
}

const std::vector<std::string>& LibraryMemory::refusedTo() {
  return refusals;
}
