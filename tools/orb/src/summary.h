/// What `orb info` tells of a data file.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "blocks.h"
#include "calibration_text.h"
#include "json_output.h"

namespace orb::tool {

/// Columns of the labels in front of what is told.
constexpr std::size_t kLabelWidth = 11;

struct SpectrumSummary {
  std::uint32_t group = 1;
  std::uint32_t row = 1;
  bool is_real = false;
  double counts = 0;
};

struct Summary {
  std::string file;
  std::string title;
  std::string detector;              ///< kind of detector, as the file names it
  std::optional<std::string> start;  ///< ISO 8601
  std::optional<double> live_s;
  std::optional<double> real_s;
  std::uint32_t channels = 0;
  std::optional<double> total_counts;  ///< of the first spectrum; nothing without a spectral block
  std::optional<EnergyCalibration> energy;
  std::optional<FwhmCalibration> fwhm;
  std::vector<SpectrumSummary> spectra;  ///< those that were written
  std::vector<AioBlockInfo_T> blocks;
};

/// @throws Failure
Summary summarise(const FileAccess& file);

Json summaryJson(const Summary& summary);
void printSummary(const Summary& summary, Console& console);
/// Times and counts alone, for a file that is being filled.
std::string summaryLine(const Summary& summary);

/// Counts as a number without a needless fraction.
Json countsJson(double counts);

}  // namespace orb::tool
