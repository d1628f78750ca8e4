// The command `koln restore`: brings a backup back into a database.
#include <fmt/format.h>
#include <koln.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "Amounts.h"
#include "ArchiveRun.h"
#include "BackupSet.h"
#include "Commands.h"
#include "Complaints.h"
#include "Interrupt.h"
#include "NoteArgument.h"
#include "NoteFacts.h"
#include "NoteImporter.h"
#include "NoteTable.h"
#include "NotesFailure.h"
#include "Output.h"
#include "Session.h"
#include "Times.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* footer =
    R"(The last full set and the incremental ones behind it are put together: of each note the
latest version, without those that were deleted. All files are checked first; if one is
damaged, nothing is restored. Then each note is imported, but for those that the database
has in the very same version: one that it has gets the items of the backup alone, any other
is created with the universal ID that it had. At last the notes come back into the folders
of the last set. No note is deleted, and none is taken out of a folder.

  koln restore /backup/mail --into mail/zori.nsf --dry-run
  koln restore /backup/mail --into mail/zori.nsf

DIR is what was given to 'koln backup', or the folder of one database in it, which may be
another one than DB. After a run that was stopped or killed give the same command again.
)";

struct Request {
  std::string directory;
  std::string into;
  bool dryRun = false;
};

// What to bring back: a note and its file.
struct Version {
  StagedNote note;
  std::string file;
};

bool holdsSets(const fs::path& folder) {
  std::error_code ignored;
  return fs::is_directory(folder, ignored) && !setNumbers(folder.string()).empty();
}

// The folder with the sets: DIR itself, that of the database in it, or the only one.
std::string folderOf(const std::string& directory, KoLNDatabase& database) {
  const fs::path root = fs::absolute(directory).lexically_normal();
  for (const fs::path& folder : {root, root / folderNameOf(database)}) {
    if (holdsSets(folder)) {
      return folder.string();
    }
  }
  std::vector<std::string> found;
  std::error_code error;
  for (fs::directory_iterator entry(root, error), end; !error && entry != end;
       entry.increment(error)) {
    if (holdsSets(entry->path())) {
      found.push_back(entry->path().string());
    }
  }
  if (found.size() != 1) {
    throw Failure(ExitCode::Failed,
                  found.empty()
                      ? fmt::format("there is no backup in {}; check the path, and that the "
                                    "partition's user can read it",
                                    directory)
                      : fmt::format("{} has backups of {} other databases; name the folder of one",
                                    directory, found.size()));
  }
  return found.front();
}

class RestoreRun {
 public:
  RestoreRun(KoLNDatabase& database, const Request& request)
      : database_(database),
        request_(request),
        chain_(lastChain(folderOf(request.directory, database))),
        latest_(chain_.back().contents) {}

  // Reads all files and compares them with what their sets say.
  void check() {
    std::size_t total = 0;
    for (const BackupSet& set : chain_) {
      total += set.contents.notes.size();
    }
    Complaints damage;
    std::size_t done = 0;
    for (const BackupSet& set : chain_) {
      try {
        records_ = readRecords(set);  // In the end those of the last set.
      } catch (const Failure& failure) {
        damage.tell(failure.what());
      }
      for (const StagedNote& note : set.contents.notes) {
        advance(++done, total, "files checked");
        checkFile(set.fileOf(note), note, damage);
      }
    }
    Console::get().endProgress();
    if (damage.count() == 0 && latest_.folders.itemBytes != folderItemBytes()) {
      damage.tell(chain_.back().path + "/folders.bin was written with another release of Notes");
    }
    if (damage.count() != 0) {
      throw Failure(ExitCode::Failed,
                    fmt::format("nothing was restored, as {} damaged; bring them back from a copy "
                                "of the backup, or move the sets from there on away",
                                damage.count() == 1 ? "1 file is"
                                                    : fmt::format("{} files are", damage.count())));
    }
  }

  void restore() {
    for (const MissingNote& note : latest_.missing) {
      complaints_.tell(
          fmt::format("note {} of {} is not in the last set, and maybe not as it was "
                      "then: {}",
                      textFromNoteId(note.id), latest_.database, note.reason));
    }
    for (const std::string& name : latest_.folders.unread) {
      complaints_.tell(fmt::format("the backup does not have the notes of '{}'", name));
    }
    const std::vector<Version> versions = latestVersions();
    const NoteImporter importer(DXLIMPORTOPTION_REPLACE_ELSE_CREATE);
    std::size_t done = 0;
    for (const Version& version : versions) {
      restoreNote(version, importer);
      advance(++done, versions.size(), request_.dryRun ? "notes looked at" : "notes restored");
    }
    Console::get().endProgress();
    putInFolders();
  }

  void writeSummary() const {
    std::string text = fmt::format(
        "backup    {} of {}, until {}\n{}  {}: {} created, {} replaced\n"
        "the same  {}\nfolders   {}, with {}\n",
        counted(chain_.size(), "set"), latest_.database, latest_.until,
        request_.dryRun ? "to do   " : "restored", counted(created_ + replaced_, "note"), created_,
        replaced_, counted(kept_, "note"), folders_,
        inFolders_ == 1 ? "1 entry" : fmt::format("{} entries", inFolders_));
    if (unknown_ != 0) {
      text += fmt::format("left out  {} of folders that the backup does not have\n",
                          counted(unknown_, "note"));
    }
    if (complaints_.count() != 0) {
      text += fmt::format("failed    {}\n", complaints_.count());
    }
    writeResult(text);
  }

  ExitCode result() const noexcept { return complaints_.result(); }

 private:
  void advance(std::size_t done, std::size_t total, const char* things) const {
    if (interruptRequested()) {
      throw Failure(ExitCode::Interrupted,
                    fmt::format("interrupted, {} of {} {}; the same command restores all", done - 1,
                                total, things));
    }
    if (watched_) {
      Console::get().progress(done, total, things);
    }
  }

