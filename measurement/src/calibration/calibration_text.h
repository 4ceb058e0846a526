/// The calibrations in force in a data file, and in words.
#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "measurement_rows.h"
#include "open_file.h"

namespace com::norvale::measurement {

/// Terms of the energy equation that a data file has room for; their codes follow that of the first.
constexpr std::size_t kEnergyCoefficients = 6;

/// Written as the engine of a shape calibration that came with an imported spectrum.
constexpr const char* kImportEngine = "orb import";

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

}  // namespace com::norvale::measurement
