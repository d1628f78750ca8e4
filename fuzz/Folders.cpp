// Folder records as a backup set may hold them, whole or damaged. The first two bytes are what Notes
// says of an item's length.
#include "Fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::begin();
  fuzz::Input input(data, size);
  fuzz::script.diskSize = input.take<WORD>();
  static DWORD looked;
  looked = 0;
  // The first byte of a UNID decides whether there is such a note.
  KO_NSFDbGetNoteInfoByUNID = [](DBHANDLE, UNIVERSALNOTEID* unid, NOTEID* id, ORIGINATORID*,
                                 TIMEDATE*, WORD*) -> STATUS {
    ++looked;
    *id = unid->File.Innards[0];
    return (*id & 3) == 3 ? ERR_NOEXIST : (*id & 3) == 2 ? STATUS{1028} : NOERROR;
  };
  KO_IDInsert = [](DHANDLE, DWORD id, BOOL*) -> STATUS {
    return (id & 0xFF) == 0x80 ? ERR_MEMORY : NOERROR;
  };
  KO_FolderDocAdd = [](DBHANDLE, DBHANDLE, NOTEID folder, DHANDLE, DWORD) -> STATUS {
    fuzz::require(folder != 0, "notes are put into folders that are there");
    return (folder & 4) != 0 ? ERR_NOEXIST : NOERROR;
  };
  fuzz::Block records(input.rest(), 1);
  {
    fuzz::Stage stage;
    stage.db.Open();
    stage.db.PutNotesInFolders(records.data(), static_cast<DWORD>(input.rest().size()), nullptr);
  }
  fuzz::require(fuzz::script.held == 0, "tables are given back");
  fuzz::require(looked <= input.rest().size() / sizeof(UNIVERSALNOTEID), "no bytes are made up");
  return 0;
}
