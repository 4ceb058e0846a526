#include "kernel/detection_limit.h"

#include <algorithm>
#include <cmath>

#include "kernel/on_off_counting.h"
#include "normal_distribution.h"

namespace orbengine {

namespace {

using com::norvale::datatypes::lowerHazard;
using com::norvale::datatypes::normalBelow;
using com::norvale::datatypes::normalQuantile;

/// The larger root y of (y - threshold)^2 = k^2 (scatter + y + (relative_u y)^2), which lies above the threshold. None
/// when there is no such y, however large.
std::optional<double> limitAbove(double threshold, double k, double scatter, double relative_u) {
  const double lead = 1 - k * k * relative_u * relative_u;
  if (!(lead > 0)) return std::nullopt;
  const double half = threshold + k * k / 2;
  const double constant = threshold * threshold - k * k * scatter;
  return (half + std::sqrt(std::max(half * half - lead * constant, 0.0))) / lead;
}

CountLimits byCurrie(const Background& background, const LimitRule& rule) {
  const double k = std::sqrt(rule.currie_const);
  const double threshold = rule.currie_slope / 2 * std::sqrt(background.counts);
  return {LimitSource::kCurrie, k, k, threshold, rule.currie_const + 2 * threshold};
}

CountLimits byNormalApproximation(const Background& background, double k_alpha, double k_beta) {
  const double variance = background.counts + background.counts_u * background.counts_u;
  const double threshold = k_alpha * std::sqrt(variance);
  return {LimitSource::kNormal, k_alpha, k_beta, threshold, *limitAbove(threshold, k_beta, variance, 0)};
}

CountLimits byPoissonQuantiles(const Background& background, const LimitRule& rule, double k_alpha, double k_beta) {
  constexpr double kMostOffCounts = 1e4;  // a continuum known to 1 % is known
  const double off = std::min(background.off_counts, kMostOffCounts);
  const double ratio = off < background.off_counts ? off / background.counts : background.off_ratio;
  const double threshold = std::max(0.0, criticalCount(off, ratio, rule.alpha) - 1 - background.counts);
  const double limit = onOffLimit(off, ratio, rule.alpha, rule.beta);
  return {LimitSource::kPoisson, k_alpha, k_beta, threshold, std::max(limit, threshold)};
}

/// The normal distribution about `value`, cut off at 0 (ISO 11929).
void setBestEstimate(ActivityLimits& result, double coverage_probability) {
  constexpr double kFarBelow = -30;  // beyond, what is left of the distribution is an exponential
  const double u = result.activity_u;
  const double z = result.activity / u;
  const double rest = (1 - coverage_probability) / 2;
  if (z < kFarBelow) {
    result.best = result.best_u = u / -z;
    result.low = -std::log1p(-rest) * result.best;
    result.high = -std::log(rest) * result.best;
    return;
  }
  const double above_zero = normalBelow(z);
  const double hazard = lowerHazard(z);
  result.best = u * (z + hazard);
  result.best_u = u * std::sqrt(1 - hazard * (z + hazard));
  result.low = result.activity - u * normalQuantile(above_zero * (1 - rest));
  result.high = result.activity - u * normalQuantile(above_zero * rest);
}

}  // namespace

CountLimits countLimits(const Background& background, const LimitRule& rule) {
  const double k_alpha = -normalQuantile(rule.alpha);
  const double k_beta = -normalQuantile(rule.beta);
  if (background.counts < std::min(rule.poisson_below, kMostPoissonCounts))
    return byPoissonQuantiles(background, rule, k_alpha, k_beta);
  if (rule.method == LimitMethod::kCurrie) return byCurrie(background, rule);
  return byNormalApproximation(background, k_alpha, k_beta);
}

std::optional<double> activityLimit(const CountLimits& counts, const CountCalibration& calibration) {
  const double w = calibration.per_count;
  if (counts.source == LimitSource::kCurrie) return w * counts.limit;
  // In counts: the distance from threshold to limit is k_beta times the scatter at the limit, to which the calibration
  // adds its part.
  const double k = counts.k_beta;
  const double distance = (counts.limit - counts.threshold) / k;
  const auto limit = limitAbove(counts.threshold, k, distance * distance - counts.limit, calibration.relative_u);
  return limit ? std::optional<double>(w * *limit) : std::nullopt;
}

ActivityLimits activityLimits(double gross, const Background& background, const CountLimits& counts,
                              const CountCalibration& calibration, double coverage_probability) {
  const double w = calibration.per_count;
  const double net = gross - background.counts;
  const double variance = std::max(gross + background.counts_u * background.counts_u, 1.0);
  ActivityLimits result;
  result.activity = w * net;
  result.activity_u = std::hypot(w * std::sqrt(variance), result.activity * calibration.relative_u);
  result.threshold = w * counts.threshold;
  result.limit = activityLimit(counts, calibration);
  result.is_recognised = net > counts.threshold;
  setBestEstimate(result, coverage_probability);
  return result;
}

}  // namespace orbengine
