// The edge that the Compton continuum of a strong line makes, which a search for lines takes for one when it is weak.
//
// Pure functions of their arguments: safe in any number of threads.
#pragma once

#include <vector>

namespace anautils {

/// Greatest energy that a photon leaves behind when it is scattered once and escapes (Compton 1923) [keV].
double comptonEdge(double energy);

/// Significance of a line on a continuum that is a straight line on both sides of the edge and falls there by any
/// amount, as sharp as the detector resolves or three times as broad: amplitude over its standard deviation, by
/// weighted least squares.
/// @param counts  of a stretch of the spectrum about the edge; element 0 is its first
/// @param fwhm  of a line there, in elements
/// @param position, edge  of the line and of the edge, in elements
/// @param leave_out  positions of other lines, whose elements do not take part
/// @return infinite when there are too few elements to tell
double significanceBesideEdge(const std::vector<double>& counts, double fwhm, double position, double edge,
                              const std::vector<double>& leave_out);

}  // namespace anautils
