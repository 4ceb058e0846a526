/// Where an axis gets its marks, and what is written beside them.
#pragma once
#include <string>
#include <vector>

namespace orb::plot {

struct Ticks {
  std::vector<double> major;  ///< the ones with a label, rising
  std::vector<double> minor;  ///< between them
  std::vector<std::string> labels;
};

/// Marks at whole multiples of 1, 2 or 5 times a power of ten.
/// @param max_major  how many steps the axis has room for; with less than 2 it gets 2 all the same.
/// @param whole      no steps below 1, for channels and whole counts.
Ticks linearTicks(double lo, double hi, int max_major, bool whole);

/// Marks at powers of ten, with 2 to 9 times between them; on a short axis 1, 2 and 5 times get labels, on a very
/// short one the marks are those of a linear axis.
/// @param lo  above 0
Ticks logTicks(double lo, double hi, int max_major);

}  // namespace orb::plot
