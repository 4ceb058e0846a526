// The counts of a spectrum at falling resolution, for filters of any width at a bounded cost for each channel: the
// wider a filter is, the wider the bins that it sees. A spectrum of fewer than 2 kLeastBins channels, and a narrow
// filter, see channels.
#pragma once

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "kernel/second_difference.h"

namespace anautils {

class SpectrumLevels {
 public:
  /// @param counts  outlives this object
  explicit SpectrumLevels(const std::vector<double>& counts) : counts_(counts) {}

  /// The level at which a filter is applied; a bin of level k is 2^k channels wide.
  /// @param sigma  standard deviation of the filter in channels
  int levelFor(double sigma) const;

  /// Counts per channel, averaged over each bin of a level; lives as long as this object.
  const std::vector<double>& means(int level);

  /// The same smoothed over a box of channels, an odd number of bins. Filters of one box share them.
  std::shared_ptr<const std::vector<double>> smoothed(int level, int box);

 private:
  const std::vector<double>& counts_;
  std::map<int, std::vector<double>> means_;                                          // of the levels above 0
  std::map<std::pair<int, int>, std::weak_ptr<const std::vector<double>>> smoothed_;  // by level and bins in a box
};

/// The second difference filter of one width on the level that suits it. Differences, significances and norm are those
/// of the filter along the channels.
class LevelFilter {
 public:
  /// @param sigma   standard deviation in channels
  /// @param cut     half length in standard deviations
  /// @param box     channels over which the counts are averaged for the variance
  /// @param levels  outlives this object
  LevelFilter(SpectrumLevels& levels, double sigma, double cut, int box);

  double sigma() const { return sigma_; }
  /// Root of the sum of the filter's squares.
  double norm() const;
  int bins() const { return static_cast<int>(means_->size()); }
  /// The channel in the middle of a bin.
  int channelOf(int bin) const { return bin * width_ + (width_ - 1) / 2; }

  /// Responses of the bins from `from` up to but not including `to`.
  void respondInBins(int from, int to, Response* responses) const;
  /// Responses of the channels from `from` up to but not including `to`: between the middles of bins by a straight
  /// line.
  void respond(int from, int to, Response* responses) const;

 private:
  double sigma_;
  int width_;  // of a bin in channels
  std::vector<double> filter_;
  const std::vector<double>* means_;
  std::shared_ptr<const std::vector<double>> smooth_;
};

}  // namespace anautils
