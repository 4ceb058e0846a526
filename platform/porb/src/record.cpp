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

std::vector<Entries::Row>::iterator Entries::place(std::size_t number) noexcept {
  return std::lower_bound(rows_.begin(), rows_.end(), number,
                          [](const Row& row, std::size_t wanted) { return row.number < wanted; });
}

const CellRow* Entries::find(std::size_t number) const noexcept {
  // Mostly every entry has values, and so its row a place that its number tells.
  if (number - 1 < rows_.size() && rows_[number - 1].number == number) return &rows_[number - 1].values;
  const auto at = const_cast<Entries*>(this)->place(number);
  return at != rows_.end() && at->number == number ? &at->values : nullptr;
}

CellRow& Entries::row(std::size_t number) {
  auto at = place(number);
  if (at == rows_.end() || at->number != number) at = rows_.insert(at, {number, {}});
  return at->values;
}

void Entries::append(CellRow&& row) {
  rows_.push_back({count_ + 1, std::move(row)});
  ++count_;
}

void Entries::insert(std::size_t after) noexcept {
  for (auto row = place(after + 1); row != rows_.end(); ++row) ++row->number;
  ++count_;
}

void Entries::erase(std::size_t number) noexcept {
  auto row = place(number);
  if (row != rows_.end() && row->number == number) row = rows_.erase(row);
  for (; row != rows_.end(); ++row) --row->number;
  --count_;
}

Entries Entries::clone() const {
  Entries copy(count_);
  copy.rows_.reserve(rows_.size());
  for (const Row& row : rows_) copy.rows_.push_back({row.number, row.values.clone()});
  return copy;
}

Record Record::clone() const {
  Record copy;
  copy.values = values.clone();
  if (entries) copy.entries = std::make_unique<Entries>(entries->clone());
  return copy;
}

std::uint64_t Record::hash() const noexcept {
  const std::uint64_t key = mixHash(1, id);
  std::uint64_t sum = mixHash(mixHash(key, static_cast<std::uint64_t>(rank)), entryCount());
  forEachRow(
      [&](std::size_t entry, const CellRow& row) { sum += hashRow(row, entry == 0 ? key : mixHash(key, entry)); });
  return sum;
}

}  // namespace porb
