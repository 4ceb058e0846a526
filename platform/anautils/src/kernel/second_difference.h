// The filter of the peak search, at one width.
#pragma once

#include <vector>

namespace anautils {

/// c[0] is the middle, c[j] stands for both +j and -j. Negative at a line.
std::vector<double> secondDifferenceFilter(double sigma, double cut);

/// The counts averaged over a box of odd length, and no less than a floor that keeps empty stretches from looking
/// exact.
std::vector<double> smoothedCounts(const std::vector<double>& counts, int box);

/// Response of one filter at one element.
struct Response {
  double difference = 0;    ///< S
  double significance = 0;  ///< -S / F
};

/// Beyond the ends the counts go on as their mean over the end's half filter, so that the ends look like neither line
/// nor edge.
Response respond(const std::vector<double>& counts, const std::vector<double>& smooth,
                 const std::vector<double>& filter, int at);

/// The same of every element from `from` up to but not including `to`, at a fraction of the cost each.
/// @param responses  room for to - from
void respondBetween(const std::vector<double>& counts, const std::vector<double>& smooth,
                    const std::vector<double>& filter, int from, int to, Response* responses);

}  // namespace anautils
