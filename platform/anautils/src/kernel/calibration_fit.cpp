#include "kernel/calibration_fit.h"

#include <algorithm>
#include <cmath>

#include "failure.h"
#include "kernel/polynomial.h"
#include "kernel/polynomial_fit.h"

namespace anautils {

namespace {

constexpr double kLeastFwhmUncertainty = 0.005;  // relative
constexpr double kLeastTailUncertainty = 0.05;

/// A straight line through the origin. The only coefficient is that of x.
LinearFit fitGain(const Points& points, double offset) {
  Eigen::MatrixXd design(static_cast<Eigen::Index>(points.size()), 1);
  std::vector<double> above_offset;
  for (std::size_t i = 0; i < points.size(); ++i) {
    design(static_cast<Eigen::Index>(i), 0) = points.x[i];
    above_offset.push_back(points.y[i] - offset);
  }
  return fitLinear(design, above_offset, points.sigmas());
}

Points withLeastUncertainty(const Points& points, double least) {
  Points result = points;
  for (std::size_t i = 0; i < points.size(); ++i)
    if (points.u[i] > 0) result.u[i] = std::max(points.u[i], least * points.y[i]);
  return result;
}

CurveFit fitLine(const Points& points) {
  const int terms = allowedTerms(points.x, 2);
  const LinearFit fit = fitPolynomial(points, terms);
  CurveFit curve;
  curve.offset = fit.coefficients[0];
  curve.slope = fit.coefficients[1];
  curve.covariance = {fit.covariance(0, 0), fit.covariance(0, 1), fit.covariance(1, 1)};
  curve.reduced_chi2 = fit.reducedChi2();
  curve.dof = fit.dof;
  curve.n_points = static_cast<int>(points.size());
  return curve;
}

void setRange(const Points& points, double& low, double& high) {
  const auto [least, greatest] = std::minmax_element(points.x.begin(), points.x.end());
  low = *least;
  high = *greatest;
}

}  // namespace

EnergyFit fitEnergy(const Points& points, int terms, double kept_offset, double channels) {
  const int used = allowedTerms(points.x, terms);
  const bool gain_only = terms == 1;
  const LinearFit fit = gain_only ? fitGain(points, kept_offset) : fitPolynomial(points, used);
  const int first_term = gain_only ? 1 : 0;
  EnergyFit result;
  if (gain_only) result.coefficients[0] = kept_offset;
  for (int i = 0; i < used; ++i) {
    const auto place = static_cast<std::size_t>(first_term + i);
    result.coefficients[place] = fit.coefficients[i];
  }
  result.covariance.block(first_term, first_term, used, used) = fit.covariance;
  result.reduced_chi2 = fit.reducedChi2();
  result.dof = fit.dof;
  setRange(points, result.first, result.last);
  const double low = channels > 0 ? std::min(1.0, result.first) : result.first;
  require(risesBetween(result.coefficients, low, std::max(channels, result.last)), ANA_NOTRISING);
  return result;
}

CurveFit fitFwhm(const Points& points) {
  Points scaled = withLeastUncertainty(points, kLeastFwhmUncertainty);
  for (double& x : scaled.x) x = std::sqrt(x);
  CurveFit curve = fitLine(scaled);
  setRange(points, curve.low, curve.high);
  require(curve.slope > 0 && curve.offset + curve.slope * std::sqrt(curve.low) > 0, ANA_BADCAL);
  return curve;
}

double fwhmScatter(const Points& points, const CurveFit& fit) {
  if (fit.dof == 0) return 0;
  const bool weighted = !points.sigmas().empty();
  const auto chi2 = [&](double scatter, bool with_uncertainties) {
    double sum = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      const double width = fit.offset + fit.slope * std::sqrt(points.x[i]);
      const double sigma = std::hypot(with_uncertainties ? points.u[i] : 0.0, scatter * width);
      sum += std::pow((points.y[i] - width) / sigma, 2);
    }
    return sum;
  };
  double high = std::sqrt(chi2(1.0, false) / fit.dof);  // the whole scatter
  if (!weighted) return high;
  if (chi2(0.0, true) <= fit.dof) return 0;
  double low = 0;
  for (int i = 0; i < 60; ++i) {
    const double middle = 0.5 * (low + high);
    (chi2(middle, true) > fit.dof ? low : high) = middle;
  }
  return 0.5 * (low + high);
}

CurveFit fitTail(const Points& points) {
  CurveFit curve = fitLine(withLeastUncertainty(points, kLeastTailUncertainty));
  setRange(points, curve.low, curve.high);
  return curve;
}

}  // namespace anautils
