#include "table.h"

#include <algorithm>
#include <limits>

#include "comdefs.h"

namespace porb {
namespace {

constexpr std::int64_t kRankGap = std::int64_t{1} << 32;
constexpr std::int64_t kMostRank = std::numeric_limits<std::int64_t>::max() - kRankGap;
constexpr std::int64_t kLeastRank = std::numeric_limits<std::int64_t>::min() + kRankGap;
constexpr std::uint32_t kMostId = std::numeric_limits<std::uint32_t>::max() - 1;

/// Puts a value into an entry's row, appending the entry when it is the next one.
Status putInto(Record& record, std::size_t entry, Cell&& cell) {
  if (entry == 0) {
    record.values.put(std::move(cell));
    return AIO_OK;
  }
  const std::size_t n = record.entryCount();
  if (entry > n + 1) return AIO_BADENTRY;
  if (entry > AIO_MAX_ENTRIES) return AIO_ENTRIESFULL;
  if (entry <= n) {
    record.entries->row(entry).put(std::move(cell));
    return AIO_OK;
  }
  CellRow row;
  row.put(std::move(cell));
  if (!record.entries) record.entries = std::make_unique<Entries>();
  record.entries->append(std::move(row));
  return AIO_OK;
}

void clean(CellRow& row) noexcept {
  for (Cell& cell : row.cells()) cell.setDirty(false);
}

void clean(Record& record) noexcept {
  record.dirty = record.rewrite = false;
  clean(record.values);
  if (record.entries)
    for (Entries::Row& row : record.entries->rows()) clean(row.values);
}

}  // namespace

Record* Table::writable(std::size_t number) {
  if (number == 0) {
    working_.dirty = true;
    return &working_;
  }
  if (number > order_.size()) return nullptr;
  const std::uint32_t place = order_[number - 1];
  markDirty(place);
  return &pool_[place];
}

void Table::markDirty(std::uint32_t place) {
  if (pool_[place].dirty) return;
  dirty_.push_back(place);
  pool_[place].dirty = true;
}

Status Table::put(std::size_t record, std::size_t entry, Cell&& cell) {
  if (record <= order_.size()) return putInto(*writable(record), entry, std::move(cell));
  if (record > order_.size() + 1) return AIO_BADRECORD;
  Record fresh;
  const Status status = putInto(fresh, entry, std::move(cell));
  return status == AIO_OK ? insertAt(order_.size(), std::move(fresh)) : status;
}

Status Table::insertRecord(std::size_t after) {
  return insertAt(std::min(after, order_.size()), Record{});
}

/// A place for a new record, marked dirty.
std::uint32_t Table::newPlace() {
  if (free_.empty()) {
    pool_.emplace_back();
    free_.push_back(static_cast<std::uint32_t>(pool_.size() - 1));
  }
  markDirty(free_.back());
  return free_.back();
}

Status Table::insertAt(std::size_t position, Record&& record) {
  if (order_.size() >= AIO_MAX_RECORDS) return AIO_RECORDSFULL;
  const std::uint32_t place = newPlace();  // stays on the free list until nothing can fail any more
  order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(position), place);
  free_.pop_back();
  Record& target = pool_[place];
  target = std::move(record);
  target.dirty = true;
  target.id = next_id_;
  if (next_id_ >= kMostId || !rankFor(position, target.rank))
    renumber();
  else
    ++next_id_;
  return AIO_OK;
}

/// A rank between the neighbours of the record at `position`. False when there is no room.
bool Table::rankFor(std::size_t position, std::int64_t& rank) const noexcept {
  const bool has_left = position > 0;
  const bool has_right = position + 1 < order_.size();
  const std::int64_t left = has_left ? pool_[order_[position - 1]].rank : 0;
  const std::int64_t right = has_right ? pool_[order_[position + 1]].rank : 0;
  if (has_left && has_right) {
    const auto room = static_cast<std::uint64_t>(right) - static_cast<std::uint64_t>(left);
    rank = static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + room / 2);
    return room > 1;
  }
  rank = has_left ? left : right;
  if (has_left && rank > kMostRank) return false;
  if (has_right && rank < kLeastRank) return false;
  rank += has_right ? -kRankGap : kRankGap;
  return true;
}

