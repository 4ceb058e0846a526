#include "kernel/on_off_counting.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace orbengine {

namespace {

double poisson(int n, double mean) {
  if (!(mean > 0)) return n == 0 ? 1 : 0;
  int sign = 0;  // std::lgamma leaves it in a variable of the whole process, which threads would share
  return std::exp(n * std::log(mean) - mean - ::lgamma_r(n + 1.0, &sign));
}

constexpr int kMostCounts = 1000000;  // far beyond where the normal approximation takes over
constexpr double kReach = 9;          // standard deviations of a Poisson distribution that are summed

/// Probability of each critical count when the counts off scatter about their mean.
std::map<int, double> criticalCounts(double off_counts, double off_ratio, double alpha) {
  const double reach = kReach * std::sqrt(off_counts + 1);
  const int first = std::max(0, static_cast<int>(off_counts - reach));
  const int last = static_cast<int>(off_counts + reach);
  std::map<int, double> probabilities;
  for (int off = first; off <= last; ++off) {
    const double probability = poisson(off, off_counts);
    if (probability > 0) probabilities[criticalCount(off, off_ratio, alpha)] += probability;
  }
  return probabilities;
}

}  // namespace

int criticalCount(double off_counts, double off_ratio, double alpha) {
  const double shape = off_counts + 1;
  double term = std::exp(-shape * std::log1p(1 / off_ratio));
  double below = 0;
  int n = 0;
  // Past the mean the terms fall; where they no longer count, rounding alone keeps the tail above alpha.
  while (n < kMostCounts && 1 - below > alpha && (term > 0 || n < shape / off_ratio)) {
    below += term;
    term *= (shape + n) / ((n + 1) * (1 + off_ratio));
    ++n;
  }
  return n;
}

double onOffLimit(double off_counts, double off_ratio, double alpha, double beta) {
  const std::map<int, double> critical = criticalCounts(off_counts, off_ratio, alpha);
  const auto missed = [&](double line) {
    const double mean = off_counts / off_ratio + line;
    int n = std::max(0, static_cast<int>(mean - kReach * std::sqrt(mean)));  // fewer counts do not occur
    double term = poisson(n, mean);
    double below = 0;  // probability of fewer than n counts
    double sum = 0;
    for (const auto& [count, probability] : critical) {
      for (; n < count; ++n) {
        below += term;
        term *= mean / (n + 1);
      }
      sum += probability * below;
    }
    return sum;
  };
  double high = 1;
  while (missed(high) > beta) high *= 2;
  double low = 0;
  while (high - low > 1e-10 * high) {
    const double middle = (low + high) / 2;
    (missed(middle) > beta ? low : high) = middle;
  }
  return high;
}

}  // namespace orbengine
