#include "channel_shift.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>

#include "axis_fit.h"

namespace orb::formats {
namespace {

using Coefficients = std::vector<double>;

double lastPlace(double value) {
  return std::nextafter(std::fabs(value), std::numeric_limits<double>::infinity()) - std::fabs(value);
}

// By hand: 2 + 3 (j - 1) + 5 (j - 1)^2 = 4 - 7 j + 5 j^2, and the like.
const struct {
  Coefficients from_zero;
  Coefficients from_one;
} kKnown[] = {
    {{2, 3, 5}, {4, -7, 5}},
    {{0, 3.096774}, {-3.096774, 3.096774}},
    {{1.599583, 1.372854}, {0.226729, 1.372854}},
    {{1, 0, 0, 0}, {1, 0, 0, 0}},
    {{0, 0, 0, 1}, {-1, 3, -3, 1}},
    {{7}, {7}},
    {{}, {}},
};

TEST(ChannelShift, KnownPolynomialsConvertBothWays) {
  for (const auto& known : kKnown) {
    EXPECT_EQ(toChannelsFromOne(known.from_zero), known.from_one);
    EXPECT_EQ(toChannelsFromZero(known.from_one), known.from_zero);
  }
}

/// A number with this many random significant digits.
double printed(std::mt19937_64& random, int digits, int lowest_exponent, int highest_exponent) {
  std::uniform_real_distribution<double> mantissa(1, 10);
  std::uniform_int_distribution<int> exponent(lowest_exponent, highest_exponent);
  char text[64];
  const double sign = random() % 2 == 0 ? 1 : -1;
  std::snprintf(text, sizeof text, "%.*fe%d", digits - 1, sign * mantissa(random), exponent(random));
  return std::strtod(text, nullptr);
}

TEST(ChannelShift, PrintedDigitsSurviveThereAndBack) {
  std::mt19937_64 random(4);
  for (int i = 0; i < 20000; ++i) {
    const int digits = 1 + i % 9;
    const Coefficients given{printed(random, digits, -2, 1), printed(random, digits, -2, 0),
                             printed(random, digits, -10, -5), printed(random, digits, -16, -12)};
    ASSERT_EQ(toChannelsFromZero(toChannelsFromOne(given)), given) << digits << " digits, case " << i;
    const Coefficients three(given.begin(), given.end() - 1);
    ASSERT_EQ(toChannelsFromOne(toChannelsFromZero(three)), three) << digits << " digits, case " << i;
  }
}

TEST(ChannelShift, FullDoublesComeBackWithinTheStatedUnits) {
  std::mt19937_64 random(6);
  int exact = 0;
  for (int i = 0; i < 20000; ++i) {
    const Coefficients given{printed(random, 17, -2, 1), printed(random, 17, -2, 0), printed(random, 17, -10, -5)};
    const Coefficients from_one = toChannelsFromOne(given);
    const Coefficients back = toChannelsFromZero(from_one);
    for (std::size_t k = 0; k < given.size(); ++k) {
      ASSERT_LE(std::fabs(back[k] - given[k]), 4 * lastPlace(from_one[k])) << "coefficient " << k << ", case " << i;
    }
    ASSERT_EQ(back[2], given[2]);
    exact += back == given ? 1 : 0;
  }
  EXPECT_GT(exact, 5000);  // where the constant is the larger number, nothing is lost
}

// The axis is printed with %.*f or %.*g from a known polynomial; its coefficients are what must come out.
TEST(AxisFit, FindsThePolynomialThatWasPrinted) {
  const struct {
    Coefficients polynomial;
    const char* format;
    int digits;
    double tolerance;  ///< relative
  } cases[] = {
      {{-0.0737, 0.2296476127}, "%.10g", 10, 1e-7},
      {{0.0833, 0.20349, -2.43e-8}, "%.2f", 6, 2e-2},
      {{16.2, 0.365, -4.8e-8}, "%.17g", 17, 1e-6},
      {{1.5, 0.3, 1e-6, -1e-11}, "%.17g", 17, 1e-6},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.format);
    std::vector<double> axis;
    for (int i = 0; i < 8192; ++i) {
      char text[64];
      std::snprintf(text, sizeof text, test.format, polynomial(test.polynomial, i));
      axis.push_back(std::strtod(text, nullptr));
    }
    const Coefficients fitted = fitAxis(axis, 0, test.digits);
    ASSERT_EQ(fitted.size(), test.polynomial.size());
    for (std::size_t k = 0; k < fitted.size(); ++k) {
      EXPECT_NEAR(fitted[k], test.polynomial[k], test.tolerance * std::fabs(test.polynomial[k])) << k;
    }
  }
}

TEST(AxisFit, AnAxisThatIsNoPolynomialHasNone) {
  std::vector<double> axis;
  for (int i = 0; i < 1024; ++i) axis.push_back(i < 512 ? i : 3 * i - 1024);
  EXPECT_TRUE(fitAxis(axis, 0, 5).empty());
  EXPECT_TRUE(fitAxis(std::vector<double>{1}, 0, 5).empty());
}

}  // namespace
}  // namespace orb::formats
