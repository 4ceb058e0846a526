#pragma once
#include <cstdint>
#include <iosfwd>
#include <string>
#include <variant>

#include "utillibrary_export.h"
#include "xtime.h"

namespace com::norvale::datatypes {

/// One tagged value: an integer of 8 to 64 bits, float, double, bool, time, narrow or wide text, or nothing.
///
/// Conversions never have undefined behaviour. To another type:
///   empty   0, false, "" and the zero time
///   number  saturates at the limits of the target; a real number is cut toward zero for an integer;
///           not-a-number is 0 for an integer; to bool: true when not 0 (not-a-number is true)
///   text    is read as a number (decimal or 0x hexadecimal, blanks around it allowed), or "true"/"false" for
///           bool, or ISO 8601 for a time; text that is none of it throws std::invalid_argument with the text
///           in the message. Numbers in text saturate like others.
///   time    as a number: seconds since 1970 (with fraction for float and double); a number as a time
///   likewise
///
/// @threads one thread per object; const operations from several threads at once
class UTILLIBRARY_EXPORT Variant {
 public:
  using Value =
      std::variant<std::monostate, std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t, std::uint32_t,
                   std::int64_t, std::uint64_t, float, double, bool, xtime_t, std::string, std::wstring>;

  Variant() noexcept = default;
  // One converting constructor for each type above, and for the built-in integer types that are not among the
  // fixed-width ones on some platform. Assignment goes through them.
  Variant(signed char v) noexcept;                   // NOLINT: conversion wanted
  Variant(unsigned char v) noexcept;                 // NOLINT
  Variant(short v) noexcept;                         // NOLINT
  Variant(unsigned short v) noexcept;                // NOLINT
  Variant(int v) noexcept;                           // NOLINT
  Variant(unsigned int v) noexcept;                  // NOLINT
  Variant(long v) noexcept;                          // NOLINT
  Variant(unsigned long v) noexcept;                 // NOLINT
  Variant(long long v) noexcept;                     // NOLINT
  Variant(unsigned long long v) noexcept;            // NOLINT
  Variant(float v) noexcept : value_(v) {}           // NOLINT
  Variant(double v) noexcept : value_(v) {}          // NOLINT
  Variant(bool v) noexcept : value_(v) {}            // NOLINT
  Variant(const xtime_t& v) noexcept : value_(v) {}  // NOLINT
  Variant(const char* v);                            // NOLINT: null is an empty text
  Variant(std::string v) noexcept;                   // NOLINT
  Variant(const wchar_t* v);                         // NOLINT: null is an empty text
  Variant(std::wstring v) noexcept;                  // NOLINT

  /// Makes the value empty.
  void clear() noexcept { value_.emplace<std::monostate>(); }
  /// False for an empty value. An empty text is a value.
  bool hasValue() const noexcept { return value_.index() != 0; }
  /// The value itself, for a std::visit over its type.
  const Value& value() const noexcept { return value_; }
  /// True for the integer and real types (not for bool, time and text).
  bool isNumber() const noexcept;
  /// True for narrow and wide text.
  bool isText() const noexcept;

  explicit operator bool() const;
  explicit operator signed char() const;
  explicit operator unsigned char() const;
  explicit operator short() const;
  explicit operator unsigned short() const;
  explicit operator int() const;
  explicit operator unsigned int() const;
  explicit operator long() const;
  explicit operator unsigned long() const;
  explicit operator long long() const;
  explicit operator unsigned long long() const;
  explicit operator float() const;
  explicit operator double() const;

  bool toBool() const;
  std::int16_t toInt16() const;
  std::uint16_t toUInt16() const;
  std::int32_t toInt32() const;
  std::uint32_t toUInt32() const;
  std::int64_t toInt64() const;
  std::uint64_t toUInt64() const;
  float toFloat() const;
  double toDouble() const;
  /// Numbers as the shortest decimal text that reads back to the same number ("nan", "inf", "-inf"), bool as
  /// "true" or "false", a time in ISO 8601. Wide text becomes UTF-8; a code unit that is no character becomes
  /// U+FFFD. Narrow text is returned byte for byte.
  std::string toString() const;
  /// As toString, decoded from UTF-8; a byte that is not UTF-8 becomes U+FFFD.
  std::wstring toWString() const;
  xtime_t toXtime_t() const;

  /// Equal type and equal value; two not-a-numbers are not equal, two empty values are.
  friend bool operator==(const Variant& a, const Variant& b) { return a.value_ == b.value_; }
  friend bool operator!=(const Variant& a, const Variant& b) { return !(a == b); }

 private:
  Value value_;
};

/// Writes toString().
UTILLIBRARY_EXPORT std::ostream& operator<<(std::ostream& out, const Variant& v);

}  // namespace com::norvale::datatypes
