#include "handle_table.h"

#include <unistd.h>

#include <chrono>
#include <utility>

namespace porb {

constinit HandleTable HandleTable::table;

std::uint16_t HandleTable::takeFreeSlot() {
  const std::lock_guard lock(free_mutex_);
  if (never_used_ < kSlots) return never_used_++;
  if (n_released_ == 0) throw Failure(AIO_TOOMANYFILES);
  --n_released_;
  return std::exchange(first_released_, slots_[first_released_].next_free);
}

void HandleTable::release(Slot& slot) noexcept {
  const auto number = static_cast<std::uint16_t>(&slot - slots_);
  const std::lock_guard lock(free_mutex_);
  if (n_released_++ == 0)
    first_released_ = number;
  else
    slots_[last_released_].next_free = number;
  last_released_ = number;
}

namespace {

/// Where the generations of a slot begin: anywhere, so that a number somebody makes up is not the next handle.
std::uintptr_t firstGeneration(std::uint16_t slot) noexcept {
  const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return static_cast<std::uintptr_t>(mixHash(mixHash(mixHash(5, slot), now), static_cast<std::uint64_t>(getpid())));
}

}  // namespace

void* HandleTable::insert(std::unique_ptr<DataFile> file) {
  const std::uint16_t number = takeFreeSlot();
  file->storage().keep();  // nothing can fail from here on
  Slot& slot = slots_[number];
  const std::lock_guard lock(slot.mutex);
  if (slot.generation == 0) slot.generation = firstGeneration(number);
  std::uintptr_t handle = 0;
  do handle = ++slot.generation << kSlotBits | number;
  while (handle >> kSlotBits == 0);  // generation 0 is left out, so no handle is null
  slot.file = file.release();
  slot.dictionary.store(&slot.file->dictionary(), std::memory_order_release);
  slot.handle.store(handle, std::memory_order_release);
  return reinterpret_cast<void*>(handle);
}

bool HandleTable::isOpen(const void* handle) const noexcept {
  return names(handle, slotOf(handle));
}

const Dictionary* HandleTable::dictionary(const void* handle) const noexcept {
  const Slot& slot = slotOf(handle);
  if (!names(handle, slot)) return nullptr;
  return slot.dictionary.load(std::memory_order_acquire);
}

HandleTable::Pin HandleTable::pin(const void* handle) noexcept {
  Pin pin;
  Slot& slot = slotOf(handle);
  if (!names(handle, slot)) return pin;  // the usual bad handle needs no lock
  pin.lock_ = std::unique_lock(slot.mutex);
  if (names(handle, slot)) pin.file_ = slot.file;
  return pin;
}

HandleTable::PinPair HandleTable::pin(const void* first, const void* second) noexcept {
  PinPair pair;
  Slot& one = slotOf(first);
  Slot& two = slotOf(second);
  if (&one == &two) {
    pair.first = pin(first);
    if (first == second) pair.second.file_ = pair.first.file_;
    return pair;
  }
  std::unique_lock lower((&one < &two ? one : two).mutex);
  std::unique_lock upper((&one < &two ? two : one).mutex);
  pair.first.lock_ = std::move(&one < &two ? lower : upper);
  pair.second.lock_ = std::move(&one < &two ? upper : lower);
  if (names(first, one)) pair.first.file_ = one.file;
  if (names(second, two)) pair.second.file_ = two.file;
  return pair;
}

}  // namespace porb
