/// The table of lines of a data file.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measurement_rows.h"
#include "open_file.h"

namespace com::norvale::measurement {

/// @throws Failure
std::vector<Peak> readPeaks(const FileAccess& file);

/// What is to be said against a line: "added, not converged"; empty for nothing.
std::string markWords(const Peak& peak);

}  // namespace com::norvale::measurement
