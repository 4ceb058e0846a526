#include "generation.h"

#include <vector>

#include "fault_support.h"

namespace faults {
namespace {

constexpr ULONG kNumber = 0x20000007;
constexpr ULONG kTitle = 0x20000002;
constexpr ULONG kPeakFirst = 0x2006001E;
constexpr ULONG kLine = 0x20080021;
constexpr ULONG kOptions = 0x2010006F;
constexpr ULONG kSpectrumChannels = 2048;

LONG peaksOf(LONG generation) {
  return 5 + generation % 9;
}

std::string optionsOf(LONG generation) {
  return std::string(static_cast<std::size_t>(100 + generation % 900), static_cast<char>('a' + generation % 26)) +
         std::to_string(generation);
}

bool writePeaks(void* handle, LONG generation) {
  USHORT n = 0;
  if (AioCount(handle, ORB_CLS_PEAKS, 0, 0, &n) != AIO_OK && AioCreateBlock(handle, ORB_CLS_PEAKS, 0) != AIO_OK)
    return false;
  // One goes at the front and others come in the middle, so that ranks and places move all the time.
  if (n > 0 && AioDelete(handle, ORB_CLS_PEAKS, 1, 0) != AIO_OK) return false;
  for (n = n > 0 ? static_cast<USHORT>(n - 1) : n; n > peaksOf(generation); --n)
    if (AioDelete(handle, ORB_CLS_PEAKS, n, 0) != AIO_OK) return false;
  for (; n < peaksOf(generation); ++n)
    if (AioInsertRecord(handle, ORB_CLS_PEAKS, n / 2) != AIO_OK) return false;
  for (USHORT record = 1; record <= n; ++record)
    if (put(handle, kPeakFirst, record, 0, generation + record) != AIO_OK) return false;
  return true;
}

}  // namespace

bool writeGeneration(void* handle, LONG generation) {
  std::vector<LONG> channels(kSpectrumChannels, generation);
  if (generation == 1 && AioCreatePHA(handle, 1, kSpectrumChannels, 1) != AIO_OK) return false;
  for (USHORT entry = 1; entry <= 3; ++entry)
    if (put(handle, kLine, 1, entry, generation * entry) != AIO_OK) return false;
  return put(handle, kNumber, 0, 0, generation) == AIO_OK &&
         put(handle, kTitle, 0, 0, "generation " + std::to_string(generation)) == AIO_OK &&
         put(handle, kOptions, 1, 0, optionsOf(generation)) == AIO_OK && writePeaks(handle, generation) &&
         AioWriteSpectrum2(handle, channels.data(), AIO_FORMAT_LONG, kSpectrumChannels, 1, 1, 1) == AIO_OK;
}

LONG readGeneration(void* handle, std::string& mixture) {
  LONG generation = 0;
  const ULONG status = get(handle, kNumber, 0, 0, generation);
  AioBlockInfo_T blocks[16];
  ULONG n = 0;
  if (AioListBlocks(handle, blocks, 16, &n) != AIO_OK) mixture += "blocks cannot be listed; ";
  if (status == AIO_NOVALUE) {
    if (n != 0) mixture += "blocks without the number; ";
    return 0;
  }
  if (status != AIO_OK) mixture += "number: " + nameOf(status) + "; ";
  if (n != 5) mixture += std::to_string(n) + " blocks; ";

  char text[1025] = "";
  if (get(handle, kOptions, 1, 0, text) != AIO_OK || text != optionsOf(generation)) mixture += "options; ";
  char title[129] = "";
  if (get(handle, kTitle, 0, 0, title) != AIO_OK || title != "generation " + std::to_string(generation))
    mixture += "title; ";
  LONG value = 0;
  for (USHORT entry = 1; entry <= 3; ++entry)
    if (get(handle, kLine, 1, entry, value) != AIO_OK || value != generation * entry) mixture += "entry; ";
  USHORT peaks = 0;
  if (AioCount(handle, ORB_CLS_PEAKS, 0, 0, &peaks) != AIO_OK || peaks != peaksOf(generation))
    mixture += std::to_string(peaks) + " peaks; ";
  for (USHORT record = 1; record <= peaks; ++record)
    if (get(handle, kPeakFirst, record, 0, value) != AIO_OK || value != generation + record) mixture += "peak; ";
  std::vector<LONG> channels(kSpectrumChannels);
  if (AioReadSpectrum2(handle, channels.data(), AIO_FORMAT_LONG, kSpectrumChannels, 1, 1, 1) != AIO_OK ||
      channels != std::vector<LONG>(kSpectrumChannels, generation))
    mixture += "spectrum; ";
  return generation;
}

}  // namespace faults
