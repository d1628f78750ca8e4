// A DXL importer, as long as it is needed.
#ifndef KOLN_HOST_NOTE_IMPORTER_H
#define KOLN_HOST_NOTE_IMPORTER_H

#include <koln.h>

#include "NotesFailure.h"

namespace host {

class NoteImporter {
 public:
  /// @param documents A `DXLIMPORTOPTION_`: what becomes of a note that is there. @throws Failure
  explicit NoteImporter(DWORD documents) {
    // Between databases that are no replicas too: the copy of a note may be all that is left.
    DWORD replicaRequired = FALSE;
    const KoLNError error = KoLNUtilities().CreateDXLImporter(
        handle_, {{iDocumentsImportOption, &documents},
                  {iReplicaRequiredForReplaceOrUpdate, &replicaRequired}});
    if (isError(error)) {
      throw failureOf("notes cannot be imported", error);
    }
  }
  ~NoteImporter() { KoLNUtilities().DeleteDXLImporter(handle_); }
  NoteImporter(const NoteImporter&) = delete;
  NoteImporter& operator=(const NoteImporter&) = delete;

  DXLIMPORTHANDLE handle() const noexcept { return handle_; }

 private:
  DXLIMPORTHANDLE handle_ = NULLHANDLE;
};

}  // namespace host

#endif
