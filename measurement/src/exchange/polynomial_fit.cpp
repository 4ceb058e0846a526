#include "polynomial_fit.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace com::norvale::measurement {

namespace {

using Row = std::vector<double>;

/// Gaussian elimination with pivoting on n rows of n + 1 numbers.
Row solve(std::vector<Row> rows) {
  const std::size_t n = rows.size();
  for (std::size_t k = 0; k < n; ++k) {
    const auto larger = [k](const Row& a, const Row& b) { return std::fabs(a[k]) < std::fabs(b[k]); };
    std::iter_swap(rows.begin() + static_cast<std::ptrdiff_t>(k),
                   std::max_element(rows.begin() + static_cast<std::ptrdiff_t>(k), rows.end(), larger));
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = rows[i][k] / rows[k][k];
      for (std::size_t j = k; j <= n; ++j) rows[i][j] -= factor * rows[k][j];
    }
  }
  Row x(n);
  for (std::size_t k = n; k-- > 0;) {
    double sum = rows[k][n];
    for (std::size_t j = k + 1; j < n; ++j) sum -= rows[k][j] * x[j];
    x[k] = sum / rows[k][k];
  }
  return x;
}

/// Coefficients in x of a polynomial in u = (x - middle) / half.
Row unscale(const Row& scaled, double middle, double half) {
  Row result;
  for (auto c = scaled.rbegin(); c != scaled.rend(); ++c) {  // result = result * u + c
    Row next(result.size() + 1, 0.0);
    for (std::size_t i = 0; i < result.size(); ++i) {
      next[i + 1] += result[i] / half;
      next[i] -= result[i] * middle / half;
    }
    next[0] += *c;
    result = std::move(next);
  }
  return result;
}

}  // namespace

std::vector<double> fitPolynomial(std::span<const formats::CalibrationPoint> points, std::size_t degree) {
  std::set<double> different;
  for (const auto& point : points) different.insert(point.x);
  if (different.empty()) return {};
  const std::size_t n = std::min(degree, different.size() - 1) + 1;
  // Scaled to -1..1, so that the powers stay comparable.
  const double middle = (*different.begin() + *different.rbegin()) / 2;
  const double half = n == 1 ? 1 : (*different.rbegin() - *different.begin()) / 2;
  std::vector<Row> rows(n, Row(n + 1, 0.0));
  for (const auto& point : points) {
    const double u = (point.x - middle) / half;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) rows[i][j] += std::pow(u, static_cast<double>(i + j));
      rows[i][n] += std::pow(u, static_cast<double>(i)) * point.y;
    }
  }
  return unscale(solve(std::move(rows)), middle, half);
}

}  // namespace com::norvale::measurement
