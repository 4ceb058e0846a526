#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "cell.h"

namespace porb {

/// The values of one record (or of one entry), ascending by parameter.
class CellRow {
 public:
  const Cell* find(std::uint16_t param) const noexcept;
  /// Replaces the value of the parameter, or adds it. @throws std::bad_alloc, and the row is as it was
  void put(Cell&& cell);
  /// Takes cells in ascending order, in memory of just their size; `cells` are left moved from.
  void assign(std::vector<Cell>& cells);
  const std::vector<Cell>& cells() const noexcept { return cells_; }
  std::vector<Cell>& cells() noexcept { return cells_; }
  CellRow clone() const;

 private:
  std::vector<Cell> cells_;
};

/// One record of a table, or the working record (which also holds the header values of its block).
struct Record {
  using Entries = std::vector<CellRow>;

  std::uint32_t id = 0;              ///< names the record on disk for life; 0 is the working record
  bool dirty = false;                ///< has something to write
  bool rewrite = false;              ///< entries moved: all values of the record are written anew
  std::int64_t rank = 0;             ///< records of a table are in the order of their ranks
  CellRow values;                    ///< record and header values, and the working entry
  std::unique_ptr<Entries> entries;  ///< entries 1..m; null while there are none

  std::size_t entryCount() const noexcept { return entries ? entries->size() : 0; }
  const CellRow* entry(std::size_t number) const noexcept {
    if (number == 0) return &values;
    return number <= entryCount() ? &(*entries)[number - 1] : nullptr;
  }
  /// @throws std::bad_alloc
  Record clone() const;
  /// Order-independent sum over everything that the record keeps on disk.
  std::uint64_t hash() const noexcept;
};

}  // namespace porb
