#include "channel_shift.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>

namespace orb::formats {
namespace {

/// A number as the sum of two doubles, about 32 digits (T. J. Dekker, Numer. Math. 18 (1971) 224).
struct Pair {
  double high = 0;
  double low = 0;
};

Pair plus(const Pair& a, double b) {
  const double sum = a.high + b;
  const double part = sum - a.high;
  const double error = (a.high - (sum - part)) + (b - part) + a.low;
  const double high = sum + error;
  return {high, error - (high - sum)};
}

Pair plusProduct(const Pair& a, double x, double y) {
  const double product = x * y;
  return plus(plus(a, product), std::fma(x, y, -product));
}

double binomial(std::size_t n, std::size_t k) {
  double value = 1;
  for (std::size_t i = 1; i <= k; ++i) value = value * static_cast<double>(n - k + i) / static_cast<double>(i);
  return value;
}

/// Coefficient j of p(x + shift) less coefficient j of p itself; shift is 1 or -1.
Pair higherTerms(std::span<const double> p, std::size_t j, int shift) {
  Pair sum;
  for (std::size_t k = p.size(); k-- > j + 1;) {
    const double sign = shift < 0 && (k - j) % 2 == 1 ? -1 : 1;
    sum = plusProduct(sum, sign * binomial(k, j), p[k]);
  }
  return sum;
}

double distance(const Pair& exact, double value) {
  return std::fabs((value - exact.high) - exact.low);
}

/// The decimal number of the fewest digits within `tolerance`, when few digits do; else the nearest double.
double shortestNear(const Pair& exact, double tolerance) {
  constexpr int kShortDigits = 13;
  if (distance(exact, 0) <= tolerance) return 0;
  for (int digits = 0; digits < kShortDigits; ++digits) {
    std::array<char, 64> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), exact.high, std::chars_format::scientific, digits).ptr;
    double value = 0;
    std::from_chars(text.data(), end, value);
    if (distance(exact, value) <= tolerance) return value;
  }
  return exact.high;
}

double lastPlace(double value) {
  return std::nextafter(std::fabs(value), std::numeric_limits<double>::infinity()) - std::fabs(value);
}

/// Digits that the rounding of from_one[j] left open are filled with zeros, in decimal: printed coefficients end there.
double coefficientFromZero(std::span<const double> from_one, std::size_t j) {
  if (j + 1 == from_one.size()) return from_one[j];
  return shortestNear(plus(higherTerms(from_one, j, 1), from_one[j]), 2 * lastPlace(from_one[j]));
}

/// How large the numbers are whose sum makes coefficient j: rounding leaves an error in proportion to it.
double scale(std::span<const double> p, std::size_t j) {
  double sum = 0;
  for (std::size_t k = j; k < p.size(); ++k) sum += binomial(k, j) * std::fabs(p[k]);
  return sum;
}

}  // namespace

std::vector<double> toChannelsFromZero(std::span<const double> from_one) {
  std::vector<double> from_zero(from_one.size());
  for (std::size_t j = 0; j < from_one.size(); ++j) from_zero[j] = coefficientFromZero(from_one, j);
  return from_zero;
}

std::vector<double> toChannelsFromOne(std::span<const double> from_zero) {
  // From the highest down: each coefficient makes up for the rounding of those above it. Of the doubles at and next to
  // the exact value, the first that leads back to the given coefficient is taken.
  constexpr double kRounding = 4 * std::numeric_limits<double>::epsilon();
  std::vector<double> from_one(from_zero.begin(), from_zero.end());
  for (std::size_t j = from_zero.size(); j-- > 0;) {
    const Pair above = higherTerms(from_one, j, 1);
    const Pair exact = plus({-above.high, -above.low}, from_zero[j]);
    const double nearest = exact.high;
    const double unit = lastPlace(nearest);
    const double tries[] = {shortestNear(exact, kRounding * scale(from_zero, j)),
                            nearest,
                            nearest + unit,
                            nearest - unit,
                            nearest + 2 * unit,
                            nearest - 2 * unit};
    from_one[j] = nearest;
    for (const double candidate : tries) {
      from_one[j] = candidate;
      if (coefficientFromZero(from_one, j) == from_zero[j]) break;
      from_one[j] = nearest;
    }
  }
  return from_one;
}

double polynomial(std::span<const double> coefficients, double x) {
  double value = 0;
  for (std::size_t k = coefficients.size(); k-- > 0;) value = value * x + coefficients[k];
  return value;
}

}  // namespace orb::formats
