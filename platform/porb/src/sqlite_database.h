#pragma once
#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "status.h"

namespace porb {

/// The service's status for a result code of SQLite.
Status statusOfSqlite(int result) noexcept;
/// Throws Failure (or std::bad_alloc) unless the result is a success.
void requireSqlite(int result);

/// A number in a row, good until the next step. Type and content in one look at the column, which is the dear part of
/// reading a row. Our connections have no mutex, so the value needs no protection by it.
class ColumnValue {
 public:
  explicit ColumnValue(sqlite3_value* value) noexcept : value_(value) {}
  int type() const noexcept { return sqlite3_value_type(value_); }
  std::int64_t integer() const noexcept { return sqlite3_value_int64(value_); }
  double real() const noexcept { return sqlite3_value_double(value_); }

 private:
  sqlite3_value* value_;
};

/// A prepared statement. Parameters and columns are numbered as SQLite does: parameters from 1, columns from
/// 0.
class Statement {
 public:
  Statement() = default;
  Statement(sqlite3* database, const char* sql);

  explicit operator bool() const noexcept { return statement_ != nullptr; }
  Statement& bind(int index, std::int64_t value);
  Statement& bindDouble(int index, double value);
  /// Text and blobs must live until the statement is reset.
  Statement& bindText(int index, std::string_view text);
  Statement& bindBlob(int index, const void* bytes, std::size_t n);
  /// For bytes that do not live that long.
  Statement& bindCopy(int index, const void* bytes, std::size_t n);

  /// True when there is a row.
  bool step();
  /// Runs a statement that gives no rows, and makes it ready for the next use.
  void run();
  /// As run, whatever comes of it.
  void tryRun() noexcept {
    sqlite3_step(statement_.get());
    reset();
  }
  void reset() noexcept { sqlite3_reset(statement_.get()); }

  ColumnValue value(int column) const noexcept { return ColumnValue(sqlite3_column_value(statement_.get(), column)); }
  int columnType(int column) const noexcept { return sqlite3_column_type(statement_.get(), column); }
  std::int64_t integer(int column) const noexcept { return sqlite3_column_int64(statement_.get(), column); }
  /// Bytes of a text or blob; good until the next step.
  std::string_view bytes(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Resets a statement when the scope ends, also by an exception.
class ResetScope {
 public:
  explicit ResetScope(Statement& statement) : statement_(statement) {}
  ~ResetScope() { statement_.reset(); }
  ResetScope(const ResetScope&) = delete;
  ResetScope& operator=(const ResetScope&) = delete;

 private:
  Statement& statement_;
};

/// A connection in the settings for untrusted files: no triggers, no views, no writing to the schema behind
/// SQLite's back, no functions called from the schema.
class Database {
 public:
  /// Does not read the file yet.
  /// @param flags  SQLITE_OPEN_...
  /// @param vfs    null for a database in memory
  Database(const std::string& path, int flags, const char* vfs);

  sqlite3* get() const noexcept { return database_.get(); }
  Statement prepare(const char* sql) const { return {database_.get(), sql}; }
  void execute(const char* sql) const;
  /// Undoes an open transaction; nothing happens when there is none.
  void rollback() noexcept;
  /// Leaves the connection to the process that opened it: ending it here would undo that one's transaction.
  void abandon() noexcept;

 private:
  struct Close {
    void operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
  Statement rollback_;  // made while there is memory: it is needed when there may be none
};

}  // namespace porb
