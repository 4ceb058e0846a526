// Lines that the residuals of a fit ask for, lines that nothing speaks for, and lines that are one.
#pragma once

#include "kernel/line_fit.h"

namespace anautils {

/// How strongly the residuals ask for one more line at a position: the score of its area, in standard deviations, with
/// everything fitted taken out (Rao's score test).
struct LineScore {
  double position = 0;
  double score = 0;
};
LineScore greatestScore(const LineFit& fit);

/// Adds lines as long as the residuals ask for them and the merit falls enough for each.
void addLines(LineFit& fit);

/// Drops lines whose loss raises the merit by less than they must be worth. True if there were any.
bool dropLines(LineFit& fit);

/// Makes one of lines that start nearer to each other than the least separation. True if there were any.
bool mergeStarts(std::vector<TrackedLine>& lines, const FitSettings& settings);

/// The same for lines that the fit has brought together; fits again. True if there were any.
bool mergeFitted(LineFit& fit);

}  // namespace anautils
