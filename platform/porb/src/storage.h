#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "block.h"
#include "dictionary.h"

namespace porb {

/// What a storage knows of a block without reading it.
struct BlockHeader {
  std::uint16_t cls = 0;
  std::uint32_t size = 0;
  std::uint32_t working_entries = 0;  ///< entries of the working record
  SpectralShape shape;                ///< of the spectral block
  std::uint64_t checksum = 0;
};

/// What one flush brings to disk: classes that are gone, then blocks that are new or changed.
struct ChangeSet {
  std::vector<std::uint16_t> removed;
  std::vector<const Block*> changed;
};

/// Receives a finding of a check: class (0: the whole file), status, sentence.
using Finding = std::function<void(std::uint16_t cls, Status status, const std::string& text)>;

/// The one place where data files meet a disk or a server. An object stands for one open file, one thread at
/// a time. Every operation throws Failure, or std::bad_alloc, and has then changed nothing.
class Storage {
 public:
  virtual ~Storage() = default;

  /// Names the flushed state that the next listBlocks or loadBlock will see: two equal answers mean that
  /// nothing was written between them by anybody else.
  virtual std::uint64_t state() = 0;
  /// A number that changes with every flush, by whomever, without reading the file or waiting for anybody.
  virtual std::uint64_t glance() = 0;
  virtual std::vector<BlockHeader> listBlocks() = 0;
  /// Reads a whole block and proves it against its checksum: AIO_BADCONTENT when they differ.
  virtual std::unique_ptr<Block> loadBlock(const BlockHeader& header) = 0;
  virtual std::uint32_t countRecords(std::uint16_t cls) = 0;
  /// Writes all of it or nothing, durably. Writing the same set twice does no harm, so a commit whose outcome
  /// is unknown is simply tried again.
  /// @param dictionary  names and units that go into the file for those who look into it
  virtual void commit(const ChangeSet& changes, const Dictionary& dictionary) = 0;
  /// Examines what lies on disk. Reports every block and every damage. @return status of the first damage
  virtual Status check(const Dictionary& dictionary, const Finding& report) = 0;
  /// Deletes the file; the object can then only be destroyed.
  virtual void remove() = 0;
  /// A created file goes again with its storage until it is kept, so that a creation fails as a whole.
  virtual void keep() noexcept {}

  /// From now on commits are whole, but survive no crash.
  virtual void makeDraft() = 0;

  /// Runs several reads against one flushed state.
  virtual void beginRead() = 0;
  virtual void endRead() noexcept = 0;
};

/// Reads against one flushed state, to the end of a scope.
class ReadScope {
 public:
  explicit ReadScope(Storage& storage) : storage_(storage) { storage_.beginRead(); }
  ~ReadScope() { storage_.endRead(); }
  ReadScope(const ReadScope&) = delete;
  ReadScope& operator=(const ReadScope&) = delete;

 private:
  Storage& storage_;
};

/// Opens a file; a writer takes the writer's lock of the file.
std::unique_ptr<Storage> openSqliteStorage(const std::string& path, bool writable);
/// Creates an empty file and opens it for writing.
std::unique_ptr<Storage> createSqliteStorage(const std::string& path);

}  // namespace porb
