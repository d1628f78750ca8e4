// Summary buffers of a collection's entries, and what Notes says of the texts in them. The note's ID
// comes first; the next byte lets translation (1) or index functions (4) fail, or lie (2).
#include "Fuzz.h"

namespace {

// A format with the columns "c" and "category".
std::string columns() {
  std::string format("\5\0\1\0\2\0\0\0\0\0\0\0", 12);
  for (const WORD name : {1, 8}) {
    const WORD sizes[16] = {0x4356, 0, name, 1};
    format.append(reinterpret_cast<const char*>(sizes), sizeof sizes);
  }
  return format + "c" + "t" + "category" + "t";
}

std::uint8_t lie;

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::begin();
  fuzz::Input input(data, size);
  const auto id = input.take<NOTEID>();
  lie = input.take();
  KO_NSFTranslateSpecial = [](void* in, WORD length, void* out, WORD room, NOTEID, void*,
                              INDEXSPECIALINFO*, DHANDLE, DHANDLE, char*, char*,
                              WORD* written) -> STATUS {
    *written = std::min(length, room);
    std::memcpy(out, in, *written);
    *written = (lie & 2) != 0 ? MAXWORD : *written;
    return (lie & 4) != 0 ? ERR_MEMORY : NOERROR;
  };
  const std::string format = columns();
  fuzz::Block item(format);
  fuzz::script.item = item.data();
  fuzz::script.itemSize = static_cast<DWORD>(format.size());
  fuzz::script.diskSize = 32;
  fuzz::Stage stage;
  stage.db.Open();
  KoLNView view(stage.db, 0x42);
  std::string titles;
  view.GetCoulmnTitles(&titles);
  fuzz::require(titles == "\x12t\x12t", "the columns are known");

  // The buffer's own length is the one thing that is true of it.
  std::string bytes(input.rest().substr(0, MAXWORD));
  bytes.resize(std::max(bytes.size(), sizeof(ITEM_TABLE)));
  const auto length = static_cast<USHORT>(bytes.size());
  std::memcpy(bytes.data(), &length, sizeof length);
  fuzz::Block summary(bytes, 1);
  fuzz::Block entry(4096);
  fuzz::script.translates = (lie & 1) == 0;
  view.AddEntryToNoteIndex(entry.data(), summary.bytes(), id, {}, {}, 0);
  fuzz::require(std::strlen(entry.data()) >= 9, "each line begins with the note's ID");
  return 0;
}