/// Gives every record a new id and rank; the table is then written as a whole.
void Table::renumber() noexcept {
  rewrite_ = true;
  next_id_ = 1;
  for (const std::uint32_t place : order_) {
    pool_[place].rank = std::int64_t{next_id_} * kRankGap;
    pool_[place].id = next_id_++;
  }
}

Status Table::insertEntry(std::size_t record, std::size_t after) {
  if (record > order_.size()) return AIO_BADRECORD;
  Record& target = *writable(record);
  if (target.entryCount() >= AIO_MAX_ENTRIES) return AIO_ENTRIESFULL;
  if (!target.entries) target.entries = std::make_unique<Entries>();
  target.entries->insert(std::min(after, target.entryCount()));
  target.rewrite = true;
  return AIO_OK;
}

Status Table::deleteRecord(std::size_t record) {
  if (record == 0 || record > order_.size()) return AIO_BADRECORD;
  const std::uint32_t place = order_[record - 1];
  free_.reserve(free_.size() + 1);
  deleted_ids_.push_back(pool_[place].id);
  free_.push_back(place);
  order_.erase(order_.begin() + static_cast<std::ptrdiff_t>(record - 1));
  const bool listed = pool_[place].dirty;  // its place may still be on the dirty list
  pool_[place] = Record{};
  pool_[place].dirty = listed;
  return AIO_OK;
}

Status Table::deleteEntry(std::size_t record, std::size_t entry) {
  if (record > order_.size()) return AIO_BADRECORD;
  const Record& target = *this->record(record);
  if (entry == 0 || entry > target.entryCount()) return AIO_BADENTRY;
  Record& changed = *writable(record);
  changed.entries->erase(entry);
  changed.rewrite = true;
  return AIO_OK;
}

Status Table::assignRecord(std::size_t number, Record&& copy) {
  if (number == 0 || number > order_.size() + 1) return AIO_BADRECORD;
  if (number == order_.size() + 1) return insertAt(order_.size(), std::move(copy));
  Record& target = *writable(number);
  target.values = std::move(copy.values);
  target.entries = std::move(copy.entries);
  target.rewrite = true;
  return AIO_OK;
}

Table Table::clone() const {
  Table copy;
  copy.working_ = working_.clone();
  copy.working_.values.keepIndex();
  copy.pool_.reserve(order_.size());
  copy.order_.reserve(order_.size());
  for (const std::uint32_t place : order_) {
    copy.order_.push_back(static_cast<std::uint32_t>(copy.pool_.size()));
    copy.pool_.push_back(pool_[place].clone());
  }
  copy.renumber();
  return copy;
}

Record& Table::addLoaded(std::uint32_t id, std::int64_t rank) {
  pool_.emplace_back();
  pool_.back().id = id;
  pool_.back().rank = rank;
  next_id_ = std::max(next_id_, id + 1);
  order_.push_back(static_cast<std::uint32_t>(pool_.size() - 1));
  return pool_.back();
}

void Table::reserve(std::size_t records) {
  pool_.reserve(records);
  order_.reserve(records);
}

bool Table::finishLoading() {
  const auto by_rank = [this](std::uint32_t a, std::uint32_t b) { return pool_[a].rank < pool_[b].rank; };
  if (!std::is_sorted(order_.begin(), order_.end(), by_rank)) std::sort(order_.begin(), order_.end(), by_rank);
  const auto same = [this](std::uint32_t a, std::uint32_t b) { return pool_[a].rank == pool_[b].rank; };
  return std::adjacent_find(order_.begin(), order_.end(), same) == order_.end();
}

void Table::markClean() noexcept {
  clean(working_);
  if (rewrite_)
    for (const std::uint32_t place : order_) clean(pool_[place]);
  for (const std::uint32_t place : dirty_) clean(pool_[place]);
  dirty_.clear();
  deleted_ids_.clear();
  rewrite_ = false;
}

std::uint64_t Table::hash() const noexcept {
  std::uint64_t sum = working_.hash();
  for (const std::uint32_t place : order_) sum += pool_[place].hash();
  return sum;
}

}  // namespace porb
