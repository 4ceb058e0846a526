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

/// More work than a fit may cost, in multiplications: the greatest of measured spectra comes to 7e6. Without a bound a
/// file may ask for steps without end in thousands of channels.
inline constexpr double kMostWork = 1e9;
/// What so many steps cost, roughly: a multiplication for each pair of parameters in each channel.
inline double workOf(const RegionProblem& problem, int steps) {
  const double parameters = problem.layout.count();
  return steps * parameters * parameters * problem.data->n;
}

/// Climbs the likelihood from problem.start, with as many steps as the settings allow; no more than kFewSteps of them
/// where they cost more than kMostWork.
inline constexpr int kFewSteps = 60;
ScoringResult maximiseLikelihood(const RegionProblem& problem);

/// Inverts the part of a positive semidefinite matrix that is not left out; rows and columns left out become 0.
/// Where the matrix is singular, the parameters concerned get an infinite variance and the rest the pseudo-inverse;
/// false then.
bool invertInformation(const ParameterMatrix& information, const ParameterMask& left_out, ParameterMatrix& covariance);

}  // namespace anautils
