/// Lines of a spectrum as JSON and for the terminal.
#pragma once
#include <string>
#include <vector>

#include "json_output.h"
#include "peak_results.h"

namespace orb::tool {

/// {"peaks": [...]}
Json peaksJson(const std::vector<Peak>& peaks);
void printPeaks(const std::vector<Peak>& peaks, Console& console);

/// A value with its uncertainty, both to the place of the uncertainty's second digit: "661.657(12)" as "661.657 ±
/// 0.012".
std::string withUncertainty(double value, double uncertainty);

}  // namespace orb::tool
