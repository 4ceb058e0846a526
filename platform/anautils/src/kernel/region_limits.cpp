#include "kernel/region_limits.h"

#include <algorithm>
#include <cmath>

#include "kernel/peak_shape.h"

namespace anautils {

namespace {

constexpr double kBeyondCut = 1.2;  // FWHM

int nearestChannel(double position) {
  return static_cast<int>(std::floor(position + 0.5));
}

/// Where the tail has fallen to 1 % of the height: exp(T (2u + T) / 2 s^2) = 0.01.
double tailReach(const LineExtent& line) {
  if (line.tail <= 0) return 0;
  const double sigma = line.fwhm / kFwhmPerSigma;
  return line.tail / 2 + sigma * sigma / line.tail * std::log(100.0);
}

ChannelRange clipped(double low, double high, ChannelRange limits) {
  return {std::max(limits.first, nearestChannel(low)), std::min(limits.last, nearestChannel(high))};
}

/// Gap between a line and the next, in FWHM.
double gapBehind(const std::vector<LineExtent>& lines, int i) {
  const LineExtent& here = lines[static_cast<std::size_t>(i)];
  const LineExtent& next = lines[static_cast<std::size_t>(i) + 1];
  return (next.position - here.position) / std::max(here.fwhm, next.fwhm);
}

/// Puts the lines first..last into one plan, or into more when they are too many.
void addPlans(std::vector<RegionPlan>& plans, const std::vector<LineExtent>& lines, int first, int last,
              ChannelRange channels, const RegionRule& rule, bool cut_before) {
  if (last - first + 1 <= std::max(1, rule.most_lines)) {
    RegionPlan plan{channels, {}, cut_before};
    for (int i = first; i <= last; ++i) plan.lines.push_back(i);
    plans.push_back(std::move(plan));
    return;
  }
  // Not at the very ends: a cut has to leave fewer lines on both sides.
  int widest = first;
  for (int i = first; i < last; ++i)
    if (gapBehind(lines, i) > gapBehind(lines, widest)) widest = i;
  const LineExtent& left = lines[static_cast<std::size_t>(widest)];
  const LineExtent& right = lines[static_cast<std::size_t>(widest) + 1];
  ChannelRange low = channels;
  ChannelRange high = channels;
  low.last = std::min(channels.last, nearestChannel(left.position + kBeyondCut * left.fwhm));
  high.first = std::max(channels.first, nearestChannel(right.position - kBeyondCut * right.fwhm));
  addPlans(plans, lines, first, widest, low, rule, cut_before);
  addPlans(plans, lines, widest + 1, last, high, rule, true);
}

}  // namespace

ChannelRange regionOf(const LineExtent& line, const RegionRule& rule, ChannelRange limits) {
  return clipped(line.position - std::max(rule.left * line.fwhm, tailReach(line)),
                 line.position + rule.right * line.fwhm, limits);
}

std::vector<RegionPlan> planRegions(const std::vector<LineExtent>& lines, const RegionRule& rule, ChannelRange limits) {
  std::vector<RegionPlan> plans;
  const int n = static_cast<int>(lines.size());
  for (int first = 0; first < n;) {
    ChannelRange channels = regionOf(lines[static_cast<std::size_t>(first)], rule, limits);
    int last = first;
    for (; last + 1 < n; ++last) {
      const ChannelRange next = regionOf(lines[static_cast<std::size_t>(last) + 1], rule, limits);
      if (next.first > channels.last && gapBehind(lines, last) >= rule.together) break;
      channels = {std::min(channels.first, next.first), std::max(channels.last, next.last)};
    }
    addPlans(plans, lines, first, last, channels, rule, false);
    first = last + 1;
  }
  return plans;
}

std::vector<RegionPlan> planOneRegion(const std::vector<LineExtent>& lines, const RegionRule& rule,
                                      ChannelRange channels) {
  std::vector<RegionPlan> plans;
  if (!lines.empty()) addPlans(plans, lines, 0, static_cast<int>(lines.size()) - 1, channels, rule, false);
  return plans;
}

}  // namespace anautils
