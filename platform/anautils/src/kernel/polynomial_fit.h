#pragma once
#include "kernel/linear_fit.h"
#include "kernel/points.h"

namespace anautils {

/// Number of terms that a fit may have: as many as asked for, but no more than there are different positions. Two and
/// more terms need two positions.
/// Fails with ANA_TOOFEWPOINTS, and with ANA_EQUALPOINTS when there are points enough, but at one position.
int allowedTerms(std::span<const double> x, int asked);

/// Fits a polynomial in x. The fit runs in (x - middle)/half range, where the powers are nearly independent, and is
/// carried back to powers of x with its covariance.
LinearFit fitPolynomial(const Points& points, int terms);

/// Two polynomials that meet at a position.
struct JoinedFit {
  LinearFit low;   ///< its coefficients and covariance; chi-square and dof are those of the whole
  LinearFit high;  ///< as low
};

/// Fits one polynomial to the points below `joint` and one to those above, equal in value at it. A point at the joint
/// belongs to both and is counted once. The covariances respect the constraint.
JoinedFit fitJoinedPolynomials(const Points& points, double joint, int low_terms, int high_terms);

}  // namespace anautils
