// ulUtlRoi and lEncal1: the region of a line, and the fit of one line in one region.
#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "file_values.h"
#include "guard.h"
#include "kernel/peak_search.h"
#include "region_lines.h"

namespace anautils {

namespace {

/// Position and extent of a line whose width the calibration gives.
LineExtent calibratedExtent(void* handle, ULONG channel, double energy_keV) {
  const LineCalibration calibration = LineCalibration::ofFile(handle);
  require(calibration.hasEnergy(), ANA_NOENERGYCAL);
  require(calibration.hasFwhm(), ANA_NOFWHMCAL);
  const double position = channel;
  // The width at the given energy; the line itself stays where the caller sees it.
  stAEncalEq_T equation{};
  double at = position;
  if (energy_keV > 0) {
    check(static_cast<ULONG>(lGetEneq(handle, ANA_ENERGY, 1, &equation)));
    check(static_cast<ULONG>(lPEn2Chan(energy_keV, &equation, &at)));
  }
  const double fwhm = calibration.fwhm(at);
  require(std::isfinite(fwhm) && fwhm > 0, ANA_BADCAL);
  return {position, fwhm, calibration.tail(at)};
}

LineExtent measuredExtent(void* handle, ULONG channel) {
  const std::vector<double> counts = readSpectrum(handle);
  const double fwhm = widthAround(counts, static_cast<int>(channel) - 1);
  require(fwhm > 0, ANA_NOPEAK);
  return {static_cast<double>(channel), fwhm, 0};
}

/// Highest channel over the straight line between the ends of the region.
double highestChannel(const std::vector<double>& counts, ChannelRange channels) {
  const auto at = [&](int i) { return counts[static_cast<std::size_t>(i - 1)]; };
  const auto smooth = [&](int i) {
    return (at(std::max(i - 1, channels.first)) + 2 * at(i) + at(std::min(i + 1, channels.last))) / 4;
  };
  const double length = std::max(1, channels.last - channels.first);
  int best = channels.first;
  double most = -HUGE_VAL;
  for (int i = channels.first; i <= channels.last; ++i) {
    const double share = (i - channels.first) / length;
    const double above = smooth(i) - (1 - share) * smooth(channels.first) - share * smooth(channels.last);
    if (above > most) {
      most = above;
      best = i;
    }
  }
  return best;
}

/// FWHM from the calibration, or from the counts, or a guess from the width of the region.
double startWidth(const LineCalibration& calibration, const std::vector<double>& counts, ChannelRange channels,
                  double position) {
  if (calibration.hasFwhm()) return calibration.fwhm(position);
  const double measured = widthAround(counts, static_cast<int>(position) - 1);
  return measured > 0 ? measured : std::max(2.0, (channels.last - channels.first + 1) / 6.0);
}

RegionFit fitSingleLine(void* handle, const std::vector<double>& counts, ChannelRange channels,
                        const LineCalibration& calibration, bool with_tail) {
  const LineFitSettings settings = readLineFitSettings(handle);
  LineStart start;
  start.position = highestChannel(counts, channels);
  start.width = startWidth(calibration, counts, channels, start.position);
  require(std::isfinite(start.width) && start.width > 0, ANA_BADCAL);
  if (with_tail) {
    start.tail = calibration.tail(start.position);
    if (start.tail <= 0) start.tail = start.width;
  }
  FitSettings fit = settingsForRegion(settings, 1, start.width);
  fit.width = WidthMode::Free;  // it is what the calibration is to be made of
  fit.tail_free_counts = 0;
  fit.max_added = 0;
  return fitChannels(counts, channels, {start}, fit);
}

enum Mark { kNotConverged = 2, kOnBound = 4, kCut = 8 };

int marksOf(const RegionFit& fit, const FittedLine& line, bool was_cut) {
  int marks = fit.status == FitStatus::NotConverged ? kNotConverged : 0;
  constexpr unsigned kRegionBounds = kRegionWidthOnBound | kRegionTailOnBound | kRegionStepOnBound;
  constexpr unsigned kLineBounds = kLinePositionOnBound | kLineWidthOnBound | kLineAreaOnBound;
  if ((fit.flags & kRegionBounds) != 0 || (line.flags & kLineBounds) != 0) marks |= kOnBound;
  return was_cut ? marks | kCut : marks;
}

void writeSingleLine(void* handle, const RegionFit& fit, const FittedLine& line, const LineCalibration& calibration,
                     bool with_tail, bool was_cut) {
  PendingWrites writes;
  const double slope = calibration.hasEnergy() ? calibration.slope(line.centroid) : 0;
  const double energy = calibration.hasEnergy() ? calibration.energy(line.centroid) : 0;
  writes.set(ORB_D_CRCHANNEL, line.centroid);
  writes.set(ORB_D_CRENERGY, energy);
  writes.set(ORB_D_CRAREA, line.area);
  writes.set(ORB_D_CRCHANNELUNC, line.centroid_u);
  writes.set(ORB_D_CRENERGYUNC, slope * line.centroid_u);
  writes.set(ORB_D_CRAREAUNC, line.area_u);
  writes.set(ORB_D_SRENERGY, energy);
  writes.set(ORB_D_SRFWHM, slope * line.fwhm);
  writes.set(ORB_D_SRFWHMUNC, slope * line.fwhm_u);
  if (with_tail) {
    writes.set(ORB_D_SRTAIL, slope * line.tail);
    writes.set(ORB_D_SRTAILUNC, slope * line.tail_u);
  }
  writes.set(ORB_D_SRCHISQ, fit.dof > 0 ? fit.chi2 / fit.dof : 0.0);
  writes.set(ORB_D_SRCONT, line.continuum);
  writes.set(ORB_L_SRSTATUS, marksOf(fit, line, was_cut));
  writes.set(ORB_L_SRFIRST, static_cast<int>(fit.first_channel));
  writes.set(ORB_L_SRLAST, static_cast<int>(fit.first_channel) + fit.channels - 1);
  writes.commit(handle);
}

}  // namespace

}  // namespace anautils

