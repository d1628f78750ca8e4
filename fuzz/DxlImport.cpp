// DXL that the simulated runtime imports. The first byte says how much of it the reader hands over
// at once.
#include "Control.h"
#include "Export.h"
#include "Fuzz.h"
#include "Status.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

struct Reader {
  std::string_view rest;
  std::size_t piece;

  static DWORD read(BYTE* buffer, DWORD room, void* context) {
    auto& self = *static_cast<Reader*>(context);
    const auto size =
        self.rest.copy(reinterpret_cast<char*>(buffer), std::min<std::size_t>(self.piece, room));
    self.rest.remove_prefix(size);
    return static_cast<DWORD>(size);
  }
};

// A runtime with one database, for all inputs.
struct Runtime {
  Runtime() {
    writeFile(directory.path() + "/notes.ini", "[Notes]\n");
    std::string ini = "=" + directory.path() + "/notes.ini";
    char* arguments[] = {ini.data(), ini.data(), nullptr};
    fuzz::require(NotesInitExtended(2, arguments) == NOERROR &&
                      NSFDbCreate("a.nsf", DBCLASS_NOTEFILE, TRUE) == NOERROR &&
                      NSFDbOpen("a.nsf", &database) == NOERROR,
                  "there is a database");
  }
  ~Runtime() { NotesTerm(); }

  TemporaryDirectory directory;
  DBHANDLE database = NULLHANDLE;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Runtime runtime;
  fuzz::Input input(data, size);
  const std::size_t piece = input.take() + std::size_t{1};
  const fuzz::Block dxl(input.rest());
  DXLIMPORTHANDLE importer = NULLHANDLE;
  fuzz::require(DXLCreateImporter(&importer) == NOERROR, "there is an importer");
  DWORD option = DXLIMPORTOPTION_REPLACE_ELSE_CREATE;
  DXLSetImporterProperty(importer, iDocumentsImportOption, &option);
  DXLSetImporterProperty(importer, iDesignImportOption, &option);
  BOOL needed = FALSE;
  DXLSetImporterProperty(importer, iReplicaRequiredForReplaceOrUpdate, &needed);
  Reader reader{{dxl.data(), input.rest().size()}, piece};
  const STATUS status = DXLImport(importer, Reader::read, runtime.database, &reader);
  fuzz::require(status == NOERROR || status == simulator::DxlUnreadable,
                "a note is there, or the DXL is none");
  DXLDeleteImporter(importer);
  fuzz::require(SimOpenHandles("importers") == 0 && SimOpenHandles("notes") == 0,
                "nothing stays open");
  return 0;
}
