// What opening a database with the repair options does to its file.
#ifndef KOLN_SIMULATOR_STORE_REPAIR_H
#define KOLN_SIMULATOR_STORE_REPAIR_H

#include <string>

namespace simulator {

// Whether a repair may leave out what cannot be read.
enum class Notes { DeleteDamaged, KeepAll };

// Checks the whole file and, if it is damaged, replaces it by a new one of all that can still be
// read. StatusError ERR_NSF_CORRUPT2, the file being as it was, if it is beyond repair: its tables
// or properties cannot be read, or notes would be lost against the caller's wish.
void repairStore(const std::string& path, Notes notes);

}  // namespace simulator

#endif
