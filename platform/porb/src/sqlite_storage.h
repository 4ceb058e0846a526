#pragma once
#include <sys/types.h>

#include <memory>
#include <set>
#include <string>

#include "new_file.h"
#include "sqlite_database.h"
#include "storage.h"
#include "writer_lock.h"

namespace porb {

/// Which file a path names.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FileIdentity&) const = default;
};

/// A data file as a SQLite database on a local disk.
class SqliteStorage final : public Storage {
 public:
  /// @param lock     null for a reader
  /// @param created  set when the file was just made
  SqliteStorage(std::string path, std::unique_ptr<WriterLock> lock, std::unique_ptr<NewFile> created);
  ~SqliteStorage() override;

  std::uint64_t state() override;
  std::uint64_t glance() override;
  std::vector<BlockHeader> listBlocks() override;
  std::unique_ptr<Block> loadBlock(const BlockHeader& header) override;
  std::uint32_t countRecords(std::uint16_t cls) override;
  void commit(const ChangeSet& changes, const Dictionary& dictionary) override;
  Status check(const Dictionary& dictionary, const Finding& report) override;
  void remove() override;
  void keep() noexcept override {
    if (created_) created_->keep();
  }
  void makeDraft() override;
  void beginRead() override;
  void endRead() noexcept override;

  std::unique_ptr<WriterLock> giveUpLock() noexcept { return std::move(lock_); }

  /// A block as its rows say, not yet proved against its checksum.
  std::unique_ptr<Block> readBlock(const BlockHeader& header);

 private:
  void openForReading();
  void requireOwnProcess() const;
  void requireSoleWriter();
  Table loadTable(const BlockHeader& header);
  void loadRecords(const BlockHeader& header, Table& table, std::vector<std::uint32_t>& ids,
                   std::vector<std::uint32_t>& entries);
  Spectra loadSpectra(const BlockHeader& header);

  void deleteClass(std::uint16_t cls);
  void writeList();
  void putBlockRow(std::int64_t cls, std::int64_t size, std::size_t entries, const SpectralShape& shape,
                   std::uint64_t checksum);
  void writeBlock(const Block& block, const Dictionary& dictionary);
  void writeTable(std::uint16_t cls, const Table& table, const Dictionary& dictionary);
  void writeRecord(std::uint16_t cls, const Record& record, bool all, const Dictionary& dictionary);
  void writeRow(std::uint16_t cls, std::uint32_t record, std::size_t entry, const CellRow& row, bool all,
                const Dictionary& dictionary);
  void writeSpectra(const Spectra& spectra);
  void writeName(std::uint32_t code, const Dictionary& dictionary);

  /// Prepares a statement on its first use and keeps it.
  Statement& prepared(Statement& statement, const char* sql);

  std::string path_;
  FileIdentity identity_;  // of the file that was opened
  pid_t process_;          // that opened it
  // In the order in which they must outlive each other.
  std::unique_ptr<WriterLock> lock_;
  std::unique_ptr<NewFile> created_;
  Database database_;
  int read_depth_ = 0;
  bool names_known_ = false;
  std::set<std::uint32_t> names_;  // codes whose names lie in the file

  Statement begin_read_, data_version_;
  Statement begin_write_, end_write_;
  Statement list_blocks_, list_classes_, list_records_, list_values_, list_spectra_, count_records_;
  Statement put_block_, put_record_, put_value_, put_spectrum_, put_name_;
  Statement drop_block_, drop_records_, drop_values_, drop_spectra_, drop_record_, drop_record_values_;
};

/// Undoes what a dead writer left half done to a file. @return the lock
std::unique_ptr<WriterLock> recover(const std::string& path, std::unique_ptr<WriterLock> lock);

/// Checksum over a block: its row, its records and values, or its spectra.
std::uint64_t checksumOf(const Block& block);
/// What a block adds to the checksum over the list of blocks.
std::uint64_t hashOfListed(std::uint16_t cls) noexcept;

}  // namespace porb
