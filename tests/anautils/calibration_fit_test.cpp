// Kernels of the energy and shape calibration against exact solutions, and their uncertainties against replicas.
#include "kernel/calibration_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "failures.h"
#include "kernel/polynomial.h"
#include "kernel/polynomial_fit.h"
#include "pulls.h"

using namespace anautils;
using namespace anautilstest;

namespace {

const std::vector<double> kPositions = {121.3, 346.9, 812.4, 1460.2, 2505.8, 3540.1, 4816.6, 6003.3, 7123.9, 8011.5};
const std::vector<double> kLineEnergies = {59.5, 88.0, 122.1, 165.9, 391.7, 661.7, 898.0, 1173.2, 1332.5, 1836.1};

/// Points on a curve, all with the same uncertainty, shifted by noise.
template <typename Curve>
Points pointsOn(const std::vector<double>& positions, Curve&& curve, double u, Noise* noise = nullptr) {
  Points points;
  for (const double x : positions) points.add(x, curve(x) + (noise != nullptr ? u * (*noise)() : 0.0), u);
  return points;
}

double varianceAt(const EnergyFit& fit, double x) {
  const Eigen::Vector4d g(1, x, x * x, x * x * x);
  return g.dot(fit.covariance * g);
}

double relativeDifference(double a, double b) {
  return std::abs(a - b) / std::max(std::abs(b), 1e-300);
}

/// Straight line by the sums of the textbook (Press et al. 2007, section 15.2), in long double.
struct TextbookLine {
  long double offset, slope, cov00, cov01, cov11, chi2 = 0;

  explicit TextbookLine(const Points& points) {
    long double s = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      const long double w = 1.0L / (static_cast<long double>(points.u[i]) * points.u[i]);
      s += w;
      sx += w * points.x[i];
      sy += w * points.y[i];
      sxx += w * points.x[i] * points.x[i];
      sxy += w * points.x[i] * points.y[i];
    }
    const long double d = s * sxx - sx * sx;
    offset = (sxx * sy - sx * sxy) / d;
    slope = (s * sxy - sx * sy) / d;
    cov00 = sxx / d;
    cov01 = -sx / d;
    cov11 = s / d;
    for (std::size_t i = 0; i < points.size(); ++i) {
      const long double r = (points.y[i] - offset - slope * points.x[i]) / points.u[i];
      chi2 += r * r;
    }
  }
};

}  // namespace

TEST(EnergyFit, NoiseFreePolynomialsComeBackExactly) {
  const std::vector<std::vector<double>> truths = {
      {-1.7, 0.25}, {0.4, 0.249, 1.1e-7}, {2.0, 0.33, -2e-6, 3e-10}, {0.0, 1.5, 0.0, 1e-8}};
  double worst = 0;
  for (const std::vector<double>& truth : truths)
    for (const double u : {0.0, 0.02}) {
      const auto curve = [&](double x) { return polynomialAt(truth, x); };
      const EnergyFit fit = fitEnergy(pointsOn(kPositions, curve, u), static_cast<int>(truth.size()), 0.0, 8192);
      for (double x = 1; x <= 8192; x += 17)
        worst = std::max(worst, relativeDifference(polynomialAt(fit.coefficients, x), curve(x)));
      for (std::size_t i = truth.size(); i < 6; ++i) EXPECT_EQ(fit.coefficients[i], 0.0);
      EXPECT_EQ(fit.dof, 10 - static_cast<int>(truth.size()));
      EXPECT_LT(fit.reduced_chi2, 1e-15);
      EXPECT_EQ(fit.first, kPositions.front());
      EXPECT_EQ(fit.last, kPositions.back());
    }
  RecordProperty("worst_relative_difference", std::to_string(worst * 1e15) + "e-15");
  EXPECT_LT(worst, 1e-10);
}

