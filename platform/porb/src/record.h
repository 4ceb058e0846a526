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
