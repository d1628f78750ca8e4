// See StoreRepair.h. A damaged SQLite file is not mended in place: what a broken page held, and
// what a broken index leads to, cannot be trusted. Row by row into a new file is the only safe way.
#include "StoreRepair.h"

#include <algorithm>
#include <initializer_list>
#include <set>

#include "Store.h"
#include "StoreCache.h"

namespace simulator {

namespace {

// A scan ends at the first broken page, so numbers are also tried one by one; up to here, in case
// the next number to give out is itself damaged.
constexpr std::int64_t MostNumbersTried = 1 << 22;

// False if SQLite finds the file damaged where the action reads.
template <typename Action>
bool readable(Action&& action) {
  try {
    action();
    return true;
  } catch (const StatusError& error) {
    if (error.status() != ERR_NSF_CORRUPT2) throw;
    return false;
  }
}

// Calls `visit` with every number that a row may have: those that the scans reach, and all that
// were ever given out.
template <typename Visit>
void visitNumbers(Connection& connection, std::initializer_list<const char*> scans,
                  std::int64_t first, std::int64_t next, std::int64_t step, Visit&& visit) {
  std::set<std::int64_t> found;
  for (const char* scan : scans) {
    readable([&] {
      Statement row = connection.prepare(scan);
      while (row.step()) found.insert(row.integer(0));
    });
  }
  for (const std::int64_t number : found) visit(number);
  const std::int64_t end = std::min(next, first + step * MostNumbersTried);
  for (std::int64_t number = first; number < end; number += step) {
    if (!found.contains(number)) visit(number);
  }
}

}  // namespace

Store Store::openDamaged(const std::string& path) {
  Store store(Connection::openFile(path));
  Connection& connection = *store.connection_;
  // Lets SQLite read a file that is shorter than it should be, and look closely at each page.
  connection.execute("PRAGMA writable_schema = ON");
  connection.execute("PRAGMA cell_size_check = ON");
  store.requireKnownFormat(path);
  connection.execute("BEGIN EXCLUSIVE");
  return store;
}

bool Store::intact() {
  bool intact = true;
  const bool whole = readable([&] {
    Statement check = connection_->prepare("PRAGMA integrity_check(1)");
    intact = check.step() && check.text(0) == "ok" &&
             connection_->number("SELECT count(*) FROM database") == 1 &&
             connection_->number(
                 "SELECT count(*) FROM item "
                 "WHERE note NOT IN (SELECT id FROM note)") == 0;
  });
  return whole && intact;
}

Store::Salvage Store::salvage() {
  const DatabaseProperties kept = properties();
  std::int64_t nextNote = connection_->number("SELECT next_note FROM database");
  std::int64_t nextObject = connection_->number("SELECT next_object FROM database");
  Salvage result{create(kept)};
  Store& copy = result.store;
  Transaction batch = copy.batch();
  readable([&] {
    if (const auto list = accessControl()) copy.setAccessControl(*list);
  });
  readable([&] {
    Statement row = connection_->prepare("SELECT user, notes FROM unread");
    Statement insert = copy.connection_->prepare("INSERT OR REPLACE INTO unread VALUES(?1, ?2)");
    while (row.step()) insert.bindText(1, row.text(0)).bindBlob(2, row.blob(1)).run();
  });

  const auto copyNote = [&](std::int64_t number) {
    const auto id = static_cast<NOTEID>(number);
    bool complete = true;
    const bool read = number > 0 && number < RRV_DELETED && readable([&] {
                        std::optional<NoteHeader> header = note(id);
                        const std::vector<NoteItem> parts = items(id);
                        complete = header || parts.empty();
                        if (!header) return;
                        copy.writeNote(*header, parts);
                        nextNote = std::max<std::int64_t>(nextNote, number + NoteIdStep);
                      });
    if (!read || !complete) ++result.lostNotes;
  };
  visitNumbers(*connection_,
               {"SELECT id FROM note NOT INDEXED ORDER BY id",
                "SELECT id FROM note NOT INDEXED ORDER BY id DESC",
                "SELECT note FROM item ORDER BY note, position",
                "SELECT note FROM item ORDER BY note DESC, position DESC"},
               FirstNoteId, nextNote, NoteIdStep, copyNote);
  // Last, as a stub that is written leaves its folders. What was lost is in no folder either.
  readable([&] {
    Statement row = connection_->prepare("SELECT note, folder FROM folder_note");
    while (row.step()) {
      const auto member = static_cast<NOTEID>(row.integer(0));
      const auto folder = static_cast<NOTEID>(row.integer(1));
      if (copy.note(member) && copy.note(folder)) copy.addToFolder(folder, {&member, 1});
    }
  });

  const auto copyObject = [&](std::int64_t number) {
    const auto id = static_cast<DWORD>(number);
    const bool read = number > 0 && number <= MAXDWORD && readable([&] {
                        const std::optional<ObjectHeader> header = object(id);
                        if (!header) return;
                        const std::vector<BYTE> bytes = readObject(id, 0, header->size);
                        copy.putObject(id, *header);
                        copy.writeObject(id, 0, bytes);
                        nextObject = std::max<std::int64_t>(nextObject, number + 1);
                      });
    if (!read) ++result.lostObjects;
  };
  visitNumbers(*connection_,
               {"SELECT id FROM object ORDER BY id", "SELECT id FROM object ORDER BY id DESC"},
               FirstObjectId, nextObject, 1, copyObject);

  // What was written moved the time of modification.
  copy.setProperties(kept);
  copy.connection_->prepare("UPDATE database SET next_note = ?1, next_object = ?2")
      .bind(1, nextNote)
      .bind(2, nextObject)
      .run();
  batch.commit();
  return result;
}

void repairStore(const std::string& path, Notes notes) {
  const StoreSeal seal = sealStore(path);
  Store damaged = Store::openDamaged(path);
  if (damaged.intact()) return;
  const Store::Salvage salvage = damaged.salvage();
  if (notes == Notes::KeepAll && salvage.lostNotes + salvage.lostObjects != 0)
    throw StatusError(ERR_NSF_CORRUPT2, path + ": the repair would lose notes");
  salvage.store.saveAs(path, Store::Existing::Replace, Store::Flush::Now);
}

}  // namespace simulator
