// Which notes of a database a run archives.
#include <fmt/format.h>
#include <unistd.h>

#include "Amounts.h"
#include "ArchiveRun.h"
#include "Console.h"
#include "Interrupt.h"
#include "NoteArgument.h"
#include "NotesFailure.h"

namespace host {

ArchiveSelection::ArchiveSelection(KoLNDatabase& database, const ArchiveRequest& request,
                                   ArchiveTally& tally)
    : database_(database), request_(request), tally_(tally) {
  if (request_.unread) {
    return;
  }
  const KoLNError error = database_.DiscoverUnReadDocuments();
  if (isError(error)) {
    throw Failure(ExitCode::Failed,
                  fmt::format("which notes of {} are unread cannot be told: {}; --unread archives "
                              "them all the same",
                              request_.database, described(error)));
  }
}

void ArchiveSelection::visit(SizeFormula& formula, bool quiet, const Visitor& chosen,
                             const Visitor& stub) {
  const std::vector<NOTEID> ids = documentsOf(database_);
  std::size_t done = 0;
  for (const NOTEID id : ids) {
    stopIfInterrupted(tally_);
    NoteFacts facts;
    bool there = false;
    bool wanted = false;
    try {
      KoLNDataDocument note(database_.GetHandle(), id);
      there = openAsStored(note);
      if (there) {
        facts = factsOf(note, formula);
        wanted = !facts.stub && chooses(id, facts);
      }
    } catch (const Failure& failure) {
      tellFailure(tally_,
                  fmt::format("note {} is left as it is: {}", textFromNoteId(id), failure.what()));
      continue;
    }
    if (wanted) {
      chosen(id, facts);
    } else if (there && facts.stub) {
      ++tally_.stubs;
      stub(id, facts);
    }
    if (!quiet) {
      Console::get().progress(++done, ids.size(), "notes looked at");
    }
  }
  Console::get().endProgress();
}

bool ArchiveSelection::chooses(NOTEID id, const NoteFacts& facts) {
  if (facts.age <= request_.olderThan) {  // That of a note without any date is 0.
    ++tally_.young;
    return false;
  }
  if (request_.largerThan && facts.size <= *request_.largerThan) {
    ++tally_.small;
    return false;
  }
  bool unread = false;
  if (!request_.unread) {
    const KoLNError error = database_.GetNoteUnreadStatus(id, unread);
    if (isError(error)) {
      throw failureOf("whether it is unread cannot be told", error);
    }
  }
  if (unread) {
    ++tally_.unread;
  }
  return !unread;
}

void tellFailure(ArchiveTally& tally, const std::string& line) {
  constexpr std::uint64_t mostLines = 10;
  ++tally.failed;
  if (tally.failed <= mostLines) {
    Console::get().line("koln: " + line);
  } else if (tally.failed == mostLines + 1) {
    Console::get().line("koln: further ones are counted only; --debug-log FILE shows them");
  }
}

void stopIfInterrupted(const ArchiveTally& tally) {
  if (interruptRequested()) {
    throw Failure(ExitCode::Interrupted,
                  fmt::format("interrupted after {}; the same command goes on from there",
                              counted(tally.archived, "note")));
  }
}

std::string folderNameOf(KoLNDatabase& database) {
  std::string name;
  const KoLNError error = database.GetReplicaID(name);
  if (isError(error)) {
    throw failureOf("the replica ID of the database cannot be told", error);
  }
  for (char& c : name) {
    c = c == ':' ? '-' : c;
  }
  return name;
}

}  // namespace host
