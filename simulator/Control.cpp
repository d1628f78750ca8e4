// The control interface, and the registry of counters behind it.
#include "Control.h"

#include <map>
#include <mutex>
#include <utility>

#include "Environment.h"
#include "HandleCounters.h"

namespace simulator {
namespace {

struct Counters {
  std::mutex mutex;
  std::map<std::string, std::function<std::size_t()>> byKind;
};

// Made at the first registration, which happens while the library's own variables are made.
Counters& counters() {
  static Counters instance;
  return instance;
}

}  // namespace

bool registerHandleCounter(const std::string& kind, std::function<std::size_t()> count) {
  const std::lock_guard<std::mutex> guard(counters().mutex);
  counters().byKind[kind] = std::move(count);
  return true;
}

}  // namespace simulator

long SimOpenHandles(const char* kind) {
  auto& counters = simulator::counters();
  const std::lock_guard<std::mutex> guard(counters.mutex);
  const auto found = counters.byKind.find(kind == nullptr ? "" : kind);
  return found == counters.byKind.end() ? -1 : static_cast<long>(found->second());
}

void SimSetVariable(const char* name, const char* value) {
  if (name != nullptr && value != nullptr) simulator::setIniVariable(name, value);
}
