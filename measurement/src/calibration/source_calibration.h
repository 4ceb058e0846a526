#pragma once
#include <string>

#include "calibration_points.h"
#include "spectrum_to_file.h"

namespace com::norvale::measurement {

/// Finds the lines of known nuclides in the spectrum of a file and adds them to the table as energy and FWHM points.
/// @param nuclides  names, separated by commas
/// @param library   as findLibrary takes it
/// @param note      hears of nuclides without a line, and of a single line
/// @throws Failure when too few lines are found
void addSourceLines(const FileAccess& file, const std::string& nuclides, const std::string& library,
                    CalibrationTable& table, const Note& note);

}  // namespace com::norvale::measurement
