#include "ArchiveRun.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include "Amounts.h"
#include "Console.h"
#include "NoteArgument.h"
#include "NotesFailure.h"

namespace host {
namespace {

constexpr const char* nameOf(LinkKind kind) {
  switch (kind) {
    case LinkKind::Button:
      return "button";
    case LinkKind::Mime:
      return "mime";
    default:
      return "url";
  }
}

std::string now() {
  const std::time_t seconds = std::time(nullptr);
  std::tm parts = {};
  gmtime_r(&seconds, &parts);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", parts.tm_year + 1900, parts.tm_mon + 1,
                     parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

bool watched() noexcept {
  return isatty(STDERR_FILENO) == 1;
}

bool exists(const std::string& path) noexcept {
  return access(path.c_str(), F_OK) == 0;
}

}  // namespace

ArchiveRun::ArchiveRun(KoLNDatabase& database, const ArchiveRequest& request, ArchiveTally& tally,
                       std::function<void(const ManifestLine&)> written)
    : database_(database),
      request_(request),
      tally_(tally),
      written_(std::move(written)),
      folder_(request.directory, folderNameOf(database)),
      manifest_(folder_.path() + "/manifest.jsonl") {}

// ---- what earlier runs have left ----------------------------------------------------------------

void ArchiveRun::checkFolder() {
  const std::vector<std::string>& copies = folder_.copies();
  std::size_t done = 0;
  for (const std::string& unid : copies) {
    stopIfInterrupted(tally_);
    try {
      checkCopy(unid);
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::DoneInPart) {  // The manifest cannot be written.
        throw;
      }
      told_.insert(unid);
      tellFailure(tally_, fmt::format("{}: {}", folder_.copyOf(unid), failure.what()));
    }
    if (watched()) {
      Console::get().progress(++done, copies.size(), "copies checked");
    }
  }
  Console::get().endProgress();
  for (const auto& [unid, entry] : manifest_.entries()) {
    if (!std::binary_search(copies.begin(), copies.end(), unid) && told_.insert(unid).second) {
      tellFailure(tally_, fmt::format("{} is in the manifest, but not there; restore the file from "
                                      "a backup",
                                      folder_.copyOf(unid)));
    }
  }
  for (const std::size_t number : manifest_.damagedLines()) {
    tellFailure(tally_, fmt::format("line {} of {}/manifest.jsonl is damaged; compare it with a "
                                    "backup, then mend or remove it",
                                    number, folder_.path()));
  }
}

void ArchiveRun::checkCopy(const std::string& unid) {
  const auto entry = manifest_.entries().find(unid);
  const bool listed = entry != manifest_.entries().end();
  std::optional<StagedNote> copy;
  std::string fault = faultOf(unid, copy);
  if (fault.empty() && listed && !entry->second.describes(*copy)) {
    fault = "is not the file that the manifest describes";
  }
  if (fault.empty() && listed) {
    whole_.insert(unid);
  } else if (fault.empty()) {
    complete(*copy);
  } else if (listed || !idOf(database_, unid)) {
    // Any other is the copy of no stub, unless the search for stubs finds one.
    told_.insert(unid);
    tellFailure(tally_,
                fmt::format("{} {}; restore the file from a backup", folder_.copyOf(unid), fault));
  }
}

// A run was stopped between the copy and the line of the manifest.
void ArchiveRun::complete(const StagedNote& copy) {
  const std::optional<NOTEID> id = idOf(database_, copy.unid);
  if (!id) {
    Console::get().line(fmt::format("koln: {} is kept: it is whole, but its note is no more in {}",
                                    folder_.copyOf(copy.unid), request_.database));
    return;
  }
  KoLNDataDocument note(database_.GetHandle(), *id);
  if (!openAsStored(note)) {
    return;
  }
  const NoteFacts facts = factsOf(note, formula_);
  if (!facts.stub || folder_.unidOf(*facts.stub) != copy.unid) {
    return;  // It is as it was before, and is archived if it is still to be.
  }
  const std::string details = storedText(note, stubDetailsItem).value_or(std::string());
  append({copy, *id, facts.subject, facts.size, archivingFacts(details)});
  ++tally_.completed;
}

void ArchiveRun::checkStub(NOTEID id, const NoteFacts& facts) {
  const std::string unid = folder_.unidOf(*facts.stub);
  if (unid.empty() || whole_.contains(unid) || !told_.insert(unid).second) {
    return;  // Of another archive, or in order, or told already.
  }
  std::optional<StagedNote> copy;
  const std::string fault = faultOf(unid, copy);
  tellFailure(tally_,
              fmt::format("note {} is a stub, but {} {}; restore the file from a backup, or "
                          "name the place of the archive with --to",
                          textFromNoteId(id), folder_.copyOf(unid),
                          fault.empty() ? "is not in the manifest" : fault));
}

// Why a file is not the whole copy of a note; empty if it is.
std::string ArchiveRun::faultOf(const std::string& unid, std::optional<StagedNote>& copy) const {
  const std::string file = folder_.copyOf(unid);
  if (!exists(file)) {
    return "is not there";
  }
  try {
    copy = checkStagedFile(file);
    return copy->unid == unid ? "" : "holds another note than its name says";
  } catch (const Failure& failure) {
    // Not what is to be done: that depends on the stub.
    const std::string text = failure.what();
    const std::size_t begin = text.compare(0, file.size(), file) == 0 ? file.size() + 1 : 0;
    return text.substr(begin, text.rfind("; ") - begin);
  }
}

// ---- archiving ----------------------------------------------------------------------------------

void ArchiveRun::archive() {
  std::vector<NOTEID> chosen;
  std::set<std::string> anew;  // Archived before, and restored since.
  ArchiveSelection(database_, request_, tally_)
      .visit(
          formula_, !watched(),
          [&](NOTEID id, const NoteFacts& facts) {
            chosen.push_back(id);
            if (manifest_.entries().contains(facts.unid)) {
              anew.insert(facts.unid);
            }
          },
          [this](NOTEID id, const NoteFacts& facts) { checkStub(id, facts); });
  if (!anew.empty()) {
    manifest_.withdraw(anew);
  }
  std::size_t done = 0;
  for (const NOTEID id : chosen) {
    stopIfInterrupted(tally_);
    std::optional<ManifestLine> line;
    try {
      line = archiveNote(id);
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::Interrupted) {
        stopIfInterrupted(tally_);
      }
      tellFailure(tally_,
                  fmt::format("note {} is left as it is: {}", textFromNoteId(id), failure.what()));
    }
    if (line) {
      ++tally_.archived;
      tally_.bytesBefore += line->facts["bytesBefore"].get<std::uint64_t>();
      tally_.bytesAfter += line->bytesAfter.value_or(0);
      append(*line);
    }
    if (watched()) {
      Console::get().progress(++done, chosen.size(),
                              fmt::format("notes archived, {}", shortSize(tally_.bytesBefore)));
    }
  }
  Console::get().endProgress();
}

