// The edge that the Compton continuum of a strong line makes, which a search for lines takes for one when it is weak.
//
// Pure functions of their arguments: safe in any number of threads.
#pragma once

#include <vector>

namespace anautils {

/// Greatest energy that a photon leaves behind when it is scattered once and escapes (Compton 1923) [keV].
double comptonEdge(double energy);

/// A stretch of a spectrum about an edge. Elements count from 0.
struct EdgeRegion {
  double edge = 0;  ///< where the continuum may have a step
  double fwhm = 0;  ///< of a line there, in elements
  int first = 0;    ///< first and last element that are used
  int last = 0;
};

/// Significance of a line on a continuum that is a straight line on both sides of the edge and falls there by any
/// amount, as sharp as the detector resolves or three times as broad: amplitude over its standard deviation, by
/// weighted least squares.
/// @param smooth  the counts' variances, above 0
/// @param leave_out  positions of other lines, whose channels do not take part
/// @return infinite when there are too few channels to tell
double significanceBesideEdge(const std::vector<double>& counts, const std::vector<double>& smooth, double position,
                              const EdgeRegion& region, const std::vector<double>& leave_out);

}  // namespace anautils
