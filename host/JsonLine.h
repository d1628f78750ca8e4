// An object as one line of the result.
#ifndef KOLN_HOST_JSON_LINE_H
#define KOLN_HOST_JSON_LINE_H

#include <nlohmann/json.hpp>
#include <string>

namespace host {

using Json = nlohmann::ordered_json;

/// Bytes that are no UTF-8 become U+FFFD.
inline std::string jsonLine(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace host

#endif
