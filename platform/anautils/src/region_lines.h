#pragma once
#include <vector>

#include "kernel/region_fit.h"
#include "kernel/region_limits.h"
#include "line_calibration.h"
#include "processing_settings.h"

/// The steps that the fit of one region and the fit of a whole spectrum share.
namespace anautils {

/// A line at a position with the calibrated width and, where the settings want one, tail. A 511 keV line in a spectrum
/// of good resolution gets a width of its own: annihilation broadens it.
LineStart calibratedStart(const LineCalibration& calibration, double position, TailMode tail);

/// Settings for a region with so many lines: line-free ends in channels, curvature.
FitSettings settingsForRegion(const LineFitSettings& settings, std::size_t n_lines, double fwhm);

/// Fits lines in some channels of a spectrum; element 0 of the counts is channel 1.
RegionFit fitChannels(const std::vector<double>& counts, ChannelRange channels, const std::vector<LineStart>& lines,
                      const FitSettings& settings, const std::vector<FixedLine>& neighbours = {});

/// What a fit that gave no numbers means to the caller; ANA_OK for one that did.
LONG statusOf(FitStatus status);

/// Lines as a fit found them, for a fit beside it.
std::vector<FixedLine> fixedLines(const RegionFit& fit);

}  // namespace anautils
