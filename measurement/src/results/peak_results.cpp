#include "peak_results.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "blocks.h"
#include "comdefs.h"

namespace com::norvale::measurement {

namespace {

constexpr std::uint32_t kPeakClass = ORB_CLS_PEAKS;

constexpr std::uint32_t peakCode(std::uint32_t number) {
  return kPeakClass << 16 | number;
}

std::optional<double> findNumberOf(const FileAccess& file, std::uint32_t number, std::uint16_t record) {
  const auto value = findValue(file, peakCode(number), record);
  return value ? std::optional(value->toDouble()) : std::nullopt;
}

double numberOf(const FileAccess& file, std::uint32_t number, std::uint16_t record) {
  return findNumberOf(file, number, record).value_or(0);
}

Peak readPeak(const FileAccess& file, std::uint16_t record) {
  const auto integer = [&](std::uint32_t number) { return static_cast<int>(numberOf(file, number, record)); };
  Peak peak;
  peak.energy_keV = findNumberOf(file, 0x07, record);
  peak.energy_unc_keV = findNumberOf(file, 0x08, record);
  peak.centroid = numberOf(file, 0x0A, record);
  peak.centroid_unc = numberOf(file, 0x0B, record);
  peak.fwhm_keV = findNumberOf(file, 0x24, record);
  peak.fwhm_unc_keV = findNumberOf(file, 0x25, record);
  peak.area = numberOf(file, 0x0C, record);
  peak.area_unc = numberOf(file, 0x0D, record);
  peak.rate = findNumberOf(file, 0x31, record);
  peak.rate_unc = findNumberOf(file, 0x32, record);
  peak.continuum = numberOf(file, 0x09, record);
  peak.chi_square_reduced = numberOf(file, 0x10, record);
  peak.significance = numberOf(file, 0x13, record);
  peak.first = integer(0x1E);
  peak.last = integer(0x1F);
  peak.region = integer(0x21);
  peak.marks = integer(0x40);
  peak.width_fixed = peak.fwhm_keV && peak.fwhm_unc_keV.value_or(0) == 0;
  peak.added = integer(0x48) != 0;
  peak.is_unidentified = numberOf(file, 0x56, record) != 0;
  if (const auto nuclide = findValue(file, peakCode(0x57), record)) peak.nuclide = nuclide->toString();
  if (const auto energy = findValue(file, peakCode(0x58), record)) peak.library_keV = energy->toDouble();
  return peak;
}

}  // namespace

std::string markWords(const Peak& peak) {
  // The numbers are those of ORB_L_PKSTATUS.
  static const std::pair<int, const char*> kWords[] = {{1, "not converged"}, {2, "on a bound"},  {4, "bad fit"},
                                                       {8, "cut"},           {16, "overflow"},   {32, "extrapolated"},
                                                       {64, "singular"},     {128, "not fitted"}};
  std::string words = peak.added ? "added" : "";
  for (const auto& [mark, word] : kWords) {
    if ((peak.marks & mark) == 0) continue;
    words += words.empty() ? "" : ", ";
    words += word;
  }
  return words;
}

std::vector<Peak> readPeaks(const FileAccess& file) {
  std::vector<Peak> peaks;
  for (const AioBlockInfo_T& block : listBlocks(file)) {
    if (block.usClass != kPeakClass) continue;
    for (std::uint32_t record = 1; record <= block.usRecords; ++record)
      peaks.push_back(readPeak(file, static_cast<std::uint16_t>(record)));
  }
  return peaks;
}

}  // namespace com::norvale::measurement
