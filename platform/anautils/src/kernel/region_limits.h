// How far the regions of lines reach, and which lines share one.
#pragma once

#include <vector>

namespace anautils {

/// A line as the limits see it, in channels.
struct LineExtent {
  double position = 0;
  double fwhm = 0;
  double tail = 0;  ///< distance of the tail's junction below the centroid, 0 for none
};

struct RegionRule {
  double left = 3;      ///< below the centroid, in FWHM, without the tail
  double right = 3;     ///< above the centroid, in FWHM
  double together = 4;  ///< lines nearer than this, in FWHM, are fitted together
  int most_lines = 10;  ///< in one region; a longer multiplet is cut at its widest gaps
};

/// First and last channel, both included.
struct ChannelRange {
  int first = 0;
  int last = -1;
};

/// The region of one line, cut off at the limits: floor(position - left w + 1/2) to floor(position + right w + 1/2), on
/// the low side as far as the tail holds 1 % of the line's height.
ChannelRange regionOf(const LineExtent& line, const RegionRule& rule, ChannelRange limits);

struct RegionPlan {
  ChannelRange channels;
  std::vector<int> lines;   ///< indices of the lines
  bool cut_before = false;  ///< the multiplet goes on below
};

/// Regions for lines in order of position; those that overlap become one. Where a multiplet is cut both parts keep
/// 1.2 FWHM beyond their outermost lines, so that they overlap.
std::vector<RegionPlan> planRegions(const std::vector<LineExtent>& lines, const RegionRule& rule, ChannelRange limits);

/// All lines in one region with given channels, cut only where they are too many.
std::vector<RegionPlan> planOneRegion(const std::vector<LineExtent>& lines, const RegionRule& rule,
                                      ChannelRange channels);

}  // namespace anautils
