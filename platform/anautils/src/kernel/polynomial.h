#pragma once
#include <optional>
#include <span>

/// Polynomials by their coefficients, constant term first.
namespace anautils {

double polynomialAt(std::span<const double> coefficients, double x);

/// Whether the polynomial rises strictly in [low, high], the ends included.
bool risesBetween(std::span<const double> coefficients, double low, double high);

/// The place where a rising part of the polynomial takes the value: the smallest that is at least `low`, else (only
/// when `low_is_bound` is not set) the nearest below it. Places further than 2^25 from 0 are not looked for unless the
/// polynomial is linear.
/// Method: the roots of the derivative, found the same way, cut the axis into monotonic parts; in the part that
/// contains the value, Newton steps guarded by bisection (Press et al. 2007, section 9.4).
std::optional<double> risingRoot(std::span<const double> coefficients, double value, double low, bool low_is_bound);

}  // namespace anautils
