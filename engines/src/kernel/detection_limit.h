/// Decision threshold and detection limit of a line: of its net counts in a window, and of the activity.
/// Currie, Anal. Chem. 40 (1968) 586; ISO 11929-1:2019; De Geer 2004 and on_off_counting.h for few counts.
///
/// "Recognised" is what exceeds the threshold: that happens with probability alpha where there is nothing, and fails to
/// happen with probability beta at the limit. k_alpha and k_beta are the normal quantiles of 1 - alpha and 1 - beta.
///
/// Pure functions: safe in any number of threads. They let out nothing but std::bad_alloc.
#pragma once
#include <optional>

#include "kernel/line_window.h"

namespace orbengine {

enum class LimitMethod { kCurrie = 1, kIso11929 = 2 };

struct LimitRule {
  LimitMethod method = LimitMethod::kIso11929;
  double alpha = 0.05;         ///< above 0, below 0.5
  double beta = 0.05;          ///< above 0, below 0.5
  double currie_const = 2.71;  ///< a of the limit a + b sqrt(B), positive
  double currie_slope = 4.65;  ///< b, positive
  /// Continuum below which exact Poisson quantiles take the place of either method; 0: never. Above
  /// kMostPoissonCounts the normal approximation is as good, and a higher value means that one.
  double poisson_below = 10;
};

inline constexpr double kMostPoissonCounts = 100;

/// What the threshold came from.
enum class LimitSource { kCurrie, kNormal, kPoisson };

/// Threshold and limit of the net counts in the window (not of the whole line).
struct CountLimits {
  LimitSource source = LimitSource::kNormal;
  double k_alpha = 0;  ///< for Currie's formula both are sqrt(a)
  double k_beta = 0;
  double threshold = 0;
  double limit = 0;  ///< of a calibration without uncertainty
};

/// Currie:   y* = b/2 sqrt(B),          y# = a + b sqrt(B).
/// ISO:      y* = k_alpha u(0),         y# = y* + k_beta u(y#), u(y)^2 = y + B + u(B)^2.
/// Poisson:  y* = the greatest counts in the window that are not significant, less B; y# as onOffLimit tells.
/// Currie's formula takes no account of B's uncertainty other than through b: 3.29 is that of a known continuum, and
/// with flanks of one window each sees a line in 9 to 11 % of windows without one; 4.03 would be right for 5 %. The
/// normal form of ISO 11929 makes 5 % into 6.6 % at B = 20 and 5.2 % at 1000, Poisson quantiles into 5 % or less.
CountLimits countLimits(const Background& background, const LimitRule& rule);

/// Threshold and limit as activities, and what the measured net counts say.
struct ActivityLimits {
  double activity = 0;          ///< y, may be negative
  double activity_u = 0;        ///< u(y), counting and calibration; never 0
  double threshold = 0;         ///< y*
  std::optional<double> limit;  ///< y#; none when k_beta u_rel is 1 or more: no activity is large enough then
  bool is_recognised = false;   ///< the net counts exceed their threshold
  double best = 0;              ///< best estimate, knowing that an activity is not negative
  double best_u = 0;
  double low = 0;  ///< probabilistically symmetric coverage interval
  double high = 0;
};

/// Activity per net count in the window: 1 / (share inside * efficiency * emission probability * live time), times
/// the factors of decay.
struct CountCalibration {
  double per_count = 1;   ///< [Bq], above 0
  double relative_u = 0;  ///< relative standard uncertainty, not below 0
};

/// y = w (G - B), u(y)^2 = w^2 (G + u(B)^2) + (y u_rel)^2 with at least one count; y* = w times that of the counts. The
/// limit solves y# = y* + k_beta u(y#) with w's uncertainty in u, which for a normal approximation is
/// y# = (2 y* + k^2 w) / (1 - k^2 u_rel^2) where k_alpha = k_beta = k. Currie's formula has no place for it: y# is w
/// times that of the counts. Best estimate and interval: ISO 11929, from the normal distribution about y cut off at 0.
/// @param gross                 counts in the window
/// @param coverage_probability  of the interval, above 0, below 1
ActivityLimits activityLimits(double gross, const Background& background, const CountLimits& counts,
                              const CountCalibration& calibration, double coverage_probability);

/// The limit y# alone, in Bq; none as above.
std::optional<double> activityLimit(const CountLimits& counts, const CountCalibration& calibration);

}  // namespace orbengine
