// Loading the runtime and binding its 119 functions. The runtime is loaded already, so what is
// measured is what the library adds.
#include <dlfcn.h>

#include <string>

#include "bench/Roads.h"
#include "findDataPartition.h"

namespace bench {
namespace {

struct Binding {
  explicit Binding(const Site& site) : site(site) {}
  void library() { loaded = loadNotesFunctions("koln\x12" + site.partition + "/data", "Domino"); }
  void twin() {
    void* const runtime = dlopen(KOLN_SIMULATOR_HOME "/notes/latest/linux/libnotes.so", RTLD_LAZY);
    loaded = runtime != nullptr;
#define KOLN_FIND(result, name, parameters) \
  loaded = (KO_##name = reinterpret_cast<decltype(KO_##name)>(dlsym(runtime, #name))) && loaded;
    KOLN_NOTES_FUNCTIONS(KOLN_FIND)
#undef KOLN_FIND
  }
  std::string result() const {
    return loaded ? "loaded" : "failed";
  }

  Site site;
  bool loaded = false;
};

}  // namespace

void addStartRoads(Pairs& pairs, const Site& site) {
  if (site.ground == Ground::Simulated) {
    pairs.push_back(makePair<Binding>("load-and-bind", 0, site.ground, 1, {0, 0, 0, false}, site));
    pairs.back().limits.milliseconds = 5;
  }
}

}  // namespace bench
