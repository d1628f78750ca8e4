// The command `koln backup`: the documents of a database, and which of them are in which folders,
// as files.
//
// Folders are read first, then it is asked what has changed, then the notes are read: so whatever
// is in a folder is in the backup too, and whatever changes meanwhile is in the next one.
#include <fmt/format.h>
#include <koln.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "Amounts.h"
#include "ArchiveRun.h"
#include "BackupSet.h"
#include "Commands.h"
#include "Complaints.h"
#include "FolderLock.h"
#include "Interrupt.h"
#include "JsonLine.h"
#include "NoteArgument.h"
#include "NoteFacts.h"
#include "NoteTable.h"
#include "NotesFailure.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "Times.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(The first line makes a full set, the second one of what has changed since:

  koln backup mail/zori.nsf --to /backup/mail
  koln backup mail/zori.nsf --to /backup/mail --since last

A set is the folder DIR/REPLICA/set-000001 and so on; REPLICA is the replica ID of the
database with "-" for ":". It holds the notes as staged files, the notes of all folders, and
set.json, which tells what belongs to it. The run may be stopped or killed at any moment:
a set appears when all of it is on the disk, and the database is not changed.

Saved are documents, not views, forms and access list: 'koln restore' brings them back
into a database that has these. A note that cannot be saved is named, and the next set
takes it again.
)";

struct Request {
  std::string database;
  std::string directory;
  std::string since;
};

// ---- what has been deleted ----------------------------------------------------------------------

struct Deletions {
  std::vector<DeletedNote> notes;
  std::exception_ptr broken;
};

// Called by the runtime, which knows no exceptions.
STATUS onNote(void* context, SEARCH_MATCH* match, ITEM_TABLE* /*summary*/) {
  auto& deletions = *static_cast<Deletions*>(context);
  SEARCH_MATCH note;  // The runtime's own may lie at any address.
  std::memcpy(&note, match, sizeof note);
  if ((note.ID.NoteID & RRV_DELETED) == 0) {
    return NOERROR;
  }
  try {
    const UNIVERSALNOTEID unid = {note.OriginatorID.File, note.OriginatorID.Note};
    deletions.notes.push_back({note.ID.NoteID & ~RRV_DELETED, textFromUnid(unid)});
    return NOERROR;
  } catch (...) {
    deletions.broken = std::current_exception();
    return ERR_CANCEL;
  }
}

// A table of IDs does not tell the UNID of what is not there any more; a search does.
std::vector<DeletedNote> deletedSince(KoLNDatabase& database, TIMEDATE since) {
  Deletions deletions;
  NSFSEARCHPROC routine = onNote;
  TIMEDATE until = {};
  const KoLNError error = database.Search(NULLHANDLE, nullptr, 0, NOTE_CLASS_DOCUMENT, &since,
                                          &routine, &deletions, &until);
  if (deletions.broken) {
    std::rethrow_exception(deletions.broken);
  }
  if (isError(error)) {
    throw failureOf("which notes have been deleted cannot be told", error);
  }
  if (!iso8601(until)) {  // A search that broke down records nothing.
    throw Failure(ExitCode::Failed,
                  "the search for deleted notes did not come to its end; --debug-log stderr shows "
                  "why");
  }
  return std::move(deletions.notes);
}

// ---- one run ------------------------------------------------------------------------------------

class BackupRun {
 public:
  BackupRun(KoLNDatabase& database, const std::string& folder, const Request& request)
      : database_(database), folder_(folder), lock_(folder, "saving this database to") {
    removeHalfSets(folder_);
    const std::vector<unsigned> numbers = setNumbers(folder_);
    if (!request.since.empty() && !numbers.empty()) {
      previous_ = readSet(folder_, numbers.back());
    }
    set_.emplace(folder_, numbers.empty() ? 1 : numbers.back() + 1);
    contents_.database = request.database;
    contents_.since = previous_ ? previous_->contents.until : "";
    const KoLNError error = database_.GetReplicaID(contents_.replicaId);
    if (isError(error)) {
      throw failureOf("the replica ID of the database cannot be told", error);
    }
  }

  void save() {
    contents_.folders = membershipOf(database_, complaints_);
    const std::vector<NOTEID> ids = notesToSave();
    const bool watched = isatty(STDERR_FILENO) == 1;
    std::size_t done = 0;
    for (const NOTEID id : ids) {
      if (interruptRequested()) {
        throw Failure(ExitCode::Interrupted,
                      fmt::format("interrupted after {} of {}; nothing is kept of this set", done,
                                  counted(ids.size(), "note")));
      }
      saveNote(id);
      ++done;
      if (watched) {
        Console::get().progress(done, ids.size(), "notes saved, " + shortSize(bytes_));
      }
    }
    Console::get().endProgress();
    set_->finish(contents_);
  }

