#include "kernel/efficiency_fit.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

#include "failure.h"
#include "kernel/efficiency.h"
#include "kernel/polynomial.h"
#include "kernel/polynomial_fit.h"

namespace anautils {

namespace {

Points inLogarithms(const Points& points) {
  Points result;
  for (std::size_t i = 0; i < points.size(); ++i)
    result.add(std::log(points.x[i]), std::log(points.y[i]), points.u[i] / points.y[i]);
  return result;
}

/// Copies a fit to an equation; coefficients and covariances that the fit did not have stay 0.
template <std::size_t N, std::size_t M>
void store(const LinearFit& fit, double (&coefficients)[N], double (&covariance)[M]) {
  static_assert(M == N * (N + 1) / 2);
  for (Eigen::Index i = 0; i < fit.coefficients.size(); ++i) {
    const auto row = static_cast<std::size_t>(i);
    coefficients[row] = fit.coefficients[i];
    for (Eigen::Index j = i; j < fit.coefficients.size(); ++j)
      covariance[triangleIndex(N, row, static_cast<std::size_t>(j))] = fit.covariance(i, j);
  }
}

USHORT numberOfTerms(const LinearFit& fit) {
  return static_cast<USHORT>(fit.coefficients.size());
}

template <typename Condition>
Points selected(const Points& points, Condition&& condition) {
  Points result;
  for (std::size_t i = 0; i < points.size(); ++i)
    if (condition(points.x[i])) result.add(points.x[i], points.y[i], points.u[i]);
  return result;
}

void storeDual(const JoinedFit& both, double crossover, EfficiencyFit& result) {
  stEfDual_T& dual = result.equation.u.sDual;
  dual.dCrossover = crossover;
  dual.usNofLow = numberOfTerms(both.low);
  dual.usNofHigh = numberOfTerms(both.high);
  store(both.low, dual.dLow, dual.dLowCov);
  store(both.high, dual.dHigh, dual.dHighCov);
  result.reduced_chi2_low = both.low.reducedChi2();
  result.reduced_chi2 = both.high.reducedChi2();
}

void fitDual(const Points& logarithms, const EfficiencySettings& settings, EfficiencyFit& result) {
  if (settings.crossover == 0) {
    const int terms = allowedTerms(logarithms.x, settings.high_terms);
    JoinedFit high_only;
    high_only.high = fitPolynomial(logarithms, terms);
    storeDual(high_only, 0.0, result);
    return;
  }
  const double joint = std::log(settings.crossover);
  const Points low = selected(logarithms, [&](double x) { return x <= joint; });
  const Points high = selected(logarithms, [&](double x) { return x >= joint; });
  const int low_terms = allowedTerms(low.x, settings.low_terms);
  const int high_terms = allowedTerms(high.x, settings.high_terms);
  if (settings.joined) {
    storeDual(fitJoinedPolynomials(logarithms, joint, low_terms, high_terms), settings.crossover, result);
    return;
  }
  storeDual({fitPolynomial(low, low_terms), fitPolynomial(high, high_terms)}, settings.crossover, result);
  const stEfDual_T& dual = result.equation.u.sDual;
  result.jump = std::expm1(polynomialAt(dual.dHigh, joint) - polynomialAt(dual.dLow, joint));
}

void fitLinearModel(const Points& logarithms, EfficiencyFit& result) {
  const LinearFit fit = fitPolynomial(logarithms, allowedTerms(logarithms.x, 2));
  store(fit, result.equation.u.sLinear.dCoeff, result.equation.u.sLinear.dCov);
  result.reduced_chi2 = fit.reducedChi2();
}

/// A polynomial in ln(scale/E).
void fitEmpirical(const Points& logarithms, double scale, int terms, EfficiencyFit& result) {
  Points scaled = logarithms;
  for (double& x : scaled.x) x = std::log(scale) - x;
  const LinearFit fit = fitPolynomial(scaled, allowedTerms(scaled.x, terms));
  stEfEmp_T& emp = result.equation.u.sEmp;
  emp.dScale = scale;
  emp.usNofC = numberOfTerms(fit);
  store(fit, emp.dCoeff, emp.dCov);
  result.reduced_chi2 = fit.reducedChi2();
}

struct Average {
  double mean = 0;
  double uncertainty = 0;
  double reduced_chi2 = 0;
};

Average averageOf(std::span<const double> values, const std::vector<double>& sigmas) {
  const auto weight = [&](std::size_t i) { return sigmas.empty() ? 1.0 : 1.0 / (sigmas[i] * sigmas[i]); };
  double sum_w = 0;
  double sum_wy = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    sum_w += weight(i);
    sum_wy += weight(i) * values[i];
  }
  Average average;
  average.mean = sum_wy / sum_w;
  double chi2 = 0;
  for (std::size_t i = 0; i < values.size(); ++i) chi2 += weight(i) * std::pow(values[i] - average.mean, 2);
  if (values.size() > 1) average.reduced_chi2 = chi2 / static_cast<double>(values.size() - 1);
  const double birge = sigmas.empty() ? average.reduced_chi2 : std::max(1.0, average.reduced_chi2);
  average.uncertainty = std::sqrt(birge / sum_w);
  require(std::isfinite(average.mean) && std::isfinite(average.uncertainty), ANA_SINGULAR);
  return average;
}

void fitAverage(const Points& points, EfficiencyFit& result) {
  const Average average = averageOf(points.y, points.sigmas());
  result.equation.u.sAvg.dMean = average.mean;
  result.equation.u.sAvg.dUnc = average.uncertainty;
  result.reduced_chi2 = average.reduced_chi2;
}

}  // namespace

