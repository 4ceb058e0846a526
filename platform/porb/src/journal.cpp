#include "journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "errno_status.h"
#include "file_header.h"
#include "status.h"

namespace porb {
namespace {

constexpr std::array<unsigned char, 8> kMagic{0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd7};
constexpr std::size_t kHeaderBytes = 28;  // the rest of its sector is not used
constexpr std::uint32_t kLeastSector = 512;
constexpr std::uint32_t kMostSector = 65536;
/// Bytes of a page's record beside the page: its number before, its checksum behind it.
constexpr std::uint32_t kRecordExtra = 8;
/// The page that the storage engine keeps for its locks is never in use.
constexpr std::uint32_t kLockByte = 0x40000000;

void require(bool fits) {
  if (!fits) throw Failure(AIO_BADJOURNAL);
}

struct Header {
  bool has_magic = false;
  bool is_blank = true;  // neither magic nor number of records
  std::uint32_t records = 0;
  std::uint32_t checksum_start = 0;
  std::uint32_t pages = 0;
  std::uint32_t sector_bytes = 0;
  std::uint32_t page_bytes = 0;
};

Header readHeader(const JournalFile& file, std::uint64_t at) {
  std::array<unsigned char, kHeaderBytes> bytes{};
  const std::uint64_t left = file.bytes() - at;
  file.read(at, bytes.data(), left < bytes.size() ? static_cast<std::size_t>(left) : bytes.size());
  Header header;
  header.has_magic = std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) == 0;
  for (std::size_t i = 0; i < 12; ++i) header.is_blank = header.is_blank && bytes[i] == 0;
  header.records = bigEndian(bytes.data() + 8);
  header.checksum_start = bigEndian(bytes.data() + 12);
  header.pages = bigEndian(bytes.data() + 16);
  header.sector_bytes = bigEndian(bytes.data() + 20);
  header.page_bytes = bigEndian(bytes.data() + 24);
  return header;
}

/// Power loss may leave a journal whose first sector never came to the disk.
bool beginsWithNothing(const JournalFile& file) {
  std::array<unsigned char, kLeastSector> bytes{};
  const std::size_t n = file.bytes() < bytes.size() ? static_cast<std::size_t>(file.bytes()) : bytes.size();
  file.read(0, bytes.data(), n);
  return bytes == std::array<unsigned char, kLeastSector>{};
}

bool isSector(std::uint32_t bytes) {
  return bytes >= kLeastSector && bytes <= kMostSector && (bytes & (bytes - 1)) == 0;
}

/// The engine takes the tail of a journal for the name of a further journal, and deletes that. Ours never have one.
void requireNoOtherName(const JournalFile& file) {
  std::array<unsigned char, 8> tail{};
  if (file.bytes() < tail.size()) return;
  file.read(file.bytes() - tail.size(), tail.data(), tail.size());
  require(tail != kMagic);
}

/// The engine's own sum: every 200th byte, from the end of the page to its begin.
std::uint32_t checksumOf(const std::vector<unsigned char>& page, std::uint32_t start) {
  for (std::size_t at = page.size() - 200; at > 0 && at < page.size(); at -= 200) start += page[at];
  return start;
}

void requireDataFilePage(const std::vector<unsigned char>& page) {
  FileHeader header;
  std::memcpy(header.bytes.data(), page.data(), header.bytes.size());
  require(header.hasMagic() && header.isOurs() && header.pageBytes() == page.size());
}

class Reader {
 public:
  Reader(const JournalFile& file, const Header& first, std::uint32_t page_bytes)
      : file_(file), first_(first), record_(page_bytes + kRecordExtra), page_(page_bytes) {}

  /// One header after the other, each with its records; the last one has no magic.
  Journal read() {
    journal_.is_hot = true;
    journal_.pages = first_.pages;
    journal_.page_bytes = first_.page_bytes;
    std::uint64_t at = 0;
    for (Header header = first_; header.has_magic; header = readHeader(file_, at)) {
      at = readRecords(header, at + first_.sector_bytes);
      at = (at + first_.sector_bytes - 1) / first_.sector_bytes * first_.sector_bytes;
      if (at + first_.sector_bytes > file_.bytes()) break;
    }
    return std::move(journal_);
  }

 private:
  std::uint64_t readRecords(const Header& header, std::uint64_t at) {
    require(header.records <= (file_.bytes() - at) / record_.size());
    for (std::uint32_t i = 0; i < header.records; ++i, at += record_.size()) readRecord(header, at);
    return at;
  }

  void readRecord(const Header& header, std::uint64_t at) {
    file_.read(at, record_.data(), record_.size());
    const std::uint32_t number = bigEndian(record_.data());
    require(number >= 1 && number <= journal_.pages && number != kLockByte / page_.size() + 1);
    page_.assign(record_.begin() + 4, record_.end() - 4);
    require(bigEndian(record_.data() + record_.size() - 4) == checksumOf(page_, header.checksum_start));
    if (number == 1) requireDataFilePage(page_);
    journal_.originals[number] = at + 4;
  }

  const JournalFile& file_;
  const Header first_;
  std::vector<unsigned char> record_;
  std::vector<unsigned char> page_;
  Journal journal_;
};

}  // namespace

// Without waiting: what lies there may be a pipe.
JournalFile::JournalFile(const std::string& path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)) {
  if (!descriptor_) {
    if (errno == ENOENT) return;
    const bool is_no_file = errno == ELOOP || errno == ENXIO || errno == ENODEV;
    throw Failure(is_no_file ? Status{AIO_BADJOURNAL} : statusOfErrno(errno));
  }
  struct stat state {};
  if (fstat(descriptor_.get(), &state) != 0) throw Failure(AIO_IOERROR);
  require(S_ISREG(state.st_mode) && state.st_nlink <= 1);
  bytes_ = static_cast<std::uint64_t>(state.st_size);
}

void JournalFile::read(std::uint64_t at, void* to, std::size_t n) const {
  for (std::size_t done = 0; done < n;) {
    const ssize_t got =
        pread(descriptor_.get(), static_cast<char*>(to) + done, n - done, static_cast<off_t>(at + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) throw Failure(AIO_IOERROR);
    done += static_cast<std::size_t>(got);
  }
}

// The magic is written before the data file is changed.
bool isUnused(const JournalFile& file) {
  if (!file.isThere()) return true;
  const Header header = readHeader(file, 0);
  return header.is_blank && (isSector(header.sector_bytes) || beginsWithNothing(file));
}

Journal readJournal(const JournalFile& file, std::uint32_t page_bytes, std::uint64_t file_bytes) {
  if (!file.isThere()) return {};
  const Header header = readHeader(file, 0);
  if (header.is_blank) {
    require(isUnused(file) && (header.page_bytes == page_bytes || beginsWithNothing(file)));
    return {};
  }
  require(header.has_magic && isSector(header.sector_bytes) && header.page_bytes == page_bytes);
  require(file.bytes() >= header.sector_bytes);
  require(page_bytes >= 512 && header.pages >= 1 && header.pages <= file_bytes / page_bytes);
  requireNoOtherName(file);
  return Reader(file, header, page_bytes).read();
}

}  // namespace porb
