// What becomes of the notes of a DXL file in a database.
#ifndef KOLN_SIMULATOR_DXL_IMPORT_H
#define KOLN_SIMULATOR_DXL_IMPORT_H

#include "DxlReader.h"
#include "NotesApi.h"

namespace simulator {

// DXLIMPORTOPTION_* for each kind of note.
struct DxlImportOptions {
  WORD accessControl = DXLIMPORTOPTION_IGNORE;
  WORD design = DXLIMPORTOPTION_IGNORE;
  WORD documents = DXLIMPORTOPTION_CREATE;
  bool replicaRequired = true;  // for replacing and updating
};

// All of them or, if one fails, none. Notes are the same if they have the same UNID; a deletion
// stub counts as no note, and a note that is created takes its place.
//
// A note that is created keeps its UNID (unless there is a note with it) and all its times. One
// that is replaced or updated becomes a new revision of the note that was there: replaced, it has
// the items of the DXL alone; updated, these take the place of its items of the same names.
//
// StatusError DxlNotAReplica if a note would have to be replaced but may not be.
void importNotes(DBHANDLE database, const DxlFile& file, const DxlImportOptions& options);

}  // namespace simulator

#endif
