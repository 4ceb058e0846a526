#include "peak_table.h"

#include <algorithm>
#include <cmath>

#include "comdefs.h"
#include "failure.h"
#include "file_values.h"
#include "region_lines.h"

namespace anautils {

namespace {

constexpr ULONG kLocated = 0x20060006;
constexpr ULONG kLocatedSignificance = 0x20060046;

/// Takes the records and what was derived from them away; header values, the caller's settings, stay.
void clearTable(void* handle) {
  for (USHORT n = countRecords(handle, ORB_CLS_PEAKS); n > 0; --n) check(AioDelete(handle, ORB_CLS_PEAKS, n, 0));
  check(AioDeleteLevel(handle, AIO_LEVEL_NUCLIDES));
}

void setProvenance(PendingWrites& writes, const char* routine) {
  writes.set(0x200600F0, std::string(routine));
  writes.set(0x200600F1, std::string(ANAUTILS_VERSION));
  writes.set(0x200600F2, presentTime());
}

/// One fitted line into one record.
class LineRecord {
 public:
  LineRecord(PendingWrites& writes, USHORT record, const TableContext& context)
      : writes_(writes), record_(record), context_(context) {}

  void put(const TableRegion& region, const FittedLine& line, int region_number) {
    set(kLocated, locatedPosition(region, line));
    set(0x2006000A, line.centroid);
    set(0x2006000B, line.centroid_u);
    set(0x2006000C, line.area);
    set(0x2006000D, line.area_u);
    set(0x20060009, line.continuum);
    set(0x20060028, line.continuum_u);
    set(0x20060013, line.significance);
    writes_.set(0x20060040, region.marks | marksOf(region.fit, line), record_);
    writes_.set(0x20060048, line.added ? 1 : 0, record_);
    putRegion(region.fit, region_number);
    putQuality(region.fit, line);
    putLimits(line);
    putRate(line);
    if (context_.calibration.hasEnergy()) putEnergies(line);
  }

  void putUnfitted(const TableRegion& region, const LocatedLine& line, int region_number) {
    set(kLocated, line.position);
    set(0x2006000A, line.position);
    set(kLocatedSignificance, line.significance);
    if (context_.calibration.hasEnergy()) set(0x20060007, context_.calibration.energy(line.position));
    writes_.set(0x20060040, region.marks | kMarkNotFitted, record_);
    putRegion(region.fit, region_number);
  }

 private:
  void set(ULONG code, double value) { writes_.set(code, value, record_); }

  static int marksOf(const RegionFit& fit, const FittedLine& line) {
    constexpr unsigned kRegionBounds = kRegionWidthOnBound | kRegionTailOnBound | kRegionStepOnBound;
    constexpr unsigned kLineBounds = kLinePositionOnBound | kLineWidthOnBound | kLineAreaOnBound;
    int marks = fit.status == FitStatus::NotConverged ? kMarkNotConverged : 0;
    if ((fit.flags & kRegionBounds) != 0 || (line.flags & kLineBounds) != 0) marks |= kMarkOnBound;
    if ((fit.flags & kRegionSingular) != 0 || (line.flags & kLineSingular) != 0) marks |= kMarkSingular;
    return marks;
  }

  double locatedPosition(const TableRegion& region, const FittedLine& line) {
    const LocatedLine* const located =
        line.start >= 0 ? &region.located[static_cast<std::size_t>(line.start)] : nullptr;
    set(kLocatedSignificance, located != nullptr ? located->significance : 0);
    return located != nullptr ? located->position : line.centroid;
  }

  void putRegion(const RegionFit& fit, int number) {
    writes_.set(0x2006001E, static_cast<int>(fit.first_channel), record_);
    writes_.set(0x2006001F, static_cast<int>(fit.first_channel) + fit.channels - 1, record_);
    writes_.set(0x20060021, number, record_);
  }

  void putQuality(const RegionFit& fit, const FittedLine& line) {
    const double chi2 = fit.dof > 0 ? fit.chi2 / fit.dof : 0;
    set(0x20060010, chi2);
    writes_.set(0x20060041, fit.dof, record_);
    set(0x20060042, fit.cash);
    // Enlarged only where chi-square exceeds its expectation by more than its own scatter.
    const bool is_poor = fit.dof > 0 && chi2 > 1 + std::sqrt(2.0 / fit.dof);
    set(0x20060043, line.area_u * (is_poor ? std::sqrt(chi2) : 1));
    set(0x2006004A, fit.level_left);
    set(0x2006004B, fit.level_right);
    set(0x2006004C, fit.step_ratio);
    const double mean = (fit.level_left + fit.level_right) / 2;
    set(0x2006004D, mean > 0 ? (fit.level_middle - mean) / mean : 0);
  }

