#pragma once
#include <memory>
#include <string>
#include <vector>

#include "storage.h"

namespace porb {

/// The image of one open file in memory. Blocks are read from the storage on first touch; changes stay in
/// memory until flush. Used by one thread at a time (the handle table sees to it).
class DataFile {
 public:
  DataFile(std::string path, bool writable, const Dictionary& dictionary, std::unique_ptr<Storage> storage);

  const std::string& path() const noexcept { return path_; }
  bool isWritable() const noexcept { return writable_; }
  const Dictionary& dictionary() const noexcept { return dictionary_; }

  /// The block of a class, read from disk when need be; null when the file has none. @throws Failure
  Block* block(std::uint16_t cls) {
    for (Slot& slot : slots_)
      if (slot.header.cls == cls) return slot.block ? slot.block.get() : load(cls);
    return nullptr;
  }
  /// AIO_NOBLOCK or AIO_NOTPLAINBLOCK when there is no table. @throws Failure
  Status table(std::uint16_t cls, Table*& table);
  bool hasBlock(std::uint16_t cls) const noexcept;

  /// Adds a block; the file has none of its class. @throws std::bad_alloc
  Block& add(Block&& block);
  /// Puts a block in the place of the one of its class. @throws std::bad_alloc
  void replace(Block&& block);
  void remove(std::uint16_t cls);
  /// Makes room so that this many removals cannot fail. @throws std::bad_alloc
  void reserveRemovals(std::size_t n) { removed_.reserve(removed_.size() + n); }
  /// Puts other blocks in the place of all. @throws std::bad_alloc, and nothing has changed
  void replaceAll(std::vector<Block>&& blocks);
  /// Classes in ascending order.
  std::vector<std::uint16_t> classes() const;

  /// For as long as it lives, everything that is read belongs to one flushed state, the latest. A reader's
  /// image follows the writer when one begins, so no pointer to a block may be kept across it.
  class Snapshot {
   public:
    explicit Snapshot(DataFile& file);

   private:
    ReadScope scope_;
  };

  /// Header of a block with its present number of records. @throws Failure
  BlockHeader describe(std::uint16_t cls, std::uint32_t& records);

  /// Takes a reader's image to the latest flushed state, with every block; from then on it moves by this alone.
  /// @throws Failure, and it is as it was
  void follow();

  /// Writes what has changed. @throws Failure, and all changes are still pending
  void flush();
  Storage& storage() noexcept { return *storage_; }

 private:
  struct Slot {
    BlockHeader header;
    std::unique_ptr<Block> block;  // null until read
  };

  Slot* find(std::uint16_t cls) noexcept;
  Block* load(std::uint16_t cls);
  void followWriter();
  void noteRemoved(std::uint16_t cls);
  static Slot slotOf(Block&& block);

  std::string path_;
  bool writable_;
  const Dictionary& dictionary_;
  std::unique_ptr<Storage> storage_;
  std::vector<Slot> slots_;             // ascending by class
  std::vector<std::uint16_t> removed_;  // classes on disk that are to go
  std::uint64_t state_ = 0;             // flushed state that the slots were read from
  bool is_listed_ = false;              // slots were read at all
  bool moves_on_request_ = false;       // every block was read, and the image moves by follow() alone
};

}  // namespace porb
