#include "kernel/spectrum_levels.h"

#include <algorithm>
#include <cmath>

namespace anautils {

namespace {

constexpr double kLeastSigma = 8;          // bins: they make a filter so wide 0.1 % wider at most
constexpr double kGreatestSigma = 2048;    // bins: even a filter as wide as the spectrum costs no more
constexpr std::size_t kLeastBins = 16384;  // what detectors have is searched channel by channel

int binWidth(int level) {
  return 1 << level;
}

/// The mean of every two values; a last one alone stays.
std::vector<double> halved(const std::vector<double>& values) {
  std::vector<double> means((values.size() + 1) / 2);
  for (std::size_t i = 0; i < means.size(); ++i)
    means[i] = 2 * i + 1 < values.size() ? (values[2 * i] + values[2 * i + 1]) / 2 : values[2 * i];
  return means;
}

}  // namespace

int SpectrumLevels::levelFor(double sigma) const {
  int level = 0;
  for (std::size_t bins = counts_.size(); bins > 1; bins /= 2, ++level) {
    const double sigma_bins = sigma / binWidth(level);
    const bool is_fine_enough = bins >= 2 * kLeastBins && sigma_bins >= 2 * kLeastSigma;
    if (!is_fine_enough && !(sigma_bins > kGreatestSigma)) break;
  }
  return level;
}

const std::vector<double>& SpectrumLevels::means(int level) {
  if (level == 0) return counts_;
  const auto known = means_.find(level);
  return known != means_.end() ? known->second : means_.emplace(level, halved(means(level - 1))).first->second;
}

std::shared_ptr<const std::vector<double>> SpectrumLevels::smoothed(int level, int box) {
  const int bins = std::max(1, box / binWidth(level)) | 1;
  auto& known = smoothed_[{level, bins}];
  auto smooth = known.lock();
  if (!smooth) known = smooth = std::make_shared<const std::vector<double>>(smoothedCounts(means(level), bins));
  return smooth;
}

LevelFilter::LevelFilter(SpectrumLevels& levels, double sigma, double cut, int box) : sigma_(sigma) {
  const int level = levels.levelFor(sigma);
  width_ = binWidth(level);
  filter_ = secondDifferenceFilter(sigma / width_, cut);
  means_ = &levels.means(level);
  smooth_ = levels.smoothed(level, box);
}

double LevelFilter::norm() const {
  double sum = filter_[0] * filter_[0];
  for (std::size_t j = 1; j < filter_.size(); ++j) sum += 2 * filter_[j] * filter_[j];
  return std::sqrt(sum) * std::sqrt(width_);
}

/// A mean stands for as many channels as a bin has, and so does its variance.
void LevelFilter::respondInBins(int from, int to, Response* responses) const {
  respondBetween(*means_, *smooth_, filter_, from, to, responses);
  if (width_ == 1) return;
  const double root = std::sqrt(width_);
  for (int i = 0; i < to - from; ++i) {
    responses[i].difference *= width_;
    responses[i].significance *= root;
  }
}

void LevelFilter::respond(int from, int to, Response* responses) const {
  if (width_ == 1 || from >= to) return respondInBins(from, to, responses);
  const auto placeOf = [&](int channel) {
    return std::clamp((channel + 0.5) / width_ - 0.5, 0.0, static_cast<double>(bins() - 1));
  };
  const int first = static_cast<int>(placeOf(from));
  const int last = std::min(static_cast<int>(placeOf(to - 1)) + 1, bins() - 1);
  std::vector<Response> at(static_cast<std::size_t>(last - first + 1));
  respondInBins(first, last + 1, at.data());
  for (int channel = from; channel < to; ++channel) {
    const double place = placeOf(channel);
    const int bin = static_cast<int>(place);
    const Response& below = at[static_cast<std::size_t>(bin - first)];
    const Response& above = at[static_cast<std::size_t>(std::min(bin + 1, last) - first)];
    const double share = place - bin;
    responses[channel - from] = {below.difference + share * (above.difference - below.difference),
                                 below.significance + share * (above.significance - below.significance)};
  }
}

}  // namespace anautils
