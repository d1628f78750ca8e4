// See Store.h. Texts are stored as the LMBCS bytes they are, times as Sqlite.h tells.
#include "Store.h"

#include <cstring>
#include <utility>

#include "AtomicFile.h"

namespace simulator {

namespace {

// Marks a SQLite file as a database of this runtime ("KNSF").
constexpr std::int64_t ApplicationId = 0x4B4E5346;
// Goes up when the schema changes in a way that older runtimes do not understand.
constexpr std::int64_t SchemaVersion = 3;

// Small pages: most databases of a test partition are small, and there are thousands of them.
constexpr const char* Schema = R"(
PRAGMA page_size = 2048;
PRAGMA application_id = 0x4B4E5346;
PRAGMA user_version = 3;
CREATE TABLE database(
  info TEXT NOT NULL, class INTEGER NOT NULL, id INTEGER NOT NULL,
  replica_id INTEGER NOT NULL, replica_flags INTEGER NOT NULL,
  cutoff_interval INTEGER NOT NULL, cutoff INTEGER NOT NULL,
  data_modified INTEGER NOT NULL, nondata_modified INTEGER NOT NULL,
  options INTEGER, quota_warning INTEGER NOT NULL, quota_limit INTEGER NOT NULL,
  quota_method INTEGER NOT NULL, next_note INTEGER NOT NULL, next_object INTEGER NOT NULL,
  acl BLOB);
CREATE TABLE note(
  id INTEGER PRIMARY KEY, class INTEGER NOT NULL,
  unid_file INTEGER NOT NULL, unid_note INTEGER NOT NULL,
  sequence INTEGER NOT NULL, sequence_time INTEGER NOT NULL,
  modified INTEGER NOT NULL, accessed INTEGER NOT NULL, added INTEGER NOT NULL,
  flags INTEGER NOT NULL, parent INTEGER NOT NULL, deleted INTEGER NOT NULL);
CREATE INDEX note_unid ON note(unid_note, unid_file);
CREATE INDEX note_instant ON note(modified & 0x00FFFFFFFFFFFFFF);
CREATE TABLE item(
  note INTEGER NOT NULL, position INTEGER NOT NULL, name TEXT NOT NULL,
  flags INTEGER NOT NULL, type INTEGER NOT NULL, value BLOB NOT NULL,
  PRIMARY KEY(note, position)) WITHOUT ROWID;
CREATE TABLE object(
  id INTEGER PRIMARY KEY, class INTEGER NOT NULL, privileges INTEGER NOT NULL,
  data BLOB NOT NULL);
CREATE TABLE unread(user TEXT PRIMARY KEY, notes BLOB NOT NULL) WITHOUT ROWID;
CREATE TABLE folder_note(
  note INTEGER NOT NULL, folder INTEGER NOT NULL, PRIMARY KEY(note, folder)) WITHOUT ROWID;
)";

// The zone bits of a time do not change the instant: without them, times compare as numbers.
std::int64_t instant(const TIMEDATE& time) {
  return storedTime(time) & 0x00FFFFFFFFFFFFFF;
}

#define NOTE_COLUMNS                                                                             \
  "id, class, unid_file, unid_note, sequence, sequence_time, modified, accessed, added, flags, " \
  "parent, deleted"

static_assert(NoteFlagProfile == 0x0200);
#define IS_PROFILE "(note.flags & 0x0200)"

NoteHeader headerOf(const Statement& row) {
  NoteHeader header;
  header.id = static_cast<NOTEID>(row.integer(0));
  header.noteClass = static_cast<WORD>(row.integer(1));
  header.originator.File = row.time(2);
  header.originator.Note = row.time(3);
  header.originator.Sequence = static_cast<DWORD>(row.integer(4));
  header.originator.SequenceTime = row.time(5);
  header.modified = row.time(6);
  header.accessed = row.time(7);
  header.addedToFile = row.time(8);
  header.flags = static_cast<WORD>(row.integer(9));
  header.parent = static_cast<NOTEID>(row.integer(10));
  header.deleted = row.integer(11) != 0;
  return header;
}

void bindHeader(Statement& statement, const NoteHeader& header) {
  statement.bind(1, header.id)
      .bind(2, header.noteClass)
      .bind(3, header.originator.File)
      .bind(4, header.originator.Note)
      .bind(5, header.originator.Sequence)
      .bind(6, header.originator.SequenceTime)
      .bind(7, header.modified)
      .bind(8, header.accessed)
      .bind(9, header.addedToFile)
      .bind(10, header.flags)
      .bind(11, header.parent)
      .bind(12, header.deleted);
}

// Hands out the next number of a kind and remembers that it is taken.
std::int64_t takeNumber(Connection& connection, const char* query, const char* update) {
  const std::int64_t number = connection.number(query);
  connection.prepare(update).run();
  return number;
}

// A row's blob opened for reading or writing pieces of it.
class ObjectBytes {
 public:
  enum class Mode { Read = 0, Write = 1 };

