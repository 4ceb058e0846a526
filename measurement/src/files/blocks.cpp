#include "blocks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <string_view>

#include "failure.h"
#include "file_descriptor.h"
#include "words.h"

namespace com::norvale::measurement {

namespace {

/// Asks a listing for its length, then for its rows. A reader may move on to a newer state of the file between the two
/// calls, so the length that counts is that of the second.
template <typename Row, typename Listing>
std::vector<Row> listAll(const FileAccess& file, const std::string& what, Listing&& listing) {
  std::vector<Row> rows;
  ULONG count = 0;
  do {
    rows.resize(count);
    require(convertReturnCode(listing(rows.data(), static_cast<ULONG>(rows.size()), &count)), file.name(), what);
  } while (count > rows.size());
  rows.resize(count);
  return rows;
}

}  // namespace

std::vector<AioBlockInfo_T> listBlocks(const FileAccess& file) {
  return listAll<AioBlockInfo_T>(file, "cannot list the blocks", [&](auto* rows, ULONG capacity, ULONG* count) {
    return AioListBlocks(file.handle(), rows, capacity, count);
  });
}

std::vector<AioValueInfo_T> listValues(const FileAccess& file, std::uint16_t cls, std::uint16_t record) {
  const std::string what = "cannot list record " + std::to_string(record) + " of block " + hex(cls, 4);
  return listAll<AioValueInfo_T>(file, what, [&](auto* rows, ULONG capacity, ULONG* count) {
    return AioListValues(file.handle(), cls, record, rows, capacity, count);
  });
}

std::vector<AioSpectrumInfo_T> listSpectra(const FileAccess& file) {
  return listAll<AioSpectrumInfo_T>(file, "cannot list the spectra", [&](auto* rows, ULONG capacity, ULONG* count) {
    const ULONG status = AioListSpectra(file.handle(), rows, capacity, count);
    if (status != AIO_NOBLOCK) return status;
    *count = 0;
    return ULONG{AIO_OK};
  });
}

std::string classWords(std::uint16_t cls) {
  const char* const words = AioUtilClassName(cls);
  return words != nullptr ? words : "class without a name";
}

bool looksLikeDataFile(const std::string& path) {
  constexpr std::string_view kDatabase("SQLite format 3\0", 16);
  char start[kDatabase.size()];
  const com::norvale::datatypes::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file && errno != ENOENT && errno != ENOTDIR) failWithErrno(errno, path, "cannot open");
  if (!file) return false;
  struct stat state {};
  if (fstat(file.get(), &state) != 0) failWithErrno(errno, path, "cannot open");
  if (!S_ISREG(state.st_mode)) return false;  // a pipe is neither waited for nor read
  const ssize_t n = read(file.get(), start, sizeof start);
  if (n < 0) failWithErrno(errno, path, "cannot read");
  return n == static_cast<ssize_t>(sizeof start) && std::string_view(start, sizeof start) == kDatabase;
}

bool hasBlock(const std::vector<AioBlockInfo_T>& blocks, std::uint16_t cls) {
  return std::any_of(blocks.begin(), blocks.end(), [cls](const AioBlockInfo_T& block) { return block.usClass == cls; });
}

const AioBlockInfo_T* findSpectralBlock(const std::vector<AioBlockInfo_T>& blocks) {
  const auto found =
      std::find_if(blocks.begin(), blocks.end(), [](const auto& b) { return b.usClass == ORB_CLS_SPECTRUM; });
  return found == blocks.end() ? nullptr : &*found;
}

double Counts::total() const {
  if (is_real) return std::accumulate(reals.begin(), reals.end(), 0.0);
  // A sum of 2^24 channels of 31 bits fits 64 bits.
  return static_cast<double>(std::accumulate(integers.begin(), integers.end(), std::int64_t{0}));
}

Counts readCounts(const FileAccess& file, const AioBlockInfo_T& block, std::uint32_t group, std::uint32_t row) {
  Counts counts;
  const auto spectra = listSpectra(file);
  counts.is_real = std::any_of(spectra.begin(), spectra.end(), [&](const auto& s) {
    return s.ulGroup == group && s.ulRow == row && s.lFormat == AIO_FORMAT_FLOAT;
  });
  void* buffer = nullptr;
  if (counts.is_real) {
    counts.reals.resize(block.ulChannels);
    buffer = counts.reals.data();
  } else {
    counts.integers.resize(block.ulChannels);
    buffer = counts.integers.data();
  }
  const LONG format = counts.is_real ? AIO_FORMAT_FLOAT : AIO_FORMAT_LONG;
  const ULONG status = AioReadSpectrum2(file.handle(), buffer, format, block.ulChannels, 1, row, group);
  require(convertReturnCode(status), file.name(), "cannot read the spectrum");
  return counts;
}

}  // namespace com::norvale::measurement
