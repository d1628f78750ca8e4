// The table of open notes, for the functions that open and close them.
#ifndef KOLN_SIMULATOR_NOTE_HANDLES_H
#define KOLN_SIMULATOR_NOTE_HANDLES_H

#include "Handles.h"
#include "Notes.h"

namespace simulator {

HandleTable<OpenNote>& noteHandles();

}  // namespace simulator

#endif