TEST(EnergyFit, AStraightLineIsThatOfTheTextbook) {
  Noise noise(11);
  Points points;
  for (std::size_t i = 0; i < kPositions.size(); ++i) {
    const double u = 0.01 * static_cast<double>(1 + i % 4);
    points.add(kPositions[i], 1.2 + 0.4 * kPositions[i] + u * noise(), u);
  }
  const TextbookLine line(points);
  const EnergyFit fit = fitEnergy(points, 2, 0.0, 8192);
  const auto expect_equal = [](double value, long double expected) {
    EXPECT_LT(relativeDifference(value, static_cast<double>(expected)), 1e-10);
  };
  expect_equal(fit.coefficients[0], line.offset);
  expect_equal(fit.coefficients[1], line.slope);
  ASSERT_LT(line.chi2 / 8, 1 + 2 * std::sqrt(2.0 / 8));  // so the covariance is that of the uncertainties
  expect_equal(fit.covariance(0, 0), line.cov00);
  expect_equal(fit.covariance(0, 1), line.cov01);
  expect_equal(fit.covariance(1, 1), line.cov11);
  expect_equal(fit.reduced_chi2, line.chi2 / 8);

  // Uncertainties that are five times too small: the covariance follows the scatter.
  for (double& u : points.u) u /= 5;
  const EnergyFit scaled = fitEnergy(points, 2, 0.0, 8192);
  expect_equal(scaled.covariance(1, 1), line.cov11 / 25 * (line.chi2 * 25 / 8));
}

TEST(EnergyFit, OnePointWithoutUncertaintyMakesAllWeighAlike) {
  Points points;
  points.add(100, 10.0, 1e-6);
  points.add(200, 21.0, 1.0);
  points.add(300, 29.0, 0.0);
  const EnergyFit fit = fitEnergy(points, 2, 0.0, 300);
  EXPECT_NEAR(fit.coefficients[1], 0.095, 1e-13);
  EXPECT_NEAR(fit.coefficients[0], 1.0, 1e-11);
  EXPECT_NEAR(fit.reduced_chi2, 1.5, 1e-11);                        // residuals -0.5, 1, -0.5 over 1 dof
  EXPECT_NEAR(fit.covariance(1, 1), 1.5 / 20000.0, 1e-14);          // by the scatter
  points = {{100, 200}, {10, 21}, {0, 0}};                          // nothing tells how good they are
  EXPECT_EQ(fitEnergy(points, 2, 0.0, 300).covariance(1, 1), 0.0);  // and nothing is claimed
}

TEST(EnergyFit, TermsFollowThePointsThatThereAre) {
  struct Case {
    std::vector<double> positions;
    int terms;
    int used;
    LONG status;
  };
  for (const Case& c : std::vector<Case>{{{10, 20, 30}, 4, 3, ANA_OK},
                                         {{10, 20, 20, 20, 20}, 4, 2, ANA_OK},
                                         {{10, 20}, 2, 2, ANA_OK},
                                         {{10}, 2, 0, ANA_TOOFEWPOINTS},
                                         {{}, 3, 0, ANA_TOOFEWPOINTS},
                                         {{}, 1, 0, ANA_TOOFEWPOINTS},
                                         {{10, 10, 10}, 2, 0, ANA_EQUALPOINTS},
                                         {{10, 10}, 1, 1, ANA_OK},
                                         {{0.0}, 1, 0, ANA_SINGULAR}}) {
    const Points points = pointsOn(
        c.positions, [](double x) { return 3 + 0.5 * x; }, 0.1);
    EnergyFit fit;
    ASSERT_ANA(c.status, failureOf([&] { fit = fitEnergy(points, c.terms, 3.0, 100); })) << c.positions.size();
    if (c.status != ANA_OK) continue;
    EXPECT_EQ(fit.dof, static_cast<int>(c.positions.size()) - c.used);
    EXPECT_NEAR(fit.coefficients[0], 3.0, 1e-11);
    EXPECT_NEAR(fit.coefficients[1], 0.5, 1e-12);
    if (c.terms == 1) {
      EXPECT_EQ(fit.covariance(0, 0), 0.0);
      EXPECT_NEAR(fit.covariance(1, 1), 0.01 / 200, 1e-15);
    }
  }
}

