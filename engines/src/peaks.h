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

}  // namespace orbengine
