#include "StagedFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include "Failure.h"
#include "Interrupt.h"
#include "NewFile.h"
#include "NotesFailure.h"

namespace host {
namespace {

// The length is fixed: readers of DXL begin behind it.
constexpr std::size_t headerSize = 133;
constexpr std::string_view magic = "KOLN staged note (DXL), version 001";
// Behind it UNID, note ID, sequence, its time, length, CRC-32 and the header's own, a byte apart.
static_assert(magic.size() + 1 + 33 + 9 + 9 + 17 + 11 + 9 + 9 == headerSize);
constexpr std::size_t pieceSize = std::size_t{256} * 1024;

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

std::uint32_t checksumOf(std::string_view bytes, std::uint32_t before = 0) {
  return static_cast<std::uint32_t>(
      crc32(before, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

// No check: what is not as `textFromUnid` writes it gives another one.
UNIVERSALNOTEID digitsOf(const std::string& text) {
  const auto word = [&text](std::size_t place) {
    return static_cast<DWORD>(std::strtoul(text.substr(place, 8).c_str(), nullptr, 16));
  };
  return {{{word(8), word(0)}}, {{word(24), word(16)}}};
}

// ---- the header ---------------------------------------------------------------------------------

std::string headerOf(const StagedNote& staged) {
  std::string header =
      fmt::format("{} {} {:08X} {:08X} {:08X}{:08X} {:010} {:08X} ", magic, staged.unid, staged.id,
                  staged.sequence, staged.sequenceTime.Innards[1], staged.sequenceTime.Innards[0],
                  staged.dxlBytes, staged.checksum);
  return header + fmt::format("{:08X}\n", checksumOf(header));
}

// Takes the fields apart; written again they must give the same bytes, so that nothing but digits
// passes.
std::optional<StagedNote> parseHeader(const std::string& header) {
  std::size_t place = magic.size() + 1;
  const auto field = [&](std::size_t width, std::size_t gap = 1) {
    std::string text = header.substr(place, width);
    place += width + gap;
    return text;
  };
  const auto number = [](const std::string& text, int base) {
    return static_cast<std::uint32_t>(std::strtoull(text.c_str(), nullptr, base));
  };
  StagedNote staged;
  staged.unid = textFromUnid(digitsOf(field(32)));
  staged.id = number(field(8), 16);
  staged.sequence = number(field(8), 16);
  staged.sequenceTime.Innards[1] = number(field(8, 0), 16);
  staged.sequenceTime.Innards[0] = number(field(8), 16);
  staged.dxlBytes = number(field(10), 10);
  staged.checksum = number(field(8), 16);
  return headerOf(staged) == header ? std::optional(staged) : std::nullopt;
}

// ---- writing ------------------------------------------------------------------------------------

// What is in the file now: the writer of the DXL has no way to tell that the disk changed it.
std::uint32_t writtenChecksum(int descriptor, const StagedNote& staged, const std::string& path) {
  std::string piece(pieceSize, '\0');
  std::uint32_t checksum = 0;
  for (std::uint64_t done = 0; done < staged.dxlBytes;) {
    const ssize_t count =
        pread(descriptor, piece.data(), piece.size(), static_cast<off_t>(headerSize + done));
    if (count < 0 && errno == EINTR && !interruptRequested()) {
      continue;
    }
    if (count <= 0) {
      throw diskFailure(path, "cannot be read back", count < 0 ? errno : EIO);
    }
    checksum = checksumOf({piece.data(), static_cast<std::size_t>(count)}, checksum);
    done += static_cast<std::uint64_t>(count);
  }
  return checksum;
}

// ---- reading ------------------------------------------------------------------------------------

Failure damaged(const std::string& path, const std::string& what) {
  return {ExitCode::Failed, fmt::format("{} {}; export the note again", path, what)};
}

File openForReading(const std::string& path) {
  // A pipe must not hold the command up.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  struct stat state = {};
  if (descriptor < 0 || fstat(descriptor, &state) != 0) {
    const int error = errno;
    if (descriptor >= 0) {
      close(descriptor);
    }
    throw diskFailure(path, "cannot be opened", error);
  }
  if (!S_ISREG(state.st_mode)) {
    close(descriptor);
    throw Failure(ExitCode::Failed, path + " is no file; name the files of staged notes");
  }
  File file(fdopen(descriptor, "rb"), fclose);
  if (file == nullptr) {
    const int error = errno;
    close(descriptor);
    throw diskFailure(path, "cannot be opened", error);
  }
  return file;
}

StagedNote readHeader(FILE* file, const std::string& path) {
  std::string header(headerSize, '\0');
  header.resize(fread(header.data(), 1, headerSize, file));
  if (ferror(file) != 0) {
    throw diskFailure(path, "cannot be read", errno);
  }
  if (header.compare(0, magic.size(), magic) != 0) {
    throw damaged(path, "is no staged note of this version, or its export did not come to its end");
  }
  const std::optional<StagedNote> staged =
      header.size() == headerSize ? parseHeader(header) : std::nullopt;
  if (!staged) {
    throw damaged(path, "has a header that is damaged or cut");
  }
  struct stat state = {};
  if (fstat(fileno(file), &state) != 0) {
    throw diskFailure(path, "cannot be read", errno);
  }
  const std::uint64_t wanted = std::uint64_t{headerSize} + staged->dxlBytes;
  if (static_cast<std::uint64_t>(state.st_size) != wanted || staged->dxlBytes == 0) {
    throw damaged(path, fmt::format("has {} bytes, but should have {}", state.st_size, wanted));
  }
  return *staged;
}

// What a write that failed somewhere on the way would say now; the library does not tell it.
int writeError(FILE* stream) {
  clearerr(stream);
  errno = 0;  // What an earlier call has left there says nothing about this one.
  const bool written = fputc(' ', stream) != EOF && fflush(stream) == 0;
  return written || errno == 0 ? EIO : errno;
}

}  // namespace

// ---- export -------------------------------------------------------------------------------------

DWORD exportDxl(KoLNDocument& note, DXLEXPORTHANDLE& exporter, FILE* stream,
                const std::string& name) {
  NoteExportRecord record = {};
  record.file = stream;
  record.toFile = 1;
  record.ok = 1;
  const KoLNError error = note.Export(exporter, &record);
  if (isError(error)) {
    throw failureOf(fmt::format("the note could not be exported to {}", name), error);
  }
  if (record.ok != 1 || record.written != record.total || record.total == 0) {
    throw diskFailure(name, "did not take the whole note", writeError(stream));
  }
  return record.written;
}

void exportDxl(KoLNDocument& note, DXLEXPORTHANDLE& exporter, const std::string& path) {
  NewFile file(path);
  exportDxl(note, exporter, file.stream(), path);
  file.finish();
}

StagedNote identityOf(KoLNDocument& note) {
  StagedNote staged;
  ORIGINATORID identity = {};
  for (const KoLNError& error :
       {note.GetInfo(_NOTE_ID, &staged.id), note.GetInfo(_NOTE_OID, &identity)}) {
    if (isError(error)) {
      throw failureOf("the identity of the note cannot be told", error);
    }
  }
  staged.unid = textFromUnid({identity.File, identity.Note});
  staged.sequence = identity.Sequence;
  staged.sequenceTime = identity.SequenceTime;
  return staged;
}

StagedNote stageNote(KoLNDocument& note, DXLEXPORTHANDLE& exporter, const std::string& path) {
  StagedNote staged = identityOf(note);
  NewFile file(path);
  file.write(std::string(headerSize - 1, ' ') + '\n');
  staged.dxlBytes = exportDxl(note, exporter, file.stream(), path);
  file.flush();
  staged.checksum = writtenChecksum(fileno(file.stream()), staged, path);
  if (fseek(file.stream(), 0, SEEK_SET) != 0) {
    throw diskFailure(path, "cannot be written", errno);
  }
  file.write(headerOf(staged));
  file.finish();
  return staged;
}

NoteExporter::NoteExporter(bool heading) {
  DWORD declaration = heading ? TRUE : FALSE;
  DWORD doctype = FALSE;  // It would name a file that a reader has to find.
  DWORD asItemData = 1;
  const KoLNError error =
      KoLNUtilities().CreateDXLExporter(handle_, {{eDxlRichtextOption, &asItemData},
                                                  {eOutputXmlDecl, &declaration},
                                                  {eOutputDOCTYPE, &doctype}});
  if (isError(error)) {
    throw failureOf("notes cannot be exported", error);
  }
}

NoteExporter::~NoteExporter() {
  KoLNUtilities().DeleteDXLExporter(handle_);
}

// ---- import -------------------------------------------------------------------------------------

StagedNote checkStagedFile(const std::string& path) {
  const File file = openForReading(path);
  StagedNote staged = readHeader(file.get(), path);
  std::string piece(pieceSize, '\0');
  std::uint32_t checksum = 0;
  std::uint64_t bytes = 0;
  while (const std::size_t count = fread(piece.data(), 1, piece.size(), file.get())) {
    checksum = checksumOf({piece.data(), count}, checksum);
    bytes += count;
  }
  if (ferror(file.get()) != 0) {
    throw diskFailure(path, "cannot be read", errno);
  }
  if (bytes != staged.dxlBytes || checksum != staged.checksum) {
    throw damaged(path, "holds other DXL than was exported");
  }
  return staged;
}

void importStagedFile(KoLNDocument& target, DXLIMPORTHANDLE importer, const std::string& path,
                      const StagedNote& staged) {
  const File file = openForReading(path);
  if (headerOf(readHeader(file.get(), path)) != headerOf(staged)) {
    throw Failure(ExitCode::Failed, path + " has changed since it was checked; import it again");
  }
  NoteImportRecord record = {file.get(), nullptr, staged.dxlBytes, 0};
  const KoLNError error = target.Import(importer, &record);
  if (isError(error)) {
    throw failureOf(path + " could not be imported", error);
  }
  if (record.offset != staged.dxlBytes) {
    throw Failure(ExitCode::Failed,
                  path + " was not read to its end, so the note is not whole; import it again");
  }
}

// ---- identities ---------------------------------------------------------------------------------

UNIVERSALNOTEID unidFromText(const std::string& text) {
  std::string upper = text;
  std::transform(upper.begin(), upper.end(), upper.begin(), [](char c) {
    return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  constexpr std::size_t digits = 32;
  if (upper.size() != digits || textFromUnid(digitsOf(upper)) != upper) {
    throw Failure(ExitCode::WrongUsage,
                  fmt::format("'{}' is no universal ID; write 32 hexadecimal digits", text));
  }
  return digitsOf(upper);
}

std::string textFromUnid(const UNIVERSALNOTEID& unid) {
  return fmt::format("{:08X}{:08X}{:08X}{:08X}", unid.File.Innards[1], unid.File.Innards[0],
                     unid.Note.Innards[1], unid.Note.Innards[0]);
}

}  // namespace host
