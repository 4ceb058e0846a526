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

/// The elements from `from` up to but not including `to`, which may lie beyond the ends: there stands the mean over
/// `length` elements of the end.
std::vector<double> extended(const std::vector<double>& values, int from, int to, std::size_t length) {
  const int n = static_cast<int>(values.size());
  length = std::min(length, values.size());
  std::vector<double> part(static_cast<std::size_t>(to - from));
  auto next = std::fill_n(part.begin(), std::clamp(-from, 0, to - from), meanOf(values, 0, length));
  const auto inside = values.begin() + std::clamp(from, 0, n);
  next = std::copy(inside, values.begin() + std::clamp(to, 0, n), next);
  std::fill(next, part.end(), meanOf(values, values.size() - length, values.size()));
  return part;
}

Response responseOf(double difference, double variance) {
  return {difference, variance > 0 ? -difference / std::sqrt(variance) : 0};
}

/// Adds c_j (v_{i-j} + v_{i+j}) to the sums of n elements, for four j one after the other.
void addFour(const double* values, const double* c, int j, int n, double* sums) {
  for (int i = 0; i < n; ++i) {
    double sum = sums[i];
    sum += c[0] * (values[i - j] + values[i + j]);
    sum += c[1] * (values[i - j - 1] + values[i + j + 1]);
    sum += c[2] * (values[i - j - 2] + values[i + j + 2]);
    sum += c[3] * (values[i - j - 3] + values[i + j + 3]);
    sums[i] = sum;
  }
}

/// c_0 v_i + sum of c_j (v_{i-j} + v_{i+j}) of n elements that the filter does not reach beyond the ends from: a few
/// coefficients after the others along all elements, which a processor does several at a time.
void sumsAlong(const double* values, const std::vector<double>& c, int n, double* sums) {
  for (int i = 0; i < n; ++i) sums[i] = c[0] * values[i];
  const int length = static_cast<int>(c.size());
  int j = 1;
  for (; j + 4 <= length; j += 4) addFour(values, &c[static_cast<std::size_t>(j)], j, n, sums);
  for (; j < length; ++j)
    for (int i = 0; i < n; ++i) sums[i] += c[static_cast<std::size_t>(j)] * (values[i - j] + values[i + j]);
}

void respondAlong(const double* counts, const double* smooth, const std::vector<double>& filter,
                  const std::vector<double>& squares, int n, Response* responses) {
  double difference[kBlock];
  double variance[kBlock];
  sumsAlong(counts, filter, n, difference);
  sumsAlong(smooth, squares, n, variance);
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
  Response response;
  respondBetween(counts, smooth, filter, at, at + 1, &response);
  return response;
}

void respondBetween(const std::vector<double>& counts, const std::vector<double>& smooth,
                    const std::vector<double>& filter, int from, int to, Response* responses) {
  const int n = static_cast<int>(counts.size());
  const int reach = static_cast<int>(filter.size()) - 1;
  const auto length = static_cast<std::size_t>(std::max(1, reach / 2));
  std::vector<double> squares(filter);
  for (double& c : squares) c *= c;
  for (int i = from, end = from; i < to; i = end) {
    end = std::min(i + kBlock, to);
    Response* const block = responses + (i - from);
    if (i >= reach && end + reach <= n) {
      respondAlong(counts.data() + i, smooth.data() + i, filter, squares, end - i, block);
    } else {
      const auto counts_here = extended(counts, i - reach, end + reach, length);
      const auto smooth_here = extended(smooth, i - reach, end + reach, length);
      respondAlong(counts_here.data() + reach, smooth_here.data() + reach, filter, squares, end - i, block);
    }
  }
}

}  // namespace anautils
