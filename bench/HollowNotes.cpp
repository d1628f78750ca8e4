#include "NotesApi.h"
#include "bench/Pair.h"

namespace {

template <auto Pointer>
struct Hollow;

template <typename Result, typename... Parameters, Result (**Pointer)(Parameters...)>
struct Hollow<Pointer> {
  static Result call(Parameters... /*ignored*/) { return Result(); }
  static inline Result (*loaded)(Parameters...) = nullptr;
};

}  // namespace

void bench::bindHollowFunctions() {
#define KOLN_HOLLOW(result, name, parameters) KO_##name = Hollow<&KO_##name>::call;
  KOLN_NOTES_FUNCTIONS(KOLN_HOLLOW)
#undef KOLN_HOLLOW
}

void bench::keepLoadedFunctions() {
#define KOLN_KEEP(result, name, parameters) Hollow<& KO_##name>::loaded = KO_##name;
  KOLN_NOTES_FUNCTIONS(KOLN_KEEP)
#undef KOLN_KEEP
}

void bench::bindLoadedFunctions() {
#define KOLN_BIND(result, name, parameters) KO_##name = Hollow<&KO_##name>::loaded;
  KOLN_NOTES_FUNCTIONS(KOLN_BIND)
#undef KOLN_BIND
}
