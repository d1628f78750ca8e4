// One note as a file: 133 bytes of header, then its DXL. A file of its final name is whole and on
// the disk; anything else is refused.
#ifndef KOLN_HOST_STAGED_FILE_H
#define KOLN_HOST_STAGED_FILE_H

#include <koln.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace host {

/// What the header says of the note behind it.
struct StagedNote {
  std::string unid;    ///< 32 hexadecimal digits: the note's identity in all replicas.
  NOTEID id = 0;       ///< In the database that it was exported from.
  DWORD sequence = 0;  ///< Which version of the note this is, together with the time.
  TIMEDATE sequenceTime = {};
  DWORD dxlBytes = 0;
  std::uint32_t checksum = 0;  ///< CRC-32 of the DXL.
};

/// What an open note is; no length and checksum yet. @throws Failure
StagedNote identityOf(KoLNDocument& note);

/// Exports an open note. The file appears under its name in one piece, replacing what was there,
/// and is on the disk, as is its name, when the call returns. @throws Failure, and leaves nothing.
StagedNote stageNote(KoLNDocument& note, DXLEXPORTHANDLE& exporter, const std::string& path);

/// Reads the header and compares length and checksum with the DXL. @throws Failure for a file that
/// is not a whole staged note.
StagedNote checkStagedFile(const std::string& path);

/// Imports a file that was checked into the database of `target`. @throws Failure
void importStagedFile(KoLNDocument& target, DXLIMPORTHANDLE importer, const std::string& path,
                      const StagedNote& staged);

/// Exports an open note as pure DXL, without a header: to a file that appears in one piece
/// likewise, or to a stream, which then needs a flush. @return Bytes. @throws Failure
void exportDxl(KoLNDocument& note, DXLEXPORTHANDLE& exporter, const std::string& path);
DWORD exportDxl(KoLNDocument& note, DXLEXPORTHANDLE& exporter, FILE* stream,
                const std::string& name);

/// A DXL exporter that gives rich text as the note has it, so that the same note comes back.
class NoteExporter {
 public:
  /// @param heading Whether the DXL begins with the declaration that XML files have. @throws
  /// Failure
  explicit NoteExporter(bool heading = false);
  ~NoteExporter();
  NoteExporter(const NoteExporter&) = delete;
  NoteExporter& operator=(const NoteExporter&) = delete;

  DXLEXPORTHANDLE& handle() noexcept { return handle_; }

 private:
  DXLEXPORTHANDLE handle_ = NULLHANDLE;
};

/// An identity as in `StagedNote::unid`. @throws Failure
UNIVERSALNOTEID unidFromText(const std::string& text);
std::string textFromUnid(const UNIVERSALNOTEID& unid);

}  // namespace host

#endif
