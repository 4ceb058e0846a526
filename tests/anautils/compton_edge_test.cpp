// A Compton edge is told from a line, and a line is seen on it.
#include "kernel/compton_edge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using namespace anautils;

constexpr double kFwhm = 5;
constexpr double kEdge = 30;

/// Counts of a continuum that rises towards an edge, of the blur given in FWHM, and of a line.
std::vector<double> expectedCounts(double height, double blur, double line_at, double area) {
  std::vector<double> expected(61);
  const double sigma = kFwhm / 2.3548;
  for (int i = 0; i < 61; ++i) {
    const double rise = 1 + 0.6 * std::pow((70 + std::min<double>(i, kEdge)) / (70 + kEdge), 6);
    expected[static_cast<std::size_t>(i)] = 20 + height * rise * 0.5 * std::erfc((i - kEdge) / (blur * kFwhm)) +
                                            area / sigma / 2.5066 * std::exp(-0.5 * std::pow((i - line_at) / sigma, 2));
  }
  return expected;
}

int countAbove(double threshold, const std::vector<double>& expected, double position) {
  constexpr int kReplicas = 400;
  std::mt19937_64 random(71);
  int n = 0;
  for (int replica = 0; replica < kReplicas; ++replica) {
    std::vector<double> counts;
    for (const double mean : expected) counts.push_back(std::poisson_distribution<int>(mean)(random));
    n += significanceBesideEdge(counts, kFwhm, position, kEdge, {}) > threshold;
  }
  return n;
}

TEST(ComptonEdge, LiesWhereKinematicsPutIt) {
  EXPECT_NEAR(comptonEdge(661.657), 477.33, 0.01);
  EXPECT_NEAR(comptonEdge(1332.492), 1118.10, 0.01);
}

TEST(ComptonEdge, IsNoLineWhateverItsBlur) {
  for (const double height : {10.0, 40.0, 100.0})
    for (const double blur : {0.6, 1.0, 1.8})
      for (const double at : {kEdge - 2 * kFwhm, kEdge - kFwhm, kEdge})
        EXPECT_LE(countAbove(3.5, expectedCounts(height, blur, at, 0), at), 12) << height << ' ' << blur << ' ' << at;
}

TEST(ComptonEdge, DoesNotHideAStrongLine) {
  for (const double at : {kEdge - 2 * kFwhm, kEdge - kFwhm, kEdge})
    EXPECT_GE(countAbove(4.5, expectedCounts(40, 1, at, 600), at), 390) << at;
}

TEST(ComptonEdge, TooFewChannelsTellNothing) {
  EXPECT_TRUE(std::isinf(significanceBesideEdge(std::vector<double>(8, 10), kFwhm, 4, 4, {})));
  EXPECT_TRUE(std::isinf(significanceBesideEdge(std::vector<double>(60, 10), kFwhm, 30, 30, {5, 15, 25, 35, 45, 55})));
}

}  // namespace
