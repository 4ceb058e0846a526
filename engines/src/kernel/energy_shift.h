/// How far the energies of a spectrum are off, from lines whose pattern is known. Knows no file.
#pragma once
#include <cstddef>
#include <vector>

namespace orbengine {

struct ShiftPeak {
  double energy = 0;        ///< by the calibration at hand [keV]
  double fwhm = 0;          ///< [keV]
  double significance = 0;  ///< of the strongest ones the pattern is looked for
};

/// A line of the pattern and the peak that was found to be it.
struct ShiftMatch {
  std::size_t peak = 0;  ///< index
  double energy = 0;     ///< of the line [keV]
};

struct EnergyShift {
  std::vector<ShiftMatch> matches;  ///< in the order of the pattern; empty: the pattern is not there
  std::size_t matches_before = 0;   ///< lines of the pattern that have a peak without any shift
  double mean_fwhm = 0;             ///< mean absolute shift of the matched peaks, in FWHM
};

/// Looks for the quadratic shift (E + a + b E + c E^2) under which most lines of the pattern have a peak within half a
/// FWHM, among the shifts that three of them fix and that stay below 15 keV + 0.8 % of the energy, 4 % for a
/// scintillator. Seven matches are demanded, because five come about by chance in a spectrum of many peaks; a
/// scintillator's few peaks must nearly all match, five at least.
/// @param pattern  energies in ascending order [keV]
/// @cost  triples of the pattern times the few peaks near each line
EnergyShift findEnergyShift(std::vector<ShiftPeak> peaks, const std::vector<double>& pattern);

}  // namespace orbengine
