#include "DiscoveryRecord.h"

namespace host {
namespace {

constexpr char fieldEnd = 0x12;
constexpr char groupEnd = 0x15;
constexpr std::string_view viewAndEnd = "\x12($All)\x15";
constexpr std::size_t replicaIdLength = 17;

}  // namespace

// The groups are found by the view, which is always the same: a title may hold any byte, and so may
// the owner's name.
std::optional<DiscoveryRecord> parseDiscoveryRecord(std::string_view message, bool shortForm) {
  DiscoveryRecord record;
  if (!shortForm) {
    const std::size_t view = message.rfind(viewAndEnd);
    if (view == std::string_view::npos) {
      return std::nullopt;
    }
    const std::string_view rest = message.substr(view + viewAndEnd.size());
    if (rest.size() <= replicaIdLength || rest[replicaIdLength] != groupEnd) {
      return std::nullopt;
    }
    record.view = viewAndEnd.substr(1, viewAndEnd.size() - 2);
    record.replicaId = rest.substr(0, replicaIdLength);
    record.extra = rest.substr(replicaIdLength + 1);
    message = message.substr(0, view);
  }
  const std::size_t end = message.find(fieldEnd);
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  record.path = message.substr(0, end);
  record.title = message.substr(end + 1);
  return record;
}

}  // namespace host
