#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>

#include "anautils.h"
#include "file_values.h"
#include "guard.h"
#include "kernel/calibration_fit.h"
#include "kernel/polynomial.h"

namespace anautils {

namespace {

constexpr int kFitEnergy = 1;
constexpr int kFitFwhm = 2;
constexpr int kFitTail = 4;

struct Settings {
  int flags = 0;
  int terms = 0;
  bool fitsEnergy() const { return (flags & kFitEnergy) != 0 && terms >= 1; }
};

/// What is to be fitted; fails with ANA_BADSETTING for what cannot be.
Settings readSettings(void* handle) {
  const auto is_type = [&](ULONG code, const std::string& word) {
    std::string type = readText(handle, code, word);
    std::transform(type.begin(), type.end(), type.begin(), [](unsigned char c) { return std::toupper(c); });
    return type == word;
  };
  Settings settings{readInt(handle, ORB_L_CALFLAGS, 0), readInt(handle, ORB_L_ECALTERMS, 2)};
  require(settings.flags >= 0 && settings.flags <= (kFitEnergy | kFitFwhm | kFitTail), ANA_BADSETTING);
  require(settings.terms <= 4 && is_type(ORB_T_ECALTYPE, "POLY") && is_type(ORB_T_FWHMTYPE, "SQRT"), ANA_BADSETTING);
  return settings;
}

/// The points of a table, and of every one the record it stands in and whether it takes part in the fit.
struct PointTable {
  Points all;
  std::vector<USHORT> records;
  Points used;

  void add(USHORT record, double x, double y, double u, bool takes_part) {
    require(!takes_part || (isPlausible(x) && isPlausible(y) && isPlausible(u)), ANA_BADPOINT);
    all.add(x, y, u);
    records.push_back(record);
    if (takes_part) used.add(x, y, u);
  }
  /// Writes value - curve(position) to every point that has a position and a value.
  template <typename Curve>
  void setResiduals(PendingWrites& results, ULONG code, Curve&& curve) const {
    for (std::size_t i = 0; i < all.size(); ++i)
      if (isPlausible(all.x[i]) && isPlausible(all.y[i])) results.set(code, all.y[i] - curve(all.x[i]), records[i]);
  }