  ObjectBytes(Connection& connection, DWORD id, Mode mode) {
    const int code = sqlite3_blob_open(connection.handle(), "main", "object", "data", id,
                                       static_cast<int>(mode), &blob_);
    if (code == SQLITE_ERROR) throw StatusError(ERR_BAD_PARAM, "no such object");
    connection.check(code, "open object");
  }
  ObjectBytes(const ObjectBytes&) = delete;
  ObjectBytes& operator=(const ObjectBytes&) = delete;
  ~ObjectBytes() { sqlite3_blob_close(blob_); }

  sqlite3_blob* handle() const { return blob_; }

  // The number of bytes as SQLite wants it, once they are known to be inside.
  int checkedSize(DWORD offset, std::size_t length) const {
    const auto size = static_cast<std::size_t>(sqlite3_blob_bytes(blob_));
    if (offset > size || length > size - offset)
      throw StatusError(ERR_OBJECT_TRUNCATED, "behind the end of the object");
    return static_cast<int>(length);
  }

 private:
  sqlite3_blob* blob_ = nullptr;
};

}  // namespace

// ---- the file -----------------------------------------------------------------------------------

Store Store::create(const DatabaseProperties& properties) {
  Store store(Connection::openMemory());
  store.connection_->execute(Schema);
  Statement insert = store.connection_->prepare(
      "INSERT INTO database VALUES('', 0, 0, 0, 0, 0, 0, 0, 0, NULL, 0, 0, 0, ?1, 1, NULL)");
  insert.bind(1, FirstNoteId).run();
  store.setProperties(properties);
  return store;
}

Store Store::open(const std::string& path) {
  Store store(Connection::openFile(path));
  store.requireKnownFormat(path);
  Connection& connection = *store.connection_;
  if (connection.number("SELECT count(*) FROM database") != 1)
    throw StatusError(ERR_NSF_CORRUPT2, path + ": damaged");
  // EXTRA also makes the removal of the journal durable, which is what completes a change.
  connection.execute("PRAGMA synchronous = EXTRA");
  return store;
}

void Store::requireKnownFormat(const std::string& path) {
  if (connection_->number("PRAGMA application_id") != ApplicationId)
    throw StatusError(ERR_NOT_NSF, path + ": not a database of this runtime");
  const std::int64_t version = connection_->number("PRAGMA user_version");
  if (version < 1) throw StatusError(ERR_NSF_CORRUPT2, path + ": damaged");
  if (version != SchemaVersion)
    throw StatusError(ERR_NSF_VERSION, path + ": made by another version of the runtime");
}

void Store::saveAs(const std::string& path, Existing existing, Flush flush) const {
  writeFileAtomically(path, connection_->image(), existing == Existing::Replace,
                      flush == Flush::Now);
}

// ---- the database -------------------------------------------------------------------------------

DatabaseProperties Store::properties() {
  Statement row = connection_->prepare(
      "SELECT info, class, id, replica_id, replica_flags, cutoff_interval, cutoff, data_modified, "
      "nondata_modified, options, quota_warning, quota_limit, quota_method FROM database");
  if (!row.step()) throw StatusError(ERR_NSF_CORRUPT2, "no properties");
  DatabaseProperties properties;
  properties.info = row.text(0);
  properties.databaseClass = static_cast<WORD>(row.integer(1));
  properties.id = row.time(2);
  properties.replica.ID = row.time(3);
  properties.replica.Flags = static_cast<WORD>(row.integer(4));
  properties.replica.CutoffInterval = static_cast<WORD>(row.integer(5));
  properties.replica.Cutoff = row.time(6);
  properties.dataModified = row.time(7);
  properties.nonDataModified = row.time(8);
  if (!row.isNull(9)) properties.options = static_cast<DWORD>(row.integer(9));
  properties.quota.WarningThreshold = static_cast<DWORD>(row.integer(10));
  properties.quota.SizeLimit = static_cast<DWORD>(row.integer(11));
  properties.quota.QuotaMethod = static_cast<WORD>(row.integer(12));
  return properties;
}