TEST(EnergyFit, RisesOverTheWholeSpectrumOrFails) {
  // The maximum of 1 + x - x^2/2000 is at 1000: beyond the points, inside or outside the spectrum.
  const Points points = pointsOn(
      {10, 200, 500}, [](double x) { return 1 + x - x * x / 2000; }, 0.0);
  EXPECT_ANA(ANA_OK, failureOf([&] { fitEnergy(points, 3, 0, 999); }));
  EXPECT_ANA(ANA_NOTRISING, failureOf([&] { fitEnergy(points, 3, 0, 1001); }));
  EXPECT_ANA(ANA_OK, failureOf([&] { fitEnergy(points, 3, 0, 0); }));
  // A dip between two rising ends.
  const Points dip = pointsOn(
      {1, 300, 500, 900}, [](double x) { return std::pow(x - 500, 3) / 1e4 - x; }, 0.0);
  EXPECT_ANA(ANA_NOTRISING, failureOf([&] { fitEnergy(dip, 4, 0, 1000); }));
  // The minimum is below the first point, but in the spectrum.
  const Points early = pointsOn(
      {60, 500, 900}, [](double x) { return std::pow(x - 50, 2); }, 0.0);
  EXPECT_ANA(ANA_NOTRISING, failureOf([&] { fitEnergy(early, 3, 0, 1000); }));
  const Points falling = pointsOn(
      {10, 20}, [](double x) { return 100 - x; }, 0.0);
  EXPECT_ANA(ANA_NOTRISING, failureOf([&] { fitEnergy(falling, 2, 0, 50); }));
}

TEST(EnergyFit, QuotedUncertaintiesAreTheRealOnes) {
  for (int terms = 1; terms <= 4; ++terms) {
    Noise noise(static_cast<unsigned>(100 + terms));
    const std::vector<double> truth = {0.5, 0.25, terms > 2 ? 1e-7 : 0.0, terms > 3 ? -1e-11 : 0.0};
    const auto curve = [&](double x) { return polynomialAt(truth, x); };
    Pulls inside;
    Pulls outside;
    for (int i = 0; i < kReplicas; ++i) {
      const EnergyFit fit = fitEnergy(pointsOn(kPositions, curve, 0.05, &noise), terms, 0.5, 8192);
      inside.add(polynomialAt(fit.coefficients, 2000), curve(2000), std::sqrt(varianceAt(fit, 2000)));
      outside.add(polynomialAt(fit.coefficients, 8192), curve(8192), std::sqrt(varianceAt(fit, 8192)));
    }
    inside.expectUnit("energy_" + std::to_string(terms) + "_terms_inside");
    outside.expectUnit("energy_" + std::to_string(terms) + "_terms_at_end");
  }
}

TEST(ShapeFit, CurvesComeBackExactlyAndQuoteRealUncertainties) {
  const auto width = [](double energy) { return -0.3 + 0.05 * std::sqrt(energy); };
  const auto tail = [](double energy) { return 0.4 + 6e-4 * energy; };
  const CurveFit exact = fitFwhm(pointsOn(kLineEnergies, width, 0.02));
  EXPECT_LT(relativeDifference(exact.offset, -0.3), 1e-10);
  EXPECT_LT(relativeDifference(exact.slope, 0.05), 1e-10);
  EXPECT_EQ(exact.low, 59.5);
  EXPECT_EQ(exact.high, 1836.1);
  const CurveFit exact_tail = fitTail(pointsOn(kLineEnergies, tail, 0.0));
  EXPECT_LT(relativeDifference(exact_tail.offset, 0.4), 1e-10);
  EXPECT_LT(relativeDifference(exact_tail.slope, 6e-4), 1e-10);

  Noise noise(21);
  Pulls width_pulls;
  Pulls tail_pulls;
  const auto add = [](Pulls& pulls, const CurveFit& fit, double x, double truth) {
    const double variance = fit.covariance[0] + 2 * x * fit.covariance[1] + x * x * fit.covariance[2];
    pulls.add(fit.offset + fit.slope * x, truth, std::sqrt(variance));
  };
  for (int i = 0; i < kReplicas; ++i) {
    add(width_pulls, fitFwhm(pointsOn(kLineEnergies, width, 0.02, &noise)), std::sqrt(500.0), width(500.0));
    add(tail_pulls, fitTail(pointsOn(kLineEnergies, tail, 0.1, &noise)), 500.0, tail(500.0));
  }
  width_pulls.expectUnit("fwhm");
  tail_pulls.expectUnit("tail");
}