  static void checkFile(const std::string& file, const StagedNote& note, Complaints& damage) {
    try {
      const StagedNote staged = checkStagedFile(file);
      if (staged.unid != note.unid || staged.sequence != note.sequence ||
          staged.dxlBytes != note.dxlBytes || staged.checksum != note.checksum) {
        damage.tell(file + " is not the file that set.json describes");
      }
    } catch (const Failure& failure) {
      const std::string text = failure.what();
      damage.tell(text.substr(0, text.rfind("; ")));  // What to do comes at the end.
    }
  }

  // In the order of their IDs: so a note comes before those that answer it.
  std::vector<Version> latestVersions() const {
    std::map<std::string, Version> byUnid;
    for (const BackupSet& set : chain_) {
      for (const DeletedNote& note : set.contents.deleted) {
        byUnid.erase(note.unid);
      }
      for (const StagedNote& note : set.contents.notes) {
        byUnid.insert_or_assign(note.unid, Version{note, set.fileOf(note)});
      }
    }
    std::vector<Version> versions;
    versions.reserve(byUnid.size());
    for (auto& [unid, version] : byUnid) {
      versions.push_back(std::move(version));
    }
    std::stable_sort(versions.begin(), versions.end(),
                     [](const Version& a, const Version& b) { return a.note.id < b.note.id; });
    return versions;
  }

  void restoreNote(const Version& version, const NoteImporter& importer) {
    try {
      const std::optional<NOTEID> before = idOf(database_, version.note.unid);
      const bool same = before && isVersion(*before, version.note);
      if (!same && !request_.dryRun) {
        KoLNDocument target(database_.GetHandle(), 0);
        importStagedFile(target, importer.handle(), version.file, version.note);
        if (!idOf(database_, version.note.unid)) {
          throw Failure(ExitCode::Failed, "it is not in the database after the import");
        }
      }
      ++(same ? kept_ : before ? replaced_ : created_);
      restored_.insert(version.note.unid);
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::Interrupted) {
        throw;
      }
      complaints_.tell(
          fmt::format("note {} is not restored: {}", version.note.unid, failure.what()));
      failed_.insert(version.note.unid);
    }
  }

  // Whether the database has that very version. Then an import would only make it a newer one.
  bool isVersion(NOTEID id, const StagedNote& note) {
    const std::optional<ORIGINATORID> stored = storedIdentity(database_, id);
    return stored && stored->Sequence == note.sequence &&
           iso8601(stored->SequenceTime) == iso8601(note.sequenceTime);
  }

  void putInFolders() {
    std::set<std::string> there;
    for (const FolderFacts& folder : latest_.folders.folders) {
      if (idOf(database_, folder.unid)) {
        there.insert(folder.unid);
      } else {
        complaints_.tell(fmt::format(
            "folder '{}' is not in {}, so {} not put back in it", folder.name, request_.into,
            folder.notes == 1 ? std::string("1 note is")
                              : fmt::format("{} notes are", folder.notes)));
      }
    }
    folders_ = there.size();
    std::string records = selectedRecords(
        records_, latest_.folders.itemBytes,
        [&there](const std::string& unid) { return there.contains(unid); },
        [this](const std::string& unid) { return isThere(unid); });
    if (request_.dryRun) {
      return;
    }
    const KoLNError error =
        database_.PutNotesInFolders(records.data(), static_cast<DWORD>(records.size()), nullptr);
    if (interruptRequested()) {
      throw Failure(ExitCode::Interrupted,
                    "interrupted while notes were put in their folders; the same command restores "
                    "all");
    }
    if (isError(error)) {
      complaints_.tell("not all notes are back in their folders: " + described(error));
    }
  }

  // Whether a note of a folder can be put in it.
  bool isThere(const std::string& unid) {
    if (restored_.contains(unid) || (!failed_.contains(unid) && idOf(database_, unid))) {
      ++inFolders_;
      return true;
    }
    if (failed_.insert(unid).second) {
      ++unknown_;
    }
    return false;
  }

  KoLNDatabase& database_;
  const Request& request_;
  const std::vector<BackupSet> chain_;
  const SetContents& latest_;
  const bool watched_ = isatty(STDERR_FILENO) == 1;
  std::string records_;
  Complaints complaints_;
  std::set<std::string> restored_;  // UNIDs.
  std::set<std::string> failed_;    // Of which it has been told or counted.
  std::uint64_t created_ = 0;
  std::uint64_t replaced_ = 0;
  std::uint64_t kept_ = 0;
  std::uint64_t folders_ = 0;
  std::uint64_t inFolders_ = 0;
  std::uint64_t unknown_ = 0;
};

ExitCode run(const Options& options, const Request& request) {
  Session session(options);
  KoLNDatabase database(request.into, session.instance());
  openDatabase(database, request.into);
  // An interrupt waits for the end of the note in hand, however large that is; a second one does
  // not.
  std::signal(SIGALRM, SIG_IGN);
  RestoreRun restoreRun(database, request);
  restoreRun.check();
  restoreRun.restore();
  restoreRun.writeSummary();
  return restoreRun.result();
}

}  // namespace

Command restore(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand("restore", "bring a backup back into a database");
  words->footer(footer);
  const auto request = std::make_shared<Request>();
  words->add_option("DIR", request->directory, "the backup")->type_name("")->required();
  words->add_option("--into", request->into, "the database")->type_name("DB")->required();
  words->add_flag("--dry-run", request->dryRun,
                  "only check the backup, and show what there is to do");
  return {words, [&options, request] { return run(options, *request); }};
}

}  // namespace host
