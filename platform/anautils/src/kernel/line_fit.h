// One fit of a given set of lines, and what follows from it without a new fit.
#pragma once

#include <vector>

#include "kernel/fisher_scoring.h"

namespace anautils {

/// A line on its way through adding, merging and dropping.
struct TrackedLine {
  LineStart start;
  int origin = -1;  ///< index of the given line; -1 for an added one
  bool merged = false;
};

struct LineFit {
  std::vector<TrackedLine> lines;
  RegionProblem problem;
  ScoringResult scoring;
  ParameterMask left_out{};      ///< held, on a bound, or without influence: not in the covariance
  ParameterMatrix covariance;    ///< of what was free; the scatter of held shape parameters is not in it
  ParameterMatrix held_scatter;  ///< what the scatter of held shape parameters adds
  bool regular = true;
  int steps = 0;  ///< of this fit and of those it replaced

  int count() const { return problem.layout.lines; }
  double area(int line) const { return scoring.parameters[Layout::area(line)]; }
  double position(int line) const { return scoring.parameters[Layout::position(line)]; }
  double width(int line) const { return kFwhmPerSigma * problem.shapeSigma(scoring.parameters, line); }
  double merit() const { return scoring.evaluation.merit; }
};

/// Fits the lines. A step that turns out not to be significant under weak lines is taken out again.
LineFit fitLines(const RegionData& data, const std::vector<TrackedLine>& lines, const FitSettings& settings,
                 bool allow_step);

/// Standard deviation of a line's area if the line were not there: its counts taken out of the model, its position
/// and all widths held. Never below one count.
double areaUncertaintyWithout(const LineFit& fit, int line);

}  // namespace anautils