TEST(ShapeFit, TheStrongestLineDoesNotDictateTheCurve) {
  Points points = pointsOn(
      {100, 400, 900, 1600}, [](double e) { return 1 + 0.03 * std::sqrt(e); }, 0.02);
  points.y[1] *= 1.004;  // within the least uncertainty
  points.u[1] = 1e-9;
  EXPECT_GT(std::abs(points.y[1] - (fitFwhm(points).offset + fitFwhm(points).slope * 20)), 1e-5);
}

TEST(ShapeFit, TheScatterIsWhatTheUncertaintiesDoNotExplain) {
  Noise noise(5);
  double sum[3] = {};
  for (int i = 0; i < 400; ++i)
    for (const int kind : {0, 1, 2}) {  // uncertainties given; none given; no scatter beyond them
      const double scatter = kind == 2 ? 0.0 : 0.03;
      Points points;
      for (const double energy : kLineEnergies) {
        const double width = 0.8 + 0.03 * std::sqrt(energy);
        const double u = kind == 1 ? 0.0 : 0.01 * width;
        points.add(energy, width * (1 + scatter * noise()) + u * noise(), u);
      }
      sum[kind] += std::pow(fwhmScatter(points, fitFwhm(points)), 2);
    }
  EXPECT_NEAR(std::sqrt(sum[0] / 400), 0.03, 0.002);
  EXPECT_NEAR(std::sqrt(sum[1] / 400), 0.03, 0.002);
  EXPECT_LT(std::sqrt(sum[2] / 400), 0.006);
}

TEST(LinearFit, ValuesThatOverflowAreRefused) {
  const double huge = std::numeric_limits<double>::max();
  EXPECT_ANA(ANA_SINGULAR, failureOf([&] { fitPolynomial({{1, 2, 3}, {huge, huge, 1}, {1e-300, 1, 1}}, 2); }));
  EXPECT_ANA(ANA_SINGULAR, failureOf([&] { fitPolynomial({{1, 2, 3}, {1, 2, 3}, {1e-320, 1e-320, 1}}, 2); }));
}

TEST(Polynomial, RisingRootsAreFoundWhereverTheyAre) {
  const auto root = [](std::vector<double> c, double value, double low = 0, bool is_bound = false) {
    return risingRoot(c, value, low, is_bound).value_or(std::numeric_limits<double>::quiet_NaN());
  };
  EXPECT_EQ(root({-2, 0.5}, 0.0), 4.0);
  EXPECT_EQ(root({-2, 0.5}, -1e12), (-1e12 + 2) / 0.5);                       // a line has no limits
  EXPECT_TRUE(std::isnan(root({-2, 0.5}, -3.0, 0, true)));                    // but for its bound
  EXPECT_TRUE(std::isnan(root({5, -0.5}, 1.0)));                              // falling
  EXPECT_TRUE(std::isnan(root({5}, 5.0)));                                    // constant
  EXPECT_NEAR(root({0, 1, -0.001}, 160.0), 200.0, 1e-9);                      // the rising one of 200 and 800
  EXPECT_NEAR(root({0, 1, -0.001}, 250.0), 500.0, 1e-4);                      // the maximum itself
  EXPECT_TRUE(std::isnan(root({0, 1, -0.001}, 250.1)));                       // above the maximum
  EXPECT_NEAR(root({0, 1, -0.001}, -11.0), 500 - std::sqrt(261000.0), 1e-9);  // below channel 0
  // (x-100)(x-200)(x-300): rises up to 142 and from 258.
  const std::vector<double> cubic = {-6e6, 110000, -600, 1};
  EXPECT_NEAR(root(cubic, 0.0), 100.0, 1e-9);
  EXPECT_NEAR(root(cubic, 0.0, 150, true), 300.0, 1e-9);
  EXPECT_NEAR(root({1, 0.5, 1e-5, 1e-9, 1e-14, 1e-20}, 1 + 0.5 * 7000 + 490 + 343 + 24.01 + 0.16807), 7000.0, 1e-9);
}
