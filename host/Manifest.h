// The list of what an archive folder holds: one JSON object a line, appended when a note has become
// a stub and never before. A line that is there is true.
#ifndef KOLN_HOST_MANIFEST_H
#define KOLN_HOST_MANIFEST_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "StagedFile.h"

namespace host {

using Json = nlohmann::ordered_json;

/// What is known of the archiving of a note beside its copy: attachments, bytesBefore, link, url,
/// archived. It also travels in the stub, so that the line can be written even if the run was cut
/// short. What the text does not tell is null.
Json archivingFacts(const std::string& text);

// NOLINTNEXTLINE(bugprone-exception-escape): moving what JSON keeps asserts, and throws nothing.
struct ManifestLine {
  StagedNote copy;
  NOTEID noteId = 0;
  std::string subject;                      ///< UTF-8.
  std::optional<std::uint64_t> bytesAfter;  ///< Of the stub.
  Json facts;

  std::string json() const;
};

class Manifest {
 public:
  /// Opens or makes the file, cuts off what a power failure has left of a last line, and reads it.
  /// @throws Failure, as all members do.
  explicit Manifest(std::string path);
  ~Manifest();
  Manifest(const Manifest&) = delete;
  Manifest& operator=(const Manifest&) = delete;

  struct Entry {
    DWORD dxlBytes;
    std::uint32_t checksum;
    bool describes(const StagedNote& copy) const {
      return dxlBytes == copy.dxlBytes && checksum == copy.checksum;
    }
  };

  /// Entries by the UNID of their note.
  const std::map<std::string, Entry>& entries() const noexcept { return entries_; }

  /// Lines, counted from 1, that cannot be read.
  const std::vector<std::size_t>& damagedLines() const noexcept { return damaged_; }

  /// Adds a line; it is on the disk when the call returns. Nothing is left of it on failure.
  void append(const ManifestLine& line);

  /// Takes away the lines of notes that are to be archived anew, all at once or none.
  void withdraw(const std::set<std::string>& unids);

 private:
  void open();
  void read();

  const std::string path_;
  int file_ = -1;
  std::map<std::string, Entry> entries_;
  std::vector<std::size_t> damaged_;
};

}  // namespace host

#endif
