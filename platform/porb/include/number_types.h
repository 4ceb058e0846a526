/// The numbers of a data file as C++ types: what a parameter type means, and conversion without undefined behaviour.
#pragma once
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "comdefs.h"

namespace porb {

/// Calls visitor(T{}) with the C++ type of a parameter type (AIO_T_...).
/// @return false, without a call, for texts and for what is no type
template <typename Visitor>
bool withNumberType(std::int32_t type, Visitor&& visitor) {
  switch (type) {
    case AIO_T_BOOL:
    case AIO_T_FLAG:
      visitor(std::uint8_t{});
      return true;
    case AIO_T_INT16:
      visitor(std::int16_t{});
      return true;
    case AIO_T_UINT16:
      visitor(std::uint16_t{});
      return true;
    case AIO_T_INT32:
      visitor(std::int32_t{});
      return true;
    case AIO_T_INT64:
      visitor(std::int64_t{});
      return true;
    case AIO_T_FLOAT:
      visitor(float{});
      return true;
    case AIO_T_DOUBLE:
    case AIO_T_REAL8:
    case AIO_T_TIME:
      visitor(double{});
      return true;
    default:
      return false;
  }
}

/// The nearest value of type T, saturating; not-a-number becomes 0 in integers.
template <typename T>
T nearest(double value) {
  if constexpr (std::is_floating_point_v<T>) {
    if (value > static_cast<double>(std::numeric_limits<T>::max()) && !std::isinf(value))
      return std::numeric_limits<T>::max();
    if (value < static_cast<double>(std::numeric_limits<T>::lowest()) && !std::isinf(value))
      return std::numeric_limits<T>::lowest();
    return static_cast<T>(value);
  } else {
    if (std::isnan(value)) return 0;
    if (value <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
    if (value >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
    return static_cast<T>(std::llround(value));
  }
}

}  // namespace porb
