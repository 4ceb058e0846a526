#include "normal_distribution.h"

#include <cmath>
#include <limits>

namespace com::norvale::datatypes {

namespace {

double density(double z) {
  return std::exp(-z * z / 2) / std::sqrt(2 * M_PI);
}

/// Quantile of a probability up to one half.
double lowerQuantile(double p) {
  const double t = std::sqrt(-2 * std::log(p));
  double z = (2.515517 + t * (0.802853 + t * 0.010328)) / (1 + t * (1.432788 + t * (0.189269 + t * 0.001308))) - t;
  for (int step = 0; step < 3 && density(z) > 0; ++step) {
    const double u = (normalBelow(z) - p) / density(z);
    z -= u / (1 + z * u / 2);
  }
  return z;
}

}  // namespace

double normalBelow(double z) {
  return std::erfc(-z / std::sqrt(2.0)) / 2;
}

double normalQuantile(double p) {
  if (!(p > 0)) return -std::numeric_limits<double>::infinity();
  if (!(p < 1)) return std::numeric_limits<double>::infinity();
  return p <= 0.5 ? lowerQuantile(p) : -lowerQuantile(1 - p);
}

double lowerHazard(double z) {
  constexpr double kFarOut = -8;
  if (z > kFarOut) return density(z) / normalBelow(z);
  double fraction = 0;
  for (int k = 30; k > 0; --k) fraction = k / (-z + fraction);
  return -z + fraction;
}

}  // namespace com::norvale::datatypes
