#pragma once
#include <cstdint>
#include <vector>

#include "sqlite_database.h"
#include "table.h"

namespace porb {

/// Binds a value in SQLite's own type wherever that gives back the same bits; not-a-number, minus zero and
/// text that is not UTF-8 go as the bytes they are.
void bindValue(Statement& statement, int index, const Cell& cell);

/// Reads a value of the stored type. @throws Failure(AIO_BADCONTENT) when the row holds something else
Cell readValue(const Statement& row, int column, std::uint16_t param, int type);

/// Brings value rows, ordered by record, entry and code, into the records of a table.
class ValueLoader {
 public:
  /// @param ids, entries  ids of the table's records, ascending, and the number of entries of each
  ValueLoader(Table& table, std::uint32_t working_entries, const std::vector<std::uint32_t>& ids,
              const std::vector<std::uint32_t>& entries);
  /// One row: record, entry, code, type, value. @throws Failure(AIO_BADCONTENT)
  void take(const Statement& row, std::uint16_t cls);
  /// Call it after the last row.
  void finish();

 private:
  void startRecord(std::int64_t id);
  void storeRow();

  Table& table_;
  const std::vector<std::uint32_t>& ids_;
  const std::vector<std::uint32_t>& entries_;
  std::size_t next_ = 0;  // place in ids_ of the next record
  Record* record_ = nullptr;
  std::int64_t id_ = 0;
  std::int64_t entry_ = 0;
  std::vector<Cell> row_;  // cells of the current entry, collected to be stored in one block of the right size
};

}  // namespace porb
