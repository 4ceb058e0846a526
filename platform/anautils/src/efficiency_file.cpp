#include "efficiency_file.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string_view>
#include <type_traits>

#include "failure.h"
#include "kernel/efficiency.h"

namespace anautils {

namespace {

// Parameters of class 0x2002 (docs/parameters.md).
constexpr ULONG kTime = ORB_X_EFFTIME;
constexpr ULONG kRange = ORB_D_EFFELOW;  // low and high
constexpr ULONG kCommonUncPercent = ORB_F_EFFCOMMONUNC;
constexpr ULONG kPoints = ORB_D_EFFPTENERGY;  // energy; value, uncertainty and exclusion follow
constexpr ULONG kExclusion = 4;               // counted from the energy
constexpr ULONG kResidual = ORB_D_EFFPTRESID;
constexpr ULONG kModel = ORB_T_EFFMODEL;
constexpr ULONG kDualCrossover = ORB_D_DUALCROSS;
constexpr ULONG kDualLowTerms = ORB_L_DUALLOWTERMS;
constexpr ULONG kDualHighTerms = ORB_L_DUALHIGHTERMS;
constexpr ULONG kDualLowChi2 = ORB_D_DUALLOWCHISQ;
constexpr ULONG kDualHighChi2 = ORB_D_DUALHIGHCHISQ;
constexpr ULONG kDualJumpPercent = ORB_D_DUALJUMP;
constexpr ULONG kDualLow = ORB_D_DUALLOW0;
constexpr ULONG kDualHigh = ORB_D_DUALHIGH0;
constexpr ULONG kDualLowCovariance = ORB_D_DUALLOWCOV00;
constexpr ULONG kDualHighCovariance = ORB_D_DUALHIGHCOV00;
constexpr ULONG kDualFree = ORB_L_DUALFREE;
constexpr ULONG kLinear = ORB_D_EFFLINOFF;
constexpr ULONG kLinearChi2 = ORB_D_EFFLINCHISQ;
constexpr ULONG kLinearCovariance = ORB_D_EFFLINCOV00;
constexpr ULONG kEmpiricalTerms = ORB_L_EMPTERMS;
constexpr ULONG kEmpiricalScale = ORB_D_EMPSCALE;
constexpr ULONG kEmpirical = ORB_D_EMP0;
constexpr ULONG kEmpiricalChi2 = ORB_D_EMPCHISQ;
constexpr ULONG kEmpiricalCovariance = ORB_D_EMPCOV00;
constexpr ULONG kAverage = ORB_D_EFFAVG;
constexpr ULONG kAverageUnc = ORB_D_EFFAVGUNC;

// And of class 0x2029, the peak-to-total curve.
constexpr ULONG kTotalTime = ORB_X_PTTIME;
constexpr ULONG kTotalRange = ORB_D_PTELOW;
constexpr ULONG kTotalPoints = ORB_D_PTPTENERGY;
constexpr ULONG kTotalTerms = ORB_L_PTTERMS;
constexpr ULONG kTotalChi2 = ORB_D_PTCHISQ;
constexpr ULONG kTotal = ORB_D_PT0;
constexpr ULONG kTotalCovariance = ORB_D_PTCOV00;

struct ModelWord {
  const char* word;
  USHORT model;
};
constexpr ModelWord kModelWords[] = {
    {"DUAL", ANA_EFF_DUAL},          {"LINEAR", ANA_EFF_LINEAR},
    {"EMPIRICA", ANA_EFF_EMPIRICAL}, {"INTERPOL", ANA_EFF_INTERPOLATED},
    {"AVERAGE", ANA_EFF_AVERAGE},    {"PTCAL", ANA_EFF_PEAK_TO_TOTAL},
};

bool isFinite(std::span<const double> values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

/// Reads coefficients and covariance and returns how many coefficients there are: up to the last that is not 0.
USHORT readCurve(void* handle, ULONG first, std::span<double> coefficients, ULONG covariance_first,
                 std::span<double> covariance) {
  readArray(handle, first, coefficients);
  readArray(handle, covariance_first, covariance);
  require(isFinite(coefficients) && isFinite(covariance), ANA_BADCAL);
  std::size_t n = coefficients.size();
  while (n > 0 && coefficients[n - 1] == 0) --n;
  return static_cast<USHORT>(n);
}

void readDual(void* handle, stEfDual_T& dual) {
  dual.dCrossover = readDouble(handle, kDualCrossover, 0.0);
  require(std::isfinite(dual.dCrossover) && dual.dCrossover >= 0, ANA_BADCAL);
  dual.usNofLow = readCurve(handle, kDualLow, dual.dLow, kDualLowCovariance, dual.dLowCov);
  dual.usNofHigh = readCurve(handle, kDualHigh, dual.dHigh, kDualHighCovariance, dual.dHighCov);
  require(dual.usNofHigh > 0 && (dual.usNofLow > 0 || dual.dCrossover == 0), ANA_NOEFFICIENCY);
}

void readEmpirical(void* handle, stEfEmp_T& emp) {
  emp.usNofC = readCurve(handle, kEmpirical, emp.dCoeff, kEmpiricalCovariance, emp.dCov);
  require(emp.usNofC > 0, ANA_NOEFFICIENCY);
  emp.dScale = readDouble(handle, kEmpiricalScale, 0.0);
  require(std::isfinite(emp.dScale) && emp.dScale > 0, ANA_BADCAL);
}

/// The file has the curve in powers of ln(E), the equation in powers of ln(1/E): odd powers change their sign.
void turnOddPowers(stEfEmp_T& emp) {
  constexpr std::size_t n = std::extent_v<decltype(emp.dCoeff)>;
  for (std::size_t i = 0; i < n; ++i) {
    if (i % 2 == 1) emp.dCoeff[i] = -emp.dCoeff[i];
    for (std::size_t j = i; j < n; ++j)
      if ((i + j) % 2 == 1) emp.dCov[triangleIndex(n, i, j)] = -emp.dCov[triangleIndex(n, i, j)];
  }
}

void readPeakToTotal(void* handle, stEfEmp_T& emp) {
  emp.usNofC = readCurve(handle, kTotal, emp.dCoeff, kTotalCovariance, emp.dCov);
  require(emp.usNofC > 0, ANA_NOEFFICIENCY);
  emp.dScale = 1.0;
  turnOddPowers(emp);
}

void readAverage(void* handle, stEfAvg_T& average) {
  average.dMean = readDouble(handle, kAverage, 0.0);
  average.dUnc = readDouble(handle, kAverageUnc, 0.0);
  require(average.dMean != 0, ANA_NOEFFICIENCY);
  require(std::isfinite(average.dMean) && average.dMean > 0 && std::isfinite(average.dUnc) && average.dUnc >= 0,
          ANA_BADCAL);
}

stEfRange_T readRange(void* handle, USHORT model) {
  double range[2];
  readArray(handle, model == ANA_EFF_PEAK_TO_TOTAL ? kTotalRange : kRange, range);
  require(isFinite(range), ANA_BADCAL);
  return {range[0], range[1], commonUncertainty(handle, model)};
}

void addDual(PendingWrites& results, const EfficiencyFit& fit) {
  const stEfDual_T& dual = fit.equation.u.sDual;
  results.setArray(kDualLow, dual.dLow);
  results.setArray(kDualHigh, dual.dHigh);
  results.setArray(kDualLowCovariance, dual.dLowCov);
  results.setArray(kDualHighCovariance, dual.dHighCov);
  results.set(kDualLowChi2, fit.reduced_chi2_low);
  results.set(kDualHighChi2, fit.reduced_chi2);
  results.set(kDualJumpPercent, 100.0 * fit.jump);
}

void addEmpirical(PendingWrites& results, const EfficiencyFit& fit) {
  results.setArray(kEmpirical, fit.equation.u.sEmp.dCoeff);
  results.setArray(kEmpiricalCovariance, fit.equation.u.sEmp.dCov);
  results.set(kEmpiricalScale, fit.equation.u.sEmp.dScale);
  results.set(kEmpiricalChi2, fit.reduced_chi2);
}

void addPeakToTotal(PendingWrites& results, const EfficiencyFit& fit) {
  stEfEmp_T emp = fit.equation.u.sEmp;
  turnOddPowers(emp);
  results.setArray(kTotal, emp.dCoeff);
  results.setArray(kTotalCovariance, emp.dCov);
  results.set(kTotalChi2, fit.reduced_chi2);
}

void addModel(PendingWrites& results, const EfficiencyFit& fit) {
  switch (fit.equation.usType) {
    case ANA_EFF_DUAL:
      return addDual(results, fit);
    case ANA_EFF_LINEAR:
      results.setArray(kLinear, fit.equation.u.sLinear.dCoeff);
      results.setArray(kLinearCovariance, fit.equation.u.sLinear.dCov);
      return results.set(kLinearChi2, fit.reduced_chi2);
    case ANA_EFF_EMPIRICAL:
      return addEmpirical(results, fit);
    case ANA_EFF_PEAK_TO_TOTAL:
      return addPeakToTotal(results, fit);
    case ANA_EFF_AVERAGE:
      results.set(kAverage, fit.equation.u.sAvg.dMean);
      return results.set(kAverageUnc, fit.equation.u.sAvg.dUnc);
    default:
      return;  // interpolation has no coefficients
  }
}

/// Differences ln(value) - ln(curve) at points; `used` are those between which an interpolation runs.
std::vector<double> differences(const EfficiencyFit& fit, const Points& points, const Points& used) {
  const Points between = interpolationPoints(used);
  const std::vector<REAL> energies(between.x.begin(), between.x.end());
  const std::vector<REAL> values(between.y.begin(), between.y.end());
  std::vector<double> result;
  for (std::size_t i = 0; i < points.size(); ++i)
    result.push_back(std::log(points.y[i]) - logEfficiencyAt(fit.equation, points.x[i], {energies, values}));
  return result;
}

}  // namespace

USHORT selectedModel(void* handle) {
  std::string text = readText(handle, kModel, "");
  text.erase(0, text.find_first_not_of(' '));
  text.erase(text.find_last_not_of(' ') + 1);
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  require(!text.empty(), ANA_NOEFFICIENCY);
  USHORT found = 0;
  for (const auto& [word, model] : kModelWords) {
    if (!std::string_view(word).starts_with(text)) continue;
    require(found == 0, ANA_UNKNOWNKIND);  // could be two
    found = model;
  }
  require(found != 0, ANA_UNKNOWNKIND);
  return found;
}

double commonUncertainty(void* handle, USHORT model) {
  if (model == ANA_EFF_PEAK_TO_TOTAL) return 0;
  const double percent = readDouble(handle, kCommonUncPercent, 0.0);
  require(std::isfinite(percent) && percent >= 0, ANA_BADSETTING);
  return percent / 100.0;
}

EfficiencyTable readEfficiencyPoints(void* handle, USHORT model) {
  const bool is_total = model == ANA_EFF_PEAK_TO_TOTAL;
  const ULONG first = is_total ? kTotalPoints : kPoints;
  EfficiencyTable table;
  const USHORT n = countRecords(handle, is_total ? ORB_CLS_PTCALIB : ORB_CLS_GEOM);
  for (USHORT record = 1; record != 0 && record <= n; ++record) {
    const double energy = readDouble(handle, first, 0.0, record);
    const double value = readDouble(handle, first + 1, 0.0, record);
    const double unc = readDouble(handle, first + 2, 0.0, record);
    if (energy == 0 && value == 0) continue;
    const bool is_used = readInt(handle, first + kExclusion, 0, record) == 0;
    const bool is_good =
        std::isfinite(energy) && energy > 0 && std::isfinite(value) && value > 0 && std::isfinite(unc) && unc >= 0;
    require(is_good || !is_used, ANA_BADPOINT);
    if (!is_good) continue;
    table.all.add(energy, value, unc);
    table.records.push_back(record);
    if (is_used) table.used.add(energy, value, unc);
    require(table.used.size() <= ANA_MAX_EFF_POINTS, ANA_TOOMANYPOINTS);
  }
  return table;
}

stEfEq_T readEfficiencyEquation(void* handle, USHORT model) {
  stEfEq_T equation{};
  equation.usType = model;
  switch (model) {
    case ANA_EFF_DUAL:
      readDual(handle, equation.u.sDual);
      break;
    case ANA_EFF_LINEAR:
      require(readCurve(handle, kLinear, equation.u.sLinear.dCoeff, kLinearCovariance, equation.u.sLinear.dCov) > 0,
              ANA_NOEFFICIENCY);
      break;
    case ANA_EFF_EMPIRICAL:
      readEmpirical(handle, equation.u.sEmp);
      break;
    case ANA_EFF_PEAK_TO_TOTAL:
      readPeakToTotal(handle, equation.u.sEmp);
      break;
    case ANA_EFF_AVERAGE:
      readAverage(handle, equation.u.sAvg);
      break;
    default:
      break;  // interpolated: the points are all
  }
  equation.u.sRange = readRange(handle, model);
  return equation;
}

EfficiencySettings readEfficiencySettings(void* handle, USHORT model) {
  const auto read_int = [&](ULONG code, int fallback, int low, int high) {
    const int value = readInt(handle, code, fallback);
    require(value >= low && value <= high, ANA_BADSETTING);
    return value;
  };
  const auto read_energy = [&](ULONG code) {
    const double value = readDouble(handle, code, 0.0);
    require(std::isfinite(value) && value >= 0, ANA_BADSETTING);
    return value;
  };
  EfficiencySettings settings;
  settings.common_unc = commonUncertainty(handle, model);
  if (model == ANA_EFF_DUAL) {
    settings.crossover = read_energy(kDualCrossover);
    settings.joined = read_int(kDualFree, 0, 0, 1) == 0;
    settings.low_terms = read_int(kDualLowTerms, settings.low_terms, 1, 4);
    settings.high_terms = read_int(kDualHighTerms, settings.high_terms, 1, 6);
  } else if (model == ANA_EFF_EMPIRICAL) {
    settings.scale = read_energy(kEmpiricalScale);
    settings.terms = read_int(kEmpiricalTerms, settings.terms, 1, 4);
  } else if (model == ANA_EFF_PEAK_TO_TOTAL) {
    settings.terms = read_int(kTotalTerms, settings.terms, 1, 4);
  }
  return settings;
}

void addEfficiencyFit(PendingWrites& results, const EfficiencyFit& fit) {
  const bool is_total = fit.equation.usType == ANA_EFF_PEAK_TO_TOTAL;
  addModel(results, fit);
  const stEfRange_T& range = fit.equation.u.sRange;
  const double ends[] = {range.dLow, range.dHigh};
  results.setArray(is_total ? kTotalRange : kRange, ends);
  results.set(is_total ? kTotalTime : kTime, presentTime());
}

void addEfficiencyResiduals(PendingWrites& results, const EfficiencyFit& fit, const EfficiencyTable& table) {
  if (fit.equation.usType == ANA_EFF_PEAK_TO_TOTAL) return;  // its points have none
  double sum_of_squares = 0;
  for (const double difference : differences(fit, table.used, table.used)) sum_of_squares += difference * difference;
  const double rms = std::sqrt(sum_of_squares / static_cast<double>(table.used.size()));
  const bool weighted = !table.used.sigmas().empty();
  const std::vector<double> all = differences(fit, table.all, table.used);
  for (std::size_t i = 0; i < all.size(); ++i) {
    const double unit = weighted && table.all.u[i] > 0 ? table.all.u[i] / table.all.y[i] : rms;
    results.set(kResidual, unit > 0 ? all[i] / unit : 0.0, table.records[i]);
  }
}

}  // namespace anautils
