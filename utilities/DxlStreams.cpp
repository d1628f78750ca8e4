// DXL importers and exporters: making them, their properties, and the two streams between Notes and
// a staged file or a buffer.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "NotesUtilities.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"

namespace {

constexpr const char* sourceName = "NotesUtilities";

// A staged file begins with a header of its writer's, which no importer gets to see.
constexpr long stagedHeaderSize = 133;

constexpr std::array<DXL_EXPORT_PROPERTY, 10> acceptedExportProperties = {
    eDoctypeSYSTEM,         eDXLBannerComments,         eDxlExportCharset,
    eDxlRichtextOption,     eDxlExportResultLogComment, eForceNoteFormat,
    eExitOnFirstFatalError, eOutputRootAttrs,           eOutputXmlDecl,
    eOutputDOCTYPE};

// A call of the creation members failed. True if it did.
bool stopped(const koln::CallResult& call, const char* function, const char* thrownLine,
             KoLNError& error) {
  if (!call.failed()) {
    return false;
  }
  call.record(error);
  if (call.threw()) {
    KOLN_LOG(function, 0, "%s", thrownLine);
  }
  return true;
}

// Where the DXL of a record is, from its position on. Returns how much of `length` could be read.
DWORD readStaged(const NoteImportRecord& record, BYTE* out, DWORD length) {
  // Each time, also where the file stands there already: what the host has written before is flushed
  // by this, and an end that was met is forgotten.
  if (record.file == nullptr ||
      fseeko(record.file, static_cast<off_t>(record.offset) + stagedHeaderSize, SEEK_SET) != 0) {
    return 0;
  }
  return static_cast<DWORD>(std::fread(out, 1, length, record.file));
}

// Returns how much of the data was written.
std::size_t writeStaged(FILE* file, const BYTE* data, std::size_t length) {
  try {
    return file == nullptr ? 0 : std::fwrite(data, 1, length, file);
  } catch (...) {  // A stream of the host's own making may throw.
    return 0;
  }
}

// The size that a buffer grows to for `total` bytes: one and a half times as much, counted in 32
// bits; where that wraps, half as much again until it reaches. 0 if it never does.
DWORD grownCapacity(DWORD total) {
  auto grown = static_cast<DWORD>(std::uint64_t{total} * 3 / 2);
  for (int rounds = 0; grown < total && rounds < 100; ++rounds) {
    grown = static_cast<DWORD>(std::uint64_t{grown} * 3 / 2);
  }
  return grown < total ? 0 : grown;
}

// Replaces the buffer of a record by one that has room for all that was received. The old one stays
// valid in its slot when that fails.
void grow(NoteExportRecord& record) {
  const DWORD capacity = grownCapacity(record.total);
  auto* const buffer = capacity == 0 ? nullptr : static_cast<BYTE*>(std::calloc(capacity, 1));
  if (buffer == nullptr) {
    record.ok = 0;
    KOLN_LOG("DXLExportStreamFunc", -1, "failed to allocate  %d memory",
             static_cast<int>(capacity));
    return;
  }
  if (*record.buffer != nullptr) {
    std::memcpy(buffer, *record.buffer, std::min(*record.capacity, capacity));
    std::free(*record.buffer);
  }
  *record.buffer = buffer;
  *record.capacity = capacity;
}

// Whether the data has a place in memory behind what is there. A record whose counts do not fit
// each other has none.
bool makeRoom(NoteExportRecord& record, DWORD length) {
  if (record.buffer == nullptr || record.capacity == nullptr || record.total < length) {
    return false;  // The 32-bit count has wrapped, or there is nothing to store into.
  }
  if (record.total >= *record.capacity) {
    grow(record);
  }
  return record.ok != 0 && *record.buffer != nullptr &&
         std::uint64_t{record.written} + length <= *record.capacity;
}

}  // namespace

KoLNError KoLNUtilities::CreateDXLImporter(DXLIMPORTHANDLE& importer,
                                           std::map<DXL_IMPORT_PROPERTY, void*> properties) {
  constexpr const char* function = "CreateDXLImporter";
  constexpr const char* thrownLine = "Caught exception in createDXLImporter\n";
  return koln::recorded([&](KoLNError& error) {
    DXLIMPORTHANDLE made = NULLHANDLE;
    const koln::CallResult created = KOLN_STATUS(DXLCreateImporter, &made);
    if (stopped(created, function, thrownLine, error)) {
      if (!created.threw()) {
        KOLN_LOG(function, 0,
                 "Error: unable to create DXL importer. DXLCreateImporter(...) returned: [%d] %s\n",
                 created.status(), error.GetMessage().c_str());
      }
      return;
    }
    importer = made;
    for (const auto& [key, value] : properties) {
      if (key == iDocumentsImportOption) {
        KOLN_LOG(function, 4, "setting import prop iDocumentsImportOption");
      } else if (key == iReplicaRequiredForReplaceOrUpdate) {
        KOLN_LOG(function, 4, "setting import prop iReplicaRequiredForReplaceOrUpdate");
      } else {
        KOLN_LOG(function, 0, "unknown import prop");
        continue;
      }
      if (stopped(KOLN_STATUS(DXLSetImporterProperty, importer, key, value), function, thrownLine,
                  error)) {
        static_cast<void>(KOLN_VOID(DXLDeleteImporter, importer).failed());
        return;
      }
    }
  });
}

