#pragma once
#include <Eigen/Core>
#include <span>

namespace anautils {

/// Result of a fit that is linear in its coefficients.
struct LinearFit {
  Eigen::VectorXd coefficients;
  Eigen::MatrixXd covariance;
  double chi2 = 0;  ///< without uncertainties: the sum of the squared residuals
  int dof = 0;

  double reducedChi2() const { return dof > 0 ? chi2 / dof : 0.0; }
};

/// Weighted least squares by QR decomposition with column pivoting (Golub 1965).
///
/// The covariance is that of the given uncertainties as long as chi-square agrees with them; when the reduced
/// chi-square exceeds 1 by more than twice its own scatter, sqrt(2/dof), the covariance is multiplied by it. Without
/// uncertainties it always is; when there is no degree of freedom either, nothing is known and the covariance is 0.
/// @param design  a row for each value
/// @param sigmas  standard uncertainties, all positive; empty: all values weigh alike
/// Fails with ANA_TOOFEWPOINTS (fewer values than coefficients) and ANA_SINGULAR.
LinearFit fitLinear(const Eigen::MatrixXd& design, std::span<const double> values, std::span<const double> sigmas);

/// As fitLinear, among the coefficients whose product with `constraint` is 0: the fit runs in the null space of the
/// constraint, from which coefficients and covariance are carried back.
LinearFit fitLinear(const Eigen::MatrixXd& design, std::span<const double> values, std::span<const double> sigmas,
                    const Eigen::VectorXd& constraint);

}  // namespace anautils