 private:
  static bool isPlausible(double value) { return std::isfinite(value) && value >= 0; }
};

PointTable readEnergyPoints(void* handle) {
  PointTable table;
  const USHORT n = countRecords(handle, ORB_CLS_CALRESULTS);
  for (USHORT record = 1; record != 0 && record <= n; ++record) {
    const double channel = readDouble(handle, ORB_D_CRCHANNEL, 0.0, record);
    const double energy = readDouble(handle, ORB_D_CRENERGY, 0.0, record);
    if (channel == 0 && energy == 0) continue;
    const bool takes_part = readInt(handle, ORB_L_CREXCLUDED, 0, record) == 0;
    table.add(record, channel, energy, readDouble(handle, ORB_D_CRENERGYUNC, 0.0, record), takes_part);
  }
  return table;
}

/// The points of one of the two shape curves: records without an energy or without that value are passed over.
PointTable readShapePoints(void* handle, ULONG value_code) {
  PointTable table;
  const USHORT n = countRecords(handle, ORB_CLS_SHAPECALRES);
  for (USHORT record = 1; record != 0 && record <= n; ++record) {
    const double energy = readDouble(handle, ORB_D_SRENERGY, 0.0, record);
    const double value = readDouble(handle, value_code, 0.0, record);
    if (energy == 0 || value == 0) continue;
    const bool takes_part = readInt(handle, ORB_L_SRSTATUS, 0, record) == 0;
    table.add(record, energy, value, readDouble(handle, value_code + 1, 0.0, record), takes_part);
  }
  return table;
}

double channelsOf(void* handle) {
  const ULONG channels = countChannels(handle);
  return channels > 0 ? channels : readDouble(handle, ORB_L_CHANNELS, 0.0);
}

void setProvenance(PendingWrites& results, ULONG first_code, double now, const Settings& settings) {
  results.set(first_code, std::string("lEncal2"));
  results.set(first_code + 1, std::string(ANAUTILS_VERSION));
  results.set(first_code + 2, now);
  results.set(first_code + 3,
              "flags=" + std::to_string(settings.flags) + "\nterms=" + std::to_string(settings.terms) + "\n");
}

void addEnergyFit(void* handle, const Settings& settings, PendingWrites& results) {
  const PointTable table = readEnergyPoints(handle);
  const double kept_offset = readDouble(handle, ORB_D_ECALOFFSET, 0.0);
  require(settings.terms > 1 || std::isfinite(kept_offset), ANA_BADCAL);
  const EnergyFit fit = fitEnergy(table.used, settings.terms, kept_offset, channelsOf(handle));
  results.setArray(ORB_D_ECALOFFSET, fit.coefficients);
  ULONG covariance_code = ORB_D_ECALCOV00;
  for (int i = 0; i < 4; ++i)
    for (int j = i; j < 4; ++j) results.set(covariance_code++, fit.covariance(i, j));
  results.set(ORB_D_ECALCHISQ, fit.reduced_chi2);
  results.set(ORB_L_ECALDOF, fit.dof);
  results.set(ORB_D_ECALFIRST, fit.first);
  results.set(ORB_D_ECALLAST, fit.last);
  table.setResiduals(results, ORB_D_CRRESID, [&](double x) { return polynomialAt(fit.coefficients, x); });
}

/// Where a curve of the shape goes.
struct CurveCodes {
  ULONG offset, slope, covariance, chi2, dof, range, points;
};
constexpr CurveCodes kFwhmCodes = {ORB_D_FWHMOFF, ORB_D_FWHMSLOPE, ORB_D_FWHMCOV00, ORB_D_FWHMCHISQ,
                                   ORB_L_FWHMDOF, ORB_D_FWHMELOW,  ORB_L_FWHMPOINTS};
constexpr CurveCodes kTailCodes = {ORB_D_TAILOFF, ORB_D_TAILSLOPE, ORB_D_TAILCOV00, ORB_D_TAILCHISQ,
                                   ORB_L_TAILDOF, ORB_D_TAILELOW,  ORB_L_TAILPOINTS};

void addCurve(PendingWrites& results, const CurveCodes& codes, const CurveFit& fit) {
  results.set(codes.offset, fit.offset);
  results.set(codes.slope, fit.slope);
  results.setArray(codes.covariance, fit.covariance);
  results.set(codes.chi2, fit.reduced_chi2);
  results.set(codes.dof, fit.dof);
  results.setArray(codes.range, std::array{fit.low, fit.high});
  results.set(codes.points, fit.n_points);
}

void addFwhmFit(void* handle, PendingWrites& results) {
  const PointTable table = readShapePoints(handle, ORB_D_SRFWHM);
  const CurveFit fit = fitFwhm(table.used);
  addCurve(results, kFwhmCodes, fit);
  results.set(ORB_D_FWHMSCATTER, 100.0 * fwhmScatter(table.used, fit));
  table.setResiduals(results, ORB_D_SRFWHMRESID,
                     [&](double energy) { return fit.offset + fit.slope * std::sqrt(energy); });
}

void addTailFit(void* handle, PendingWrites& results) {
  const PointTable table = readShapePoints(handle, ORB_D_SRTAIL);
  const CurveFit fit = fitTail(table.used);
  addCurve(results, kTailCodes, fit);
  table.setResiduals(results, ORB_D_SRTAILRESID, [&](double energy) { return fit.offset + fit.slope * energy; });
}

/// All fits first, then all writes: a fit that fails leaves the file as it was.
void fitCalibrations(void* handle) {
  const Settings settings = readSettings(handle);
  const double now = presentTime();
  PendingWrites results;
  if (settings.fitsEnergy()) {
    addEnergyFit(handle, settings, results);
    results.set(ORB_X_ECALTIME, now);
    setProvenance(results, ORB_T_ECENGINE, now, settings);
  }
  if ((settings.flags & kFitFwhm) != 0) addFwhmFit(handle, results);
  if ((settings.flags & kFitTail) != 0) addTailFit(handle, results);
  if ((settings.flags & (kFitFwhm | kFitTail)) != 0) {
    results.set(ORB_X_SCALTIME, now);
    setProvenance(results, ORB_T_SCENGINE, now, settings);
  }
  results.commit(handle);
}

}  // namespace

}  // namespace anautils

LONG lEncal2(void* handle, SHORT set, void* reserved1, void* reserved2) {
  return anautils::guarded([&] {
    anautils::require(set == 1 && reserved1 == nullptr && reserved2 == nullptr, ANA_BADARG);
    anautils::fitCalibrations(handle);
  });
}
