#include "axis_fit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace orb::formats {
namespace {

constexpr std::size_t kMaxTerms = 5;
using Terms = std::array<double, kMaxTerms>;

/// Legendre polynomials of u in -1..1: over evenly spaced channels they are nearly orthogonal, so that the equations of
/// the fit are harmless.
Terms legendre(double u) {
  Terms p{1, u};
  for (std::size_t k = 2; k < kMaxTerms; ++k) {
    const auto n = static_cast<double>(k);
    p[k] = ((2 * n - 1) * u * p[k - 1] - (n - 1) * p[k - 2]) / n;
  }
  return p;
}

/// Channels first..first + n - 1 onto -1..1.
struct Scaling {
  double middle;
  double half;
  double operator()(std::size_t index) const { return (static_cast<double>(index) - half) / half; }
};

double value(const Terms& fit, const Terms& basis, std::size_t n_terms) {
  double sum = 0;
  for (std::size_t k = n_terms; k-- > 0;) sum += fit[k] * basis[k];
  return sum;
}

/// Solves the normal equations by elimination with pivots; the matrix is small and positive definite.
void solve(std::array<Terms, kMaxTerms>& matrix, Terms& right, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    std::size_t pivot = i;
    for (std::size_t r = i + 1; r < n; ++r) {
      if (std::fabs(matrix[r][i]) > std::fabs(matrix[pivot][i])) pivot = r;
    }
    std::swap(matrix[i], matrix[pivot]);
    std::swap(right[i], right[pivot]);
    for (std::size_t r = 0; r < n; ++r) {
      if (r == i) continue;
      const double factor = matrix[r][i] / matrix[i][i];
      for (std::size_t c = i; c < n; ++c) matrix[r][c] -= factor * matrix[i][c];
      right[r] -= factor * right[i];
    }
  }
  for (std::size_t i = 0; i < n; ++i) right[i] /= matrix[i][i];
}

/// Adds to `fit` the least-squares fit of what it leaves over.
void improve(std::span<const double> axis, const Scaling& scaling, std::size_t n_terms, Terms& fit) {
  std::array<Terms, kMaxTerms> matrix{};
  Terms right{};
  for (std::size_t i = 0; i < axis.size(); ++i) {
    const Terms basis = legendre(scaling(i));
    const double left = axis[i] - value(fit, basis, n_terms);
    for (std::size_t r = 0; r < n_terms; ++r) {
      for (std::size_t c = 0; c < n_terms; ++c) matrix[r][c] += basis[r] * basis[c];
      right[r] += basis[r] * left;
    }
  }
  solve(matrix, right, n_terms);
  for (std::size_t k = 0; k < n_terms; ++k) fit[k] += right[k];
}

bool rises(const Scaling& scaling, std::size_t n, std::size_t n_terms, const Terms& fit) {
  double before = value(fit, legendre(scaling(0)), n_terms);
  for (std::size_t i = 1; i < n; ++i) {
    const double energy = value(fit, legendre(scaling(i)), n_terms);
    if (energy < before) return false;
    before = energy;
  }
  return true;
}

double largestMiss(std::span<const double> axis, const Scaling& scaling, std::size_t n_terms, const Terms& fit) {
  double largest = 0;
  for (std::size_t i = 0; i < axis.size(); ++i) {
    largest = std::max(largest, std::fabs(axis[i] - value(fit, legendre(scaling(i)), n_terms)));
  }
  return largest;
}

/// From Legendre polynomials of u to powers of the channel x, with u = (x - middle) / half. The recurrence of the
/// polynomials is run on their coefficients.
std::vector<double> powersOfChannel(const Terms& fit, const Scaling& scaling, std::size_t n_terms) {
  const auto timesU = [&](const Terms& p) {
    Terms product{};
    for (std::size_t k = 0; k < kMaxTerms; ++k) {
      product[k] -= p[k] * scaling.middle / scaling.half;
      if (k + 1 < kMaxTerms) product[k + 1] += p[k] / scaling.half;
    }
    return product;
  };
  Terms before{};
  Terms current{1};
  std::vector<double> coefficients(n_terms);
  for (std::size_t degree = 0; degree < n_terms; ++degree) {
    for (std::size_t k = 0; k < n_terms; ++k) coefficients[k] += fit[degree] * current[k];
    const auto n = static_cast<double>(degree + 1);
    const Terms raised = timesU(current);
    Terms next{};
    for (std::size_t k = 0; k < kMaxTerms; ++k) next[k] = ((2 * n - 1) * raised[k] - (n - 1) * before[k]) / n;
    before = current;
    current = next;
  }
  return coefficients;
}

/// Rounding of the printed digits, with some room because the fit is not the best one in the sense of the largest miss;
/// and at least what the arithmetic itself costs.
double tolerance(std::span<const double> axis, int printed_digits) {
  constexpr double kPlaces = 0.6;
  constexpr double kArithmetic = 16 * std::numeric_limits<double>::epsilon();
  double largest = 0;
  for (const double energy : axis) largest = std::max(largest, std::fabs(energy));
  if (largest == 0) return 0;
  const double place = std::pow(10.0, std::floor(std::log10(largest)) + 1 - printed_digits);
  return std::max(kPlaces * place, kArithmetic * largest);
}

}  // namespace

std::vector<double> fitAxis(std::span<const double> axis, std::size_t first_channel, int printed_digits) {
  const std::size_t n = axis.size();
  if (n < 2) return {};
  const double half = static_cast<double>(n - 1) / 2;
  const Scaling scaling{static_cast<double>(first_channel) + half, half};
  const double allowed = tolerance(axis, printed_digits);
  for (std::size_t n_terms = 2; n_terms <= kMaxTerms; ++n_terms) {
    // A curve through as many points as it has coefficients proves nothing; only a line may do that.
    if (n_terms > 2 && n <= n_terms) break;
    Terms fit{};
    improve(axis, scaling, n_terms, fit);
    improve(axis, scaling, n_terms, fit);
    const bool meets = largestMiss(axis, scaling, n_terms, fit) <= allowed && rises(scaling, n, n_terms, fit);
    if (meets) return powersOfChannel(fit, scaling, n_terms);
  }
  return {};
}

}  // namespace orb::formats
