#include "decay.h"

#include <cmath>
#include <numbers>

namespace orbengine {

namespace {

/// Decay constant times a duration; 0 when either is not known.
double decays(double half_life, double duration) {
  return half_life > 0 && std::isfinite(duration) ? std::numbers::ln2 * duration / half_life : 0;
}

}  // namespace

double meanDuringCounting(double half_life, double real_time) {
  const double x = decays(half_life, real_time);
  return x > 0 ? -std::expm1(-x) / x : 1;
}

DecayFactor toReferenceDate(double half_life, double half_life_u, double elapsed) {
  const double x = decays(half_life, elapsed);
  const double relative_u = half_life > 0 ? half_life_u / half_life : 0;
  return {std::exp(x), std::abs(x) * relative_u};
}

double forBuildUp(BuildUp kind, double half_life, double collection_time) {
  const double x = decays(half_life, collection_time);
  if (kind == BuildUp::None || !(x > 0)) return 1;
  const double decayed = -std::expm1(-x);
  return kind == BuildUp::Deposit ? x / decayed : 1 / decayed;
}

}  // namespace orbengine
