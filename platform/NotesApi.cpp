// The pointer table and its loader. Nothing else in the library knows how a Notes function is
// found.
#include "NotesApi.h"

#include <dlfcn.h>
#include <unistd.h>

#include "KoLib.h"
#include "findDataPartition.h"
#include "platform/RuntimeStart.h"

#define KOLN_DEFINE_POINTER(result, name, parameters) result(*KO_##name) parameters = nullptr;
KOLN_NOTES_FUNCTIONS(KOLN_DEFINE_POINTER)
#undef KOLN_DEFINE_POINTER

namespace {

struct Binding {
  const char* name;
  void (*store)(void* address);
};

#define KOLN_BINDING(result, name, parameters) \
  {#name, [](void* address) { KO_##name = reinterpret_cast<decltype(KO_##name)>(address); }},
constexpr Binding bindings[] = {KOLN_NOTES_FUNCTIONS(KOLN_BINDING)};
#undef KOLN_BINDING

static_assert(sizeof bindings / sizeof bindings[0] == KOLN_NOTES_FUNCTION_COUNT);

bool load(EvEvent& log, const std::string& instanceName, const std::string& registryKey) {
  const std::size_t delimiter = instanceName.find('\x12');
  if (delimiter == std::string::npos) {
    log.debug("Delimiter not found in instance Name %s", instanceName.c_str());
    return false;
  }

  const std::string valueName = instanceName.substr(delimiter + 1) + "_sDominoHomeDir";
  char home[1024] = {};
  // What is not absolute is as good as missing: nothing relative is ever loaded as root.
  if (!GetLndbUnixRegValue(reinterpret_cast<unsigned char*>(home), valueName.c_str(),
                           registryKey.c_str(), nullptr) ||
      home[0] != '/') {
    log.debug("Could not get Domino Home Directory from registry");
    return false;
  }

  const std::string path = std::string(home) + "/notes/latest/linux/libnotes.so";
  if (access(path.c_str(), F_OK) != 0) {
    log.debug("Notes API Lib %s does not exist!", path.c_str());
    return false;
  }

  // Kept in a local only: the runtime stays loaded for the life of the process.
  void* const library = dlopen(path.c_str(), RTLD_LAZY);
  if (library == nullptr) {
    const char* const reason = dlerror();
    // No blank after the full stop and a line feed of its own: the line is known so; the same
    // below.
    log.debug("Could not load %s.Error from dlopen:%s\n", path.c_str(),
              reason != nullptr ? reason : "unknown");
    return false;
  }

  for (const Binding& binding : bindings) {
    void* const address = dlsym(library, binding.name);
    binding.store(address);
    if (address == nullptr) {
      log.debug("Could not obtain address of %s from %s.\n", binding.name, path.c_str());
      return false;  // What is bound already stays bound.
    }
  }
  return true;
}

}  // namespace

bool loadNotesFunctions(std::string instanceName, std::string registryKey) {
  try {
    EvEvent log;
    return load(log, instanceName, registryKey);
  } catch (...) {
    koln::debugLastWords("Could not load the Notes API: out of memory");
    return false;
  }
}
