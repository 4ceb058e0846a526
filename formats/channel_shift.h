#pragma once
#include <span>
#include <vector>

namespace orb::formats {

// The same polynomial in channels that count from 0 and in channels that count from 1: E = sum c_k i^k with i the
// channel from 0, E = sum d_k j^k with j = i + 1.
//
// There and back, c -> d -> c, gives the very same double c_k when c_k is printed with at most 13 digits and its last
// digit is worth more than four units in the last place of d_k; this holds for the coefficients that spectrum files
// print. Otherwise c_k comes back within four such units: a d_k that is much larger than c_k has no room for all digits
// of c_k. The highest coefficient is the same in both forms.
//
// Coefficients must be finite; at most kMaxCoefficients of them.

std::vector<double> toChannelsFromOne(std::span<const double> from_zero);
std::vector<double> toChannelsFromZero(std::span<const double> from_one);

/// The polynomial's value at x.
double polynomial(std::span<const double> coefficients, double x);

}  // namespace orb::formats
