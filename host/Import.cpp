// The command `koln import`: brings staged notes into a database.
#include <fmt/format.h>
#include <koln.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Amounts.h"
#include "Commands.h"
#include "NoteArgument.h"
#include "NoteFacts.h"
#include "NoteImporter.h"
#include "OneByOne.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "StagedFile.h"

namespace host {
namespace {

constexpr const char* footer = R"(Modes, for a note that the database has already:
  replace  it gets the items of the file alone (default)
  update   it gets the items of the file, and keeps those with other names
  create   it stays, and the file becomes another note
A note that the database does not have is created in each of them, with the universal ID
that it had. All files are checked first; nothing is imported if one is damaged.

A line of the result: universal ID, note ID in the database, what was done, file.
)";

struct Mode {
  WORD option;
  const char* done;  // What it does to a note that is there.
};
const std::map<std::string, Mode> modes = {
    {"create", {DXLIMPORTOPTION_CREATE, "copied"}},
    {"replace", {DXLIMPORTOPTION_REPLACE_ELSE_CREATE, "replaced"}},
    {"update", {DXLIMPORTOPTION_UPDATE_ELSE_CREATE, "updated"}}};

struct Request {
  std::vector<std::string> files;
  std::string into;
  std::string mode = "replace";
};

std::vector<StagedNote> check(const std::vector<std::string>& files) {
  std::vector<StagedNote> notes;
  oneByOne(files.size(), "file",
           [&](std::size_t i) { notes.push_back(checkStagedFile(files[i])); });
  if (notes.size() < files.size()) {
    throw Failure(ExitCode::Failed,
                  fmt::format("nothing was imported, as {} of {} cannot be used; leave them out",
                              files.size() - notes.size(), counted(files.size(), "file")));
  }
  return notes;
}

void importOne(KoLNDatabase& database, const NoteImporter& importer, const Request& request,
               const std::string& file, const StagedNote& staged) {
  const std::optional<NOTEID> before = idOf(database, staged.unid);
  KoLNDocument target(database.GetHandle(), 0);
  importStagedFile(target, importer.handle(), file, staged);
  const std::optional<NOTEID> after = idOf(database, staged.unid);
  if (!after) {
    throw Failure(ExitCode::Failed,
                  fmt::format("{} was imported, but {} does not have note {} now; its DXL is of "
                              "another note",
                              file, request.into, staged.unid));
  }
  writeResult(fmt::format("{}  {}  {:<8}  {}\n", staged.unid, textFromNoteId(*after),
                          before ? modes.at(request.mode).done : "created", shown(file)));
}

ExitCode run(const Options& options, const Request& request) {
  Session session(options);  // First: the files are read as the partition's user.
  const std::vector<StagedNote> notes = check(request.files);
  KoLNDatabase database(request.into, session.instance());
  openDatabase(database, request.into);
  const NoteImporter importer(modes.at(request.mode).option);
  return oneByOne(notes.size(), "file", [&](std::size_t i) {
    importOne(database, importer, request, request.files[i], notes[i]);
  });
}

}  // namespace

Command importNotes(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand("import", "bring staged notes into a database");
  words->footer(footer);
  const auto request = std::make_shared<Request>();
  words->add_option("FILE", request->files, "files that 'koln export' or 'koln archive' wrote")
      ->type_name("...")
      ->required();
  words->add_option("--into", request->into, "the database")->type_name("DB")->required();
  words->add_option("--mode", request->mode, "create, replace or update")
      ->type_name("MODE")
      ->check(CLI::IsMember(modes).description(""));
  return {words, [&options, request] { return run(options, *request); }};
}

}  // namespace host