// The line for the manifest; nothing if there is nothing to do any more.
std::optional<ManifestLine> ArchiveRun::archiveNote(NOTEID id) {
  KoLNDataDocument note(database_.GetHandle(), id);
  if (!openAsStored(note)) {
    return std::nullopt;
  }
  const NoteFacts facts = factsOf(note, formula_);
  if (facts.stub) {
    ++tally_.stubs;
    return std::nullopt;
  }
  const std::string marker = folder_.markerOf(facts.unid);
  const WayBack way = {request_.link, request_.baseUrl + '/' + marker, marker};
  ManifestLine line;
  line.noteId = id;
  line.subject = facts.subject;
  line.facts = {{"attachments", facts.attachments.size()},
                {"bytesBefore", facts.size},
                {"link", nameOf(way.kind)},
                {"url", way.url},
                {"archived", now()}};
  line.copy = copyOf(note, facts);
  turnIntoStub(note, facts, way, line.facts);
  const KoLNError error = note.Update(0);
  if ((error.GetErrorCode() & ERR_MASK) == ERR_CONFLICT) {
    throw Failure(ExitCode::Failed,
                  "somebody has changed it meanwhile; the next run looks at it again");
  }
  if (isError(error)) {
    throw failureOf("it cannot be written", error);
  }
  try {
    line.bytesAfter = formula_.sizeOf(note);
  } catch (const Failure&) {
    // It is a stub now, whatever its size. The line leaves that open.
  }
  return line;
}

// A run that was cut short may have made the copy already.
StagedNote ArchiveRun::copyOf(KoLNDocument& note, const NoteFacts& facts) {
  std::optional<StagedNote> copy;
  const TIMEDATE& time = facts.identity.SequenceTime;
  if (faultOf(facts.unid, copy).empty() && copy->sequence == facts.identity.Sequence &&
      std::equal(std::begin(time.Innards), std::end(time.Innards),
                 std::begin(copy->sequenceTime.Innards))) {
    return *copy;
  }
  return stageNote(note, exporter_.handle(), folder_.copyOf(facts.unid));
}

void ArchiveRun::append(const ManifestLine& line) {
  try {
    manifest_.append(line);
  } catch (const Failure& failure) {
    throw Failure(
        ExitCode::DoneInPart,
        fmt::format("note {} is a stub and {} is whole, but {}, then run the command "
                    "again: it completes the manifest",
                    textFromNoteId(line.noteId), folder_.copyOf(line.copy.unid), failure.what()));
  }
  whole_.insert(line.copy.unid);
  written_(line);
}

}  // namespace host
