#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "cell.h"

namespace porb {

/// The values of one record (or of one entry), ascending by parameter. The row with the header values of a
/// block is long and read most, so it can also keep where each parameter lies.
class CellRow {
 public:
  /// From now on the row keeps an index. It costs 2 kB, so it is for one row of a block.
  void keepIndex() noexcept {
    is_indexed_ = true;
    updateIndex();
  }
  const Cell* find(std::uint16_t param) const noexcept {
    if (!places_) return search(param);
    const std::uint16_t place = param < kIndexed ? places_[param] : std::uint16_t{0};
    return place != 0 ? &cells_[place - 1u] : nullptr;
  }
  /// Replaces the value of the parameter, or adds it. @throws std::bad_alloc, and the row is as it was
  void put(Cell&& cell);
  /// Takes cells in ascending order, in memory of just their size; `cells` are left moved from.
  void assign(std::vector<Cell>& cells);
  const std::vector<Cell>& cells() const noexcept { return cells_; }
  std::vector<Cell>& cells() noexcept { return cells_; }
  CellRow clone() const;

 private:
  static constexpr std::uint16_t kIndexed = 1024;  // parameters of a class are numbered from 0 without large gaps

  const Cell* search(std::uint16_t param) const noexcept;
  void updateIndex() noexcept;

  std::vector<Cell> cells_;
  // For kIndexed parameters: place in cells_ and one, 0 for none. Null: no index.
  std::unique_ptr<std::uint16_t[]> places_;
  bool is_indexed_ = false;
};

/// The entries 1..n of a record. Only those that hold values take memory, the others are merely counted: a file must
/// not be able to ask for more than it holds.
class Entries {
 public:
  struct Row {
    std::size_t number;
    CellRow values;
  };

  explicit Entries(std::size_t count = 0) noexcept : count_(count) {}

  std::size_t count() const noexcept { return count_; }
  /// Null for an entry without values.
  const CellRow* find(std::size_t number) const noexcept;
  /// The values of entry 1..n. @throws std::bad_alloc
  CellRow& row(std::size_t number);
  /// @throws std::bad_alloc, and nothing has changed
  void append(CellRow&& row);
  /// Puts an empty entry behind entry `after`.
  void insert(std::size_t after) noexcept;
  void erase(std::size_t number) noexcept;
  /// Ascending by number.
  const std::vector<Row>& rows() const noexcept { return rows_; }
  std::vector<Row>& rows() noexcept { return rows_; }
  /// @throws std::bad_alloc
  Entries clone() const;

 private:
  std::vector<Row>::iterator place(std::size_t number) noexcept;

  std::vector<Row> rows_;
  std::size_t count_;
};

/// One record of a table, or the working record (which also holds the header values of its block).
struct Record {
  std::uint32_t id = 0;              ///< names the record on disk for life; 0 is the working record
  bool dirty = false;                ///< has something to write
  bool rewrite = false;              ///< entries moved: all values of the record are written anew
  std::int64_t rank = 0;             ///< records of a table are in the order of their ranks
  CellRow values;                    ///< record and header values, and the working entry
  std::unique_ptr<Entries> entries;  ///< entries 1..m; null while there are none

  std::size_t entryCount() const noexcept { return entries ? entries->count() : 0; }
  /// Null when there is no such entry, or nothing in it.
  const CellRow* entry(std::size_t number) const noexcept {
    if (number == 0) return &values;
    return entries ? entries->find(number) : nullptr;
  }
  /// Calls visit(entry, row) for every row with values, the record's own as entry 0.
  template <typename Visit>
  void forEachRow(Visit&& visit) const {
    visit(std::size_t{0}, values);
    if (!entries) return;
    for (const Entries::Row& row : entries->rows()) visit(row.number, row.values);
  }
  /// @throws std::bad_alloc
  Record clone() const;
  /// Order-independent sum over everything that the record keeps on disk.
  std::uint64_t hash() const noexcept;
};

}  // namespace porb
