#include "kernel/polynomial.h"

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace anautils {

namespace {

constexpr double kFarthest = 33554432.0;  // twice the greatest number of channels

/// Coefficients or places, as many as a polynomial of the highest degree has. On the stack: callers that answer
/// not-a-number for "no such place" could not tell it from want of memory.
class Few {
 public:
  void push_back(double x) {
    if (size_ == numbers_.size()) throw std::length_error("polynomial of too high a degree");
    numbers_[size_++] = x;
  }
  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }
  double operator[](std::size_t i) const { return numbers_[i]; }
  double back() const { return numbers_[size_ - 1]; }
  const double* begin() const { return numbers_.data(); }
  const double* end() const { return numbers_.data() + size_; }

 private:
  std::array<double, 16> numbers_{};
  std::size_t size_ = 0;
};

std::span<const double> withoutLeadingZeros(std::span<const double> coefficients) {
  while (coefficients.size() > 1 && coefficients.back() == 0)
    coefficients = coefficients.first(coefficients.size() - 1);
  return coefficients;
}

Few derivative(std::span<const double> coefficients) {
  Few result;
  for (std::size_t i = 1; i < coefficients.size(); ++i) result.push_back(static_cast<double>(i) * coefficients[i]);
  if (result.empty()) result.push_back(0.0);
  return result;
}

/// The place in [low, high] where a polynomial that is monotonic there takes the value; it does so somewhere.
double solveMonotonic(std::span<const double> coefficients, double value, double low, double high) {
  const Few slope = derivative(coefficients);
  const bool rises = polynomialAt(coefficients, low) < polynomialAt(coefficients, high);
  double x = 0.5 * (low + high);
  double former_step = high - low;
  for (int i = 0; i < 300; ++i) {
    const double difference = polynomialAt(coefficients, x) - value;
    if (difference == 0) return x;
    ((difference < 0) == rises ? low : high) = x;
    double next = x - difference / polynomialAt(slope, x);
    if (!(next > low && next < high) || std::abs(next - x) > 0.5 * former_step) next = 0.5 * (low + high);
    former_step = std::abs(next - x);
    x = next;
    if (former_step <= std::numeric_limits<double>::epsilon() * std::abs(x)) break;
  }
  return x;
}

Few rootsBetween(std::span<const double> coefficients, double low, double high);

/// The ends of the parts of [low, high] in which the polynomial is monotonic, low and high included.
Few monotonicParts(std::span<const double> coefficients, double low, double high) {
  Few ends;
  ends.push_back(low);
  for (const double x : rootsBetween(derivative(coefficients), low, high)) ends.push_back(x);
  ends.push_back(high);
  return ends;
}

Few rootsBetween(std::span<const double> coefficients, double low, double high) {
  coefficients = withoutLeadingZeros(coefficients);
  Few roots;
  if (coefficients.size() < 2) return roots;
  const Few ends = monotonicParts(coefficients, low, high);
  for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
    const double at_low = polynomialAt(coefficients, ends[i]);
    const double at_high = polynomialAt(coefficients, ends[i + 1]);
    if ((at_low <= 0 && at_high >= 0) || (at_low >= 0 && at_high <= 0)) {
      const double root = solveMonotonic(coefficients, 0.0, ends[i], ends[i + 1]);
      if (roots.empty() || root > roots.back()) roots.push_back(root);
    }
  }
  return roots;
}

}  // namespace

double polynomialAt(std::span<const double> coefficients, double x) {
  double value = 0;
  for (std::size_t i = coefficients.size(); i-- > 0;) value = value * x + coefficients[i];
  return value;
}

bool risesBetween(std::span<const double> coefficients, double low, double high) {
  const Few slope = derivative(coefficients);
  for (const double x : monotonicParts(slope, low, high))
    if (!(polynomialAt(slope, x) > 0)) return false;
  return true;
}

std::optional<double> risingRoot(std::span<const double> coefficients, double value, double low, bool low_is_bound) {
  coefficients = withoutLeadingZeros(coefficients);
  if (coefficients.size() == 2) {
    const double x = (value - coefficients[0]) / coefficients[1];
    return coefficients[1] > 0 && !(low_is_bound && x < low) ? std::optional(x) : std::nullopt;
  }
  const auto find = [&](const Few& ends, std::size_t i) -> std::optional<double> {
    const double at_low = polynomialAt(coefficients, ends[i]);
    const double at_high = polynomialAt(coefficients, ends[i + 1]);
    if (!(at_low < at_high && at_low <= value && value <= at_high)) return std::nullopt;
    return solveMonotonic(coefficients, value, ends[i], ends[i + 1]);
  };
  const Few above = monotonicParts(coefficients, low, kFarthest);
  for (std::size_t i = 0; i + 1 < above.size(); ++i)
    if (const auto x = find(above, i)) return x;
  if (low_is_bound) return std::nullopt;
  const Few below = monotonicParts(coefficients, -kFarthest, low);
  for (std::size_t i = below.size() - 1; i-- > 0;)
    if (const auto x = find(below, i)) return x;
  return std::nullopt;
}

}  // namespace anautils