  void writeSummary(bool json) const {
    const auto inFolders = std::accumulate(
        contents_.folders.folders.begin(), contents_.folders.folders.end(), std::uint64_t{0},
        [](std::uint64_t sum, const FolderFacts& folder) { return sum + folder.notes; });
    if (json) {
      const Json object = {{"set", set_->finalPath()},
                           {"kind", contents_.full() ? "full" : "incremental"},
                           {"complete", contents_.complete()},
                           {"since", contents_.full() ? Json() : Json(contents_.since)},
                           {"until", contents_.until},
                           {"notes", contents_.notes.size()},
                           {"dxlBytes", bytes_},
                           {"deleted", contents_.deleted.size()},
                           {"missing", contents_.missing.size()},
                           {"folders", contents_.folders.folders.size()},
                           {"notesInFolders", inFolders}};
      return writeResult(jsonLine(object));
    }
    std::string text = fmt::format(
        "set       {}\nkind      {}\nsaved     {}, {}\n", shown(set_->finalPath()),
        contents_.full() ? "full" : fmt::format("incremental, since {}", contents_.since),
        counted(contents_.notes.size(), "note"), readableSize(bytes_));
    if (!contents_.full()) {
      text += fmt::format("deleted   {}\n", counted(contents_.deleted.size(), "note"));
    }
    text += fmt::format("folders   {}, with {}\n", contents_.folders.folders.size(),
                        inFolders == 1 ? "1 entry" : fmt::format("{} entries", inFolders));
    if (!contents_.complete()) {
      text += fmt::format("missing   {}, {}\n", counted(contents_.missing.size(), "note"),
                          counted(contents_.folders.unread.size(), "folder"));
    }
    writeResult(text);
  }

  ExitCode result() const noexcept { return complaints_.result(); }

 private:
  // What has changed, but for what is deleted, and what the last set could not save.
  std::vector<NOTEID> notesToSave() {
    std::optional<TIMEDATE> since;
    if (previous_) {
      since = timeFromIso8601(contents_.since);
      if (!since) {
        throw Failure(ExitCode::Failed, previous_->path +
                                            "/set.json does not tell until when it goes; make a "
                                            "full set, without --since");
      }
    }
    NoteTable table(database_, since, NOTE_CLASS_DOCUMENT);
    contents_.until = iso8601(table.until()).value_or("");
    if (contents_.until.empty()) {
      throw Failure(ExitCode::Failed, "Notes does not tell until when the changes are known");
    }
    std::vector<NOTEID> ids = table.ids();
    ids.erase(
        std::remove_if(ids.begin(), ids.end(), [](NOTEID id) { return (id & RRV_DELETED) != 0; }),
        ids.end());
    if (previous_) {
      contents_.deleted = deletedSince(database_, *since);
      for (const MissingNote& note : previous_->contents.missing) {
        if (std::find(ids.begin(), ids.end(), note.id) == ids.end()) {
          ids.push_back(note.id);
        }
      }
    }
    return ids;
  }

  void saveNote(NOTEID id) {
    try {
      KoLNDocument note(database_.GetHandle(), id);
      // What has just been deleted is told by the next set.
      if (storedIdentity(database_, id) && openAsStored(note)) {
        const std::string unid = identityOf(note).unid;
        contents_.notes.push_back(stageNote(note, exporter_.handle(), set_->fileOf(unid)));
        bytes_ += contents_.notes.back().dxlBytes;
      }
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::Interrupted) {
        throw;
      }
      set_->probe();  // Where the disk takes nothing, all notes would fail.
      complaints_.tell(fmt::format("note {} is not saved: {}", textFromNoteId(id), failure.what()));
      contents_.missing.push_back({id, failure.what()});
    }
  }

  KoLNDatabase& database_;
  const std::string folder_;
  const FolderLock lock_;
  NoteExporter exporter_;
  Complaints complaints_;
  std::optional<BackupSet> previous_;
  std::optional<NewSet> set_;
  SetContents contents_;
  std::uint64_t bytes_ = 0;
};

ExitCode run(const Options& options, const Request& request) {
  const std::string root = std::filesystem::absolute(request.directory).lexically_normal().string();
  Session session(options);
  KoLNDatabase database(request.database, session.instance());
  openDatabase(database, request.database);
  // An interrupt waits for the end of the note in hand, however large that is; a second one does
  // not.
  std::signal(SIGALRM, SIG_IGN);
  BackupRun backupRun(database, root + '/' + folderNameOf(database), request);
  backupRun.save();
  backupRun.writeSummary(options.json);
  return backupRun.result();
}

}  // namespace

Command backup(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("backup", "the documents and folders of a database as files");
  words->footer(footer);
  const auto request = std::make_shared<Request>();
  addDatabaseArgument(*words, request->database);
  words->add_option("--to", request->directory, "where the backup is, or is to be")
      ->type_name("DIR")
      ->required();
  words->add_option("--since", request->since, "only what has changed since the last set")
      ->type_name("last")
      ->check(CLI::IsMember({"last"}).description(""));
  words->add_flag("--json", options.json, "the summary as a JSON object");
  return {words, [&options, request] { return run(options, *request); }};
}

}  // namespace host
