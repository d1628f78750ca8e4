// The command `koln export`: notes as files, staged for an import or as plain DXL.
#include <fmt/format.h>
#include <koln.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "NoteArgument.h"
#include "OneByOne.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "StagedFile.h"

namespace host {
namespace {

constexpr const char* footer = R"(Examples:
  koln export mail/zori.nsf 000008F6 00000902 --to /var/backup/zori
  koln export mail/zori.nsf 000008F6 --plain --to - | xmllint --format -

'koln show DB' lists the notes. A staged file is 133 bytes of header, then DXL; its name
is the universal ID of the note, and 'koln import' takes it. The paths of the files that
were written are the result. They belong to the partition's user, who alone can read them.
)";

struct Request {
  std::string path;
  std::vector<std::string> notes;
  std::string to;
  bool plain = false;
};

constexpr const char* standardOutput = "-";

void refuseBad(const Request& request) {
  if (request.plain && request.notes.size() != 1) {
    throw Failure(ExitCode::WrongUsage, "plain DXL is of one note; name one, or leave --plain out");
  }
  if (!request.plain && request.to == standardOutput) {
    throw Failure(ExitCode::WrongUsage,
                  "staged notes need a directory; name one with --to, or add --plain");
  }
  if (!request.plain && !std::filesystem::is_directory(request.to)) {
    throw Failure(ExitCode::Failed,
                  request.to + " is no directory; make it, and let the partition's user write it");
  }
}

// By way of a file without name: what fails must not leave half a note on stdout.
void writePlain(KoLNDocument& note, DXLEXPORTHANDLE& exporter) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
  const auto refuse = [](int error) {
    throw Failure(
        ExitCode::Failed,
        fmt::format("the note cannot be kept in {}: {}; make room there, or use --to FILE",
                    P_tmpdir, strerror(error)));
  };
  if (file == nullptr) {
    refuse(errno);
  }
  exportDxl(note, exporter, file.get(), P_tmpdir);
  if (std::fflush(file.get()) != 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) {
    refuse(errno);
  }
  std::array<char, std::size_t{64} * 1024> piece;
  while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get())) {
    writeResult({piece.data(), count});
  }
  if (std::ferror(file.get()) != 0) {
    refuse(errno);
  }
}

void exportOne(KoLNDatabase& database, const NoteArgument& wanted, const Request& request,
               DXLEXPORTHANDLE& exporter) {
  const NOTEID id = wanted.in(database);
  KoLNDocument note(database.GetHandle(), id);
  openNote(note, id, request.path);
  if (!request.plain) {
    const std::string name = identityOf(note).unid + ".dxl";
    const std::string path = (std::filesystem::path(request.to) / name).string();
    stageNote(note, exporter, path);
    writeResult(shown(path) + '\n');
  } else if (request.to == standardOutput) {
    writePlain(note, exporter);
  } else {
    exportDxl(note, exporter, request.to);
    writeResult(shown(request.to) + '\n');
  }
}

ExitCode run(const Options& options, const Request& request) {
  refuseBad(request);
  const std::vector<NoteArgument> wanted(request.notes.begin(), request.notes.end());
  Session session(options);
  KoLNDatabase database(request.path, session.instance());
  openDatabase(database, request.path);
  NoteExporter exporter(request.plain);
  return oneByOne(wanted.size(), "note", [&](std::size_t i) {
    exportOne(database, wanted[i], request, exporter.handle());
  });
}

}  // namespace

Command exportNotes(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand("export", "notes as files, to import or to read");
  words->footer(footer);
  const auto request = std::make_shared<Request>();
  addDatabaseArgument(*words, request->path);
  words->add_option("NOTE", request->notes, "note IDs or universal IDs")
      ->type_name("...")
      ->required();
  words->add_option("--to", request->to, "directory; with --plain a file, or - for stdout")
      ->type_name("PLACE")
      ->required();
  words->add_flag("--plain", request->plain, "DXL alone, of one note");
  return {words, [&options, request] { return run(options, *request); }};
}

}  // namespace host
