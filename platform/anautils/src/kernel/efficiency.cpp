#include "kernel/efficiency.h"

#include <algorithm>
#include <cmath>

#include "failure.h"
#include "kernel/polynomial.h"

namespace anautils {

namespace {

/// ln(efficiency) as a polynomial, with the triangle of its covariance and the place at which it is wanted.
struct Curve {
  std::span<const double> coefficients;  // those in use
  std::span<const double> covariance;
  std::size_t n_all;  // the triangle is that of an n_all x n_all matrix
  double x;

  double value() const { return polynomialAt(coefficients, x); }

  double variance() const {
    double sum = 0;
    double power_i = 1;
    for (std::size_t i = 0; i < coefficients.size(); ++i, power_i *= x) {
      double power_j = power_i;
      for (std::size_t j = i; j < coefficients.size(); ++j, power_j *= x)
        sum += (i == j ? 1.0 : 2.0) * power_i * power_j * covariance[triangleIndex(n_all, i, j)];
    }
    return std::max(sum, 0.0);  // rounding can leave a little less than nothing
  }
};

Curve curveOf(std::span<const double> coefficients, std::size_t n_used, std::span<const double> covariance, double x) {
  require(n_used >= 1 && n_used <= coefficients.size(), ANA_BADCAL);
  return {coefficients.first(n_used), covariance, coefficients.size(), x};
}

Curve curveAt(const stEfEq_T& equation, double energy) {
  const double x = std::log(energy);
  switch (equation.usType) {
    case ANA_EFF_DUAL: {
      const stEfDual_T& dual = equation.u.sDual;
      if (energy < dual.dCrossover) return curveOf(dual.dLow, dual.usNofLow, dual.dLowCov, x);
      return curveOf(dual.dHigh, dual.usNofHigh, dual.dHighCov, x);
    }
    case ANA_EFF_LINEAR:
      return curveOf(equation.u.sLinear.dCoeff, 2, equation.u.sLinear.dCov, x);
    case ANA_EFF_EMPIRICAL:
    case ANA_EFF_PEAK_TO_TOTAL:
      require(equation.u.sEmp.dScale > 0, ANA_BADCAL);
      return curveOf(equation.u.sEmp.dCoeff, equation.u.sEmp.usNofC, equation.u.sEmp.dCov,
                     std::log(equation.u.sEmp.dScale) - x);
    default:
      throw Failure(ANA_UNKNOWNKIND);
  }
}

/// Two neighbouring points and the place of an energy between them: 0 at the lower, 1 at the upper one.
struct Segment {
  double low;
  double high;
  double t;
};

Segment segmentAt(double energy, const InterpolationPoints& points) {
  const std::size_t n = points.energies.size();
  require(n >= 2, ANA_TOOFEWPOINTS);
  std::size_t i = 0;
  while (i + 2 < n && energy >= points.energies[i + 1]) ++i;
  const double low = std::log(static_cast<double>(points.energies[i]));
  const double high = std::log(static_cast<double>(points.energies[i + 1]));
  return {points.values[i], points.values[i + 1], (std::log(energy) - low) / (high - low)};
}

/// Distance to the calibrated range in ln(E); 0 inside and where an end is not known.
double distanceToRange(const stEfRange_T& range, double energy) {
  if (range.dLow > 0 && energy < range.dLow) return std::log(range.dLow / energy);
  if (range.dHigh > 0 && energy > range.dHigh) return std::log(energy / range.dHigh);
  return 0;
}

double fitVariance(const stEfEq_T& equation, double energy, const InterpolationPoints& relative) {
  if (equation.usType == ANA_EFF_AVERAGE) return std::pow(equation.u.sAvg.dUnc / equation.u.sAvg.dMean, 2);
  if (equation.usType != ANA_EFF_INTERPOLATED) return curveAt(equation, energy).variance();
  const Segment segment = segmentAt(energy, relative);
  return std::pow((1 - segment.t) * segment.low, 2) + std::pow(segment.t * segment.high, 2);
}

}  // namespace

double logEfficiencyAt(const stEfEq_T& equation, double energy, const InterpolationPoints& efficiencies) {
  if (equation.usType == ANA_EFF_AVERAGE) return std::log(equation.u.sAvg.dMean);
  if (equation.usType != ANA_EFF_INTERPOLATED) return curveAt(equation, energy).value();
  const Segment segment = segmentAt(energy, efficiencies);
  return (1 - segment.t) * std::log(segment.low) + segment.t * std::log(segment.high);
}

double efficiencyAt(const stEfEq_T& equation, double energy, const InterpolationPoints& efficiencies) {
  const double efficiency = std::exp(logEfficiencyAt(equation, energy, efficiencies));
  require(std::isfinite(efficiency) && efficiency > 0, ANA_BADCAL);
  return efficiency;
}

double relativeUncertaintyAt(const stEfEq_T& equation, double energy, const InterpolationPoints& relative) {
  const stEfRange_T& range = equation.u.sRange;
  const double outside = kExtrapolationUncertainty * distanceToRange(range, energy);
  const double uncertainty =
      std::sqrt(fitVariance(equation, energy, relative) + std::pow(range.dCommonUnc, 2) + std::pow(outside, 2));
  require(std::isfinite(uncertainty), ANA_BADCAL);
  return uncertainty;
}

}  // namespace anautils
