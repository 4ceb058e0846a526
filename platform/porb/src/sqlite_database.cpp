#include "sqlite_database.h"

#include <new>

#include "comdefs.h"
#include "data_file_vfs.h"

namespace porb {
namespace {

/// How long a call waits for another process that is just writing or recovering the file [ms].
constexpr int kBusyTimeout_ms = 5000;
/// No row that we write comes near; a damaged length field must not make us allocate more.
constexpr int kMostRowBytes = 4 * static_cast<int>(AIO_MAX_CHANNELS) + (1 << 20);

}  // namespace

Status statusOfSqlite(int result) noexcept {
  switch (result) {
    case SQLITE_READONLY_DBMOVED:
      return AIO_NOFILE;
    case SQLITE_CANTOPEN_ISDIR:
      return AIO_NOTREGULAR;
    case SQLITE_IOERR_NOMEM:
      return AIO_NOMEMORY;
    case kBadJournal:
      return AIO_BADJOURNAL;
    case kNoAccessToJournal:
      return AIO_NOACCESS;
    case kChangedByOther:
      return AIO_CHANGED;
    default:
      break;
  }
  switch (result & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return AIO_OK;
    case SQLITE_NOMEM:
      return AIO_NOMEMORY;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return AIO_BUSY;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return AIO_NOACCESS;
    case SQLITE_FULL:
      return AIO_DISKFULL;
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
      return AIO_IOERROR;
    case SQLITE_NOTADB:
      return AIO_NOTADATABASE;
    case SQLITE_CORRUPT:
    case SQLITE_TOOBIG:
      return AIO_CORRUPT;
    case SQLITE_ERROR:
    case SQLITE_SCHEMA:
    case SQLITE_CONSTRAINT:
      return AIO_BADCONTENT;
    default:
      return AIO_INTERNAL;
  }
}

void requireSqlite(int result) {
  const Status status = statusOfSqlite(result);
  if (status == AIO_NOMEMORY) throw std::bad_alloc();
  if (status != AIO_OK) throw Failure(status);
}

Statement::Statement(sqlite3* database, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  statement_.reset(statement);
  requireSqlite(result);
}

Statement& Statement::bind(int index, std::int64_t value) {
  requireSqlite(sqlite3_bind_int64(statement_.get(), index, value));
  return *this;
}

Statement& Statement::bindDouble(int index, double value) {
  requireSqlite(sqlite3_bind_double(statement_.get(), index, value));
  return *this;
}

Statement& Statement::bindText(int index, std::string_view text) {
  const char* bytes = text.empty() ? "" : text.data();
  requireSqlite(sqlite3_bind_text(statement_.get(), index, bytes, static_cast<int>(text.size()), SQLITE_STATIC));
  return *this;
}

Statement& Statement::bindBlob(int index, const void* bytes, std::size_t n) {
  requireSqlite(n == 0 ? sqlite3_bind_zeroblob(statement_.get(), index, 0)
                       : sqlite3_bind_blob(statement_.get(), index, bytes, static_cast<int>(n), SQLITE_STATIC));
  return *this;
}

Statement& Statement::bindCopy(int index, const void* bytes, std::size_t n) {
  // SQLITE_TRANSIENT itself is an old-style cast to a function pointer.
  static const auto kTransient = reinterpret_cast<sqlite3_destructor_type>(std::intptr_t{-1});
  requireSqlite(sqlite3_bind_blob(statement_.get(), index, bytes, static_cast<int>(n), kTransient));
  return *this;
}

bool Statement::step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) {
    sqlite3_reset(statement_.get());
    requireSqlite(result);
  }
  return false;
}

void Statement::run() {
  const ResetScope scope(*this);
  step();
}

std::string_view Statement::bytes(int column) const {
  const auto* text = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  const int n = sqlite3_column_bytes(statement_.get(), column);
  if (text == nullptr) {
    // An empty value, or one that there was no memory for: the two differ only in the connection's last error.
    if (sqlite3_errcode(sqlite3_db_handle(statement_.get())) == SQLITE_NOMEM) throw std::bad_alloc();
    return {};
  }
  return {text, static_cast<std::size_t>(n)};
}

Database::Database(const std::string& path, int flags, const char* vfs) {
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, vfs);
  database_.reset(database);
  if (database == nullptr) throw std::bad_alloc();
  requireSqlite(result);
  sqlite3_busy_timeout(database, kBusyTimeout_ms);
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, kMostRowBytes);
  for (const int setting : {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW, SQLITE_DBCONFIG_TRUSTED_SCHEMA,
                            SQLITE_DBCONFIG_DQS_DDL, SQLITE_DBCONFIG_DQS_DML})
    requireSqlite(sqlite3_db_config(database, setting, 0, nullptr));
  requireSqlite(sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr));
  rollback_ = prepare("ROLLBACK");
}

void Database::execute(const char* sql) const {
  requireSqlite(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr));
}

void Database::abandon() noexcept {
  database_.release();
}

void Database::rollback() noexcept {
  // Even a rollback may lack memory for a moment; a transaction left open would make a later call fail.
  for (int attempt = 0; attempt < 2 && sqlite3_get_autocommit(database_.get()) == 0; ++attempt) rollback_.tryRun();
}

}  // namespace porb
