/// Nuclides and detection limits as JSON and for the terminal.
#pragma once
#include "json_output.h"
#include "nuclide_results.h"

namespace orb::tool {

/// Adds "nuclides", "not_found", "unidentified" and, of an analysed file, "made_from" to an object.
void appendNuclides(Json& json, const NuclideResults& results);
/// @param with_limits  also the detection limits of what was not found, some hundred lines
void printNuclides(const NuclideResults& results, bool with_limits, Console& console);

}  // namespace orb::tool
