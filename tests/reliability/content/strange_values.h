#pragma once
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <vector>

// Values that nobody expects, drawn from a seed.
namespace content {

class Dice {
 public:
  explicit Dice(std::uint64_t seed) : random_(seed) {}
  /// 0 .. n - 1; 0 for n = 0.
  std::uint64_t below(std::uint64_t n) { return n == 0 ? 0 : random_() % n; }
  bool chance(unsigned percent) { return below(100) < percent; }
  template <typename List>
  const auto& of(const List& list) {
    return *(std::begin(list) + static_cast<std::ptrdiff_t>(below(std::size(list))));
  }

 private:
  std::mt19937_64 random_;
};

inline std::int64_t strangeInteger(Dice& dice) {
  static constexpr std::int64_t kEdges[] = {0,     1,     2,     127,        128,        255,        256,      4095,
                                            32767, 65534, 65535, 2147483647, 2147483648, 4294967295, INT64_MAX};
  const std::int64_t edge = dice.of(kEdges) - static_cast<std::int64_t>(dice.chance(90) ? 0 : dice.below(2));
  const std::int64_t value = dice.chance(20) ? static_cast<std::int64_t>(dice.below(3000)) : edge;
  return dice.chance(25) ? -value : value;
}

inline double strangeReal(Dice& dice) {
  static constexpr double kEdges[] = {0,       -0.0,  1,     1e-6,     0.5,  3,     1e3,     1e5,         1e7,
                                      1e12,    1e30,  3e38,  4e38,     1e60, 1e154, 1e300,   5e-324,      DBL_MIN,
                                      DBL_MAX, 1e-38, 1e-45, INFINITY, NAN,  511,   661.657, 2147483648.0};
  const double value = dice.chance(15) ? static_cast<double>(dice.below(6000)) / 2 : dice.of(kEdges);
  return dice.chance(30) ? -value : value;
}

inline std::string strangeText(Dice& dice, std::size_t longest) {
  static const std::vector<const char*> kTexts[] = {
      {"", " ", "-", "0", "-1", "1e999", "nan", "DUAL", "EMPIRICAL", "INTERPOL", "Cs-137", "Cs-137m,Cs-137"},
      {"../../etc/passwd", "/dev/zero", "/dev/stdin", ".", "f.dat", "=1+1", "@SUM(A1)"},
      {"a\nb\tc\rd", "\x1b[2J\2331m", "\xe2\x80\256abc", "\xc2\233x", "\xff\xfe", "\xed\xa0\x80"},
      {"<script>alert(1)</script>", "\"'&<>\\", "%s%n%d", "$DATA:", "]]>", "A;B|C=D E=F", "ORB_D_PSENS=NAN", "counts",
       "1970-01-01T00:00:00Z"}};
  std::string text = dice.of(dice.of(kTexts));
  if (dice.chance(10)) text = std::string(dice.below(longest + 1), static_cast<char>(1 + dice.below(255)));
  return text.substr(0, longest);
}

}  // namespace content
