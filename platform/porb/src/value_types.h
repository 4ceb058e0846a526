#pragma once
#include <cstdint>

#include "comdefs.h"

/// What the type codes of the dictionary mean to the service.
namespace porb {

enum class Kind : std::uint8_t { None, Integer, Float, Double, Text };

namespace detail {

constexpr Kind kindOfType(int type) noexcept {
  switch (type) {
    case AIO_T_BOOL:
    case AIO_T_FLAG:
    case AIO_T_INT16:
    case AIO_T_UINT16:
    case AIO_T_INT32:
    case AIO_T_INT64:
      return Kind::Integer;
    case AIO_T_FLOAT:
      return Kind::Float;
    case AIO_T_DOUBLE:
    case AIO_T_REAL8:
    case AIO_T_TIME:
      return Kind::Double;
    case AIO_T_TEXT:
    case AIO_T_NAME:
      return Kind::Text;
    default:
      return Kind::None;
  }
}

constexpr std::uint16_t widthOfType(int type) noexcept {
  switch (type) {
    case AIO_T_BOOL:
    case AIO_T_FLAG:
      return 1;
    case AIO_T_INT16:
    case AIO_T_UINT16:
      return 2;
    case AIO_T_INT32:
    case AIO_T_FLOAT:
      return 4;
    case AIO_T_INT64:
    case AIO_T_DOUBLE:
    case AIO_T_REAL8:
    case AIO_T_TIME:
      return 8;
    default:
      return 0;
  }
}

struct TypeTable {
  Kind kind[256] = {};
  std::uint8_t width[256] = {};
  constexpr TypeTable() {
    for (int type = 0; type < 256; ++type) {
      kind[type] = kindOfType(type);
      width[type] = static_cast<std::uint8_t>(widthOfType(type));
    }
  }
};
inline constexpr TypeTable kTypes;  // a look-up instead of a switch: every get asks

}  // namespace detail

/// Type codes are those of the dictionary, all below 256; an unknown one is of no kind.
constexpr Kind kindOf(int type) noexcept {
  return detail::kTypes.kind[type & 0xFF];
}

/// Bytes of a number in a value buffer; 0 for text and unknown types.
constexpr std::uint16_t widthOf(int type) noexcept {
  return detail::kTypes.width[type & 0xFF];
}

constexpr bool isUnsigned(int type) noexcept {
  return type == AIO_T_BOOL || type == AIO_T_FLAG || type == AIO_T_UINT16;
}

}  // namespace porb
