#include "number_text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>
#include <type_traits>

#include "saturate.h"

namespace com::norvale::datatypes {
namespace {

constexpr std::string_view kDecimalDigits = "0123456789";
constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";

struct Parts {
  bool negative = false;
  bool hex = false;
  std::string_view digits;  // without sign and "0x"
};

Parts split(std::string_view text) {
  Parts parts;
  parts.digits = trimmed(text);
  if (parts.digits.starts_with('-') || parts.digits.starts_with('+')) {
    parts.negative = parts.digits.front() == '-';
    parts.digits.remove_prefix(1);
  }
  if (parts.digits.starts_with("0x") || parts.digits.starts_with("0X")) {
    parts.hex = true;
    parts.digits.remove_prefix(2);
  }
  return parts;
}

bool consistsOf(std::string_view text, std::string_view characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

// The decimal exponent behind an 'e'; one that is too long for a number is as good as the largest.
long long exponentOf(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  const long long limit = std::numeric_limits<long long>::max() / 2;
  long long exponent = text.starts_with('-') ? -limit : limit;
  std::from_chars(text.data(), text.data() + text.size(), exponent);
  return exponent;
}

// Tells a number that is too large from one that is too small. from_chars does not, and gives no value
// either.
bool isAboveOne(std::string_view digits) {
  const std::size_t e = digits.find_first_of("eE");
  const std::string_view mantissa = digits.substr(0, e);
  const long long exponent = e == std::string_view::npos ? 0 : exponentOf(digits.substr(e + 1));
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t first = mantissa.find_first_of("123456789");
  // Places from the first digit that counts to the point: positive in front of it.
  const auto places = static_cast<long long>(point) - static_cast<long long>(first);
  return places + exponent > 0;
}

template <typename Real>
std::optional<Real> readUnsignedReal(const Parts& parts) {
  const std::string_view digits = parts.digits;
  if (parts.hex && !consistsOf(digits, kHexDigits)) return std::nullopt;
  if (digits.starts_with('-')) return std::nullopt;  // a second sign
  Real value = 0;
  const auto format = parts.hex ? std::chars_format::hex : std::chars_format::general;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value, format);
  if (result.ptr != end || result.ec == std::errc::invalid_argument) return std::nullopt;
  if (result.ec == std::errc()) return value;
  if constexpr (std::is_same_v<Real, float>) {
    return saturate<float>(*readUnsignedReal<double>(parts));
  } else {
    return parts.hex || isAboveOne(digits) ? std::numeric_limits<Real>::infinity() : Real(0);
  }
}

template <typename Real>
std::optional<Real> readReal(std::string_view text) {
  const Parts parts = split(text);
  std::optional<Real> value = readUnsignedReal<Real>(parts);
  if (value && parts.negative) value = -*value;
  return value;
}

// Magnitude of a text of digits only; the largest one when there are too many.
std::uint64_t magnitudeOf(const Parts& parts) {
  std::uint64_t magnitude = std::numeric_limits<std::uint64_t>::max();
  const std::string_view digits = parts.digits;
  std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, parts.hex ? 16 : 10);
  return magnitude;
}

std::int64_t negated(std::uint64_t magnitude) {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (magnitude > kLargest) return std::numeric_limits<std::int64_t>::min();
  return -static_cast<std::int64_t>(magnitude);
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\r\v\f";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<IntegerOrReal> readInteger(std::string_view text) {
  const Parts parts = split(text);
  if (consistsOf(parts.digits, parts.hex ? kHexDigits : kDecimalDigits)) {
    const std::uint64_t magnitude = magnitudeOf(parts);
    if (parts.negative) return negated(magnitude);
    return magnitude;
  }
  if (parts.hex) return std::nullopt;
  return readReal<double>(text);
}

std::optional<double> readDouble(std::string_view text) {
  return readReal<double>(text);
}

std::optional<float> readFloat(std::string_view text) {
  return readReal<float>(text);
}

}  // namespace com::norvale::datatypes
