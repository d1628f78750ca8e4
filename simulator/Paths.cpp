// Net paths: the server and the file in one text, which NSFDbOpen takes apart again.
#include <cstring>
#include <string>

#include "Export.h"
#include "Text.h"

// The simulated server is reached through any port.
SIM_EXPORT STATUS OSPathNetConstruct(const char*, const char* ServerName, const char* FileName,
                                     char* retPathName) {
  std::string path;
  if (ServerName != nullptr && *ServerName != '\0') path = std::string(ServerName) + "!!";
  if (FileName != nullptr) path += FileName;
  const std::string_view part = simulator::cutLmbcs(path, MAXPATH - 1);
  std::memcpy(retPathName, part.data(), part.size());
  retPathName[part.size()] = '\0';
  return NOERROR;
}
