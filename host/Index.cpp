// The command `koln index`: the entries of a view or folder as lines of text.
#include <fmt/format.h>
#include <koln.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "Collection.h"
#include "Commands.h"
#include "Console.h"
#include "JsonLine.h"
#include "NoteArgument.h"
#include "NotesFailure.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "ViewList.h"

namespace host {
namespace {

constexpr const char* footer = R"(Examples:
  koln index mail/zori.nsf '($All)'
  koln index mail/zori.nsf 'Projects\Alpha' --json | jq -r '.columns[0]'

A line for each entry: note ID and the texts of the visible columns, with " | " between
them on a terminal, else a tab. Categories have an ID from 80000000 on. Texts are cut at 80
characters, lines at about 240. Titles of categories are left out. The first line has the
titles of the columns; with --json 'koln views' tells them.
)";

struct Request {
  std::string path;
  std::string view;
};

// Gathers lines, so that a hundred thousand of them are not as many writes.
class Lines {
 public:
  explicit Lines(bool json) : json_(json) {}

  void add(const std::string& id, bool category, const std::vector<std::string>& columns) {
    if (json_) {
      const Json object = {{"noteId", id}, {"category", category}, {"columns", columns}};
      text_ += jsonLine(object);
    } else {
      text_ += id;
      for (const std::string& column : columns) {
        text_ += separator_ + shown(column);
      }
      text_ += '\n';
    }
    constexpr std::size_t enough = std::size_t{32} * 1024;
    if (text_.size() > enough) {
      flush();
    }
  }

  void flush() {
    writeResult(text_);
    text_.clear();
  }

 private:
  const bool json_;
  const std::string separator_ = isatty(STDOUT_FILENO) == 1 ? " | " : "\t";
  std::string text_;
};

// The fields of a line: an ID, and each column with the separator behind it.
std::vector<std::string> columnsOf(const char* line) {
  std::vector<std::string> fields = partsOf(line, '\x12');
  fields.erase(fields.begin());
  if (!fields.empty()) {
    fields.pop_back();
  }
  for (std::string& field : fields) {
    if (field == " ") {  // An empty column.
      field.clear();
    }
  }
  return fields;
}

ExitCode run(const Options& options, const Request& request) {
  Session session(options);
  KoLNDatabase database(request.path, session.instance());
  openDatabase(database, request.path);
  KoLNView view(database, request.view);
  findView(view, request.view, request.path);
  std::string titles;
  const KoLNError error =
      view.GetCoulmnTitles(&titles);  // The view knows its columns from then on.
  if (isError(error)) {
    throw failureOf(fmt::format("the columns of '{}' cannot be told", request.view), error);
  }
  Collection collection(database, view, request.view);
  Lines lines(options.json);
  if (!options.json) {
    std::vector<std::string> columns = partsOf(titles, '\x12');
    columns.erase(columns.begin());
    lines.add("NOTE ID ", false, columns);
  }
  constexpr std::size_t longestLine = 4096;
  std::array<char, longestLine> line = {};
  const bool same =
      collection.visit(Collection::Content::Summaries, [&](const CollectionEntry& entry) {
        if (view.AddEntryToNoteIndex(line.data(), entry.summary, entry.id, entry.special,
                                     entry.position, 0) != 0) {
          throw Failure(ExitCode::Failed,
                        fmt::format("entry {} of '{}' has no room in a line; --debug-log stderr "
                                    "shows the detail",
                                    textFromNoteId(entry.id), request.view));
        }
        lines.add(textFromNoteId(entry.id), entry.isCategory(), columnsOf(line.data()));
      });
  lines.flush();
  if (!same) {
    Console::get().line(
        fmt::format("koln: '{}' has changed meanwhile, so entries may be missing or come twice; "
                    "run the command again",
                    request.view));
    return ExitCode::DoneInPart;
  }
  return ExitCode::Done;
}

}  // namespace

Command index(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("index", "the entries of a view or folder, a line each");
  words->footer(footer);
  const auto request = std::make_shared<Request>();
  addDatabaseArgument(*words, request->path);
  words->add_option("VIEW", request->view, "its name, or one of its aliases")
      ->type_name("")
      ->required();
  words->add_flag("--json", options.json, "one JSON object a line");
  return {words, [&options, request] { return run(options, *request); }};
}

}  // namespace host