using namespace anautils;

LONG ulUtlRoi(void* handle, FLAG use_calibration, ULONG channel, REAL energy, ULONG* first, ULONG* last) {
  return guarded([&] {
    require(first != nullptr && last != nullptr && std::isfinite(energy), ANA_BADARG);
    const ULONG n = countChannels(handle);
    require(n > 0, ANA_NOSPECTRUM);
    require(channel >= 1 && channel <= n, ANA_OUTSIDE);
    const LineExtent line =
        use_calibration != 0 ? calibratedExtent(handle, channel, energy) : measuredExtent(handle, channel);
    const ChannelRange region = regionOf(line, readRegionRule(handle), {1, static_cast<int>(n)});
    *first = static_cast<ULONG>(region.first);
    *last = static_cast<ULONG>(region.last);
  });
}

LONG lEncal1(void* handle, SHORT set, LONG reserved1, LONG reserved2) {
  return guarded([&] {
    require(set == 1 && reserved1 == 0 && reserved2 == 0, ANA_BADARG);
    const std::vector<double> counts = readSpectrum(handle);
    const int n = static_cast<int>(counts.size());
    const ChannelRange channels = readRange(handle, ORB_L_SRFIRST, ORB_L_SRLAST, n);
    const bool was_cut = readInt(handle, ORB_L_SRFIRST, 1) < 1 || readInt(handle, ORB_L_SRLAST, n) > n;
    const bool with_tail = (readInt(handle, ORB_L_CALFLAGS, 3) & 4) != 0;
    const LineCalibration calibration = LineCalibration::ofFile(handle);
    const RegionFit fit = fitSingleLine(handle, counts, channels, calibration, with_tail);
    if (fit.status != FitStatus::NotConverged) check(static_cast<ULONG>(statusOf(fit.status)));
    require(!fit.lines.empty() && fit.lines.front().area > 0 && fit.lines.front().significance > 2, ANA_NOPEAK);
    writeSingleLine(handle, fit, fit.lines.front(), calibration, with_tail, was_cut);
    require(fit.status == FitStatus::Ok, ANA_NOTCONVERGED);
  });
}