void Store::setProperties(const DatabaseProperties& properties) {
  Statement update = connection_->prepare(
      "UPDATE database SET info = ?1, class = ?2, id = ?3, replica_id = ?4, replica_flags = ?5, "
      "cutoff_interval = ?6, cutoff = ?7, data_modified = ?8, nondata_modified = ?9, "
      "options = ?10, quota_warning = ?11, quota_limit = ?12, quota_method = ?13");
  update.bindText(1, properties.info)
      .bind(2, properties.databaseClass)
      .bind(3, properties.id)
      .bind(4, properties.replica.ID)
      .bind(5, properties.replica.Flags)
      .bind(6, properties.replica.CutoffInterval)
      .bind(7, properties.replica.Cutoff)
      .bind(8, properties.dataModified)
      .bind(9, properties.nonDataModified)
      .bind(11, properties.quota.WarningThreshold)
      .bind(12, properties.quota.SizeLimit)
      .bind(13, properties.quota.QuotaMethod);
  if (properties.options)
    update.bind(10, *properties.options);
  else
    update.bindNull(10);
  update.run();
}

std::optional<std::vector<BYTE>> Store::accessControl() {
  Statement row = connection_->prepare("SELECT acl FROM database");
  if (!row.step()) throw StatusError(ERR_NSF_CORRUPT2, "no properties");
  if (row.isNull(0)) return std::nullopt;
  return row.blob(0);
}

void Store::setAccessControl(std::span<const BYTE> list) {
  connection_->prepare("UPDATE database SET acl = ?1").bindBlob(1, list).run();
}

SpaceUsage Store::space() {
  const auto page = static_cast<std::uint64_t>(connection_->number("PRAGMA page_size"));
  const auto pages = static_cast<std::uint64_t>(connection_->number("PRAGMA page_count"));
  const auto unused = static_cast<std::uint64_t>(connection_->number("PRAGMA freelist_count"));
  return {(pages - unused) * page, unused * page};
}

// ---- notes --------------------------------------------------------------------------------------

void Store::noteModified(const NoteHeader& header) {
  const bool isData = (header.noteClass & NOTE_CLASS_DOCUMENT) != 0;
  Statement update =
      connection_->prepare(isData ? "UPDATE database SET data_modified = ?1 "
                                    "WHERE (data_modified & 0x00FFFFFFFFFFFFFF) < ?2"
                                  : "UPDATE database SET nondata_modified = ?1 "
                                    "WHERE (nondata_modified & 0x00FFFFFFFFFFFFFF) < ?2");
  update.bind(1, header.modified).bind(2, instant(header.modified)).run();
}

void Store::writeNote(NoteHeader& header, std::span<const NoteItem> items) {
  Transaction transaction(*connection_);
  NoteHeader stored = header;
  if (stored.id == 0) {
    const std::string update =
        "UPDATE database SET next_note = next_note + " + std::to_string(NoteIdStep);
    stored.id = static_cast<NOTEID>(
        takeNumber(*connection_, "SELECT next_note FROM database", update.c_str()));
    if (stored.id >= RRV_DELETED) throw StatusError(ERR_NSF_CORRUPT2, "no note IDs left");
  } else {
    connection_->prepare("DELETE FROM item WHERE note = ?1").bind(1, stored.id).run();
  }
  Statement note = connection_->prepare("INSERT OR REPLACE INTO note(" NOTE_COLUMNS
                                        ") VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12)");
  bindHeader(note, stored);
  note.run();
  Statement insert = connection_->prepare("INSERT INTO item VALUES(?1,?2,?3,?4,?5,?6)");
  std::int64_t position = 0;
  for (const NoteItem& item : items) {
    insert.bind(1, stored.id)
        .bind(2, position++)
        .bindText(3, item.name)
        .bind(4, item.flags)
        .bind(5, item.type)
        .bindBlob(6, item.value)
        .run();
  }
  if (stored.deleted) leaveFolders(stored);
  noteModified(stored);
  transaction.commit();
  header.id = stored.id;
}

