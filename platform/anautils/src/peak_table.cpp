#include "peak_table.h"

#include <algorithm>
#include <cmath>

#include "comdefs.h"
#include "failure.h"
#include "file_values.h"
#include "region_lines.h"

namespace anautils {

namespace {

constexpr ULONG kLocated = ORB_D_PKLOCATED;
constexpr ULONG kLocatedSignificance = ORB_D_PKLOCSIGNIF;

/// Takes the records and what was derived from them away; header values, the caller's settings, stay.
void clearTable(void* handle) {
  for (USHORT n = countRecords(handle, ORB_CLS_PEAKS); n > 0; --n) check(AioDelete(handle, ORB_CLS_PEAKS, n, 0));
  check(AioDeleteLevel(handle, AIO_LEVEL_NUCLIDES));
}

/// What engines said of a former table does not hold for this one.
void setProvenance(PendingWrites& writes, void* handle, const char* routine) {
  writes.set(ORB_T_PKENGINE, std::string(routine));
  writes.set(ORB_T_PKVERSION, std::string(ANAUTILS_VERSION));
  writes.set(ORB_X_PKTIME, presentTime());
  for (const ULONG text : {ORB_T_PKSETTINGS, ORB_T_PKEFFENGINE, ORB_T_PKEFFVERSION, ORB_T_PKEFFSETTINGS})
    if (!readText(handle, text, "").empty()) writes.set(text, std::string());
}

/// One fitted line into one record.
class LineRecord {
 public:
  LineRecord(PendingWrites& writes, USHORT record, const TableContext& context)
      : writes_(writes), record_(record), context_(context) {}

  void put(const TableRegion& region, const FittedLine& line, int region_number) {
    set(kLocated, locatedPosition(region, line));
    set(ORB_D_PKCENTROID, line.centroid);
    set(ORB_D_PKCENTROIDUNC, line.centroid_u);
    set(ORB_D_PKAREA, line.area);
    set(ORB_D_PKAREAUNC, line.area_u);
    set(ORB_D_PKCONT, line.continuum);
    set(ORB_D_PKCONTUNC, line.continuum_u);
    set(ORB_D_PKSIGNIF, line.significance);
    writes_.set(ORB_L_PKSTATUS, region.marks | marksOf(region.fit, line), record_);
    writes_.set(ORB_B_PKADDED, line.added ? 1 : 0, record_);
    putRegion(region.fit, region_number);
    putQuality(region.fit, line);
    putLimits(line);
    putRate(line);
    if (context_.calibration.hasEnergy()) putEnergies(line);
  }

  void putUnfitted(const TableRegion& region, const LocatedLine& line, int region_number) {
    set(kLocated, line.position);
    set(ORB_D_PKCENTROID, line.position);
    set(kLocatedSignificance, line.significance);
    if (context_.calibration.hasEnergy()) set(ORB_D_PKENERGY, context_.calibration.energy(line.position));
    writes_.set(ORB_L_PKSTATUS, region.marks | kMarkNotFitted, record_);
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
    writes_.set(ORB_L_PKFIRST, static_cast<int>(fit.first_channel), record_);
    writes_.set(ORB_L_PKLAST, static_cast<int>(fit.first_channel) + fit.channels - 1, record_);
    writes_.set(ORB_L_PKREGION, number, record_);
  }

  void putQuality(const RegionFit& fit, const FittedLine& line) {
    const double chi2 = fit.dof > 0 ? fit.chi2 / fit.dof : 0;
    set(ORB_D_PKCHISQ, chi2);
    writes_.set(ORB_L_PKDOF, fit.dof, record_);
    set(ORB_D_PKCASH, fit.cash);
    // Enlarged only where chi-square exceeds its expectation by more than its own scatter.
    const bool is_poor = fit.dof > 0 && chi2 > 1 + std::sqrt(2.0 / fit.dof);
    set(ORB_D_PKAREAUNCSC, line.area_u * (is_poor ? std::sqrt(chi2) : 1));
    set(ORB_D_PKLEVELLEFT, fit.level_left);
    set(ORB_D_PKLEVELRIGHT, fit.level_right);
    set(ORB_D_PKSTEPRATIO, fit.step_ratio);
    const double mean = (fit.level_left + fit.level_right) / 2;
    set(ORB_D_PKCURVATURE, mean > 0 ? (fit.level_middle - mean) / mean : 0);
  }

  /// Decision threshold y* = k u(0) and detection limit y# = y* + k u(y#) with u(y)^2 = u(0)^2 + y (ISO 11929).
  void putLimits(const FittedLine& line) {
    const double k = context_.quantile;
    set(ORB_D_PKTHRESHOLD, k * line.area_u0);
    set(ORB_D_PKLIMIT, 2 * k * line.area_u0 + k * k);
  }

  void putRate(const FittedLine& line) {
    if (!(context_.live_s > 0)) return;
    set(ORB_D_PKRATE, line.area / context_.live_s);
    set(ORB_D_PKRATEUNC, line.area_u / context_.live_s);
  }

  void putEnergies(const FittedLine& line) {
    const LineCalibration& calibration = context_.calibration;
    const double slope = calibration.slope(line.centroid);
    const double of_calibration = calibration.energyUnc(line.centroid);
    set(ORB_D_PKENERGY, calibration.energy(line.centroid));
    set(ORB_D_PKENERGYUNC, std::hypot(slope * line.centroid_u, of_calibration));
    set(ORB_D_PKENERGYCAL, of_calibration);
    set(ORB_D_PKTAIL, slope * line.tail);
    set(ORB_D_PKTAILUNC, slope * line.tail_u);
    set(ORB_D_PKFWHM, slope * line.fwhm);
    set(ORB_D_PKFWHMUNC, line.width_held ? 0.0 : slope * line.fwhm_u);
    if (!calibration.hasFwhm()) return;
    set(ORB_D_PKWIDTHFACT, line.fwhm / calibration.fwhm(line.centroid));
    writes_.set(ORB_B_PKBROAD, isBroad(line) ? 1 : 0, record_);
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
      writes.set(ORB_L_PKCOVLINE, static_cast<int>(first_record + j), record, entry);
      writes.set(ORB_D_PKCOVAREA, fit.area_covariance[i * n + j], record, entry);
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
    if (calibration.hasEnergy()) writes.set(ORB_D_PKENERGY, calibration.energy(line.position), record);
  }
  writes.set(ORB_L_PKNLINES, static_cast<int>(lines.size()));
  setProvenance(writes, handle, "AA_2nd_Diff_Peak_Loc");
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
  writes.set(ORB_L_PKNLINES, static_cast<int>(n));
  writes.set(ORB_L_PKNREGIONS, number);
  setProvenance(writes, handle, "lPANolin");
  clearTable(handle);
  writes.commit(handle);
}

}  // namespace anautils
