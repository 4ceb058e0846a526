/// The calibrations in force in a data file, and in words.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "open_file.h"

namespace orb::tool {

/// Energy of a position in keV: sum of coefficients[i] * position^i.
struct EnergyCalibration {
  std::vector<double> coefficients;  ///< at least two, no needless zeros at the end
  int first_channel = 1;             ///< channels count from 1 in data files and from 0 in text formats
  bool is_default = false;           ///< what a new file begins with; nobody has measured it
  std::string source;                ///< where it comes from; may be empty

  double energy_keV(double position) const;
};

/// Width in keV: offset + slope * sqrt(energy in keV).
struct FwhmCalibration {
  double offset = 0;
  double slope = 0;
  bool is_default = false;
  std::string source;

  double fwhm_keV(double energy_keV) const;
};

/// Written as the source of widths that nobody has measured.
extern const char* const kTypicalWidths;

/// Nothing when the file has no energy equation: no gain, or coefficients that are all zero or not finite.
std::optional<EnergyCalibration> readEnergyCalibration(const FileAccess& file);
/// Nothing when the file has no usable FWHM equation.
std::optional<FwhmCalibration> readFwhmCalibration(const FileAccess& file);

/// Makes all widths of the file so many times as large.
void scaleFwhmCalibration(FileAccess& file, const FwhmCalibration& calibration, double ratio);

/// "0.20389 + 0.37444 x + 2.9859e-07 x^2 keV (x: channel, from 1); 0.58 keV in channel 1, 3087.56 keV in channel 8192"
std::string energyWords(const EnergyCalibration& calibration, std::size_t first, std::size_t last);
/// "1 + 0.03 sqrt(E) keV; 1.77 keV at 661.7 keV"
std::string fwhmWords(const FwhmCalibration& calibration);

}  // namespace orb::tool
