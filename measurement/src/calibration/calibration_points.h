/// Calibration points as people give them.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "open_file.h"

namespace com::norvale::measurement {

struct GivenPoint {
  double x = 0;  ///< channel or energy [keV]
  double value = 0;
  double uncertainty = 0;  ///< 0: none given
  std::string label;
};

struct CalibrationTable {
  std::vector<GivenPoint> energy;       ///< channel, keV
  std::vector<GivenPoint> fwhm;         ///< keV, keV
  std::vector<GivenPoint> tail;         ///< keV, keV
  std::optional<GivenPoint> one_width;  ///< keV, keV; no curve, but one that the file has is put to it
  std::vector<GivenPoint> efficiency;   ///< keV, 1
  int most_terms = 3;                   ///< of the energy equation, when nobody asks for a number
  bool empty() const { return energy.empty() && fwhm.empty() && tail.empty() && efficiency.empty(); }
};

/// "X:VALUE" or "X:VALUE:UNCERTAINTY" of a kind as in readCalibrationTable.
/// @throws std::invalid_argument saying what is wrong with it
GivenPoint pointOf(const std::string& text, const std::string& kind);

/// A CSV with the columns kind, x, value, uncertainty (may be empty); kind is energy, fwhm, tail or efficiency.
/// @throws Failure with the line
CalibrationTable readCalibrationTable(const std::string& path);

/// Puts efficiency points in the place of the file's and fits the model that the file selects. @throws Failure
void fitEfficiency(FileAccess& file, const std::vector<GivenPoint>& points);

}  // namespace com::norvale::measurement
