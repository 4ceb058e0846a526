#pragma once
#include <span>

namespace orb::plot {

/// Horner's scheme; the constant stands first.
inline double polynomial(std::span<const double> coefficients, double x) {
  double value = 0;
  for (auto c = coefficients.rbegin(); c != coefficients.rend(); ++c) value = value * x + *c;
  return value;
}

}  // namespace orb::plot
