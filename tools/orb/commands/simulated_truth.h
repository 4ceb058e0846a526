/// What `orb simulate` knows of a spectrum that it made, beside what an analysis found.
#pragma once
#include <string>

#include "nuclide_output.h"
#include "peak_output.h"

namespace orb::tool {

/// @throws Failure when the file is no truth of a simulation
void requireTruth(const std::string& truth);

/// Prints both side by side, with the deviation in standard uncertainties: every line that should be seen, every
/// nuclide. What was found and is not in the truth is listed too.
/// @param truth  the file that `orb simulate` wrote beside the spectrum
/// @throws Failure when it cannot be read or is something else
void printAgainstTruth(const std::string& truth, const std::vector<Peak>& peaks, const NuclideResults& nuclides,
                       Console& console);

}  // namespace orb::tool
