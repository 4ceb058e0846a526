/// Tells germanium from scintillator by the widths of the lines in a spectrum.
#pragma once
#include <span>
#include <string>

namespace com::norvale::measurement {

struct DetectorGuess {
  bool is_NaI = false;
  std::string reason;     ///< "lines as narrow as 2.1 keV at 1460 keV"
  double energy_keV = 0;  ///< of the line that is narrowest for its energy; 0: none, or no calibration
  double fwhm_keV = 0;    ///< of that line, roughly
};

/// @param counts        element i is the count of channel i + 1
/// @param coefficients  energy in keV over the channel, channels from 1; empty without a calibration
/// @param named         what the file calls its detector; looked at when no line stands out
DetectorGuess guessDetector(std::span<const double> counts, std::span<const double> coefficients,
                            const std::string& named);

}  // namespace com::norvale::measurement
