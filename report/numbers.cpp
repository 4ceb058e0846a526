#include "numbers.h"

#include <cmath>

#include "text.h"

namespace orb::report {

namespace {

constexpr int kLowestPlain = -5;  // powers of ten that are still written out
constexpr int kHighestPlain = 7;
constexpr const char* kNone = "–";

/// Power of ten of the first of so many digits after rounding: 1 for 99.6 and 3 digits, 2 for 99.6 and 2.
int leadingPower(double value, int digits) {
  const int power = static_cast<int>(std::floor(std::log10(std::abs(value))));
  const double unit = std::pow(10.0, power - digits + 1);
  return std::round(std::abs(value) / unit) * unit >= std::pow(10.0, power + 1) * (1 - 1e-12) ? power + 1 : power;
}

std::string superscript(int power) {
  static const char* const kDigits[] = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
  std::string out = power < 0 ? "⁻" : "";
  for (const char digit : std::to_string(std::abs(power))) out += kDigits[digit - '0'];
  return out;
}

/// A number to the place 10^last.
std::string toPlace(double value, int last) {
  if (last <= 0) return plot::fixed(value, -last);
  const double unit = std::pow(10.0, last);
  return plot::fixed(std::round(value / unit) * unit, 0);
}

std::string timesPower(int power) {
  return "×10" + superscript(power);
}

}  // namespace

std::string rounded(double value, int digits) {
  if (!std::isfinite(value)) return kNone;
  if (value == 0) return "0";
  const int power = leadingPower(value, digits);
  if (power >= kLowestPlain && power <= kHighestPlain) return toPlace(value, power - digits + 1);
  return toPlace(value / std::pow(10.0, power), 1 - digits) + timesPower(power);
}

std::string withUncertainty(const Quantity& quantity) {
  const auto [value, uncertainty] = quantity;
  if (!std::isfinite(value)) return kNone;
  if (!(uncertainty > 0) || !std::isfinite(uncertainty)) return rounded(value, 4);
  const int last = leadingPower(uncertainty, 2) - 1;
  const int power = std::abs(value) > uncertainty ? leadingPower(value, 4) : last + 1;
  if (last >= kLowestPlain - 1 && power <= kHighestPlain)
    return toPlace(value, last) + " ± " + toPlace(uncertainty, last);
  const double scale = std::pow(10.0, power);
  return "(" + toPlace(value / scale, last - power) + " ± " + toPlace(uncertainty / scale, last - power) + ")" +
         timesPower(power);
}

std::string duration(double seconds) {
  constexpr std::pair<double, const char*> kUnits[] = {
      {31556926.0, " y"}, {86400.0, " d"}, {3600.0, " h"}, {60.0, " min"}};  // the year is the tropical one
  for (const auto& [size, name] : kUnits)
    if (seconds >= size) return rounded(seconds / size, 4) + name;
  return rounded(seconds, 4) + " s";
}

}  // namespace orb::report
