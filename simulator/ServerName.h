// Hosts address a server by name; the simulated one has the name that notes.ini gives it.
#ifndef KOLN_SIMULATOR_SERVER_NAME_H
#define KOLN_SIMULATOR_SERVER_NAME_H

#include <string>
#include <string_view>

namespace simulator {

// "CN=Server/O=Org" as "Server/Org"; other names as they are.
std::string abbreviatedName(std::string_view name);

// ServerName of notes.ini, UTF-8; empty if it is not set.
std::string serverName();

// Whether a server's name (LMBCS) means this one: none at all, or its own, canonical or
// abbreviated.
bool isThisServer(const char* lmbcsName);

}  // namespace simulator

#endif
