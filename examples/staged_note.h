// A note as a file: 133 bytes that are the host's own, and behind them the note's DXL.
#ifndef KOLN_EXAMPLES_STAGED_NOTE_H
#define KOLN_EXAMPLES_STAGED_NOTE_H

#include <fcntl.h>
#include <unistd.h>

#include <memory>

#include "partition.h"

typedef std::unique_ptr<FILE, int (*)(FILE*)> File;
const long HeaderBytes = 133;  // Fixed: the library begins to read DXL behind them.

inline std::string textFromUnid(const ORIGINATORID& id) {
  char text[33];
  std::snprintf(text, sizeof text, "%08X%08X%08X%08X", id.File.Innards[1], id.File.Innards[0],
                id.Note.Innards[1], id.Note.Innards[0]);
  return text;
}

class Exporter {
 public:
  Exporter() {
    DWORD asStored = 1, no = 0;  // Rich text as the note has it, so that the same note comes back.
    check(KoLNUtilities().CreateDXLExporter(
              handle_, {{eDxlRichtextOption, &asStored}, {eOutputDOCTYPE, &no}}),
          "notes cannot be exported");
  }
  ~Exporter() { KoLNUtilities().DeleteDXLExporter(handle_); }
  Exporter(const Exporter&) = delete;
  Exporter& operator=(const Exporter&) = delete;

  DXLEXPORTHANDLE& handle() { return handle_; }

 private:
  DXLEXPORTHANDLE handle_ = NULLHANDLE;
};

// Gives a file its name once all of it is on the disk; a crash leaves a ".part" at most.
inline void publish(File file, const std::string& directory, const std::string& name) {
  const std::string path = directory + "/" + name;
  const bool stored = std::fflush(file.get()) == 0 && fsync(fileno(file.get())) == 0;
  if (std::fclose(file.release()) != 0 || !stored ||
      std::rename((path + ".part").c_str(), path.c_str()) != 0)
    throw Failure(path + " cannot be written");
  const int folder = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool named = folder >= 0 && fsync(folder) == 0;
  if (folder >= 0) close(folder);
  if (!named) throw Failure(directory + " cannot be brought to the disk");
}

inline File createPart(const std::string& directory, const std::string& name) {
  File file(std::fopen((directory + "/" + name + ".part").c_str(), "wb"), std::fclose);
  if (!file) throw Failure("there can be no file in " + directory + "; whose is it?");
  return file;
}

// Exports an open note. @return The name of its file.
inline std::string stageNote(KoLNDocument& note, Exporter& exporter, const std::string& directory) {
  ORIGINATORID id = {};
  check(note.GetInfo(_NOTE_OID, &id), "the identity of the note");
  const std::string name = textFromUnid(id) + ".dxl";
  File file = createPart(directory, name);
  NoteExportRecord record = {};
  record.file = file.get();
  record.toFile = record.ok = 1;
  std::fprintf(file.get(), "%-132s\n", name.c_str());
  check(note.Export(exporter.handle(), &record), "the note cannot be exported");
  // The export succeeds even if the disk is full: the record knows.
  if (record.ok != 1 || record.total == 0) throw Failure("not all of " + name + " was written");
  publish(std::move(file), directory, name);
  return name;
}

#endif
