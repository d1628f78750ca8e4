// The configuration file of the host support library.
#include "hostsupport/ConfigurationStore.h"

#include "Fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  const fuzz::Block block(text);
  try {
    const auto content =
        koln::hostsupport::parseConfiguration({block.data(), text.size()}, "registry.conf");
    for (const auto& [key, section] : content) {
      for (const auto& [name, value] : section) {
        fuzz::require(!name.empty() && value.line >= 1 && value.line <= lines,
                      "each value has a name and a line");
        fuzz::require(text.find(name) != text.npos && text.find(value.text) != text.npos,
                      "names and values are parts of the file");
      }
    }
  } catch (const koln::hostsupport::ConfigurationError& error) {
    const std::string what = error.what();
    fuzz::require(what.starts_with("registry.conf:"), "an error names the file");
    fuzz::require(std::none_of(what.begin(), what.end(),
                               [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }),
                  "an error is one line of text");
  }
  return 0;
}
