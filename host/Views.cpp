// The command `koln views`: what views and folders a database has.
#include <fmt/format.h>
#include <koln.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "JsonLine.h"
#include "NoteArgument.h"
#include "NotesFailure.h"
#include "OneByOne.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "ViewList.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(A line for each: note ID, whether it is a view or a folder, name, further names, titles of
its visible columns. Levels of nested folders are parted by a backslash.
'koln index DB VIEW' shows the entries of one.
)";

std::vector<std::string> columnsOf(KoLNDatabase& database, NOTEID id) {
  KoLNView view(database, id);
  std::string titles;
  const KoLNError error = view.GetCoulmnTitles(&titles);
  if (isError(error)) {
    throw failureOf(fmt::format("the columns of view {} cannot be told", textFromNoteId(id)),
                    error);
  }
  std::vector<std::string> columns = partsOf(titles, '\x12');
  columns.erase(columns.begin());  // Each title has the character in front.
  return columns;
}

std::string joined(const std::vector<std::string>& texts) {
  return shown(fmt::format("{}", fmt::join(texts, ", ")));
}

void write(NOTEID id, const ViewFacts& facts, const std::vector<std::string>& columns, bool json) {
  if (json) {
    const Json object = {{"noteId", textFromNoteId(id)},
                         {"folder", facts.folder},
                         {"name", facts.name},
                         {"aliases", facts.aliases},
                         {"columns", columns}};
    return writeResult(jsonLine(object));
  }
  writeResult(fmt::format("{}  {}  {}  {}  {}\n", textFromNoteId(id),
                          facts.folder ? "folder" : "view  ", cell(facts.name, 28, false),
                          cell(joined(facts.aliases), 28, false), joined(columns)));
}

ExitCode run(const Options& options, const std::string& path) {
  Session session(options);
  KoLNDatabase database(path, session.instance());
  openDatabase(database, path);
  const std::vector<NOTEID> ids = viewNotesOf(database);
  if (!options.json) {
    writeResult(fmt::format("NOTE ID   KIND    {:<28}  {:<28}  COLUMNS\n", "NAME", "ALIASES"));
  }
  return oneByOne(ids.size(), "view", [&](std::size_t i) {
    if (const std::optional<ViewFacts> facts = viewFactsOf(database, ids[i])) {
      write(ids[i], *facts, columnsOf(database, ids[i]), options.json);
    }
  });
}

}  // namespace

Command views(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand("views", "the views and folders of a database");
  words->footer(footer);
  const auto path = std::make_shared<std::string>();
  addDatabaseArgument(*words, *path);
  words->add_flag("--json", options.json, "one JSON object a line");
  return {words, [&options, path] { return run(options, *path); }};
}

}  // namespace host
