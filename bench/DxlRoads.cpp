// DXL on its way: from Notes to memory and to a staged file, and from there back to Notes.
#include <fmt/format.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "NotesDatabase.h"
#include "NotesUtilities.h"
#include "bench/Roads.h"

namespace bench {
namespace {

constexpr std::size_t pieceSize = 32 * 1024;
constexpr std::size_t headerSize = 133;  // Of a staged file; its writer's.

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// A file that is only in memory: no disk is measured.
File makeFile() {
  return File(fdopen(memfd_create("dxl", 0), "w+"));
}

// ---- hollow ground ----------------------------------------------------------------------------

std::size_t hollowSize = 0;           // What is exported or taken, in bytes.
std::uint64_t taken = 0;              // Tells what was imported.
constexpr std::size_t shifts = 1021;  // Pieces begin at so many places: none is like the next.
std::array<BYTE, pieceSize + shifts> content;

void bindHollowDxl(std::size_t size) {
  hollowSize = size;
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<BYTE>(i * i >> 3);
  KO_DXLExportNote = [](auto, XML_WRITE_FUNCTION write, auto, void* context) -> STATUS {
    for (std::size_t left = hollowSize; left != 0;) {
      const std::size_t length = std::min(left, pieceSize);
      write(content.data() + left % shifts, static_cast<DWORD>(length), context);
      left -= length;
    }
    return NOERROR;
  };
  KO_DXLImport = [](auto, XML_READ_FUNCTION read, auto, void* context) -> STATUS {
    static std::array<BYTE, pieceSize> in;
    taken = 0;
    while (const DWORD length = read(in.data(), pieceSize, context)) {
      taken = taken * 31 + length + in[0] + 256U * in[length - 1];
    }
    return NOERROR;
  };
}

// ---- the roads --------------------------------------------------------------------------------

// One note, open for export; on simulated ground in a database of these roads' own.
struct DxlRoad {
  DxlRoad(const Site& site, std::size_t bytes)
      : size(bytes), ground(site.ground), database(site.partition + "/dxl.nsf", site.instance) {
    if (ground == Ground::Simulated) openNote();
    document.emplace(db, 0);
    document->SetNoteHandle(note);
  }
  ~DxlRoad() {
    if (ground == Ground::Hollow) return;
    KoLNUtilities().DeleteDXLExporter(exporter);
    KoLNUtilities().DeleteDXLImporter(importer);
  }
  DxlRoad(const DxlRoad&) = delete;
  DxlRoad& operator=(const DxlRoad&) = delete;

  void prepare() {
    if (ground == Ground::Hollow) bindHollowDxl(size);
  }

  void openNote() {
    static NOTEID id = 0;  // The same note for all.
    if (database.Open().IsErrorSet()) {
      database.Create();
      database.Open();
      KoLNDataDocument made(database.GetHandle(), 0);
      made.Create();
      made.SetItemText("Subject", std::string(2000, 's'));
      made.Update(0);
      made.GetInfo(_NOTE_ID, &id);
    }
    db = database.GetHandle();
    KO_NSFNoteOpen(db, id, 0, &note);
    KoLNUtilities().CreateDXLExporter(exporter, {});
    DWORD replace = DXLIMPORTOPTION_REPLACE_ELSE_CREATE;
    KoLNUtilities().CreateDXLImporter(importer, {{iDocumentsImportOption, &replace}});
  }

  static std::string checksum(const BYTE* bytes, std::size_t length) {
    std::uint64_t sum = 1;
    for (std::size_t i = 0; i < length; ++i) sum = sum * 31 + bytes[i];
    return fmt::format("{} bytes, {:x}", length, sum);
  }

  const std::size_t size;
  const Ground ground;
  KoLNDatabase database;
  DBHANDLE db = 7;
  NOTEHANDLE note = 9;
  std::optional<KoLNDataDocument> document;
  DXLEXPORTHANDLE exporter = 11;
  DXLIMPORTHANDLE importer = 12;
  bool done = false;
};

struct ToMemory : DxlRoad {
  using DxlRoad::DxlRoad;
  ~ToMemory() { std::free(out.bytes); }

  void library() {
    restart();
    NoteExportRecord record = {nullptr, &out.bytes, 0, &out.capacity, 0, 0, 1};
    done = !document->Export(exporter, &record).IsErrorSet() && record.ok == 1;
    out.length = record.written;
  }
  void twin() {
    restart();
    done = KO_DXLExportNote(exporter, append, note, &out) == NOERROR && !out.failed;
  }
  std::string result() const { return done ? checksum(out.bytes, out.length) : ""; }

  struct Memory {
    BYTE* bytes = nullptr;
    DWORD length = 0, capacity = 0;
    bool failed = false;
  };

  // The result of the round before goes only now, so that it can be looked at.
  void restart() {
    std::free(out.bytes);
    out = {};
  }

