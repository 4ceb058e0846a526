#pragma once
#include <hdf5.h>
#include <lmdb.h>
#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Yardsticks: the same job done with other people's storage.
namespace peers {

/// A value's address as the bytes of a key.
struct Key {
  std::uint32_t code = 0;
  std::uint16_t record = 0;
  std::uint16_t entry = 0;
};

/// Bare SQLite: a connection and statements prepared once.
class Sqlite {
 public:
  explicit Sqlite(const std::string& path);
  void run(const char* sql) const;
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;
  Statement prepare(const char* sql) const;
  sqlite3* get() const { return database_.get(); }

  /// A table value(code, record, entry, value) with one double for each code.
  void makeTable(const std::vector<std::uint32_t>& codes) const;

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
};

/// LMDB with one double for each code and a read transaction that stays open.
class Lmdb {
 public:
  Lmdb(const std::string& path, const std::vector<std::uint32_t>& codes);
  ~Lmdb();
  Lmdb(const Lmdb&) = delete;
  Lmdb& operator=(const Lmdb&) = delete;
  double get(Key key) const;

 private:
  MDB_env* environment_ = nullptr;
  MDB_txn* read_ = nullptr;
  MDB_dbi table_ = 0;
};

/// HDF5 with one scalar attribute for each code.
class Hdf5 {
 public:
  Hdf5(const std::string& path, const std::vector<std::uint32_t>& codes);
  ~Hdf5();
  Hdf5(const Hdf5&) = delete;
  Hdf5& operator=(const Hdf5&) = delete;
  /// Opens, reads and closes the n-th attribute.
  double get(std::size_t n) const;

 private:
  std::vector<std::string> names_;
  hid_t file_ = -1;
};

}  // namespace peers
