// Lists and ranges of times, all of them present, as hosts are told to pass them.
#include "Fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::begin();
  fuzz::Input input(data, size);
  RANGE header = input.take<RANGE>();
  header.ListEntries &= 0x3F;
  header.RangeEntries &= 0x3F;
  const std::size_t length = sizeof header + sizeof(TIMEDATE) * header.ListEntries +
                             sizeof(TIMEDATE_PAIR) * header.RangeEntries;
  fuzz::Block value(length, 1);
  std::memcpy(value.data(), &header, sizeof header);
  input.rest().copy(value.data() + sizeof header, length - sizeof header);
  fuzz::Block text(218);
  fuzz::require(convertTimeRange(value.bytes(), text.data()) == value.bytes() + length,
                "the address behind the value comes back");
  fuzz::require(std::strlen(text.data()) < 218, "the text is terminated");
  return 0;
}