void Store::writeHeader(const NoteHeader& header) {
  Transaction transaction(*connection_);
  Statement update = connection_->prepare(
      "UPDATE note SET class=?2, unid_file=?3, unid_note=?4, sequence=?5, sequence_time=?6, "
      "modified=?7, accessed=?8, added=?9, flags=?10, parent=?11, deleted=?12 WHERE id = ?1");
  bindHeader(update, header);
  update.run();
  if (sqlite3_changes(connection_->handle()) == 0)
    throw StatusError(ERR_INVALID_NOTE, "no such note");
  if (header.deleted) leaveFolders(header);
  noteModified(header);
  transaction.commit();
}

bool Store::removeNote(NOTEID id) {
  Transaction transaction(*connection_);
  if (const std::optional<NoteHeader> header = note(id)) leaveFolders(*header);
  connection_->prepare("DELETE FROM item WHERE note = ?1").bind(1, id).run();
  connection_->prepare("DELETE FROM note WHERE id = ?1").bind(1, id).run();
  const bool removed = sqlite3_changes(connection_->handle()) != 0;
  transaction.commit();
  return removed;
}

std::optional<NoteHeader> Store::note(NOTEID id) {
  Statement row = connection_->prepare("SELECT " NOTE_COLUMNS " FROM note WHERE id = ?1");
  row.bind(1, id);
  if (!row.step()) return std::nullopt;
  return headerOf(row);
}

std::optional<NoteHeader> Store::note(const UNIVERSALNOTEID& unid) {
  Statement row = connection_->prepare("SELECT " NOTE_COLUMNS
                                       " FROM note WHERE unid_note = ?1 AND unid_file = ?2");
  row.bind(1, unid.Note).bind(2, unid.File);
  if (!row.step()) return std::nullopt;
  return headerOf(row);
}

namespace {

std::vector<NoteItem> itemsOf(Statement row, NOTEID id) {
  row.bind(1, id);
  std::vector<NoteItem> items;
  while (row.step()) {
    items.push_back({row.text(0), static_cast<WORD>(row.integer(1)),
                     static_cast<WORD>(row.integer(2)), row.blob(3)});
  }
  return items;
}

std::vector<NoteHeader> headersOf(Statement row) {
  std::vector<NoteHeader> headers;
  while (row.step()) headers.push_back(headerOf(row));
  return headers;
}

}  // namespace

std::vector<NoteItem> Store::items(NOTEID id) {
  return itemsOf(connection_->prepare("SELECT name, flags, type, value FROM item WHERE note = ?1 "
                                      "ORDER BY position"),
                 id);
}

std::vector<NoteItem> Store::summaryItems(NOTEID id) {
  static_assert(ITEM_SUMMARY == 4);
  return itemsOf(connection_->prepare("SELECT name, flags, type, value FROM item WHERE note = ?1 "
                                      "AND flags & 4 ORDER BY position"),
                 id);
}

namespace {

// Documents with their items: those of the database, or of the folder ?1.
constexpr const char* DocumentItems =
    " FROM item CROSS JOIN note ON note.id = item.note AND note.class & 1 AND NOT " IS_PROFILE " ";
constexpr const char* FolderItems =
    " FROM folder_note CROSS JOIN note ON note.id = folder_note.note AND note.class & 1 "
    "CROSS JOIN item ON item.note = note.id AND folder_note.folder = ?1 ";

}  // namespace

void Store::visitItems(std::span<const std::string> names, const ItemVisit& visit,
                       std::optional<NOTEID> folder) {
  std::string sql = "SELECT item.note, item.name, item.flags, item.type, item.value";
  sql.append(folder ? FolderItems : DocumentItems).append("WHERE item.name COLLATE NOCASE IN (");
  int index = folder ? 1 : 0;
  for (std::size_t i = 0; i < names.size(); ++i)
    sql.append(i == 0 ? "?" : ",?").append(std::to_string(index + 1 + static_cast<int>(i)));
  // By the number that the outer loop goes through, so that nothing but positions is sorted.
  sql.append(folder ? ") ORDER BY folder_note.note" : ") ORDER BY item.note");
  Statement row = connection_->prepare(sql + ", item.position");
  if (folder) row.bind(1, *folder);
  for (const std::string& name : names) row.bindText(++index, name);
  while (row.step()) {
    visit(static_cast<NOTEID>(row.integer(0)), {row.text(1), static_cast<WORD>(row.integer(2)),
                                                static_cast<WORD>(row.integer(3)), row.blob(4)});
  }
}

