// The view format of a view's note. The first byte says how long a column is on disk, with 0x80 that
// no text can be translated.
#include "Fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::begin();
  fuzz::Input input(data, size);
  const auto lie = input.take();
  fuzz::Block format(input.rest());
  fuzz::script.item = format.data();
  fuzz::script.itemSize = static_cast<DWORD>(input.rest().size());
  fuzz::script.diskSize = lie & 0x7F;
  fuzz::script.translates = (lie & 0x80) == 0;
  {
    fuzz::Stage stage;
    stage.db.Open();
    KoLNView view(stage.db, 0x42);
    std::string titles;
    view.GetCoulmnTitles(&titles);
    fuzz::require(titles.size() <= 200, "the list of titles keeps its limit");
  }
  fuzz::require(fuzz::script.held == 0, "the note is unlocked and closed");
  return 0;
}
