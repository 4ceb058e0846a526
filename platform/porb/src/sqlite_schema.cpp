#include "sqlite_schema.h"

#include <cstring>
#include <string_view>

namespace porb {
namespace {

struct SchemaObject {
  const char* name;
  const char* sql;
};

// The text of each statement is part of the format: a file whose tables were made otherwise is not ours.
constexpr SchemaObject kTables[] = {
    {"block",
     "CREATE TABLE block("
     "class INTEGER PRIMARY KEY,"  // upper 16 bits of the codes; -1: the list of blocks itself
     "size INTEGER NOT NULL,"      // given at creation
     "entries INTEGER NOT NULL,"   // of the working record
     "groups_n INTEGER NOT NULL,"  // spectral block only, otherwise 0
     "rows_n INTEGER NOT NULL,"
     "channels_n INTEGER NOT NULL,"
     "checksum INTEGER NOT NULL)"},
    {"record",
     "CREATE TABLE record("
     "class INTEGER NOT NULL,"
     "id INTEGER NOT NULL,"
     "rank INTEGER NOT NULL,"
     "entries INTEGER NOT NULL,"
     "PRIMARY KEY(class,id)) WITHOUT ROWID"},
    {"value",
     "CREATE TABLE value("
     "class INTEGER NOT NULL,"
     "record INTEGER NOT NULL,"  // record.id; 0: header values and working record
     "entry INTEGER NOT NULL,"
     "code INTEGER NOT NULL,"
     "type INTEGER NOT NULL,"
     "value,"
     "PRIMARY KEY(class,record,entry,code)) WITHOUT ROWID"},
    {"spectrum",
     "CREATE TABLE spectrum("
     "group_no INTEGER NOT NULL,"
     "row_no INTEGER NOT NULL,"
     "format INTEGER NOT NULL,"  // 0 integers, 1 floats
     "checksum INTEGER NOT NULL,"
     "channels BLOB NOT NULL,"  // 4 bytes a channel, little-endian
     "PRIMARY KEY(group_no,row_no))"},
    {"name",
     "CREATE TABLE name("
     "code INTEGER PRIMARY KEY,"
     "name TEXT NOT NULL,"
     "unit TEXT NOT NULL,"
     "description TEXT NOT NULL)"},
};

// For people and other programs; the service itself never reads it. Times are shown as dates; what SQLite has
// no number for (not-a-number, minus zero) lies in the file as the eight bytes of the double.
constexpr const char* kView =
    "CREATE VIEW parameter AS SELECT "
    "printf('0x%04X',v.class) AS class,"
    "coalesce(r.number,0) AS record,"
    "v.entry AS entry,"
    "printf('0x%08X',v.code) AS code,"
    "coalesce(n.name,'') AS name,"
    "CASE WHEN v.type=35 AND typeof(v.value)='real' "
    "THEN coalesce(strftime('%Y-%m-%dT%H:%M:%fZ',v.value/864000000000.0+2400000.5),v.value) "
    "WHEN v.type IN (10,27,35,192) AND hex(v.value) IN ('0000000000000080','00000080') THEN '-0.0' "
    "WHEN v.type IN (10,27,35,192) AND typeof(v.value)='blob' THEN 'NaN' "
    "ELSE v.value END AS value,"
    "coalesce(n.unit,'') AS unit "
    "FROM value v LEFT JOIN name n ON n.code=v.code "
    "LEFT JOIN (SELECT class,id,row_number() OVER (PARTITION BY class ORDER BY rank) AS number FROM record) "
    "r "
    "ON r.class=v.class AND r.id=v.record";

/// The first bytes of the file and its size, read through SQLite's own descriptor: opening the file once more and
/// closing it would drop the locks that this process holds on it.
class FirstLook {
 public:
  explicit FirstLook(const Database& database) noexcept {
    sqlite3_file* file = nullptr;
    if (sqlite3_file_control(database.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK) return;
    if (file == nullptr || file->pMethods == nullptr) return;
    if (file->pMethods->xFileSize(file, &size_) != SQLITE_OK) return;
    const int result = file->pMethods->xRead(file, header_.bytes.data(), static_cast<int>(header_.bytes.size()), 0);
    is_read_ = result == SQLITE_OK || result == SQLITE_IOERR_SHORT_READ;
  }

  bool isRead() const noexcept { return is_read_; }
  const FileHeader& header() const noexcept { return header_; }
  bool isTruncated() const noexcept { return size_ < std::int64_t{header_.pages()} * header_.pageBytes(); }

 private:
  FileHeader header_;
  sqlite3_int64 size_ = 0;
  bool is_read_ = false;
};

/// What can be said against a file before its tables are read.
Status judge(const FirstLook& look) noexcept {
  if (!look.header().hasMagic()) return AIO_NOTADATABASE;
  if (look.isTruncated()) return AIO_TRUNCATED;
  return look.header().isWriteAhead() && look.header().isOurs() ? AIO_WRITEAHEAD : AIO_OK;
}

void verifyTables(const Database& database) {
  Statement query = database.prepare("SELECT sql FROM sqlite_schema WHERE type='table' AND name=?");
  for (const SchemaObject& table : kTables) {
    const ResetScope scope(query);
    query.bindText(1, table.name);
    if (!query.step() || query.bytes(0) != table.sql) throw Failure(AIO_BADCONTENT);
  }
  // Rows are written with REPLACE, which would delete whatever row another unique index holds against them.
  Statement unique = database.prepare(
      "SELECT 1 FROM sqlite_schema WHERE type='index' AND sql LIKE 'CREATE UNIQUE%' "
      "AND tbl_name IN ('block','record','value','spectrum','name')");
  if (unique.step()) throw Failure(AIO_BADCONTENT);
}

}  // namespace

void verifyFormat(const Database& database) {
  const FirstLook look(database);
  if (!look.isRead()) throw Failure(AIO_IOERROR);
  if (const Status status = judge(look); status != AIO_OK) throw Failure(status);
  if (!look.header().isOurs() || look.header().version() < 1) throw Failure(AIO_FOREIGN);
  if (look.header().version() > kFormatVersion) throw Failure(AIO_NEWERFORMAT);
  verifyTables(database);
}

void verifySize(const Database& database) {
  const FirstLook look(database);
  if (!look.isRead()) throw Failure(AIO_IOERROR);
  if (look.isTruncated()) throw Failure(AIO_TRUNCATED);
}

Status diagnose(const Database& database, Status otherwise) noexcept {
  const FirstLook look(database);
  if (!look.isRead()) return otherwise;
  const Status status = judge(look);
  return status != AIO_OK ? status : otherwise;
}

const std::string& emptyFileImage() {
  static const std::string image = [] {
    const Database memory(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    const std::string head = "PRAGMA application_id=" + std::to_string(kApplicationId) +
                             ";PRAGMA user_version=" + std::to_string(kFormatVersion);
    memory.execute(head.c_str());
    for (const SchemaObject& table : kTables) memory.execute(table.sql);
    memory.execute(kView);
    memory.execute("INSERT INTO block VALUES(-1,0,0,0,0,0,0)");
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, void (*)(void*)> bytes(sqlite3_serialize(memory.get(), "main", &size, 0),
                                                                sqlite3_free);
    if (!bytes) throw std::bad_alloc();
    return std::string(reinterpret_cast<const char*>(bytes.get()), static_cast<std::size_t>(size));
  }();
  return image;
}

}  // namespace porb
