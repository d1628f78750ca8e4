// What the runtime does not carry out is exported nevertheless, since hosts bind all functions at
// once. Every function gets a weak definition here that says so; one that is defined elsewhere in
// the runtime takes its place.
#include <string_view>
#include <type_traits>

#include "Export.h"
#include "Status.h"

namespace simulator {
namespace {

// A status says what is wrong; other results are the ones that mean "nothing". STATUS is a WORD to
// the compiler, so the name tells them apart.
template <typename Result>
Result notSupported(std::string_view resultName) {
  if constexpr (std::is_same_v<Result, STATUS>) {
    if (resultName == "STATUS") return NotSupportedYet;
  }
  return Result();
}

}  // namespace
}  // namespace simulator

#pragma GCC diagnostic ignored "-Wunused-parameter"
#define SIM_DEFINE_NOT_SUPPORTED(result, name, parameters) \
  __attribute__((weak)) result name parameters {           \
    return simulator::notSupported<result>(#result);       \
  }
KOLN_NOTES_FUNCTIONS(SIM_DEFINE_NOT_SUPPORTED)
#undef SIM_DEFINE_NOT_SUPPORTED
