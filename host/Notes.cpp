// The command `koln notes`: which documents a database has, by what they have in common.
#include <fmt/format.h>
#include <koln.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "JsonLine.h"
#include "NoteArgument.h"
#include "NoteFacts.h"
#include "NoteTable.h"
#include "NotesFailure.h"
#include "OneByOne.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "Times.h"
#include "Translation.h"
#include "ViewList.h"

namespace host {
namespace {

constexpr const char* footer = R"(Examples:
  koln notes mail/zori.nsf --modified-since 2026-01-31T18:00Z
  koln notes mail/zori.nsf --folder Projects --not-folder 'Projects\Alpha' --unread

Only notes to which all of it applies are listed. TIME is in UTC, as in 2026-01-31 or
2026-01-31T18:00:00; with it notes that were deleted since are listed too. A folder stands
for the folders nested in it as well, and --folder may be given several times: a note in one
of them is enough. Folders and views must have a name that begins with "$", as those of mail
templates have; the "$" may be left out.
)";

struct Request {
  std::string path;
  std::string since;
  bool unread = false;
  std::vector<std::string> in;
  std::vector<std::string> notIn;
};

std::optional<TIMEDATE> sinceOf(const Request& request) {
  if (request.since.empty()) {
    return std::nullopt;
  }
  const std::optional<TIMEDATE> since = timeFromIso8601(request.since);
  if (!since) {
    throw Failure(
        ExitCode::WrongUsage,
        fmt::format("'{}' is no time; write it in UTC, as in 2026-01-31T18:00:00Z", request.since));
  }
  return since;
}

// Looked up one by one first: the library tells of the last one alone that is not there.
std::string checkedList(KoLNDatabase& database, const std::vector<std::string>& folders,
                        const std::string& path) {
  constexpr std::size_t longest = 1023;  // Behind that the library looks for no nested folders.
  std::string list;
  for (const std::string& folder : folders) {
    const std::string name = folder.find('$') == std::string::npos ? '$' + folder : folder;
    if (folder.find_first_of(";|") != std::string::npos) {
      throw Failure(ExitCode::WrongUsage,
                    fmt::format("the name '{}' has a ';' or '|'; name each folder by itself, and "
                                "by one of its names",
                                folder));
    }
    KoLNView view(database, name);
    findView(view, name, path);
    list += (list.empty() ? "" : ";") + lmbcsFromUtf8(folder);
  }
  if (list.size() > longest) {
    throw Failure(
        ExitCode::WrongUsage,
        fmt::format("the names of the folders have {} bytes, of which no more than {} can "
                    "be used; name fewer",
                    list.size(), longest));
  }
  return list;
}

void filter(KoLNDatabase& database, NoteTable& notes, const std::vector<std::string>& folders,
            unsigned long mode, const std::string& path) {
  if (folders.empty() || notes.handle() == NULLHANDLE) {
    return;
  }
  std::string list = checkedList(database, folders, path);
  const KoLNError error = database.FilterDocumentsOfFolders(list, notes.handle(), mode);
  if (isError(error)) {
    throw failureOf("which notes are in the folders cannot be told", error);
  }
}

bool isUnread(KoLNDatabase& database, NOTEID id) {
  bool unread = false;
  const KoLNError error = database.GetNoteUnreadStatus(id, unread);
  if (isError(error)) {
    throw failureOf(fmt::format("whether note {} is unread cannot be told", textFromNoteId(id)),
                    error);
  }
  return unread;
}

void write(const std::string& id, bool deleted, const std::optional<TIMEDATE>& time,
           const std::string& subject, bool json) {
  if (json) {
    const std::optional<std::string> date = time ? iso8601(*time) : std::nullopt;
    const Json object = {{"noteId", id},
                         {"deleted", deleted},
                         {"date", date ? Json(*date) : Json()},
                         {"subject", subject}};
    return writeResult(jsonLine(object));
  }
  writeResult(fmt::format("{}  {}  {}\n", id,
                          cell(time ? readableTime(*time).substr(0, 16) : "-", 16, true),
                          deleted ? "(deleted)" : shown(subject)));
}

void show(KoLNDatabase& database, NOTEID id, const std::string& path, bool json) {
  if ((id & RRV_DELETED) != 0) {
    return write(textFromNoteId(id & ~RRV_DELETED), true, std::nullopt, "", json);
  }
  KoLNDocument note(database.GetHandle(), id);
  openNote(note, id, path);
  TIMEDATE time = {};
  std::string subject;
  for (const KoLNError& error : {note.GetSentRecievedTime(time), note.GetSubject(subject)}) {
    if (isError(error)) {
      throw failureOf(fmt::format("note {} of {} cannot be read", textFromNoteId(id), path), error);
    }
  }
  write(textFromNoteId(id), false, time, utf8FromLmbcs(subject), json);
}

ExitCode run(const Options& options, const Request& request) {
  const std::optional<TIMEDATE> since = sinceOf(request);
  Session session(options);
  KoLNDatabase database(request.path, session.instance());
  openDatabase(database, request.path);
  NoteTable table(database, since, NOTE_CLASS_DOCUMENT);
  constexpr unsigned long include = 1;
  constexpr unsigned long exclude = 2;
  filter(database, table, request.in, include, request.path);
  filter(database, table, request.notIn, exclude, request.path);
  if (request.unread) {
    const KoLNError error = database.DiscoverUnReadDocuments();
    if (isError(error)) {
      throw failureOf("which notes are unread cannot be told", error);
    }
  }
  const std::vector<NOTEID> ids = table.ids();
  if (!options.json) {
    writeResult("NOTE ID   DATE              SUBJECT\n");
  }
  return oneByOne(ids.size(), "note", [&](std::size_t i) {
    if (!request.unread || isUnread(database, ids[i])) {
      show(database, ids[i], request.path, options.json);
    }
  });
}

}  // namespace

Command notes(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand(
      "notes", "the documents of a database, by folder, time of change and unread marks");
  words->footer(footer);
  const auto request = std::make_shared<Request>();
  addDatabaseArgument(*words, request->path);
  words->add_option("--modified-since", request->since, "only those changed since then")
      ->type_name("TIME");
  words->add_flag("--unread", request->unread, "only those that the owner has not read");
  words->add_option("--folder", request->in, "only those in this folder")
      ->type_name("F")
      ->allow_extra_args(false);
  words->add_option("--not-folder", request->notIn, "only those outside this folder")
      ->type_name("F")
      ->allow_extra_args(false);
  words->add_flag("--json", options.json, "one JSON object a line");
  return {words, [&options, request] { return run(options, *request); }};
}

}  // namespace host
