// See Sqlite.h.
#include "Sqlite.h"

#include <cerrno>
#include <new>
#include <utility>

namespace simulator {

namespace {

// How long a writer waits for another process that holds the file.
constexpr int BusyMilliseconds = 30000;

STATUS statusOf(int code, int systemError) {
  switch (code & 0xFF) {
    case SQLITE_NOTADB:
      return ERR_NOT_NSF;
    case SQLITE_CORRUPT:
    case SQLITE_FORMAT:
    case SQLITE_ERROR:  // our statements are right, so the file lacks a table or a column
      return ERR_NSF_CORRUPT2;
    case SQLITE_NOMEM:
      return ERR_MEMORY;
    case SQLITE_READONLY:
      return ERR_PROTECTED;
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return ERR_OPEN_FILE;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return ERR_ALREADY_LOCKED;
    case SQLITE_TOOBIG:
      return ERR_SEGMENT_TOO_BIG;
    case SQLITE_CANTOPEN:
      if (systemError == ENOENT || systemError == ENOTDIR) return ERR_NOEXIST;
      if (systemError == EACCES || systemError == EPERM) return ERR_OPEN_FILE;
      return ERR_UNKNOWN;
    default:
      return ERR_UNKNOWN;
  }
}

}  // namespace

std::int64_t storedTime(const TIMEDATE& time) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.Innards[1]) << 32 |
                                   time.Innards[0]);
}

TIMEDATE timeFromStored(std::int64_t stored) {
  const auto bits = static_cast<std::uint64_t>(stored);
  return TIMEDATE{{static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32)}};
}

// ---- Connection ---------------------------------------------------------------------------------

std::unique_ptr<Connection> Connection::open(const char* name, int flags) {
  std::unique_ptr<Connection> connection(new Connection);
  sqlite3* handle = nullptr;
  // No mutex inside SQLite: a store is used by one thread at a time.
  const int code = sqlite3_open_v2(name, &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  connection->handle_.reset(handle);
  if (!handle) throw std::bad_alloc();
  connection->check(code, name);
  connection->check(sqlite3_extended_result_codes(handle, 1), name);
  return connection;
}

std::unique_ptr<Connection> Connection::openMemory() {
  return open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY);
}

std::unique_ptr<Connection> Connection::openFile(const std::string& path) {
  // Never read-only on request: what a killed process left half written must be undone first.
  std::unique_ptr<Connection> connection = open(path.c_str(), SQLITE_OPEN_READWRITE);
  connection->check(sqlite3_busy_timeout(connection->handle(), BusyMilliseconds), path);
  return connection;
}

void Connection::fail(int code, std::string_view doing) const {
  const int systemError = sqlite3_system_errno(handle_.get());
  throw StatusError(statusOf(code, systemError),
                    std::string(doing) + ": " + sqlite3_errmsg(handle_.get()));
}

Statement Connection::prepare(std::string_view sql) {
  if (const auto found = idle_.find(sql); found != idle_.end()) {
    auto node = idle_.extract(found);
    return Statement(*this, std::move(node.key()), node.mapped().release());
  }
  sqlite3_stmt* compiled = nullptr;
  check(sqlite3_prepare_v2(handle_.get(), sql.data(), static_cast<int>(sql.size()), &compiled,
                           nullptr),
        sql);
  return Statement(*this, std::string(sql), compiled);
}

void Connection::execute(const char* sql) {
  check(sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr), sql);
}

std::int64_t Connection::number(std::string_view sql) {
  Statement statement = prepare(sql);
  if (!statement.step()) throw StatusError(ERR_NSF_CORRUPT2, std::string(sql) + ": no row");
  return statement.integer(0);
}

std::vector<BYTE> Connection::image() const {
  sqlite3_int64 size = 0;
  const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> bytes(
      sqlite3_serialize(handle_.get(), "main", &size, 0), &sqlite3_free);
  if (!bytes) throw std::bad_alloc();
  return {bytes.get(), bytes.get() + size};
}

// ---- Statement ----------------------------------------------------------------------------------

Statement::Statement(Connection& connection, std::string sql, sqlite3_stmt* compiled)
    : connection_(&connection), sql_(std::move(sql)), compiled_(compiled) {}

Statement::Statement(Statement&& other) noexcept
    : connection_(other.connection_),
      sql_(std::move(other.sql_)),
      compiled_(std::exchange(other.compiled_, nullptr)) {}

Statement::~Statement() {
  if (!compiled_) return;
  sqlite3_reset(compiled_);  // repeats the code that step() has reported
  sqlite3_clear_bindings(compiled_);
  std::unique_ptr<sqlite3_stmt, Connection::Finalizer> owner(compiled_);
  try {
    connection_->idle_.try_emplace(std::move(sql_), std::move(owner));
  } catch (const std::bad_alloc&) {  // then it is compiled again next time
  }
}

Statement& Statement::bind(int index, std::int64_t value) {
  connection_->check(sqlite3_bind_int64(compiled_, index, value), sql_);
  return *this;
}

Statement& Statement::bind(int index, const TIMEDATE& value) {
  return bind(index, storedTime(value));
}

Statement& Statement::bindText(int index, std::string_view value) {
  const char* start = value.data() ? value.data() : "";  // a null pointer would be SQL's NULL
  connection_->check(
      sqlite3_bind_text64(compiled_, index, start, value.size(), SQLITE_STATIC, SQLITE_UTF8), sql_);
  return *this;
}

Statement& Statement::bindBlob(int index, std::span<const BYTE> value) {
  const void* start = value.data() ? static_cast<const void*>(value.data()) : "";
  connection_->check(sqlite3_bind_blob64(compiled_, index, start, value.size(), SQLITE_STATIC),
                     sql_);
  return *this;
}

Statement& Statement::bindNull(int index) {
  connection_->check(sqlite3_bind_null(compiled_, index), sql_);
  return *this;
}

bool Statement::step() {
  const int code = sqlite3_step(compiled_);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) connection_->fail(code, sql_);
  return false;
}

void Statement::run() {
  while (step()) {
  }
  connection_->check(sqlite3_reset(compiled_), sql_);
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(compiled_, column);
}

TIMEDATE Statement::time(int column) const {
  return timeFromStored(integer(column));
}

std::string Statement::text(int column) const {
  const auto* start = reinterpret_cast<const char*>(sqlite3_column_text(compiled_, column));
  const int size = sqlite3_column_bytes(compiled_, column);
  return start ? std::string(start, static_cast<std::size_t>(size)) : std::string();
}

std::vector<BYTE> Statement::blob(int column) const {
  const auto* start = static_cast<const BYTE*>(sqlite3_column_blob(compiled_, column));
  const int size = sqlite3_column_bytes(compiled_, column);
  return start ? std::vector<BYTE>(start, start + size) : std::vector<BYTE>();
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(compiled_, column) == SQLITE_NULL;
}

// ---- Transaction --------------------------------------------------------------------------------

Transaction::Transaction(Connection& connection)
    : connection_(connection), outermost_(!connection.inTransaction()) {
  if (outermost_) connection_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  // SQLite has rolled back by itself after some failures; the answer of a second one means nothing.
  if (outermost_ && connection_.inTransaction())
    sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  if (outermost_) connection_.execute("COMMIT");
  outermost_ = false;
}

}  // namespace simulator
