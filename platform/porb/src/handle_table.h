#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "data_file.h"

namespace porb {

/// Open files by handle. A handle is no pointer: its low bits are a slot, the others the slot's generation,
/// which is never the same for two files of one slot until the generations run out. So any value a caller can
/// make up is answered, also with 32-bit pointers. Slots are used in turn, which keeps old handles stale for
/// as long as possible.
///
/// Look-up takes only the lock of the slot. Slots live as long as the process: a late call on a closed handle
/// meets a valid lock.
class HandleTable {
 public:
  static constexpr unsigned kSlotBits = 12;
  static constexpr std::size_t kSlots = std::size_t{1} << kSlotBits;

  static HandleTable& instance() noexcept { return table; }

  /// Gives a file its handle. @throws Failure(AIO_TOOMANYFILES)
  void* insert(std::unique_ptr<DataFile> file);
  bool isOpen(const void* handle) const noexcept;
  /// The dictionary of an open file, without any lock (dictionaries live for ever); null for a bad handle.
  const Dictionary* dictionary(const void* handle) const noexcept;

  /// A file for one call: no other thread has it. Empty when the handle is bad.
  class Pin {
   public:
    Pin() = default;
    DataFile* file() const noexcept { return file_; }

   private:
    friend class HandleTable;
    std::unique_lock<std::mutex> lock_;
    DataFile* file_ = nullptr;
  };
  Pin pin(const void* handle) noexcept;
  struct PinPair {
    Pin first, second;
  };
  /// Two files at once, in an order that cannot deadlock; both pins name one file when the handles are the
  /// same.
  PinPair pin(const void* first, const void* second) noexcept;

  /// Ends a handle and gives the file back; null when the handle is bad. `finish(file)` runs before, with the
  /// file pinned.
  template <typename Finish>
  std::unique_ptr<DataFile> take(const void* handle, Finish&& finish);

 private:
  struct alignas(64) Slot {
    std::mutex mutex;
    std::atomic<std::uintptr_t> handle{0};  // 0: free
    std::atomic<const Dictionary*> dictionary{nullptr};
    DataFile* file = nullptr;       // guarded by mutex
    std::uintptr_t generation = 0;  // guarded by mutex
    std::uint16_t next_free = 0;    // guarded by free_mutex_
  };

  constexpr HandleTable() = default;
  static HandleTable table;  // made at compile time, so it is there before and after everything else

  static std::uintptr_t numberOf(const void* handle) noexcept { return reinterpret_cast<std::uintptr_t>(handle); }
  Slot& slotOf(const void* handle) noexcept { return slots_[numberOf(handle) & (kSlots - 1)]; }
  const Slot& slotOf(const void* handle) const noexcept { return slots_[numberOf(handle) & (kSlots - 1)]; }
  static bool names(const void* handle, const Slot& slot) noexcept {
    return handle != nullptr && slot.handle.load(std::memory_order_acquire) == numberOf(handle);
  }
  std::uint16_t takeFreeSlot();
  void release(Slot& slot) noexcept;

  Slot slots_[kSlots];
  std::mutex free_mutex_;
  // Guarded by free_mutex_: slots never used are handed out first, then the released ones in the order of
  // release.
  std::uint16_t never_used_ = 0;
  std::uint16_t n_released_ = 0;
  std::uint16_t first_released_ = 0;
  std::uint16_t last_released_ = 0;
};

template <typename Finish>
std::unique_ptr<DataFile> HandleTable::take(const void* handle, Finish&& finish) {
  Slot& slot = slotOf(handle);
  std::unique_ptr<DataFile> file;
  {
    const std::lock_guard lock(slot.mutex);
    if (!names(handle, slot)) return nullptr;
    finish(*slot.file);
    slot.handle.store(0, std::memory_order_release);
    slot.dictionary.store(nullptr, std::memory_order_release);
    file.reset(slot.file);
    slot.file = nullptr;
  }
  release(slot);
  return file;
}

}  // namespace porb
