// The document's ways to move as DXL: through a caller's importer or exporter, and the two members
// that only try the library's own set of properties.
#include <cstdio>
#include <map>

#include "NotesDocument.h"
#include "NotesUtilities.h"
#include "document/NoteChecks.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"

namespace {

constexpr const char* sourceName = "NotesDocument";

}  // namespace

KoLNError KoLNDocument::Import(DXLIMPORTHANDLE importer, NoteImportRecord* record) {
  return koln::recorded([&](KoLNError& error) {
    if (db_ == NULLHANDLE) {
      error.SetError(ERR_NULL_NOTEHANDLE);  // Not the code of a missing database, on purpose.
      return;
    }
    if (record == nullptr) {
      error.SetCustomMessage("No record to import from.");
      return;
    }
    koln::recordOr(
        KOLN_STATUS(DXLImport, importer, &KoLNUtilities::DXLImportStreamFunc, db_, record),
        "Caught exception in Importing note\n", error);
  });
}

KoLNError KoLNDocument::Export(DXLEXPORTHANDLE& exporter, NoteExportRecord* record) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    if (record == nullptr) {
      error.SetCustomMessage("No record to export to.");
      return;
    }
    const koln::CallResult exported =
        KOLN_STATUS(DXLExportNote, exporter, &KoLNUtilities::DXLExportStreamFunc, note_, record);
    koln::recordOr(exported, "Caught exception in exporting note\n", error);
    // A full disk may show only when the stream's buffer is written out.
    if (!exported.failed() && record->toFile == 1 && record->ok != 0 && record->file != nullptr &&
        std::fflush(record->file) != 0) {
      record->ok = 0;
      KOLN_LOG("Export", -1, "Error: the staged file could not be written to its end");
    }
  });
}

KoLNError KoLNDocument::Import(std::string stagedFile) {
  return koln::recorded([&](KoLNError& error) {
    if (stagedFile.empty()) {
      error.SetCustomMessage("Staged file name is empty.");
      return;
    }
    DWORD acl = DXLIMPORTOPTION_REPLACE_ELSE_IGNORE;
    DWORD design = DXLIMPORTOPTION_REPLACE_ELSE_CREATE;
    DWORD documents = DXLIMPORTOPTION_REPLACE_ELSE_CREATE;
    DWORD replaceProperties = TRUE;
    DWORD replicaRequired = FALSE;
    // The keys that the importer does not get are told in the log, each time, on purpose.
    DXLIMPORTHANDLE importer = NULLHANDLE;
    error = KoLNUtilities().CreateDXLImporter(
        importer, {{iACLImportOption, &acl},
                   {iDesignImportOption, &design},
                   {iDocumentsImportOption, &documents},
                   {iReplaceDbProperties, &replaceProperties},
                   {iReplicaRequiredForReplaceOrUpdate, &replicaRequired}});
    if (!error.IsErrorSet()) {
      koln::recordOr(KOLN_VOID(DXLDeleteImporter, importer),
                     "Error: caught an exception of unknown type in importing", error);
    }
  });
}

KoLNError KoLNDocument::Import(DXLIMPORTHANDLE /*importer*/, std::string stagedFile) {
  KoLNError error;
  if (stagedFile.empty()) {
    error.SetCustomMessage("Staged file name is empty.");
  }
  return error;
}

KoLNError KoLNDocument::Export(std::string /*stagedFile*/) {
  return koln::recorded([](KoLNError& error) {
    DWORD xmlDeclaration = FALSE;
    DWORD doctype = FALSE;
    DXLEXPORTHANDLE exporter = NULLHANDLE;
    error = KoLNUtilities().CreateDXLExporter(
        exporter, {{eOutputXmlDecl, &xmlDeclaration}, {eOutputDOCTYPE, &doctype}});
    if (!error.IsErrorSet()) {
      koln::recordOr(KOLN_VOID(DXLDeleteExporter, exporter), "Caught exception in exporting note\n",
                     error);
    }
  });
}
