// The few SQLite calls that the store needs, each C handle with one owner, and the one place where
// SQLite's result codes become the Notes status codes that callers of the runtime see.
#ifndef KOLN_SIMULATOR_SQLITE_H
#define KOLN_SIMULATOR_SQLITE_H

#include <sqlite3.h>

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "NotesApi.h"

namespace simulator {

// A failure with the status that an API function answers; never leaves an exported function.
class StatusError : public std::exception {
 public:
  StatusError(STATUS status, std::string text) : status_(status), text_(std::move(text)) {}
  STATUS status() const { return status_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  STATUS status_;
  std::string text_;
};

class Connection;

// One statement on loan from its connection, which keeps it compiled for the next time.
class Statement {
 public:
  Statement(Connection& connection, std::string sql, sqlite3_stmt* compiled);
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&&) = delete;
  ~Statement();

  Statement& bind(int index, std::int64_t value);
  Statement& bind(int index, const TIMEDATE& value);
  // The bytes must live until the statement has run.
  Statement& bindText(int index, std::string_view value);
  Statement& bindBlob(int index, std::span<const BYTE> value);
  Statement& bindNull(int index);

  // True while there is a row.
  bool step();
  // Runs a statement that gives no rows and makes it ready to be bound again.
  void run();

  std::int64_t integer(int column) const;
  TIMEDATE time(int column) const;
  std::string text(int column) const;
  std::vector<BYTE> blob(int column) const;
  bool isNull(int column) const;

 private:
  Connection* connection_;
  std::string sql_;
  sqlite3_stmt* compiled_;
};

class Connection {
 public:
  static std::unique_ptr<Connection> openMemory();
  // Opens an existing file, for writing where its permissions allow that.
  static std::unique_ptr<Connection> openFile(const std::string& path);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  Statement prepare(std::string_view sql);
  void execute(const char* sql);
  // Result of a statement that gives one number.
  std::int64_t number(std::string_view sql);

  sqlite3* handle() const { return handle_.get(); }
  bool inTransaction() const { return sqlite3_get_autocommit(handle_.get()) == 0; }
  std::vector<BYTE> image() const;

  [[noreturn]] void fail(int code, std::string_view doing) const;
  void check(int code, std::string_view doing) const {
    if (code != SQLITE_OK) fail(code, doing);
  }

 private:
  friend class Statement;
  struct Closer {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* compiled) const { sqlite3_finalize(compiled); }
  };
  Connection() = default;
  static std::unique_ptr<Connection> open(const char* name, int flags);

  std::unique_ptr<sqlite3, Closer> handle_;
  // Behind the handle, so that the statements are finalized first.
  std::map<std::string, std::unique_ptr<sqlite3_stmt, Finalizer>, std::less<>> idle_;
};

// A transaction, or a part of the one that is open already. Rolled back unless committed.
class Transaction {
 public:
  explicit Transaction(Connection& connection);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();
  void commit();

 private:
  Connection& connection_;
  bool outermost_;
};

// A time as it is stored: the second word above the first.
std::int64_t storedTime(const TIMEDATE& time);
TIMEDATE timeFromStored(std::int64_t stored);

}  // namespace simulator

#endif
