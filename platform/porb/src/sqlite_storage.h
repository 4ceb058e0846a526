#pragma once
#include <memory>
#include <set>
#include <string>

#include "sqlite_database.h"
#include "storage.h"
#include "writer_lock.h"

namespace porb {

/// A data file as a SQLite database on a local disk.
class SqliteStorage final : public Storage {
 public:
  SqliteStorage(std::string path, std::unique_ptr<WriterLock> lock);

  std::uint64_t state() override;
  std::vector<BlockHeader> listBlocks() override;
  std::unique_ptr<Block> loadBlock(const BlockHeader& header) override;
  std::uint32_t countRecords(std::uint16_t cls) override;
  void commit(const ChangeSet& changes, const Dictionary& dictionary) override;
  Status check(const Dictionary& dictionary, const Finding& report) override;
  void remove() override;
  void beginRead() override;
  void endRead() noexcept override;

 private:
  void openForReading();
  Table loadTable(const BlockHeader& header);
  void loadRecords(const BlockHeader& header, Table& table, std::vector<std::uint32_t>& ids,
                   std::vector<std::uint32_t>& entries);
  Spectra loadSpectra(const BlockHeader& header);

  void deleteClass(std::uint16_t cls);
  void writeBlock(const Block& block, const Dictionary& dictionary);
  void writeTable(std::uint16_t cls, const Table& table, const Dictionary& dictionary);
  void writeRecord(std::uint16_t cls, const Record& record, bool all, const Dictionary& dictionary);
  void writeRow(std::uint16_t cls, const Record& record, std::size_t entry, bool all,
                const Dictionary& dictionary);
  void writeSpectra(const Spectra& spectra);
  void writeName(std::uint32_t code, const Dictionary& dictionary);

  /// Prepares a statement on its first use and keeps it.
  Statement& prepared(Statement& statement, const char* sql);

  std::string path_;
  std::unique_ptr<WriterLock> lock_;  // null for a reader; released after the database is closed
  Database database_;
  int read_depth_ = 0;
  bool names_known_ = false;
  std::set<std::uint32_t> names_;  // codes whose names lie in the file

  Statement begin_read_, end_read_, data_version_;
  Statement begin_write_, end_write_;
  Statement list_blocks_, list_records_, list_values_, list_spectra_, count_records_;
  Statement put_block_, put_record_, put_value_, put_spectrum_, put_name_;
  Statement drop_block_, drop_records_, drop_values_, drop_spectra_, drop_record_, drop_record_values_;
};

/// Checksum of a block's row, its records and its values, or of the row and shape of a spectral block.
std::uint64_t checksumOf(const Block& block);

}  // namespace porb
