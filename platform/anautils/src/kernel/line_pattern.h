// The peaks of a spectrum beside the lines of a known source: what goes together under a scale, and how well.
#pragma once

#include <algorithm>
#include <numeric>
#include <vector>

#include "kernel/line_matching.h"

namespace anautils {

/// Energy of a position: a parabola, or a straight line.
struct Scale {
  double offset = 0, gain = 0, bend = 0;
  double energy(double x) const { return offset + x * (gain + x * bend); }
  double slope(double x) const { return gain + 2 * bend * x; }
};

class LinePattern {
 public:
  LinePattern(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known, const StartingScale& start,
              int channels);

  /// How far a peak may lie from its line: a number of its widths and a share of the energy together.
  struct Reach {
    double widths = 0;
    double share = 0;
  };

  /// Each known line with the nearest peak in reach; a peak belongs to one line.
  std::vector<LineMatch> matches(const Scale& scale, const Reach& reach) const;

  /// Those whose areas go with the others.
  std::vector<LineMatch> consistent(const std::vector<LineMatch>& found) const;

  /// How much speaks for a scale: known lines that are found count for it, those that should be seen and are not
  /// against it, and so do strong peaks without a line, a large offset, and, without a scale to begin with, an unusual
  /// range.
  double score(const Scale& scale) const;

  /// Whether a scale finds most lines that the spectrum should show, the strongest among them.
  bool explainsMost(const Scale& scale) const;

  /// Where more speaks against a pattern than for it, no calibration is better than one that looks like one.
  bool isDoubtful(const std::vector<LineMatch>& found, const Scale& scale) const;

  /// No detector resolves so badly.
  static bool isTooBroad(const MatchPeak& peak, const KnownLine& line, const Scale& scale);

  /// Whether the peaks are those of a semiconductor.
  bool isNarrow() const { return is_narrow_; }
  double medianFwhm() const { return median_fwhm_; }  ///< [channels]
  const std::vector<int>& strongPeaks() const { return strong_peaks_; }

  const MatchPeak& peakOf(const LineMatch& match) const { return peaks_[static_cast<std::size_t>(match.peak)]; }
  const KnownLine& lineOf(const LineMatch& match) const { return known_[static_cast<std::size_t>(match.known)]; }

 private:
  bool isHiddenByNature(const KnownLine& line) const;
  double weightOf(const KnownLine& line) const;
  bool isPossible(const Scale& scale) const;
  bool canBeSeen(const KnownLine& line, const Scale& scale) const;
  bool isMissed(std::size_t k, const std::vector<LineMatch>& found, const Scale& scale) const;
  bool hasStrongest(const std::vector<LineMatch>& found, const Scale& scale) const;
  int nearestPeak(const KnownLine& line, const Scale& scale, const Reach& reach) const;
  void addUnique(std::vector<LineMatch>& found, LineMatch match, const Scale& scale) const;
  double areaRatio(const LineMatch& match) const;
  double areaAgreement(const LineMatch& match, const std::vector<LineMatch>& found) const;
  double unexplained(const std::vector<LineMatch>& found) const;

  const std::vector<MatchPeak>& peaks_;
  const std::vector<KnownLine>& known_;
  StartingScale start_;
  int channels_;
  double greatest_intensity_ = 0;
  double greatest_area_ = 0;
  double median_fwhm_ = 0;  // [channels]
  bool is_narrow_ = false;
  std::vector<bool> is_hidden_;  // known lines that a scintillator does not show
  std::vector<int> strong_peaks_;
};

/// Indices of the n greatest items, ascending.
template <typename T, typename Size>
std::vector<int> strongest(const std::vector<T>& items, std::size_t n, Size size) {
  std::vector<int> order(items.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    return size(items[static_cast<std::size_t>(a)]) > size(items[static_cast<std::size_t>(b)]);
  });
  order.resize(std::min(order.size(), n));
  std::sort(order.begin(), order.end());
  return order;
}

}  // namespace anautils
