// Fisher scoring with Levenberg's damping inside bounds.
#pragma once

#include "kernel/region_model.h"

namespace anautils {

struct ScoringResult {
  ParameterVector parameters;
  ParameterMask on_bound{};  ///< free parameters that ended on a bound and are pushed outwards
  Evaluation evaluation;     ///< at the parameters
  int steps = 0;
  bool converged = false;
};

/// Climbs the likelihood from problem.start.
ScoringResult maximiseLikelihood(const RegionProblem& problem);

/// Inverts the part of a positive semidefinite matrix that is not left out; rows and columns left out become 0.
/// Where the matrix is singular, the parameters concerned get an infinite variance and the rest the pseudo-inverse;
/// false then.
bool invertInformation(const ParameterMatrix& information, const ParameterMask& left_out, ParameterMatrix& covariance);

}  // namespace anautils