// As NSFComputeEvaluate gives the size of one note.
void Store::visitSizes(const SizeVisit& visit, std::optional<NOTEID> folder) {
  static_assert(TYPE_OBJECT == 3);
  std::string sql =
      "SELECT item.note, length(CAST(item.name AS BLOB)) + 2 + length(item.value), "
      "CASE item.type WHEN 3 THEN item.value END";
  sql.append(folder ? FolderItems : DocumentItems);
  Statement row =
      connection_->prepare(sql + (folder ? "ORDER BY folder_note.note" : "ORDER BY item.note"));
  if (folder) row.bind(1, *folder);
  NOTEID note = 0;
  std::uint64_t size = 0;
  while (row.step()) {
    const auto next = static_cast<NOTEID>(row.integer(0));
    if (next != note && note != 0) visit(note, std::exchange(size, 0));
    note = next;
    size += static_cast<std::uint64_t>(row.integer(1));
    if (row.isNull(2)) continue;
    const std::vector<BYTE> value = row.blob(2);
    DWORD id = 0;
    if (value.size() < sizeof(WORD) + sizeof id) continue;
    std::memcpy(&id, value.data() + sizeof(WORD), sizeof id);
    if (const std::optional<ObjectHeader> header = object(id)) size += header->size;
  }
  if (note != 0) visit(note, size);
}

std::int64_t Store::changesByOthers() {
  return connection_->number("PRAGMA data_version");
}

std::vector<NoteHeader> Store::notes(WORD classMask, std::optional<TIMEDATE> since) {
  Statement row = connection_->prepare(
      since ? "SELECT " NOTE_COLUMNS " FROM note WHERE class & ?1 AND NOT " IS_PROFILE
              " AND (modified & 0x00FFFFFFFFFFFFFF) >= ?2 "
              "ORDER BY id"
            : "SELECT " NOTE_COLUMNS " FROM note WHERE class & ?1 AND NOT " IS_PROFILE
              " ORDER BY id");
  row.bind(1, classMask);
  if (since) row.bind(2, instant(*since));
  return headersOf(std::move(row));
}

std::vector<NoteHeader> Store::profiles() {
  return headersOf(connection_->prepare("SELECT " NOTE_COLUMNS " FROM note WHERE " IS_PROFILE
                                        " AND NOT deleted ORDER BY id"));
}

// ---- objects ------------------------------------------------------------------------------------

DWORD Store::addObject(const ObjectHeader& header) {
  Transaction transaction(*connection_);
  const std::int64_t id = takeNumber(*connection_, "SELECT next_object FROM database",
                                     "UPDATE database SET next_object = next_object + 1");
  putObject(static_cast<DWORD>(id), header);
  transaction.commit();
  return static_cast<DWORD>(id);
}

void Store::putObject(DWORD id, const ObjectHeader& header) {
  Statement insert = connection_->prepare("INSERT INTO object VALUES(?1, ?2, ?3, zeroblob(?4))");
  insert.bind(1, id).bind(2, header.objectClass).bind(3, header.privileges).bind(4, header.size);
  insert.run();
}

std::optional<ObjectHeader> Store::object(DWORD id) {
  Statement row =
      connection_->prepare("SELECT class, privileges, length(data) FROM object WHERE id = ?1");
  row.bind(1, id);
  if (!row.step()) return std::nullopt;
  return ObjectHeader{static_cast<WORD>(row.integer(0)), static_cast<WORD>(row.integer(1)),
                      static_cast<DWORD>(row.integer(2))};
}

std::vector<BYTE> Store::readObject(DWORD id, DWORD offset, DWORD length) {
  const ObjectBytes object(*connection_, id, ObjectBytes::Mode::Read);
  const int size = object.checkedSize(offset, length);
  std::vector<BYTE> bytes(length);
  connection_->check(
      sqlite3_blob_read(object.handle(), bytes.data(), size, static_cast<int>(offset)),
      "read object");
  return bytes;
}

void Store::writeObject(DWORD id, DWORD offset, std::span<const BYTE> bytes) {
  Transaction transaction(*connection_);
  {
    const ObjectBytes object(*connection_, id, ObjectBytes::Mode::Write);
    const int size = object.checkedSize(offset, bytes.size());
    connection_->check(
        sqlite3_blob_write(object.handle(), bytes.data(), size, static_cast<int>(offset)),
        "write object");
  }
  transaction.commit();
}

void Store::removeObject(DWORD id) {
  connection_->prepare("DELETE FROM object WHERE id = ?1").bind(1, id).run();
  if (sqlite3_changes(connection_->handle()) == 0)
    throw StatusError(ERR_BAD_PARAM, "no such object");
}

}  // namespace simulator
