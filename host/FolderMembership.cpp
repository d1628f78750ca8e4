#include "FolderMembership.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <set>

#include "Collection.h"
#include "NoteArgument.h"
#include "NoteTable.h"
#include "StagedFile.h"
#include "ViewList.h"

namespace host {
namespace {

constexpr std::size_t headerBytes = sizeof(ORIGINATORID) + sizeof(DWORD);

template <typename Part>
void append(std::string& bytes, const Part& part, std::size_t count = sizeof(Part)) {
  bytes.append(reinterpret_cast<const char*>(&part), std::min(count, sizeof part));
}

class MembershipReader {
 public:
  MembershipReader(KoLNDatabase& database, WORD itemBytes)
      : database_(database), itemBytes_(itemBytes) {}

  // Appends the record of one folder. @return How many notes it has.
  std::uint32_t read(NOTEID folder, const std::string& name, std::string& records) {
    const std::optional<ORIGINATORID> identity = storedIdentity(database_, folder);
    if (!identity) {
      throw Failure(ExitCode::Failed, "it has been deleted meanwhile");
    }
    std::string items;
    for (const NOTEID id : notesIn(folder, name)) {
      // A note in many folders is asked once.
      const auto [note, isNew] = identities_.try_emplace(id);
      if (isNew) {
        note->second = storedIdentity(database_, id);
      }
      if (note->second) {
        const std::size_t end = items.size() + itemBytes_;
        append(items, *note->second, itemBytes_);
        items.resize(end);
      }
    }
    const auto count = static_cast<std::uint32_t>(items.size() / itemBytes_);
    append(records, *identity);
    append(records, count);
    records += items;
    return count;
  }

 private:
  // Each once, though it may be in several categories.
  std::set<NOTEID> notesIn(NOTEID folder, const std::string& name) {
    constexpr int attempts = 5;
    KoLNView view(database_, folder);
    for (int i = 0; i < attempts; ++i) {
      std::set<NOTEID> ids;
      Collection collection(database_, view, name);
      if (collection.visit(Collection::Content::Ids, [&ids](const CollectionEntry& entry) {
            if (!entry.isCategory()) {
              ids.insert(entry.id);
            }
          })) {
        return ids;
      }
    }
    throw Failure(ExitCode::Failed, "it changes faster than it can be read; try again later");
  }

  KoLNDatabase& database_;
  const WORD itemBytes_;
  std::map<NOTEID, std::optional<ORIGINATORID>> identities_;
};

std::string unidAt(const std::string& records, std::size_t place) {
  UNIVERSALNOTEID unid = {};
  std::memcpy(&unid, records.data() + place, sizeof unid);
  return textFromUnid(unid);
}

}  // namespace

WORD folderItemBytes() {
  const WORD bytes = KoLNUtilities().GetDSLength(ODS_UNIVERSALNOTEID);
  if (bytes < sizeof(UNIVERSALNOTEID)) {
    throw Failure(
        ExitCode::Failed,
        "Notes does not tell how long the identity of a note is; --debug-log stderr shows "
        "the detail");
  }
  return bytes;
}

FolderMembership membershipOf(KoLNDatabase& database, Complaints& complaints) {
  FolderMembership all;
  all.itemBytes = folderItemBytes();
  MembershipReader reader(database, all.itemBytes);
  for (const NOTEID id : viewNotesOf(database)) {
    std::string name = "folder " + textFromNoteId(id);
    try {
      const std::optional<ViewFacts> facts = viewFactsOf(database, id);
      if (!facts || !facts->folder) {
        continue;
      }
      name = facts->name;
      const std::size_t place = all.records.size();
      const std::uint32_t notes = reader.read(id, name, all.records);
      all.folders.push_back({unidAt(all.records, place), name, notes});
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::Interrupted) {
        throw;
      }
      complaints.tell(
          fmt::format("which notes are in '{}' is not saved: {}", name, failure.what()));
      all.unread.push_back(name);
    }
  }
  if (all.records.size() > MAXDWORD) {
    throw Failure(ExitCode::Failed, "the folders hold more than Notes can put back at once");
  }
  return all;
}

std::string selectedRecords(const std::string& records, WORD itemBytes,
                            const std::function<bool(const std::string&)>& wantsFolder,
                            const std::function<bool(const std::string&)>& wantsNote) {
  std::string selected;
  for (std::size_t place = 0; place < records.size();) {
    DWORD count = 0;
    const std::size_t left = records.size() - place;
    if (left >= headerBytes) {
      std::memcpy(&count, records.data() + place + sizeof(ORIGINATORID), sizeof count);
    }
    if (left < headerBytes || (left - headerBytes) / itemBytes < count) {
      throw Failure(ExitCode::Failed, "the records of the folders are damaged; use another backup");
    }
    const std::size_t item = place + headerBytes;
    const std::size_t end = item + std::size_t{count} * itemBytes;
    if (wantsFolder(unidAt(records, place))) {
      std::string items;
      for (std::size_t next = item; next < end; next += itemBytes) {
        if (wantsNote(unidAt(records, next))) {
          items.append(records, next, itemBytes);
        }
      }
      selected.append(records, place, sizeof(ORIGINATORID));
      append(selected, static_cast<DWORD>(items.size() / itemBytes));
      selected += items;
    }
    place = end;
  }
  return selected;
}

}  // namespace host
