#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "file_descriptor.h"

namespace porb {

/// What the journal beside a data file says: how its pages were before a transaction that its writer did not live to
/// end. Its layout is that of the storage engine (https://www.sqlite.org/fileformat2.html, "The Rollback Journal").
struct Journal {
  bool is_hot = false;      ///< the transaction has to be undone; otherwise it had not touched the file yet
  std::uint32_t pages = 0;  ///< of the file before the transaction
  std::uint32_t page_bytes = 0;
  /// Page numbers, from 1, and where the former content of each begins in the journal.
  std::map<std::uint32_t, std::uint64_t> originals;
};

/// A journal that is open for reading. Nothing is ever written or removed.
class JournalFile {
 public:
  /// Opens what lies under the name. @throws Failure(AIO_BADJOURNAL) when that is no file of one name;
  /// AIO_NOACCESS, AIO_TOOMANYFILES, AIO_IOERROR
  explicit JournalFile(const std::string& path);

  /// An empty journal says as much as none.
  bool isThere() const noexcept { return bytes_ != 0; }
  std::uint64_t bytes() const noexcept { return bytes_; }
  /// @throws Failure(AIO_IOERROR), also past the end
  void read(std::uint64_t at, void* to, std::size_t n) const;

 private:
  com::norvale::datatypes::FileDescriptor descriptor_;
  std::uint64_t bytes_ = 0;
};

/// Whether its writer, of whatever data file, did not come to the point of changing that: the journal is blank.
bool isUnused(const JournalFile& file);

/// Reads a journal and proves it: one that names another file, whose numbers do not fit the data file, or whose pages
/// do not match their checksums was not left by a writer of this file, and following it could do any harm.
/// @param page_bytes, file_bytes  of the data file
/// @throws Failure(AIO_BADJOURNAL), and what reading it may give
Journal readJournal(const JournalFile& file, std::uint32_t page_bytes, std::uint64_t file_bytes);

}  // namespace porb
