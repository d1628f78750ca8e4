// The database information buffer: title, newline, categories, newline "#1" class, newline "#2"
// design class, in LMBCS; a part that does not follow is absent. Hosts see it through
// NSFDbInfoGet, NSFDbInfoParse and the "$Info" item of directory searches.
#ifndef KOLN_SIMULATOR_INFO_BUFFER_H
#define KOLN_SIMULATOR_INFO_BUFFER_H

#include <string>
#include <string_view>

#include "NotesApi.h"

namespace simulator {

// The buffer's text for a title in UTF-8, cut at a whole character where the buffer ends.
std::string infoWithTitle(std::string_view titleUtf8, std::string_view designClass = {});

// One part (INFOPARSE_*) of the buffer's text; empty if it is absent or there is no such part.
std::string_view infoPart(std::string_view info, WORD part);

}  // namespace simulator

#endif
