#pragma once
#include <cstdint>

#include "comdefs.h"

/// What the type codes of the dictionary mean to the service.
namespace porb {

enum class Kind : std::uint8_t { None, Integer, Float, Double, Text };

constexpr Kind kindOf(int type) noexcept {
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

/// Bytes of a number in a value buffer; 0 for text and unknown types.
constexpr std::uint16_t widthOf(int type) noexcept {
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

constexpr bool isUnsigned(int type) noexcept {
  return type == AIO_T_BOOL || type == AIO_T_FLAG || type == AIO_T_UINT16;
}

}  // namespace porb
