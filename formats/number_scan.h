#pragma once
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <system_error>

// Numbers in a text, in any locale, without copies. All functions take a range and give the place behind what they
// read.
namespace orb::formats {

inline bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

inline bool isDigit(char c) {
  return static_cast<unsigned>(c - '0') < 10U;
}

inline const char* skipBlanks(const char* p, const char* end) {
  while (p != end && isBlank(*p)) ++p;
  return p;
}

/// Any decimal number that std::from_chars reads, also with a leading plus; also "nan" and "inf". A number too large
/// for a double is infinite, one too small is 0. Null when there is no number at p.
inline const char* scanAnyNumber(const char* p, const char* end, double& value) {
  if (p != end && *p == '+') ++p;
  if (p != end && *p == '+') return nullptr;
  const auto [next, error] = std::from_chars(p, end, value);
  if (error == std::errc::invalid_argument) return nullptr;
  if (error == std::errc::result_out_of_range) {
    // from_chars leaves the value alone; the sign of the exponent tells which end of the range was passed.
    const char* sign = p;
    while (sign != next && *sign != 'e' && *sign != 'E') ++sign;
    const bool tiny = next - sign > 1 && sign[1] == '-';
    value = tiny ? 0 : (*p == '-' ? -HUGE_VAL : HUGE_VAL);
  }
  return next;
}

/// Cheaper than std::floor, which is a call on plain x86-64. The value is finite and not negative.
inline bool isWhole(double value) {
  constexpr double kNoFractions = 9007199254740992.0;  // from 2^53 on
  return value >= kNoFractions || static_cast<double>(static_cast<std::int64_t>(value)) == value;
}

/// Like scanAnyNumber; fast for the short whole numbers that most counts are.
inline const char* scanNumber(const char* p, const char* end, double& value) {
  constexpr std::ptrdiff_t kExactDigits = 15;
  std::uint64_t whole = 0;
  const char* q = p;
  while (q != end && isDigit(*q)) whole = whole * 10 + static_cast<std::uint64_t>(*q++ - '0');
  const bool ends_here = q == end || isBlank(*q) || *q == ',' || *q == ';';
  if (!ends_here || q == p || q - p > kExactDigits) return scanAnyNumber(p, end, value);
  value = static_cast<double>(whole);
  return q;
}

}  // namespace orb::formats
