#include "kernel/second_difference.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace anautils {

namespace {

constexpr int kBlock = 256;              // elements whose sums are kept at a time
constexpr double kLeastVariance = 0.15;  // counts per channel: what an empty stretch may hold

double meanOf(const std::vector<double>& values, std::size_t from, std::size_t to) {
  double sum = 0;
  for (std::size_t i = from; i < to; ++i) sum += values[i];
  return to > from ? sum / static_cast<double>(to - from) : 0;
}

/// The values with the mean of each end in front and behind.
class Extended {
 public:
  Extended(const std::vector<double>& values, std::size_t reach)
      : values_(values),
        n_(static_cast<int>(values.size())),
        before_(meanOf(values, 0, std::min(reach, values.size()))),
        behind_(meanOf(values, values.size() - std::min(reach, values.size()), values.size())) {}
  double operator[](int i) const { return i < 0 ? before_ : i >= n_ ? behind_ : values_[static_cast<std::size_t>(i)]; }

 private:
  const std::vector<double>& values_;
  int n_;
  double before_;
  double behind_;
};

Response responseOf(double difference, double variance) {
  return {difference, variance > 0 ? -difference / std::sqrt(variance) : 0};
}

template <typename Values>
Response sums(const Values& counts, const Values& smooth, const std::vector<double>& filter, int at) {
  double difference = filter[0] * counts[at];
  double variance = filter[0] * filter[0] * smooth[at];
  for (int j = 1; j < static_cast<int>(filter.size()); ++j) {
    const double c = filter[static_cast<std::size_t>(j)];
    difference += c * (counts[at - j] + counts[at + j]);
    variance += c * c * (smooth[at - j] + smooth[at + j]);
  }
  return responseOf(difference, variance);
}

/// As sums, for elements that the filter does not reach beyond the ends from: one coefficient after the other along all
/// of them, which a processor does several at a time.
void sumsAlong(const double* counts, const double* smooth, const std::vector<double>& filter, int n,
               Response* responses) {
  double difference[kBlock];
  double variance[kBlock];
  for (int i = 0; i < n; ++i) difference[i] = filter[0] * counts[i];
  for (int i = 0; i < n; ++i) variance[i] = filter[0] * filter[0] * smooth[i];
  for (int j = 1; j < static_cast<int>(filter.size()); ++j) {
    const double c = filter[static_cast<std::size_t>(j)];
    for (int i = 0; i < n; ++i) difference[i] += c * (counts[i - j] + counts[i + j]);
    for (int i = 0; i < n; ++i) variance[i] += c * c * (smooth[i - j] + smooth[i + j]);
  }
  for (int i = 0; i < n; ++i) responses[i] = responseOf(difference[i], variance[i]);
}

}  // namespace

std::vector<double> secondDifferenceFilter(double sigma, double cut) {
  const int half = std::max(2, static_cast<int>(std::ceil(cut * sigma)));
  std::vector<double> filter(static_cast<std::size_t>(half) + 1);
  double sum = 0;
  double weight = 0;
  for (int j = 0; j <= half; ++j) {
    const double z2 = j * j / (sigma * sigma);
    filter[static_cast<std::size_t>(j)] = (z2 - 1) * std::exp(-z2 / 2);
    sum += (j == 0 ? 1 : 2) * filter[static_cast<std::size_t>(j)];
    weight += (j == 0 ? 1 : 2) * std::exp(-z2 / 2);
  }
  // What cutting and sampling leave over goes where the filter is large, so that its ends stay small.
  for (int j = 0; j <= half; ++j)
    filter[static_cast<std::size_t>(j)] -= sum / weight * std::exp(-j * j / (2 * sigma * sigma));
  return filter;
}

std::vector<double> smoothedCounts(const std::vector<double>& counts, int box) {
  const std::size_t n = counts.size();
  const std::size_t half = static_cast<std::size_t>(std::max(box, 1)) / 2;
  std::vector<double> below(n + 1);  // the sum of all counts below an element
  std::partial_sum(counts.begin(), counts.end(), below.begin() + 1);
  std::vector<double> smooth(n);
  const auto average = [&](std::size_t from, std::size_t to) {
    return std::max((below[to] - below[from]) / static_cast<double>(to - from), kLeastVariance);
  };
  const std::size_t inner_to = n > half ? n - half : 0;
  for (std::size_t i = 0; i < std::min(half, n); ++i) smooth[i] = average(0, std::min(i + half + 1, n));
  const double part = 1 / static_cast<double>(2 * half + 1);
  for (std::size_t i = half; i < inner_to; ++i)
    smooth[i] = std::max((below[i + half + 1] - below[i - half]) * part, kLeastVariance);
  for (std::size_t i = std::max(half, inner_to); i < n; ++i) smooth[i] = average(i - half, n);
  return smooth;
}

Response respond(const std::vector<double>& counts, const std::vector<double>& smooth,
                 const std::vector<double>& filter, int at) {
  const int reach = static_cast<int>(filter.size()) - 1;
  if (at - reach >= 0 && at + reach < static_cast<int>(counts.size()))
    return sums(counts.data(), smooth.data(), filter, at);
  const auto length = static_cast<std::size_t>(std::max(1, reach / 2));
  return sums(Extended(counts, length), Extended(smooth, length), filter, at);
}

void respondBetween(const std::vector<double>& counts, const std::vector<double>& smooth,
                    const std::vector<double>& filter, int from, int to, Response* responses) {
  const int reach = static_cast<int>(filter.size()) - 1;
  const int inner_from = std::clamp(reach, from, std::max(from, to));
  const int inner_to = std::clamp(static_cast<int>(counts.size()) - reach, inner_from, std::max(inner_from, to));
  for (int i = from; i < inner_from; ++i) responses[i - from] = respond(counts, smooth, filter, i);
  for (int i = inner_from; i < inner_to; i += kBlock)
    sumsAlong(counts.data() + i, smooth.data() + i, filter, std::min(kBlock, inner_to - i), responses + (i - from));
  for (int i = inner_to; i < to; ++i) responses[i - from] = respond(counts, smooth, filter, i);
}

}  // namespace anautils
