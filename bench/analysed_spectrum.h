#pragma once
#include <string>
#include <vector>

#include "FileAccess.h"

/// A germanium spectrum for the benchmarks of the analysis: 60 lines of 500 to 60 000 counts on a falling continuum.
constexpr int kAnalysedChannels = 16384;
constexpr int kAnalysedLines = 60;

int channelOfLine(int i);  ///< from 1; i from 0
/// Element 0 is channel 1.
const std::vector<double>& analysedCounts();
/// Makes a file of it, calibrated, and leaves it open.
void createAnalysedSpectrum(com::norvale::orb::FileAccess& file, const std::string& path);
/// Makes a file of it.
void writeAnalysedSpectrum(const std::string& path);
