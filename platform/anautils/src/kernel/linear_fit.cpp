#include "kernel/linear_fit.h"

#include <Eigen/QR>
#include <cmath>

#include "failure.h"

namespace anautils {

namespace {

double varianceScale(const LinearFit& fit, bool weighted) {
  if (!weighted) return fit.reducedChi2();
  if (fit.dof == 0) return 1.0;
  const double acceptable = 1.0 + 2.0 * std::sqrt(2.0 / fit.dof);
  return fit.reducedChi2() > acceptable ? fit.reducedChi2() : 1.0;
}

}  // namespace

LinearFit fitLinear(const Eigen::MatrixXd& design, std::span<const double> values, std::span<const double> sigmas) {
  const Eigen::Index n = design.rows();
  const Eigen::Index k = design.cols();
  require(n >= k && k > 0, ANA_TOOFEWPOINTS);
  Eigen::VectorXd weights = Eigen::VectorXd::Ones(n);
  if (!sigmas.empty()) weights = Eigen::Map<const Eigen::VectorXd>(sigmas.data(), n).cwiseInverse();
  const Eigen::MatrixXd a = weights.asDiagonal() * design;
  const Eigen::VectorXd b = weights.cwiseProduct(Eigen::Map<const Eigen::VectorXd>(values.data(), n));
  require(a.allFinite() && b.allFinite(), ANA_SINGULAR);

  const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(a);
  require(qr.rank() == k, ANA_SINGULAR);
  LinearFit fit;
  fit.coefficients = qr.solve(b);
  fit.chi2 = (b - a * fit.coefficients).squaredNorm();
  fit.dof = static_cast<int>(n - k);
  const Eigen::MatrixXd inverse_r =
      qr.matrixR().topLeftCorner(k, k).triangularView<Eigen::Upper>().solve(Eigen::MatrixXd::Identity(k, k));
  const Eigen::MatrixXd root = qr.colsPermutation() * inverse_r;
  fit.covariance = varianceScale(fit, !sigmas.empty()) * (root * root.transpose());
  require(fit.coefficients.allFinite() && fit.covariance.allFinite(), ANA_SINGULAR);
  return fit;
}

LinearFit fitLinear(const Eigen::MatrixXd& design, std::span<const double> values, std::span<const double> sigmas,
                    const Eigen::VectorXd& constraint) {
  const Eigen::MatrixXd column = constraint;
  const Eigen::HouseholderQR<Eigen::MatrixXd> qr(column);
  const Eigen::MatrixXd q = qr.householderQ() * Eigen::MatrixXd::Identity(column.rows(), column.rows());
  const Eigen::MatrixXd free = q.rightCols(column.rows() - 1);
  LinearFit fit = fitLinear(design * free, values, sigmas);
  fit.coefficients = free * fit.coefficients;
  fit.covariance = free * fit.covariance * free.transpose();
  return fit;
}

}  // namespace anautils