KoLNError KoLNUtilities::CreateDXLExporter(DXLEXPORTHANDLE& exporter,
                                           std::map<DXL_EXPORT_PROPERTY, void*> properties) {
  constexpr const char* function = "CreateDXLExporter";
  constexpr const char* thrownLine = "Caught exception in createDXLExporter\n";
  return koln::recorded([&](KoLNError& error) {
    DXLEXPORTHANDLE made = NULLHANDLE;
    if (stopped(KOLN_STATUS(DXLCreateExporter, &made), function, thrownLine, error)) {
      return;
    }
    exporter = made;
    for (const auto& [key, value] : properties) {
      if (std::find(acceptedExportProperties.begin(), acceptedExportProperties.end(), key) ==
          acceptedExportProperties.end()) {
        continue;
      }
      if (stopped(KOLN_STATUS(DXLSetExporterProperty, exporter, key, value), function, thrownLine,
                  error)) {
        static_cast<void>(KOLN_VOID(DXLDeleteExporter, exporter).failed());
        return;
      }
    }
  });
}

KoLNError KoLNUtilities::DeleteDXLImporter(DXLIMPORTHANDLE& importer) {
  return koln::recorded([&](KoLNError& error) {
    if (importer == NULLHANDLE) {
      return;
    }
    const koln::CallResult deleted = KOLN_VOID(DXLDeleteImporter, importer);
    if (deleted.failed()) {
      deleted.record(error);
    }
  });
}

KoLNError KoLNUtilities::DeleteDXLExporter(DXLEXPORTHANDLE& exporter) {
  return koln::recorded([&](KoLNError& error) {
    if (exporter == NULLHANDLE) {
      return;
    }
    const koln::CallResult deleted = KOLN_VOID(DXLDeleteExporter, exporter);
    if (deleted.failed()) {
      deleted.record(error);
    }
  });
}

DWORD KoLNUtilities::DXLImportStreamFunc(BYTE* out, DWORD max, void* context) {
  auto* const record = static_cast<NoteImportRecord*>(context);
  if (record == nullptr || record->remaining == 0) {
    return 0;
  }
  const DWORD wanted = std::min(max, record->remaining);
  DWORD delivered = wanted;
  if (record->buffer != nullptr) {
    std::memcpy(out, record->buffer + record->offset, wanted);
  } else {
    try {
      delivered = readStaged(*record, out, wanted);
    } catch (...) {  // A stream of the host's own making may throw.
      KOLN_LOG("DXLImportStreamFunc", -1, "Caught exception in DXLImportStreamFunc\n");
      std::memset(out, 0, wanted);  // No DXL, and nothing that somebody else has left there.
      return wanted;
    }
    if (delivered < wanted) {
      KOLN_LOG("DXLImportStreamFunc", -1,
               "Error: the staged file ends after %u of %u bytes at offset %u", delivered, wanted,
               record->offset);
      record->remaining = delivered;  // This is the end: no more is asked of the file.
    }
  }
  record->offset += delivered;
  record->remaining -= delivered;
  return delivered;
}

void KoLNUtilities::DXLExportStreamFunc(const BYTE* data, DWORD length, void* context) {
  auto* const record = static_cast<NoteExportRecord*>(context);
  if (record == nullptr || record->ok == 0 || length == 0) {
    return;
  }
  record->total += length;
  if (record->toFile == 1) {
    const std::size_t stored = writeStaged(record->file, data, length);
    record->written += static_cast<DWORD>(stored);
    if (stored != length) {
      record->ok = 0;
      KOLN_LOG("DXLExportStreamFunc", -1, "Error: only %zu of %u bytes written to the staged file",
               stored, length);
    } else if (record->total < length) {  // An importer counts in 32 bits too: it cannot read this.
      record->ok = 0;
      KOLN_LOG("DXLExportStreamFunc", -1, "Error: the staged file exceeds what 32 bits can count");
    }
    return;
  }
  if (makeRoom(*record, length)) {
    std::memcpy(*record->buffer + record->written, data, length);
  } else {
    record->ok = 0;
    KOLN_LOG("DXLExportStreamFunc", -1, "Insufficient memory");
  }
  record->written += length;
}
