// Where the fit of a region starts, and what is free in it.
#pragma once

#include "kernel/region_model.h"

namespace anautils {

/// Sets up the fit of the lines. A step is only there if the settings ask for it, the data give reason to and
/// `allow_step`.
RegionProblem makeProblem(const RegionData& data, const std::vector<LineStart>& lines, const FitSettings& settings,
                          bool allow_step);

}  // namespace anautils
