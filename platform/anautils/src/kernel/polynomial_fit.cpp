#include "kernel/polynomial_fit.h"

#include <algorithm>
#include <cmath>

#include "failure.h"

namespace anautils {

namespace {

/// The variable in which a fit runs: z = (x - middle)/half.
struct Scaling {
  double middle = 0;
  double half = 1;

  static Scaling of(std::span<const double> x) {
    const auto [low, high] = std::minmax_element(x.begin(), x.end());
    const double half = 0.5 * (*high - *low);
    return {*low + half, half > 0 ? half : 1.0};
  }

  /// 1, z, z^2, ...
  Eigen::VectorXd powers(double x, int terms) const {
    Eigen::VectorXd row(terms);
    for (int j = 0; j < terms; ++j) row[j] = j == 0 ? 1.0 : row[j - 1] * ((x - middle) / half);
    return row;
  }

  /// Coefficients of the powers of x from those of z: column j holds the expansion of z^j.
  Eigen::MatrixXd toPowersOfX(int terms) const {
    Eigen::MatrixXd transform = Eigen::MatrixXd::Zero(terms, terms);
    transform(0, 0) = 1;
    for (int j = 1; j < terms; ++j)
      for (int i = 0; i <= j; ++i) {
        const double raised = i > 0 ? transform(i - 1, j - 1) : 0.0;
        transform(i, j) = (raised - middle * transform(i, j - 1)) / half;
      }
    return transform;
  }
};

LinearFit transformed(const LinearFit& fit, const Eigen::MatrixXd& transform) {
  LinearFit result = fit;
  result.coefficients = transform * fit.coefficients;
  result.covariance = transform * fit.covariance * transform.transpose();
  require(result.coefficients.allFinite() && result.covariance.allFinite(), ANA_SINGULAR);
  return result;
}

/// One of two blocks of a fit, in powers of x.
LinearFit block(const LinearFit& fit, Eigen::Index first, int terms, const Scaling& scaling) {
  LinearFit part = fit;
  part.coefficients = fit.coefficients.segment(first, terms);
  part.covariance = fit.covariance.block(first, first, terms, terms);
  return transformed(part, scaling.toPowersOfX(terms));
}

}  // namespace

int allowedTerms(std::span<const double> x, int asked) {
  std::vector<double> positions(x.begin(), x.end());
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  const int needed = std::min(asked, 2);
  require(static_cast<int>(x.size()) >= needed, ANA_TOOFEWPOINTS);
  const int different = static_cast<int>(positions.size());
  require(different >= needed, ANA_EQUALPOINTS);
  return std::min(asked, different);
}

LinearFit fitPolynomial(const Points& points, int terms) {
  require(points.size() > 0, ANA_TOOFEWPOINTS);
  const Scaling scaling = Scaling::of(points.x);
  Eigen::MatrixXd design(static_cast<Eigen::Index>(points.size()), terms);
  for (Eigen::Index i = 0; i < design.rows(); ++i)
    design.row(i) = scaling.powers(points.x[static_cast<std::size_t>(i)], terms);
  return transformed(fitLinear(design, points.y, points.sigmas()), scaling.toPowersOfX(terms));
}

JoinedFit fitJoinedPolynomials(const Points& points, double joint, int low_terms, int high_terms) {
  std::vector<double> low_x = {joint};
  std::vector<double> high_x = {joint};
  for (const double x : points.x) (x < joint ? low_x : high_x).push_back(x);
  const Scaling low = Scaling::of(low_x);
  const Scaling high = Scaling::of(high_x);

  const int terms = low_terms + high_terms;
  Eigen::MatrixXd design = Eigen::MatrixXd::Zero(static_cast<Eigen::Index>(points.size()), terms);
  for (Eigen::Index i = 0; i < design.rows(); ++i) {
    const double x = points.x[static_cast<std::size_t>(i)];
    if (x < joint)
      design.row(i).head(low_terms) = low.powers(x, low_terms);
    else
      design.row(i).tail(high_terms) = high.powers(x, high_terms);
  }
  Eigen::VectorXd constraint(terms);
  constraint << low.powers(joint, low_terms), -high.powers(joint, high_terms);
  const LinearFit fit = fitLinear(design, points.y, points.sigmas(), constraint);
  return {block(fit, 0, low_terms, low), block(fit, low_terms, high_terms, high)};
}

}  // namespace anautils
