#pragma once
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace com::norvale::datatypes {

constexpr double kTwoTo63 = 9223372036854775808.0;

/// The number `v` as another type: the nearest limit of that type when it lies outside, cut toward zero when
/// an integer is wanted. Not-a-number is 0 as an integer; infinities stay infinite as a real number.
template <typename To, typename From>
To saturate(From v) noexcept {
  using Limits = std::numeric_limits<To>;
  if constexpr (std::is_same_v<From, bool>) {
    return static_cast<To>(v ? 1 : 0);
  } else if constexpr (std::is_integral_v<To> && std::is_integral_v<From>) {
    if (std::cmp_less(v, Limits::min())) return Limits::min();
    if (std::cmp_greater(v, Limits::max())) return Limits::max();
    return static_cast<To>(v);
  } else if constexpr (std::is_integral_v<To>) {
    // A limit itself may have no exact double; the power of two just above it always has one.
    constexpr double kAbove = 2.0 * static_cast<double>(To{1} << (Limits::digits - 1));
    if (std::isnan(v)) return 0;
    if (v >= kAbove) return Limits::max();
    if (v <= static_cast<double>(Limits::min())) return Limits::min();
    return static_cast<To>(v);
  } else if constexpr (std::is_same_v<To, float> && std::is_same_v<From, double>) {
    if (std::isfinite(v) && std::fabs(v) > Limits::max()) return std::copysign(Limits::max(), v < 0 ? -1.0F : 1.0F);
    return static_cast<To>(v);
  } else {
    return static_cast<To>(v);
  }
}

}  // namespace com::norvale::datatypes
