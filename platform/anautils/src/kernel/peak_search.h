// Location of lines by the second difference of the counts (Mariscotti, Nucl. Instrum. Methods 50 (1967) 309;
// Routti and Prussin, Nucl. Instrum. Methods 72 (1969) 125).
//
// The filter is the second derivative of a Gaussian whose width follows the FWHM of the lines:
//   c_j = (j^2 / s^2 - 1) exp(-j^2 / 2 s^2), made to sum to 0 exactly.
// With S_i = sum c_j n_{i+j} and its standard deviation F_i from smoothed counts, r_i = -S_i / F_i is the significance
// of a line at i. A narrow filter resolves multiplets, a wide one finds weak lines; a ladder of widths in steps of 12 %
// is interpolated, so that no filter is built for a single channel.
//
// Pure functions of their arguments: safe in any number of threads. They let out nothing but std::bad_alloc.
#pragma once

#include <vector>

namespace anautils {

struct SearchSettings {
  double threshold = 3.3;       ///< least significance
  double narrow = 1.0;          ///< standard deviation of the narrow filter, in those of a line
  double wide = 1.75;           ///< the same of the wide filter
  bool two_filters = true;      ///< false: the narrow one alone
  double cut = 4.0;             ///< half length of a filter in its own standard deviations
  int longest_smoothing = 19;   ///< channels averaged for the variance: about one FWHM, at most so many
  double suspect_distance = 3;  ///< maxima so near, in FWHM, to a line more than 25 times as high are left out
};

/// A proposed line.
struct FoundPeak {
  double position = 0;      ///< in elements of the counts: 0 is the first
  double significance = 0;  ///< r at the maximum
  bool by_wide_filter = false;
};

/// The lines between two elements of the counts, both included, in order of position. Counts outside them serve the
/// filter. Maxima that are the edge of a step, or too narrow or too broad for a line, are left out.
/// @param counts  n numbers, finite and not negative
/// @param widths  FWHM of a line at each of the n elements, in elements; above 0
std::vector<FoundPeak> findPeaks(const std::vector<double>& counts, const std::vector<double>& widths, int first,
                                 int last, const SearchSettings& settings);

/// FWHM of the lines of a spectrum, from the counts alone: the median over the strongest maxima of the filter width
/// to which each responds most.
/// @return the FWHM in elements; 0 when nothing stands out
double typicalWidth(const std::vector<double>& counts);

/// FWHM at each element from the counts alone: w^2 = a + b x through the strongest maxima, constant when there are few.
/// Empty when nothing stands out.
std::vector<double> estimatedWidths(const std::vector<double>& counts);

/// FWHM of the line whose maximum is nearest to an element, from the counts alone.
/// @return the FWHM in elements; 0 when there is no line
double widthAround(const std::vector<double>& counts, int element);

}  // namespace anautils
