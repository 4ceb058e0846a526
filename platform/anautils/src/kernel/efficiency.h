#pragma once
#include <span>
#include <vector>

#include "aioproto.h"

/// Values of efficiency equations and their uncertainties (Debertin & Helmer 1988; Gilmore 2008).
namespace anautils {

/// Relative uncertainty that is added, in quadrature, for every unit of ln(E) outside the calibrated range.
constexpr double kExtrapolationUncertainty = 0.2;

/// Points between which the interpolated model runs: energies in ascending order. The other models need none.
struct InterpolationPoints {
  std::span<const REAL> energies;
  std::span<const REAL> values;  ///< efficiencies, or their relative uncertainties
};

/// Index in the triangle (row by row, 00 01 02 .. 11 12 ..) of an n x n matrix.
constexpr std::size_t triangleIndex(std::size_t n, std::size_t row, std::size_t column) {
  return row * n - row * (row + 1) / 2 + column;
}

/// ln(efficiency) at an energy. The interpolated model runs straight in ln(E) and ln(efficiency), and on beyond the
/// outermost points.
/// Fails with ANA_UNKNOWNKIND, with ANA_TOOFEWPOINTS (interpolated: less than two), and with ANA_BADCAL when the
/// equation has more terms than room for them.
double logEfficiencyAt(const stEfEq_T& equation, double energy, const InterpolationPoints& efficiencies);

/// Efficiency at an energy.
/// Fails as logEfficiencyAt, and with ANA_BADCAL when the result is not a positive number.
double efficiencyAt(const stEfEq_T& equation, double energy, const InterpolationPoints& efficiencies);

/// Relative standard uncertainty of the efficiency at an energy: g^T C g from the covariance of the fit (interpolated:
/// from the two points), the part that all efficiencies share, and kExtrapolationUncertainty, all in quadrature.
/// Fails as efficiencyAt.
double relativeUncertaintyAt(const stEfEq_T& equation, double energy, const InterpolationPoints& relative);

}  // namespace anautils
