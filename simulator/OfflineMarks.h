// A database that was taken offline stays so when the process ends, when its file is removed and
// when a file is put in its place, until somebody brings it online again. So the fact is kept
// beside the databases: one small file per offline database, in a folder that no search shows.
#ifndef KOLN_SIMULATOR_OFFLINE_MARKS_H
#define KOLN_SIMULATOR_OFFLINE_MARKS_H

#include <string>

namespace simulator {

// In the data directory.
inline constexpr const char* OfflineFolder = ".offline";

// Where the mark of a database (full path) is if it is offline. Two paths to one file that differ
// in symbolic links to directories have the same mark.
std::string offlineMark(const std::string& databasePath);

bool isSet(const std::string& mark);

// On disk when the call returns.
void setMark(const std::string& mark, const std::string& databasePath);
// StatusError ERR_NOACCESS if it cannot be removed.
void removeMark(const std::string& mark);

}  // namespace simulator

#endif
