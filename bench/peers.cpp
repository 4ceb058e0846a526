#include "peers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace peers {
namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

constexpr double kFirstValue = 0.5;

}  // namespace

Sqlite::Sqlite(const std::string& path) {
  sqlite3* database = nullptr;
  require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "sqlite3_open");
  database_.reset(database);
}

void Sqlite::run(const char* sql) const {
  require(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}

Sqlite::Statement Sqlite::prepare(const char* sql) const {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) == SQLITE_OK, sql);
  return Statement(statement);
}

void Sqlite::makeTable(const std::vector<std::uint32_t>& codes) const {
  run("CREATE TABLE value(code INTEGER,record INTEGER,entry INTEGER,value,PRIMARY KEY(code,record,entry)) WITHOUT "
      "ROWID");
  run("BEGIN");
  const Statement insert = prepare("INSERT INTO value VALUES(?,0,0,?)");
  double value = kFirstValue;
  for (const std::uint32_t code : codes) {
    sqlite3_bind_int64(insert.get(), 1, code);
    sqlite3_bind_double(insert.get(), 2, value);
    require(sqlite3_step(insert.get()) == SQLITE_DONE, "insert");
    sqlite3_reset(insert.get());
    value += 1.25;
  }
  run("COMMIT");
}

Lmdb::Lmdb(const std::string& path, const std::vector<std::uint32_t>& codes) {
  require(mdb_env_create(&environment_) == 0, "mdb_env_create");
  require(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR | MDB_NOSYNC, 0644) == 0, "mdb_env_open");
  MDB_txn* write = nullptr;
  require(mdb_txn_begin(environment_, nullptr, 0, &write) == 0, "mdb_txn_begin");
  require(mdb_dbi_open(write, nullptr, 0, &table_) == 0, "mdb_dbi_open");
  double value = kFirstValue;
  for (const std::uint32_t code : codes) {
    Key key{code, 0, 0};
    MDB_val k{sizeof key, &key};
    MDB_val v{sizeof value, &value};
    require(mdb_put(write, table_, &k, &v, 0) == 0, "mdb_put");
    value += 1.25;
  }
  require(mdb_txn_commit(write) == 0, "mdb_txn_commit");
  require(mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &read_) == 0, "mdb_txn_begin");
}

Lmdb::~Lmdb() {
  mdb_txn_abort(read_);
  mdb_env_close(environment_);
}

double Lmdb::get(Key key) const {
  MDB_val k{sizeof key, &key};
  MDB_val v{};
  double value = 0;
  if (mdb_get(read_, table_, &k, &v) == 0) std::memcpy(&value, v.mv_data, sizeof value);
  return value;
}

Hdf5::Hdf5(const std::string& path, const std::vector<std::uint32_t>& codes) {
  file_ = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
  require(file_ >= 0, "H5Fcreate");
  const hid_t space = H5Screate(H5S_SCALAR);
  double value = kFirstValue;
  for (const std::uint32_t code : codes) {
    names_.push_back(std::to_string(code));
    const hid_t attribute =
        H5Acreate2(file_, names_.back().c_str(), H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, H5P_DEFAULT);
    require(attribute >= 0 && H5Awrite(attribute, H5T_NATIVE_DOUBLE, &value) >= 0, "H5Awrite");
    H5Aclose(attribute);
    value += 1.25;
  }
  H5Sclose(space);
}

Hdf5::~Hdf5() {
  H5Fclose(file_);
}

double Hdf5::get(std::size_t n) const {
  double value = 0;
  const hid_t attribute = H5Aopen(file_, names_[n].c_str(), H5P_DEFAULT);
  H5Aread(attribute, H5T_NATIVE_DOUBLE, &value);
  H5Aclose(attribute);
  return value;
}

}  // namespace peers
