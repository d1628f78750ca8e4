// Replica IDs as users type them. The first byte says how Notes answers: with a path that fills the
// buffer (1), a failure (2), no directory (4), no translation (8), a directory without handle (16).
#include "Fuzz.h"

namespace {

std::uint8_t lie;

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::begin();
  fuzz::Input input(data, size);
  lie = input.take();
  fuzz::script.translates = (lie & 8) == 0;
  KO_NSFDbOpen = [](const char* path, DBHANDLE* out) -> STATUS {
    fuzz::require(std::strcmp(path, "/data") == 0, "the data directory is asked");
    if ((lie & 4) != 0) {
      return ERR_NOEXIST;
    }
    return (lie & 16) != 0 ? NOERROR : fuzz::handOut(out);
  };
  KO_NSFDbLocateByReplicaID = [](DBHANDLE, TIMEDATE*, char* out, WORD room) -> STATUS {
    std::memset(out, 'p', (lie & 1) != 0 ? room : 1);
    return (lie & 2) != 0 ? ERR_NOEXIST : NOERROR;
  };
  {
    fuzz::Stage stage;
    stage.instance.SetDataDirectory("/data");
    std::string path;
    const KoLNError error = stage.db.LocateByReplicaID(std::string(input.rest()), path);
    fuzz::require(error.IsErrorSet() == path.empty(), "a path or an error");
    fuzz::require(path.size() < MAXPATH, "the path is cut where its buffer ends");
  }
  fuzz::require(fuzz::script.held == 0, "the directory is closed");
  return 0;
}
