#include "line_calibration.h"

#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "failure.h"
#include "file_values.h"
#include "kernel/polynomial.h"

namespace anautils {

namespace {

/// An equation that the file may do without.
std::optional<stAEncalEq_T> findEquation(void* handle, SHORT kind, LONG missing) {
  stAEncalEq_T equation{};
  const LONG status = lGetEneq(handle, kind, 1, &equation);
  if (status == missing) return std::nullopt;
  check(static_cast<ULONG>(status));
  return equation;
}

}  // namespace

LineCalibration LineCalibration::ofFile(void* handle) {
  LineCalibration calibration;
  calibration.has_energy_ = findEquation(handle, ANA_ENERGY, ANA_NOENERGYCAL).has_value();
  if (!calibration.has_energy_) return calibration;
  readArray(handle, ORB_D_ECALOFFSET, calibration.coefficients_);
  readArray(handle, ORB_D_ECALCOV00, calibration.covariance_);
  calibration.fwhm_ = findEquation(handle, ANA_FWHM, ANA_NOFWHMCAL);
  calibration.tail_ = findEquation(handle, ANA_LOWTAIL, ANA_NOTAILCAL);
  return calibration;
}

double LineCalibration::energy(double position) const {
  return polynomialAt(coefficients_, position);
}

double LineCalibration::slope(double position) const {
  double value = 0;
  for (std::size_t i = coefficients_.size(); i-- > 1;)
    value = value * position + static_cast<double>(i) * coefficients_[i];
  return value;
}

double LineCalibration::energyUnc(double position) const {
  const std::array<double, 4> powers = {1, position, position * position, position * position * position};
  double variance = 0;
  std::size_t k = 0;
  for (std::size_t i = 0; i < powers.size(); ++i)
    for (std::size_t j = i; j < powers.size(); ++j, ++k)
      variance += (i == j ? 1 : 2) * powers[i] * powers[j] * covariance_[k];
  return std::sqrt(std::max(0.0, variance));
}

double LineCalibration::fwhm(double position) const {
  const double root = std::sqrt(std::max<double>(energy(position), fwhm_->rLowBound));
  return (fwhm_->rCoeff[0] + fwhm_->rCoeff[1] * root) / slope(position);
}

double LineCalibration::tail(double position) const {
  if (!tail_) return 0;
  return std::max(0.0, static_cast<double>(rEval(static_cast<REAL>(energy(position)), &*tail_)) / slope(position));
}

std::vector<double> LineCalibration::widths(std::size_t n) const {
  std::vector<double> widths(n);
  for (std::size_t i = 0; i < n; ++i) {
    widths[i] = fwhm(static_cast<double>(i + 1));
    require(widths[i] > 0 && widths[i] < static_cast<double>(n), ANA_BADCAL);
  }
  return widths;
}

}  // namespace anautils
