// Makes sure that what the simulated runtime exports is what hosts bind: every function of the one
// list is declared here, so a definition with another signature does not compile. Each file that
// defines one of them includes this header.
#ifndef KOLN_SIMULATOR_EXPORT_H
#define KOLN_SIMULATOR_EXPORT_H

#include "NotesApi.h"

#define SIM_EXPORT extern "C" __attribute__((visibility("default")))

#define SIM_DECLARE(result, name, parameters) SIM_EXPORT result name parameters;
KOLN_NOTES_FUNCTIONS(SIM_DECLARE)
#undef SIM_DECLARE

#endif
