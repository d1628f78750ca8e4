// Files of staged notes. With 2 in the first byte length and checksum of the DXL are put right, with
// 1 the checksum of the header, so that what lies behind these tests is reached.
#include "host/StagedFile.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include "Fuzz.h"
#include "host/Failure.h"

namespace {

constexpr std::size_t headerSize = 133;

auto checksumOf(std::string_view bytes) {
  return crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
}

// A file in memory, the same for all inputs. Gives its path.
std::string fileOf(const std::string& content) {
  static const int file = memfd_create("staged", MFD_CLOEXEC);
  const auto size = static_cast<ssize_t>(content.size());
  fuzz::require(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) == size,
                "there is memory for the file");
  return fmt::format("/proc/self/fd/{}", file);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const auto mended = input.take();
  std::string content(input.rest());
  if (content.size() >= headerSize && (mended & 2) != 0) {
    const std::string_view dxl = std::string_view(content).substr(headerSize);
    content.replace(104, 20, fmt::format("{:010} {:08X} ", dxl.size(), checksumOf(dxl)));
  }
  if (content.size() >= headerSize && (mended & 1) != 0) {
    content.replace(124, 9, fmt::format("{:08X}\n", checksumOf(content.substr(0, 124))));
  }
  try {
    const host::StagedNote staged = host::checkStagedFile(fileOf(content));
    fuzz::require(staged.dxlBytes == content.size() - headerSize, "the DXL is whole");
    fuzz::require(host::textFromUnid(host::unidFromText(staged.unid)) == staged.unid,
                  "the identity is one");
  } catch (const host::Failure& failure) {
    fuzz::require(std::strstr(failure.what(), "/proc/self/fd") != nullptr, "the file is named");
  }
  return 0;
}
