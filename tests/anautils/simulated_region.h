// Expected counts of a region with known truth, from densities by quadrature, and Poisson draws of it. Shares nothing
// with the model that is fitted.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace anautilstest {

inline constexpr double kFwhm = 2.354820045;

struct TrueLine {
  double position = 0, width = 0, area = 0;
  double tail = 0;  // distance of the junction, 0 none
};

struct TrueRegion {
  int n = 0;
  std::vector<TrueLine> lines;
  double left = 0, right = 0;  // levels at the end channels
  double step = 0;             // ratio
};

/// Height of a line at x, of height 1 at the centroid.
inline double lineHeight(const TrueLine& line, double x) {
  const double sigma = line.width / kFwhm, u = x - line.position;
  if (line.tail > 0 && u < -line.tail) return std::exp(line.tail * (2 * u + line.tail) / (2 * sigma * sigma));
  return std::exp(-u * u / (2 * sigma * sigma));
}

/// Simpson's rule with `parts` (even) intervals.
template <typename Function>
double integral(Function f, double low, double high, int parts) {
  const double h = (high - low) / parts;
  double sum = f(low) + f(high);
  for (int k = 1; k < parts; ++k) sum += (k % 2 == 1 ? 4 : 2) * f(low + k * h);
  return sum * h / 3;
}

/// The same in two pieces, because the curvature of a tailed line jumps at the junction.
inline double lineIntegral(const TrueLine& line, double low, double high, int parts) {
  const double junction = line.position - line.tail;
  const auto height = [&](double x) { return lineHeight(line, x); };
  if (line.tail <= 0 || junction <= low || junction >= high) return integral(height, low, high, parts);
  return integral(height, low, junction, parts) + integral(height, junction, high, parts);
}

inline std::vector<double> expectedCounts(const TrueRegion& region) {
  std::vector<double> counts(static_cast<std::size_t>(region.n));
  for (int i = 0; i < region.n; ++i)
    counts[static_cast<std::size_t>(i)] = region.left + (region.right - region.left) * i / (region.n - 1);
  for (const TrueLine& line : region.lines) {
    const double sigma = line.width / kFwhm;
    const double whole = lineIntegral(line, line.position - 200 * sigma, line.position + 12 * sigma, 20000);
    for (int i = 0; i < region.n; ++i) {
      const double step = integral(
          [&](double x) { return 0.5 * std::erfc((x - line.position) / sigma / std::sqrt(2)); }, i - 0.5, i + 0.5, 16);
      counts[static_cast<std::size_t>(i)] +=
          line.area * lineIntegral(line, i - 0.5, i + 0.5, 32) / whole + region.step * line.area / line.width * step;
    }
  }
  return counts;
}

inline std::vector<double> drawnCounts(const std::vector<double>& expected, std::mt19937_64& random) {
  std::vector<double> counts(expected.size());
  for (std::size_t i = 0; i < counts.size(); ++i)
    counts[i] = static_cast<double>(std::poisson_distribution<long>(std::max(expected[i], 1e-12))(random));
  return counts;
}

}  // namespace anautilstest