  static void append(const BYTE* data, DWORD length, void* context) {
    auto& memory = *static_cast<Memory*>(context);
    const std::uint64_t total = std::uint64_t{memory.length} + length;
    if (memory.failed) return;
    if (total >= memory.capacity) {
      const std::uint64_t capacity = total * 3 / 2;
      auto* const larger =
          capacity > MAXDWORD ? nullptr : static_cast<BYTE*>(std::calloc(capacity, 1));
      memory.failed = larger == nullptr;
      if (memory.failed) return;
      if (memory.bytes != nullptr) std::memcpy(larger, memory.bytes, memory.length);
      std::free(memory.bytes);
      memory.bytes = larger;
      memory.capacity = static_cast<DWORD>(capacity);
    }
    std::memcpy(memory.bytes + memory.length, data, length);
    memory.length = static_cast<DWORD>(total);
  }

  Memory out;
};

struct ToFile : DxlRoad {
  using DxlRoad::DxlRoad;

  void library() {
    std::rewind(file.get());
    NoteExportRecord record = {file.get(), nullptr, 0, nullptr, 0, 1, 1};
    done = !document->Export(exporter, &record).IsErrorSet() && record.ok == 1;
    written = record.written;
  }
  void twin() {
    std::rewind(file.get());
    Plain plain = {file.get(), 0, false};
    done = KO_DXLExportNote(exporter, append, note, &plain) == NOERROR && !plain.failed &&
           std::fflush(plain.file) == 0;
    written = plain.written;
  }
  std::string result() const {
    std::vector<BYTE> bytes(written);
    std::rewind(file.get());
    return done && std::fread(bytes.data(), 1, written, file.get()) == written
               ? checksum(bytes.data(), written)
               : "";
  }

  struct Plain {
    std::FILE* file;
    std::size_t written;
    bool failed;
  };
  static void append(const BYTE* data, DWORD length, void* context) {
    auto& plain = *static_cast<Plain*>(context);
    if (plain.failed) return;
    plain.failed = std::fwrite(data, 1, length, plain.file) != length;
    plain.written += length;
  }

  File file = makeFile();
  std::size_t written = 0;
};

struct FromFile : DxlRoad {
  using DxlRoad::DxlRoad;

  void prepare() {
    DxlRoad::prepare();
    taken = 0;
    if (staged == nullptr || stagedFor != this) stage();
  }

  void library() {
    NoteImportRecord record = {staged.get(), nullptr, stagedLength, 0};
    done = !document->Import(importer, &record).IsErrorSet() && record.remaining == 0;
    read = record.offset;
    seen = taken;
  }
  void twin() {
    Plain plain = {staged.get(), stagedLength};
    done = std::fseek(plain.file, headerSize, SEEK_SET) == 0 &&
           KO_DXLImport(importer, next, db, &plain) == NOERROR && plain.left == 0;
    read = stagedLength - plain.left;
    seen = taken;
  }
  std::string result() const { return done ? fmt::format("{} bytes, {:x}", read, seen) : ""; }

  struct Plain {
    std::FILE* file;
    DWORD left;
  };
  static DWORD next(BYTE* out, DWORD most, void* context) {
    auto& plain = *static_cast<Plain*>(context);
    const auto length =
        static_cast<DWORD>(std::fread(out, 1, std::min(most, plain.left), plain.file));
    plain.left -= length;
    return length;
  }

  // Writes what both sides read.
  void stage() {
    staged = makeFile();
    stagedFor = this;
    const std::array<char, headerSize> header = {};
    std::fwrite(header.data(), 1, header.size(), staged.get());
    NoteExportRecord record = {staged.get(), nullptr, 0, nullptr, 0, 1, 1};
    document->Export(exporter, &record);
    stagedLength = record.written;
  }

  inline static File staged;
  inline static const void* stagedFor = nullptr;
  inline static DWORD stagedLength = 0;
  DWORD read = 0;
  std::uint64_t seen = 0;
};

}  // namespace

void addDxlRoads(Pairs& pairs, const Site& site) {
  const auto add = [&](std::size_t size, unsigned rounds) {
    constexpr Limits memory = {1.15, 1.03, 0, false};
    pairs.push_back(
        makePair<ToMemory>("dxl-to-memory", size, site.ground, rounds, memory, site, size));
    pairs.push_back(makePair<ToFile>("dxl-to-file", size, site.ground, rounds, {}, site, size));
    pairs.push_back(makePair<FromFile>("dxl-from-file", size, site.ground, rounds, {}, site, size));
  };
  if (site.ground == Ground::Simulated) return add(0, 20);
  for (const std::size_t size : {1024, 10240, 102400, 1048576, 10485760, 104857600}) {
    add(size, size < 1000000 ? 50 : 1);
  }
}

}  // namespace bench
