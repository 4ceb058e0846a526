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

/// The gaps between lines as a tree: below each gap the widest on either side of it, as far as gaps are narrower. Of
/// equal ones the first is the wider. Gap i lies behind line i.
struct GapTree {
  int root = -1;
  std::vector<int> left, right;  // of a gap; -1: none
};

/// Of the gaps between the lines first..last, each counted from `first`.
GapTree treeOfGaps(const std::vector<LineExtent>& lines, int first, int last) {
  std::vector<double> gaps;
  for (int i = first; i < last; ++i) gaps.push_back(gapBehind(lines, i));
  GapTree tree;
  tree.left.assign(gaps.size(), -1);
  tree.right.assign(gaps.size(), -1);
  std::vector<std::size_t> open;  // gaps that one further on may still belong to, from wide to narrow
  for (std::size_t i = 0; i < gaps.size(); ++i) {
    for (; !open.empty() && gaps[open.back()] < gaps[i]; open.pop_back()) tree.left[i] = static_cast<int>(open.back());
    if (!open.empty()) tree.right[open.back()] = static_cast<int>(i);
    open.push_back(i);
  }
  if (!open.empty()) tree.root = static_cast<int>(open.front());
  return tree;
}

/// Lines that are still to be put into plans, and their widest gap.
struct Stretch {
  int first, last;
  ChannelRange channels;
  bool cut_before;
  int widest;
};

/// Puts the lines first..last into one plan, or into more when they are too many. They are cut at the widest gap, again
/// and again. Not at the very ends: a cut has to leave fewer lines on both sides.
void addPlans(std::vector<RegionPlan>& plans, const std::vector<LineExtent>& lines, int first, int last,
              ChannelRange channels, const RegionRule& rule) {
  const GapTree tree = treeOfGaps(lines, first, last);
  std::vector<Stretch> rest = {{first, last, channels, false, tree.root}};
  while (!rest.empty()) {
    const Stretch here = rest.back();
    rest.pop_back();
    if (here.last - here.first + 1 <= std::max(1, rule.most_lines)) {
      RegionPlan plan{here.channels, {}, here.cut_before};
      for (int i = here.first; i <= here.last; ++i) plan.lines.push_back(i);
      plans.push_back(std::move(plan));
      continue;
    }
    const auto gap = static_cast<std::size_t>(here.widest);
    const int cut = first + here.widest;
    const LineExtent& left = lines[static_cast<std::size_t>(cut)];
    const LineExtent& right = lines[static_cast<std::size_t>(cut) + 1];
    ChannelRange low = here.channels;
    ChannelRange high = here.channels;
    low.last = std::min(here.channels.last, nearestChannel(left.position + kBeyondCut * left.fwhm));
    high.first = std::max(here.channels.first, nearestChannel(right.position - kBeyondCut * right.fwhm));
    rest.push_back({cut + 1, here.last, high, true, tree.right[gap]});
    rest.push_back({here.first, cut, low, here.cut_before, tree.left[gap]});
  }
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
    addPlans(plans, lines, first, last, channels, rule);
    first = last + 1;
  }
  return plans;
}

std::vector<RegionPlan> planOneRegion(const std::vector<LineExtent>& lines, const RegionRule& rule,
                                      ChannelRange channels) {
  std::vector<RegionPlan> plans;
  if (!lines.empty()) addPlans(plans, lines, 0, static_cast<int>(lines.size()) - 1, channels, rule);
  return plans;
}

}  // namespace anautils
