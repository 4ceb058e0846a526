#include "data_file.h"

#include <algorithm>

namespace porb {
namespace {

template <typename Slots>
auto lowerBound(Slots& slots, std::uint16_t cls) {
  return std::lower_bound(slots.begin(), slots.end(), cls,
                          [](const auto& slot, std::uint16_t c) { return slot.header.cls < c; });
}

}  // namespace

DataFile::DataFile(std::string path, bool writable, const Dictionary& dictionary, std::unique_ptr<Storage> storage)
    : path_(std::move(path)), writable_(writable), dictionary_(dictionary), storage_(std::move(storage)) {
  const Snapshot snapshot(*this);
}

DataFile::Snapshot::Snapshot(DataFile& file) : scope_(*file.storage_) {
  // A reader never mixes two flushed states: when the writer has moved on, all of its image follows.
  const bool may_move = !file.writable_ && !file.moves_on_request_;
  if (!file.is_listed_ || (may_move && file.storage_->state() != file.state_)) file.followWriter();
}

/// Takes over the list of blocks as it was last flushed. What was read before belongs to an older state and
/// goes.
void DataFile::followWriter() {
  state_ = storage_->state();
  std::vector<Slot> fresh;
  for (const BlockHeader& header : storage_->listBlocks()) fresh.push_back({header, nullptr});
  slots_ = std::move(fresh);
  is_listed_ = true;
}

void DataFile::follow() {
  if (writable_) return;
  const ReadScope scope(*storage_);
  const std::uint64_t latest = storage_->state();
  if (latest == state_ && moves_on_request_) return;
  std::vector<Slot> fresh;
  for (const BlockHeader& header : storage_->listBlocks()) fresh.push_back({header, storage_->loadBlock(header)});
  slots_ = std::move(fresh);
  state_ = latest;
  moves_on_request_ = true;
}

DataFile::Slot* DataFile::find(std::uint16_t cls) noexcept {
  const auto at = lowerBound(slots_, cls);
  return at != slots_.end() && at->header.cls == cls ? &*at : nullptr;
}

Block* DataFile::load(std::uint16_t cls) {
  const Snapshot snapshot(*this);
  Slot* slot = find(cls);
  if (slot == nullptr) return nullptr;
  slot->block = storage_->loadBlock(slot->header);
  return slot->block.get();
}

Status DataFile::table(std::uint16_t cls, Table*& table) {
  Block* found = block(cls);
  if (found == nullptr) return AIO_NOBLOCK;
  table = found->table();
  return table != nullptr ? AIO_OK : AIO_NOTPLAINBLOCK;
}

bool DataFile::hasBlock(std::uint16_t cls) const noexcept {
  const auto at = lowerBound(slots_, cls);
  return at != slots_.end() && at->header.cls == cls;
}

DataFile::Slot DataFile::slotOf(Block&& block) {
  Slot slot;
  slot.header.cls = block.cls();
  slot.header.size = block.size();
  slot.block = std::make_unique<Block>(std::move(block));
  slot.block->setRewrite();
  return slot;
}

Block& DataFile::add(Block&& block) {
  const std::uint16_t cls = block.cls();
  return *slots_.insert(lowerBound(slots_, cls), slotOf(std::move(block)))->block;
}

void DataFile::replace(Block&& block) {
  const std::uint16_t cls = block.cls();
  *find(cls) = slotOf(std::move(block));
}

void DataFile::noteRemoved(std::uint16_t cls) {
  if (std::find(removed_.begin(), removed_.end(), cls) == removed_.end()) removed_.push_back(cls);
}

void DataFile::remove(std::uint16_t cls) {
  noteRemoved(cls);
  slots_.erase(lowerBound(slots_, cls));
}

void DataFile::replaceAll(std::vector<Block>&& blocks) {
  std::vector<Slot> fresh;
  fresh.reserve(blocks.size());
  for (Block& block : blocks) fresh.push_back(slotOf(std::move(block)));
  reserveRemovals(slots_.size());  // from here on nothing fails: a half-noted removal would lose blocks
  for (const Slot& slot : slots_) noteRemoved(slot.header.cls);
  slots_ = std::move(fresh);
}

std::vector<std::uint16_t> DataFile::classes() const {
  std::vector<std::uint16_t> all;
  all.reserve(slots_.size());
  for (const Slot& slot : slots_) all.push_back(slot.header.cls);
  return all;
}

BlockHeader DataFile::describe(std::uint16_t cls, std::uint32_t& records) {
  Slot& slot = *find(cls);
  BlockHeader header = slot.header;
  records = 0;
  if (!slot.block) {
    if (cls != ORB_CLS_SPECTRUM) records = storage_->countRecords(cls);
    return header;
  }
  if (const Spectra* spectra = slot.block->spectra()) header.shape = spectra->shape();
  if (const Table* table = slot.block->table()) records = static_cast<std::uint32_t>(table->recordCount());
  return header;
}

void DataFile::flush() {
  ChangeSet changes;
  changes.removed = removed_;
  for (const Slot& slot : slots_)
    if (slot.block && slot.block->isDirty()) changes.changed.push_back(slot.block.get());
  if (changes.removed.empty() && changes.changed.empty()) return;
  storage_->commit(changes, dictionary_);
  removed_.clear();
  for (const Slot& slot : slots_)
    if (slot.block) slot.block->markClean();
}

}  // namespace porb
