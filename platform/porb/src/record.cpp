#include "record.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace porb {
namespace {

bool before(const Cell& cell, std::uint16_t param) noexcept {
  return cell.param() < param;
}

std::uint64_t hashRow(const CellRow& row, std::uint64_t place) noexcept {
  std::uint64_t sum = 0;
  for (const Cell& cell : row.cells()) sum += mixHash(place, cell.hash());
  return sum;
}

}  // namespace

const Cell* CellRow::search(std::uint16_t param) const noexcept {
  // Branch-free halving: a mispredicted branch costs more than the few steps.
  const Cell* base = cells_.data();
  std::size_t n = cells_.size();
  if (n == 0) return nullptr;
  while (n > 1) {
    const std::size_t half = n / 2;
    base += base[half].param() <= param ? half : 0;
    n -= half;
  }
  return base->param() == param ? base : nullptr;
}

void CellRow::put(Cell&& cell) {
  const auto place = std::lower_bound(cells_.begin(), cells_.end(), cell.param(), before);
  if (place != cells_.end() && place->param() == cell.param()) {
    *place = std::move(cell);
    return;
  }
  cells_.insert(place, std::move(cell));
  updateIndex();
}

/// A row that cannot have an index (too high a number, no memory) is searched.
void CellRow::updateIndex() noexcept {
  if (!is_indexed_) return;
  if (cells_.empty() || cells_.back().param() >= kIndexed) {
    places_.reset();
    return;
  }
  if (!places_) places_.reset(new (std::nothrow) std::uint16_t[kIndexed]);
  if (!places_) return;
  std::fill_n(places_.get(), kIndexed, std::uint16_t{0});
  std::uint16_t place = 0;
  for (const Cell& cell : cells_) places_[cell.param()] = ++place;
}

void CellRow::assign(std::vector<Cell>& cells) {
  cells_.reserve(cells.size());
  std::move(cells.begin(), cells.end(), std::back_inserter(cells_));
  updateIndex();
}

CellRow CellRow::clone() const {
  CellRow copy;
  copy.cells_.reserve(cells_.size());
  for (const Cell& cell : cells_) copy.cells_.push_back(cell.clone());
  return copy;
}

Record Record::clone() const {
  Record copy;
  copy.values = values.clone();
  if (entries) {
    copy.entries = std::make_unique<Entries>();
    copy.entries->reserve(entries->size());
    for (const CellRow& row : *entries) copy.entries->push_back(row.clone());
  }
  return copy;
}

std::uint64_t Record::hash() const noexcept {
  const std::uint64_t key = mixHash(1, id);
  std::uint64_t sum = mixHash(mixHash(key, static_cast<std::uint64_t>(rank)), entryCount()) + hashRow(values, key);
  for (std::size_t i = 0; i < entryCount(); ++i) sum += hashRow((*entries)[i], mixHash(key, i + 1));
  return sum;
}

}  // namespace porb
