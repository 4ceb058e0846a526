#pragma once
#include <cstddef>
#include <span>
#include <vector>

namespace orb::formats {

/// Finds the polynomial that an axis was printed from.
/// @param axis            the value of channel first_channel + i, finite and nowhere falling; nor does the polynomial.
/// @param printed_digits  the largest number of significant digits with which a value of the axis was printed; the
///                        polynomial must meet every value to about half a unit of the last of them.
/// @return Coefficients in channels, of the lowest degree (1 to 4) that does; empty when none does.
std::vector<double> fitAxis(std::span<const double> axis, std::size_t first_channel, int printed_digits);

}  // namespace orb::formats
