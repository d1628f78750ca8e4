// How the paths of the API become paths of the file system and back. Hosts name a database relative
// to the data directory, by its full path, or with a server in front ("server!!path", as
// OSPathNetConstruct makes it); all in LMBCS.
#ifndef KOLN_SIMULATOR_DATABASE_PATH_H
#define KOLN_SIMULATOR_DATABASE_PATH_H

#include <string>

namespace simulator {

// The full path (UTF-8) that an API path means, whether there is such a file or not. Null and ""
// mean the data directory. The runtime is every server: it knows one partition only. StatusError
// for a path that is too long to be one and while the runtime is not started.
std::string fullPath(const char* lmbcsPath);

// The other way: relative to the data directory for what is in it, otherwise the full path.
std::string apiPath(const std::string& fullPath);

// Whether the file name has any extension; the runtime adds ".nsf" to one that has none.
bool hasExtension(const std::string& path);

}  // namespace simulator

#endif
