/// What lies in a data file: the service's listings as vectors.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "aioproto.h"
#include "open_file.h"

namespace com::norvale::measurement {

/// In ascending order of classes.
std::vector<AioBlockInfo_T> listBlocks(const FileAccess& file);
/// Values of a record (0: header values and working record), by entry and code.
std::vector<AioValueInfo_T> listValues(const FileAccess& file, std::uint16_t cls, std::uint16_t record);
/// Spectra that were written, by group and row; none without a spectral block.
std::vector<AioSpectrumInfo_T> listSpectra(const FileAccess& file);

bool hasBlock(const std::vector<AioBlockInfo_T>& blocks, std::uint16_t cls);
/// "Peak results"; "class without a name" for one that the service has no word for.
std::string classWords(std::uint16_t cls);
/// Whether a file is worth opening as a data file: it begins as a database does. One that is not there is not.
/// @throws Failure when the file cannot be looked at
bool looksLikeDataFile(const std::string& path);

/// The spectral block of a file; null when there is none.
const AioBlockInfo_T* findSpectralBlock(const std::vector<AioBlockInfo_T>& blocks);

/// One spectrum in the form in which it is stored.
struct Counts {
  std::vector<std::int32_t> integers;  ///< AIO_FORMAT_LONG
  std::vector<float> reals;            ///< AIO_FORMAT_FLOAT
  bool is_real = false;

  std::size_t size() const { return is_real ? reals.size() : integers.size(); }
  double at(std::size_t i) const { return is_real ? static_cast<double>(reals[i]) : integers[i]; }
  double total() const;
};

/// Reads all channels of the block, whatever the channel-count parameter says. A spectrum that was never written is
/// zeros.
Counts readCounts(const FileAccess& file, const AioBlockInfo_T& block, std::uint32_t group, std::uint32_t row);

}  // namespace com::norvale::measurement
