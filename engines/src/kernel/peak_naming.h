/// What a peak is called: after the nuclide that explains it, or after what the detector made it of. Knows no file.
#pragma once
#include <string>
#include <vector>

namespace orbengine {

struct PeakToName {
  double energy = 0;     ///< [keV]
  double area = 0;       ///< net area [counts]
  double fwhm = 0;       ///< that of the calibration at its energy [keV]
  double tolerance = 0;  ///< greatest distance of a line [keV]
};

/// A line that was matched with a peak.
struct ExplainingLine {
  std::string nuclide;
  double energy = 0;  ///< [keV]
  double counts = 0;  ///< what it explains of the peak
  int peak = 0;       ///< index
};

struct PeakName {
  std::string name;   ///< of a nuclide, "annihilation", "escape" or "sum"; empty: nothing explains the peak
  double energy = 0;  ///< of the line that explains it [keV]; 0: none
};

/// The peaks' names. The line that explains most of a peak names it. Annihilation names one of which no line explains
/// half. Of the rest, a peak that is not resolved from a line's own is taken to be a part of it; one that lies one or
/// two annihilation quanta below a stronger peak is an escape; one at the sum of two strong lines of one nuclide, and
/// weak beside both, is their coincidence.
/// @cost peaks times lines squared, for peaks that no line was matched with
std::vector<PeakName> namePeaks(const std::vector<PeakToName>& peaks, const std::vector<ExplainingLine>& lines);

/// Energy of annihilation quanta [keV].
constexpr double kAnnihilation_keV = 510.999;

}  // namespace orbengine
