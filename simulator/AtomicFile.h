// Files that appear whole or not at all, whoever looks and whenever the machine stops.
#ifndef KOLN_SIMULATOR_ATOMIC_FILE_H
#define KOLN_SIMULATOR_ATOMIC_FILE_H

#include <span>
#include <string>

#include "NotesApi.h"

namespace simulator {

// Writes a temporary file beside `path` and moves it there. StatusError ERR_EXISTS if there is
// something already and `replace` is false; a directory is never replaced. A file that replaces
// another keeps its owner and its permissions. With `flush` the file and its name are on disk when
// the call returns.
void writeFileAtomically(const std::string& path, std::span<const BYTE> bytes, bool replace,
                         bool flush);

}  // namespace simulator

#endif
