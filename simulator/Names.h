// Names of persons and servers: "CN=Ann/OU=Sales/O=Example" is the canonical form of
// "Ann/Sales/Example". Texts are UTF-8 here.
#ifndef KOLN_SIMULATOR_NAMES_H
#define KOLN_SIMULATOR_NAMES_H

#include <string>
#include <string_view>

namespace simulator {

// A "/" at the end asks for the rest of the name as the other one, the pattern, has it. A name
// without levels, or one that is canonical already, comes back as it is.
std::string canonicalName(std::string_view name, std::string_view pattern = {});

}  // namespace simulator

#endif
