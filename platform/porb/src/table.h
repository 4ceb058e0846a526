#pragma once
#include <cstdint>
#include <vector>

#include "record.h"
#include "status.h"

namespace porb {

/// The values of a block: the working record with the header values, and the records 1..n.
///
/// Records lie in a pool and never move there; a list of pool places gives their order, so an insertion at
/// the front moves four bytes a record. On disk a record is named by its id and ordered by its rank, so that
/// the same insertion writes one row. Ranks are spaced; when two neighbours have no room between them the
/// whole table is numbered and written anew.
///
/// Every operation either succeeds or leaves the table as it was.
class Table {
 public:
  Table() { working_.values.keepIndex(); }

  std::size_t recordCount() const noexcept { return order_.size(); }
  /// Record 0 is the working record. Null when there is no such record.
  const Record* record(std::size_t number) const noexcept {
    if (number == 0) return &working_;
    return number <= order_.size() ? &pool_[order_[number - 1]] : nullptr;
  }

  /// Stores a value; record and entry n+1 are appended. @throws std::bad_alloc
  Status put(std::size_t record, std::size_t entry, Cell&& cell);
  /// Inserts an empty record behind record `after`, no further than the end. @throws std::bad_alloc
  Status insertRecord(std::size_t after);
  Status insertEntry(std::size_t record, std::size_t after);
  Status deleteRecord(std::size_t record);
  Status deleteEntry(std::size_t record, std::size_t entry);
  /// Puts a copy over record `number`, or behind the last one. @throws std::bad_alloc
  Status assignRecord(std::size_t number, Record&& copy);
  /// A copy that counts as not yet written. @throws std::bad_alloc
  Table clone() const;

  // ---- For the storage ----------------------------------------------------------------------------------
  /// Takes a record as it lies on disk; records may come in any order until finishLoading.
  Record& addLoaded(std::uint32_t id, std::int64_t rank);
  void reserve(std::size_t records);
  /// The n-th record (from 0) of those added; only before finishLoading.
  Record& loaded(std::size_t n) noexcept { return pool_[n]; }
  Record& working() noexcept { return working_; }
  /// Brings the records into their order. False when two have the same rank.
  bool finishLoading();

  bool isRewrite() const noexcept { return rewrite_; }
  void setRewrite() noexcept { rewrite_ = true; }
  bool isDirty() const noexcept { return rewrite_ || working_.dirty || !dirty_.empty() || !deleted_ids_.empty(); }
  const std::vector<std::uint32_t>& deletedIds() const noexcept { return deleted_ids_; }
  /// Calls visit(record) for every record that has something to write (all of them in a rewrite).
  template <typename Visit>
  void forEachToWrite(Visit&& visit) const;
  /// Everything is on disk now.
  void markClean() noexcept;
  std::uint64_t hash() const noexcept;

 private:
  Record* writable(std::size_t number);
  void markDirty(std::uint32_t place);
  std::uint32_t newPlace();
  bool rankFor(std::size_t position, std::int64_t& rank) const noexcept;
  void renumber() noexcept;
  Status insertAt(std::size_t position, Record&& record);

  Record working_;
  std::vector<Record> pool_;
  std::vector<std::uint32_t> order_;        // record number - 1 -> place in pool_
  std::vector<std::uint32_t> free_;         // places of deleted records
  std::vector<std::uint32_t> dirty_;        // places with something to write, each once
  std::vector<std::uint32_t> deleted_ids_;  // records on disk that are to go
  std::uint32_t next_id_ = 1;
  bool rewrite_ = false;
};

template <typename Visit>
void Table::forEachToWrite(Visit&& visit) const {
  if (rewrite_ || working_.dirty) visit(working_);
  if (rewrite_) {
    for (const std::uint32_t place : order_) visit(pool_[place]);
  } else {
    for (const std::uint32_t place : dirty_)
      if (pool_[place].id != 0) visit(pool_[place]);  // a deleted one has no id
  }
}

}  // namespace porb
