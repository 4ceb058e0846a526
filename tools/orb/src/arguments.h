/// What people write for classes and points.
#pragma once
#include <cstdint>
#include <string>

#include "calibration_points.h"
#include "parts.h"

namespace orb::tool {

/// A class as people write it: "0x2006", "8198".
/// @throws UsageError
std::uint16_t parseClass(const std::string& text);

/// "X:VALUE" or "X:VALUE:UNCERTAINTY". @throws UsageError naming the option
GivenPoint parsePoint(const std::string& text, const std::string& option);

}  // namespace orb::tool
