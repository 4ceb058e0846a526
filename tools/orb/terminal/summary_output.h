/// What `orb info` tells of a data file, as JSON and for the terminal.
#pragma once
#include "json_output.h"
#include "summary.h"

namespace orb::tool {

/// Columns of the labels in front of what is told.
constexpr std::size_t kLabelWidth = 11;

Json summaryJson(const Summary& summary);
void printSummary(const Summary& summary, Console& console);
/// Times and counts alone, for a file that is being filled.
std::string summaryLine(const Summary& summary);

/// Counts as a number without a needless fraction.
Json countsJson(double counts);

}  // namespace orb::tool