  /// Decision threshold y* = k u(0) and detection limit y# = y* + k u(y#) with u(y)^2 = u(0)^2 + y (ISO 11929).
  void putLimits(const FittedLine& line) {
    const double k = context_.quantile;
    set(0x20060033, k * line.area_u0);
    set(0x20060034, 2 * k * line.area_u0 + k * k);
  }

  void putRate(const FittedLine& line) {
    if (!(context_.live_s > 0)) return;
    set(0x20060031, line.area / context_.live_s);
    set(0x20060032, line.area_u / context_.live_s);
  }

  void putEnergies(const FittedLine& line) {
    const LineCalibration& calibration = context_.calibration;
    const double slope = calibration.slope(line.centroid);
    const double of_calibration = calibration.energyUnc(line.centroid);
    set(0x20060007, calibration.energy(line.centroid));
    set(0x20060008, std::hypot(slope * line.centroid_u, of_calibration));
    set(0x20060044, of_calibration);
    set(0x20060022, slope * line.tail);
    set(0x20060023, slope * line.tail_u);
    set(0x20060024, slope * line.fwhm);
    set(0x20060025, line.width_held ? 0.0 : slope * line.fwhm_u);
    if (!calibration.hasFwhm()) return;
    set(0x20060047, line.fwhm / calibration.fwhm(line.centroid));
    writes_.set(0x20060049, isBroad(line) ? 1 : 0, record_);
  }

  bool isBroad(const FittedLine& line) const {
    return line.start >= 0 && calibratedStart(context_.calibration, line.centroid, TailMode::Off).own_width;
  }

  PendingWrites& writes_;
  USHORT record_;
  const TableContext& context_;
};

/// The lines of one region that lie beside each other in the table share their covariances as entries.
void putCovariances(PendingWrites& writes, const RegionFit& fit, USHORT first_record) {
  const std::size_t n = fit.lines.size();
  for (std::size_t i = 0; i < n; ++i) {
    USHORT entry = 0;
    for (std::size_t j = 0; j < n; ++j) {
      if (i == j) continue;
      const auto record = static_cast<USHORT>(first_record + i);
      ++entry;
      writes.set(0x20060070, static_cast<int>(first_record + j), record, entry);
      writes.set(0x20060071, fit.area_covariance[i * n + j], record, entry);
    }
  }
}

bool hasNumbers(const RegionFit& fit) {
  return fit.status == FitStatus::Ok || fit.status == FitStatus::NotConverged;
}

}  // namespace

std::vector<LocatedLine> readLocatedLines(void* handle) {
  USHORT n = 0;
  const ULONG status = AioCount(handle, ORB_CLS_PEAKS, 0, kLocated, &n);
  require(status != AIO_NOBLOCK, ANA_NOPEAKTABLE);
  check(status);
  std::vector<LocatedLine> lines;
  for (USHORT record = 1; record <= n && record != 0; ++record) {
    const LocatedLine line{readDouble(handle, kLocated, 0, record),
                           readDouble(handle, kLocatedSignificance, 0, record)};
    if (std::isfinite(line.position) && line.position > 0) lines.push_back(line);
  }
  std::sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) { return a.position < b.position; });
  return lines;
}

void writeLocatedLines(void* handle, const std::vector<LocatedLine>& lines, const LineCalibration& calibration) {
  require(lines.size() <= AIO_MAX_RECORDS, ANA_BADSETTING);
  PendingWrites writes;
  USHORT record = 0;
  for (const LocatedLine& line : lines) {
    ++record;
    writes.set(kLocated, line.position, record);
    writes.set(kLocatedSignificance, line.significance, record);
    if (calibration.hasEnergy()) writes.set(0x20060007, calibration.energy(line.position), record);
  }
  writes.set(0x20060060, static_cast<int>(lines.size()));
  setProvenance(writes, "AA_2nd_Diff_Peak_Loc");
  clearTable(handle);
  writes.commit(handle);
}

void writeFittedLines(void* handle, const std::vector<TableRegion>& regions, const TableContext& context) {
  PendingWrites writes;
  std::size_t n = 0;
  int number = 0;
  for (const TableRegion& region : regions) {
    const std::size_t n_here = hasNumbers(region.fit) ? region.fit.lines.size() : region.located.size();
    if (n_here == 0) continue;
    require(n + n_here <= AIO_MAX_RECORDS, ANA_BADSETTING);
    ++number;
    for (std::size_t i = 0; i < n_here; ++i) {
      LineRecord record(writes, static_cast<USHORT>(n + i + 1), context);
      if (hasNumbers(region.fit))
        record.put(region, region.fit.lines[i], number);
      else
        record.putUnfitted(region, region.located[i], number);
    }
    if (hasNumbers(region.fit)) putCovariances(writes, region.fit, static_cast<USHORT>(n + 1));
    n += n_here;
  }
  writes.set(0x20060060, static_cast<int>(n));
  writes.set(0x20060061, number);
  setProvenance(writes, "lPANolin");
  clearTable(handle);
  writes.commit(handle);
}

}  // namespace anautils
