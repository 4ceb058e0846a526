#pragma once
#include <Eigen/Core>
#include <array>

#include "kernel/points.h"

namespace anautils {

/// Energy as a polynomial of the position.
struct EnergyFit {
  std::array<double, 6> coefficients{};  ///< [keV/channel^i]; those that the fit did not have are 0
  Eigen::Matrix4d covariance = Eigen::Matrix4d::Zero();
  double reduced_chi2 = 0;
  int dof = 0;
  double first = 0;  ///< lowest and highest position of the points [channel]
  double last = 0;
};

/// Fits the energy equation.
/// @param points       positions [channel], energies [keV] and their uncertainties [keV]
/// @param terms        2 to 4, fewer when there are fewer different positions; 1 fits the gain alone
/// @param kept_offset  constant term of a fit of the gain alone [keV]
/// @param channels     the equation must rise from channel 1 to this one and over the points; 0: over the points alone
/// Fails with ANA_TOOFEWPOINTS, ANA_EQUALPOINTS, ANA_SINGULAR, ANA_NOTRISING.
EnergyFit fitEnergy(const Points& points, int terms, double kept_offset, double channels);

/// A curve with an offset and a slope.
struct CurveFit {
  double offset = 0;
  double slope = 0;
  std::array<double, 3> covariance{};  ///< 00, 01, 11
  double reduced_chi2 = 0;
  int dof = 0;
  int n_points = 0;
  double low = 0;  ///< lowest and highest energy of the points [keV]
  double high = 0;
};

/// Fits FWHM = offset + slope sqrt(E), all in keV (Debertin & Helmer 1988). An uncertainty counts as at least 0.5 % of
/// the width, or the strongest line would dictate the curve.
/// Fails with ANA_TOOFEWPOINTS, ANA_EQUALPOINTS, ANA_SINGULAR, and with ANA_BADCAL when the curve does not rise or is
/// not positive at one of the points.
CurveFit fitFwhm(const Points& points);

/// Relative scatter of the widths about the curve beyond their own uncertainties: that which, added to the
/// uncertainties in quadrature, brings chi-square down to the degrees of freedom (Paule & Mandel 1982). 0 when there is
/// none or no degree of freedom.
double fwhmScatter(const Points& points, const CurveFit& fit);

/// Fits tail = offset + slope E, all in keV. An uncertainty counts as at least 5 % of the tail.
/// Fails with ANA_TOOFEWPOINTS, ANA_EQUALPOINTS, ANA_SINGULAR.
CurveFit fitTail(const Points& points);

}  // namespace anautils
