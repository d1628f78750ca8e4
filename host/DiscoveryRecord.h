// The record in which the library reports one database to the managing server.
#ifndef KOLN_HOST_DISCOVERY_RECORD_H
#define KOLN_HOST_DISCOVERY_RECORD_H

#include <optional>
#include <string_view>

namespace host {

/// The fields, all UTF-8; they point into the message. The last three exist in the long form only.
struct DiscoveryRecord {
  std::string_view path;
  std::string_view title;
  std::string_view view;
  std::string_view replicaId;
  std::string_view extra;
};

/// Takes a message apart as `KoLNUtilities::ProcessDatabase` documents it; nothing if it is no
/// record of the form that was asked for.
std::optional<DiscoveryRecord> parseDiscoveryRecord(std::string_view message, bool shortForm);

}  // namespace host

#endif
