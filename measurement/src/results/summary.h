/// What `orb info` tells of a data file.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "blocks.h"
#include "calibration_text.h"

namespace com::norvale::measurement {

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

}  // namespace com::norvale::measurement
