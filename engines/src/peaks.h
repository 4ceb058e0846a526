/// The fitted lines of the open file, as the later engines need them.
#pragma once
#include <vector>

#include "engine.h"

namespace orbengine {

struct FittedPeak {
  USHORT record = 0;
  double energy = 0;  ///< [keV]
  double area = 0;    ///< net area, lines of the background measurement taken off [counts]
  double area_u = 0;  ///< [counts]
  double fwhm = 0;    ///< [keV]
};

/// The lines that were fitted, in the order of the table. Throws Failure(ENG_NOPEAKS) when the file has no table.
std::vector<FittedPeak> readFittedPeaks(const File& file);

/// A setting and what holds where the file has none.
struct SettingOr {
  ULONG code;
  double fallback;
};

/// How far a peak may lie from the energy that it is matched with [keV]: as the file says, a number of keV or of FWHM.
/// @param fwhm  [keV] at the energy
double matchTolerance(const File& file, SettingOr keV, SettingOr in_fwhm, double fwhm);

}  // namespace orbengine
