// lFittedRegion: the curve that a region of the table of lines stands for.
#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "comdefs.h"
#include "file_values.h"
#include "guard.h"
#include "kernel/peak_shape.h"
#include "region_lines.h"

namespace anautils {

namespace {

/// A region ends nearer than this to its outermost line only where a multiplet was cut [FWHM].
constexpr double kCutReach = 1.5;

/// Widths and tails lie in the table in keV. Throws Failure for numbers that no fit leaves.
FittedLine readLine(void* handle, const LineCalibration& calibration, USHORT record) {
  FittedLine line;
  line.centroid = readDouble(handle, ORB_D_PKCENTROID, 0, record);
  line.area = readDouble(handle, ORB_D_PKAREA, 0, record);
  require(std::isfinite(line.centroid) && std::isfinite(line.area), ANA_BADPOINT);
  const double slope = calibration.slope(line.centroid);
  line.fwhm = readDouble(handle, ORB_D_PKFWHM, 0, record) / slope;
  line.tail = readDouble(handle, ORB_D_PKTAIL, 0, record) / slope;
  require(std::isfinite(line.fwhm) && line.fwhm > 0 && std::isfinite(line.tail) && line.tail >= 0, ANA_BADCAL);
  return line;
}

/// What all lines of a region share.
void readContinuum(void* handle, USHORT record, RegionFit& fit) {
  fit.first_channel = readInt(handle, ORB_L_PKFIRST, 0, record);
  const double last = readInt(handle, ORB_L_PKLAST, 0, record);
  const double channels = last - fit.first_channel + 1;
  require(fit.first_channel >= 1 && channels >= 1 && channels <= AIO_MAX_CHANNELS, ANA_EMPTYREGION);
  fit.channels = static_cast<int>(channels);
  fit.level_left = readDouble(handle, ORB_D_PKLEVELLEFT, 0, record);
  fit.level_right = readDouble(handle, ORB_D_PKLEVELRIGHT, 0, record);
  fit.step_ratio = readDouble(handle, ORB_D_PKSTEPRATIO, 0, record);
  const double mean = (fit.level_left + fit.level_right) / 2;
  fit.level_middle = mean * (1 + readDouble(handle, ORB_D_PKCURVATURE, 0, record));
}

/// The fitted lines with this number; none when the region does not exist or could not be fitted.
RegionFit readRegion(void* handle, const LineCalibration& calibration, LONG region) {
  RegionFit fit;
  const USHORT n = countRecords(handle, ORB_CLS_PEAKS);
  for (ULONG i = 1; i <= n; ++i) {
    const auto record = static_cast<USHORT>(i);
    if (readInt(handle, ORB_L_PKREGION, 0, record) != region || !findNumber(handle, ORB_D_PKAREA, record)) continue;
    if (fit.lines.empty()) readContinuum(handle, record, fit);
    fit.lines.push_back(readLine(handle, calibration, record));
  }
  std::sort(fit.lines.begin(), fit.lines.end(), [](const auto& a, const auto& b) { return a.centroid < b.centroid; });
  return fit;
}

double lastChannel(const RegionFit& fit) {
  return fit.first_channel + fit.channels - 1;
}

/// Whether two regions are the parts of one multiplet that was too long to be fitted at once.
bool isCut(const RegionFit& low, const RegionFit& high) {
  if (low.lines.empty() || high.lines.empty() || low.first_channel > high.first_channel) return false;
  if (lastChannel(low) >= high.first_channel) return true;
  const FittedLine& left = low.lines.back();
  const FittedLine& right = high.lines.front();
  return lastChannel(low) - left.centroid < kCutReach * left.fwhm &&
         right.centroid - high.first_channel < kCutReach * right.fwhm;
}

void addNeighbours(RegionFit& fit, const RegionFit& other) {
  const std::vector<FixedLine> lines = fixedLines(other);
  fit.neighbours.insert(fit.neighbours.end(), lines.begin(), lines.end());
}

RegionCurves curvesOf(void* handle, LONG region, RegionFit& fit) {
  const LineCalibration calibration = LineCalibration::ofFile(handle);
  require(calibration.hasEnergy(), ANA_NOENERGYCAL);
  fit = readRegion(handle, calibration, region);
  require(!fit.lines.empty(), ANA_NOPEAK);
  require(fit.channels > 0, ANA_EMPTYREGION);
  require(fit.first_channel >= 1 && lastChannel(fit) <= countChannels(handle), ANA_OUTSIDE);
  if (region > 1) {
    const RegionFit below = readRegion(handle, calibration, region - 1);
    if (isCut(below, fit)) addNeighbours(fit, below);
  }
  const RegionFit above = readRegion(handle, calibration, region + 1);
  if (isCut(fit, above)) addNeighbours(fit, above);
  RegionCurves curves = evaluateRegion(fit);
  const auto is_finite = [](double count) { return std::isfinite(count); };
  require(std::all_of(curves.total.begin(), curves.total.end(), is_finite), ANA_BADPOINT);
  return curves;
}

}  // namespace

}  // namespace anautils

using namespace anautils;

LONG lFittedRegion(void* handle, LONG region, ULONG capacity, ULONG* first, ULONG* n, DOUBLE* continuum,
                   DOUBLE* model) {
  return guarded([&] {
    constexpr LONG kLastRegion = 65535;  // a table has no more records
    require(first != nullptr && n != nullptr && region >= 1 && region <= kLastRegion, ANA_BADARG);
    USHORT n_lines = 0;
    const ULONG status = AioCount(handle, ORB_CLS_PEAKS, 0, ORB_L_PKREGION, &n_lines);
    require(status != AIO_NOBLOCK, ANA_NOPEAKTABLE);
    check(status);
    RegionFit fit;
    const RegionCurves curves = curvesOf(handle, region, fit);
    const std::size_t size = curves.total.size();
    require((continuum == nullptr && model == nullptr) || size <= capacity, ANA_BADARG);
    if (continuum != nullptr) std::copy(curves.continuum.begin(), curves.continuum.end(), continuum);
    if (model != nullptr) std::copy(curves.total.begin(), curves.total.end(), model);
    *first = static_cast<ULONG>(fit.first_channel);
    *n = static_cast<ULONG>(size);
  });
}