EfficiencyFit fitEfficiency(USHORT model, const Points& points, const EfficiencySettings& settings) {
  require(points.size() > 0, ANA_TOOFEWPOINTS);
  const auto [low, high] = std::minmax_element(points.x.begin(), points.x.end());
  EfficiencyFit result;
  result.equation.usType = model;
  const Points logarithms = inLogarithms(points);
  switch (model) {
    case ANA_EFF_DUAL:
      fitDual(logarithms, settings, result);
      break;
    case ANA_EFF_LINEAR:
      fitLinearModel(logarithms, result);
      break;
    case ANA_EFF_EMPIRICAL:
      fitEmpirical(logarithms, settings.scale > 0 ? settings.scale : std::sqrt(*low) * std::sqrt(*high), settings.terms,
                   result);
      break;
    case ANA_EFF_PEAK_TO_TOTAL:
      fitEmpirical(logarithms, 1.0, settings.terms, result);
      break;
    case ANA_EFF_AVERAGE:
      fitAverage(points, result);
      break;
    case ANA_EFF_INTERPOLATED:
      allowedTerms(points.x, 2);
      break;
    default:
      throw Failure(ANA_UNKNOWNKIND);
  }
  result.equation.u.sRange = {*low, *high, settings.common_unc};
  return result;
}

Points sortedByEnergy(const Points& points) {
  std::vector<std::size_t> order(points.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return points.x[a] < points.x[b]; });
  Points result;
  for (const std::size_t i : order) result.add(points.x[i], points.y[i], points.u[i]);
  return result;
}

Points interpolationPoints(const Points& unsorted) {
  Points points = sortedByEnergy(unsorted);
  for (double& energy : points.x) energy = static_cast<REAL>(energy);
  Points result;
  for (std::size_t first = 0; first < points.size();) {
    Points same;
    while (first < points.size() && (same.size() == 0 || points.x[first] == same.x[0])) {
      same.add(points.x[first], points.y[first], points.u[first]);
      ++first;
    }
    const Average average = averageOf(same.y, same.sigmas());
    result.add(same.x[0], average.mean, average.uncertainty);
  }
  return result;
}

}  // namespace anautils
