// One run over the notes of a database: selects those to be archived, copies each into the archive
// folder and leaves a stub. It may be killed at any moment; the next run finishes what it left.
//
// The order that makes this safe: the copy is whole and on the disk, then the database takes the
// stub in one update, which names its copy, then the manifest gets its line. So a note is either as
// it was, or a stub whose copy is there; a line that is missing is known by its copy, and written.
#ifndef KOLN_HOST_ARCHIVE_RUN_H
#define KOLN_HOST_ARCHIVE_RUN_H

#include <koln.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ArchiveFolder.h"
#include "Manifest.h"
#include "NoteFacts.h"
#include "Stub.h"

namespace host {

struct ArchiveRequest {
  std::string database;
  std::uint64_t olderThan = 0;              ///< Seconds.
  std::optional<std::uint64_t> largerThan;  ///< Bytes.
  bool unread = false;                      ///< Whether unread notes are archived too.
  std::string directory;
  LinkKind link = LinkKind::Url;
  std::string baseUrl;
};

struct ArchiveTally {
  std::uint64_t archived = 0;
  std::uint64_t completed = 0;  ///< Lines written for an earlier run that was cut short.
  std::uint64_t young = 0;
  std::uint64_t small = 0;
  std::uint64_t unread = 0;
  std::uint64_t stubs = 0;
  std::uint64_t failed = 0;
  std::uint64_t bytesBefore = 0;
  std::uint64_t bytesAfter = 0;
};

/// Says which notes are to be archived, and counts the others.
class ArchiveSelection {
 public:
  /// Both must outlive the object. @throws Failure, as all members do.
  ArchiveSelection(KoLNDatabase& database, const ArchiveRequest& request, ArchiveTally& tally);

  /// Calls `chosen` for each note to be archived, `stub` for each that has been archived before.
  using Visitor = std::function<void(NOTEID, const NoteFacts&)>;
  void visit(SizeFormula& formula, bool quiet, const Visitor& chosen, const Visitor& stub);

 private:
  bool chooses(NOTEID id, const NoteFacts& facts);

  KoLNDatabase& database_;
  const ArchiveRequest& request_;
  ArchiveTally& tally_;
};

class ArchiveRun {
 public:
  /// All must outlive the object. `written` gets every line that the manifest gets.
  /// @throws Failure, as all members do.
  ArchiveRun(KoLNDatabase& database, const ArchiveRequest& request, ArchiveTally& tally,
             std::function<void(const ManifestLine&)> written);

  /// Finishes what an earlier run has left and compares copies, manifest and each other.
  void checkFolder();

  void archive();

 private:
  void checkCopy(const std::string& unid);
  void complete(const StagedNote& copy);
  void checkStub(NOTEID id, const NoteFacts& facts);
  std::optional<ManifestLine> archiveNote(NOTEID id);
  StagedNote copyOf(KoLNDocument& note, const NoteFacts& facts);
  void append(const ManifestLine& line);
  std::string faultOf(const std::string& unid, std::optional<StagedNote>& copy) const;

  KoLNDatabase& database_;
  const ArchiveRequest& request_;
  ArchiveTally& tally_;
  const std::function<void(const ManifestLine&)> written_;
  ArchiveFolder folder_;
  Manifest manifest_;
  NoteExporter exporter_;
  SizeFormula formula_;
  std::set<std::string> whole_;  // UNIDs of copies that are as their manifest line says.
  std::set<std::string> told_;   // Those of which something else has been said.
};

/// Tells of something that was left out, and counts it; after some lines it only counts.
void tellFailure(ArchiveTally& tally, const std::string& line);

/// @throws Failure if the user wants to stop.
void stopIfInterrupted(const ArchiveTally& tally);

/// The replica ID as a name of a folder. @throws Failure
std::string folderNameOf(KoLNDatabase& database);

}  // namespace host

#endif
