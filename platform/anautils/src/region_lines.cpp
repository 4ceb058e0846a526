#include "region_lines.h"

#include <algorithm>
#include <cmath>

#include "anastatus.h"

namespace anautils {

namespace {

constexpr double kAnnihilation = 511.0;  // keV
constexpr double kGoodResolution = 6.0;  // keV: a wider line hides the broadening
constexpr double kTypicalTail = 1.0;     // junction distance in FWHM where a tail is wanted and not calibrated

bool isAnnihilation(const LineCalibration& calibration, double position) {
  const double fwhm_keV = calibration.fwhm(position) * calibration.slope(position);
  return fwhm_keV < kGoodResolution && std::abs(calibration.energy(position) - kAnnihilation) < fwhm_keV;
}

}  // namespace

LineStart calibratedStart(const LineCalibration& calibration, double position, TailMode tail) {
  LineStart start;
  start.position = position;
  start.width = calibration.fwhm(position);
  if (tail != TailMode::Off) start.tail = calibration.tail(position);
  if (tail == TailMode::On && start.tail == 0) start.tail = kTypicalTail * start.width;
  start.own_width = isAnnihilation(calibration, position);
  return start;
}

FitSettings settingsForRegion(const LineFitSettings& settings, std::size_t n_lines, double fwhm) {
  FitSettings fit = settings.fit;
  fit.find_tail = settings.tail == TailMode::Auto;
  fit.curvature = n_lines > 1 ? settings.curvature_multiplet : settings.curvature_single;
  const double channels = settings.free_fwhm > 0 ? settings.free_fwhm * fwhm : settings.free_channels;
  fit.free_left = fit.free_right = static_cast<int>(std::min(channels + 0.5, 1e6));
  return fit;
}

RegionFit fitChannels(const std::vector<double>& counts, ChannelRange channels, const std::vector<LineStart>& lines,
                      const FitSettings& settings, const std::vector<FixedLine>& neighbours) {
  return fitRegion(counts.data() + (channels.first - 1), channels.last - channels.first + 1, channels.first, lines,
                   settings, neighbours);
}

LONG statusOf(FitStatus status) {
  switch (status) {
    case FitStatus::Ok:
      return ANA_OK;
    case FitStatus::TooFewChannels:
      return ANA_TOONARROW;
    case FitStatus::NoCounts:
      return ANA_NOCOUNTS;
    case FitStatus::NotConverged:
      return ANA_NOTCONVERGED;
    case FitStatus::BadCounts:
      return ANA_BADCOUNTS;
    case FitStatus::BadLine:
      return ANA_NOPEAK;
    default:
      return ANA_BADSETTING;
  }
}

std::vector<FixedLine> fixedLines(const RegionFit& fit) {
  std::vector<FixedLine> lines;
  for (const FittedLine& line : fit.lines) lines.push_back({line.centroid, line.fwhm, line.tail, line.area});
  return lines;
}

}  // namespace anautils
