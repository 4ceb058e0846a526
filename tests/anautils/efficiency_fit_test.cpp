// Kernels of the efficiency calibration against exact solutions, and their uncertainties against replicas.
#include "kernel/efficiency_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "failures.h"
#include "kernel/efficiency.h"
#include "kernel/polynomial.h"
#include "pulls.h"

using namespace anautils;
using namespace anautilstest;

namespace {

const std::vector<double> kEnergies = {46.5,  59.5,  88.0,  122.1,  165.9,  200.0,
                                       391.7, 661.7, 898.0, 1173.2, 1332.5, 1836.1};
constexpr double kCrossover = 200.0;  // one of the energies

using Curve = std::function<double(double)>;

/// exp of a polynomial in ln(E/200): below the crossover with another slope and curvature, without a jump.
double kinkedCurve(double energy) {
  const double x = std::log(energy / kCrossover);
  return 0.02 * (x < 0 ? std::exp(0.1 * x - 0.3 * x * x) : std::exp(-0.7 * x - 0.05 * x * x));
}
double smoothCurve(double energy) {
  const double x = std::log(energy / 300);
  return 0.01 * std::exp(-0.8 * x - 0.1 * x * x);
}
double powerLaw(double energy) {
  return 0.5 * std::pow(energy, -0.9);
}
double constant(double) {
  return 0.03;
}

Points pointsOn(const Curve& curve, double relative, Noise* noise = nullptr) {
  Points points;
  for (const double energy : kEnergies) {
    const double efficiency = curve(energy);
    const double u = relative * efficiency;
    points.add(energy, efficiency + (noise != nullptr ? u * (*noise)() : 0.0), u);
  }
  return points;
}

/// A fit, ready for values at any energy.
struct Evaluation {
  stEfEq_T equation;
  std::vector<REAL> energies, efficiencies, relative;

  Evaluation(USHORT model, const Points& points, const EfficiencySettings& settings)
      : equation(fitEfficiency(model, points, settings).equation) {
    const Points between = interpolationPoints(points);
    for (std::size_t i = 0; i < between.size(); ++i) {
      energies.push_back(static_cast<REAL>(between.x[i]));
      efficiencies.push_back(static_cast<REAL>(between.y[i]));
      relative.push_back(static_cast<REAL>(between.u[i] / between.y[i]));
    }
  }
  double value(double energy) const { return efficiencyAt(equation, energy, {energies, efficiencies}); }
  double uncertainty(double energy) const { return relativeUncertaintyAt(equation, energy, {energies, relative}); }
};

struct ModelCase {
  const char* name;
  USHORT model;
  EfficiencySettings settings;
  Curve truth;
  double tolerance;  // of the values without noise
};

EfficiencySettings dual(double crossover, bool joined) {
  EfficiencySettings settings;
  settings.crossover = crossover;
  settings.joined = joined;
  settings.low_terms = 3;
  settings.high_terms = crossover > 0 ? 3 : 6;
  return settings;
}

std::vector<ModelCase> everyModel() {
  return {{"dual_one_polynomial", ANA_EFF_DUAL, dual(0, true), smoothCurve, 1e-10},
          {"dual_joined", ANA_EFF_DUAL, dual(kCrossover, true), kinkedCurve, 1e-10},
          {"dual_free", ANA_EFF_DUAL, dual(kCrossover, false), kinkedCurve, 1e-10},
          {"linear", ANA_EFF_LINEAR, {}, powerLaw, 1e-10},
          {"empirical", ANA_EFF_EMPIRICAL, {}, smoothCurve, 1e-10},
          {"peak_to_total", ANA_EFF_PEAK_TO_TOTAL, {}, smoothCurve, 1e-10},
          {"average", ANA_EFF_AVERAGE, {}, constant, 1e-10},
          {"interpolated", ANA_EFF_INTERPOLATED, {}, powerLaw, 1e-6}};  // between points in single precision
}

}  // namespace

TEST(EfficiencyFit, NoiseFreeCurvesComeBackExactly) {
  for (const ModelCase& c : everyModel())
    for (const double relative : {0.0, 0.02}) {
      const Evaluation fit(c.model, pointsOn(c.truth, relative), c.settings);
      double worst = 0;
      for (double energy = 40; energy < 2500; energy *= 1.03)
        worst = std::max(worst, std::abs(fit.value(energy) / c.truth(energy) - 1));
      EXPECT_LT(worst, c.tolerance) << c.name;
      RecordProperty(std::string("worst_") + c.name, std::to_string(worst * 1e12) + "e-12");
      EXPECT_EQ(fit.equation.u.sRange.dLow, kEnergies.front());
      EXPECT_EQ(fit.equation.u.sRange.dHigh, kEnergies.back());
    }
}

TEST(EfficiencyFit, QuotedUncertaintiesAreTheRealOnes) {
  const std::vector<double> places = {50.0, 120.0, kCrossover, 201.0, 500.0, 1800.0};
  unsigned seed = 300;
  for (const ModelCase& c : everyModel()) {
    Noise noise(++seed);
    std::vector<Pulls> pulls(places.size());
    for (int i = 0; i < kReplicas; ++i) {
      const Evaluation fit(c.model, pointsOn(c.truth, 0.01, &noise), c.settings);
      for (std::size_t k = 0; k < places.size(); ++k)
        pulls[k].add(std::log(fit.value(places[k]) / c.truth(places[k])), 0.0, fit.uncertainty(places[k]));
    }
    for (std::size_t k = 0; k < places.size(); ++k)
      pulls[k].expectUnit(std::string(c.name) + "_" + std::to_string(static_cast<int>(places[k])));
  }
}

TEST(EfficiencyFit, BothSidesMeetAtTheCrossoverUnlessTheyAreFree) {
  Noise noise(17);
  const Points points = pointsOn(kinkedCurve, 0.05, &noise);
  const double joint = std::log(kCrossover);
  const auto variance = [&](std::span<const double> covariance, std::size_t n) {
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t j = 0; j < n; ++j)
        sum +=
            std::pow(joint, static_cast<double>(i + j)) * covariance[triangleIndex(n, std::min(i, j), std::max(i, j))];
    return sum;
  };
  const EfficiencyFit joined = fitEfficiency(ANA_EFF_DUAL, points, dual(kCrossover, true));
  const stEfDual_T& equation = joined.equation.u.sDual;
  EXPECT_NEAR(polynomialAt(equation.dLow, joint), polynomialAt(equation.dHigh, joint), 1e-10);
  EXPECT_NEAR(variance(equation.dLowCov, 4) / variance(equation.dHighCov, 6), 1.0, 1e-7);  // one value, one variance
  EXPECT_EQ(joined.jump, 0.0);
  EXPECT_EQ(joined.reduced_chi2, joined.reduced_chi2_low);

  const EfficiencyFit free = fitEfficiency(ANA_EFF_DUAL, points, dual(kCrossover, false));
  const stEfDual_T& sides = free.equation.u.sDual;
  EXPECT_NE(free.jump, 0.0);
  EXPECT_NEAR(1 + free.jump, std::exp(polynomialAt(sides.dHigh, joint) - polynomialAt(sides.dLow, joint)), 1e-10);
}

TEST(EfficiencyFit, TheAverageTakesTheLargerUncertainty) {
  const auto fit = [](std::vector<double> y, std::vector<double> u) {
    return fitEfficiency(ANA_EFF_AVERAGE, {{100, 200, 300}, y, u}, {}).equation.u.sAvg;
  };
  EXPECT_NEAR(fit({0.10, 0.12, 0.11}, {0.01, 0.01, 0.01}).dMean, 0.11, 1e-15);
  EXPECT_NEAR(fit({0.11, 0.11, 0.11}, {0.01, 0.01, 0.01}).dUnc, 0.01 / std::sqrt(3.0), 1e-15);     // internal
  EXPECT_NEAR(fit({0.10, 0.12, 0.11}, {0.001, 0.001, 0.001}).dUnc, 0.01 / std::sqrt(3.0), 1e-15);  // external
  EXPECT_NEAR(fit({0.10, 0.12, 0.11}, {0, 0, 0}).dUnc, 0.01 / std::sqrt(3.0), 1e-15);              // external
  EXPECT_NEAR(fit({0.10, 0.20, 0.20}, {0.01, 0.02, 0.02}).dMean, (10 + 5 + 5) / 150.0, 1e-15);
}

TEST(EfficiencyValue, UncertaintyGrowsOutsideTheRangeForEveryModel) {
  for (const ModelCase& c : everyModel()) {
    const Evaluation fit(c.model, pointsOn(c.truth, 0.01), c.settings);
    double below = fit.uncertainty(46.5);
    double above = fit.uncertainty(1836.1);
    for (const double factor : {1.1, 1.5, 2.0, 4.0}) {
      EXPECT_GT(fit.uncertainty(46.5 / factor), below) << c.name << " " << factor;
      EXPECT_GT(fit.uncertainty(1836.1 * factor), above) << c.name << " " << factor;
      below = fit.uncertainty(46.5 / factor);
      above = fit.uncertainty(1836.1 * factor);
      EXPECT_GE(below, kExtrapolationUncertainty * std::log(factor)) << c.name;
    }
  }
  // One term, no scatter: the growth alone, with the common part in quadrature.
  EfficiencySettings settings;
  settings.common_unc = 0.03;
  const Evaluation flat(ANA_EFF_AVERAGE, {{100, 200}, {0.1, 0.1}, {0, 0}}, settings);
  EXPECT_NEAR(flat.uncertainty(150), 0.03, 1e-12);
  EXPECT_NEAR(flat.uncertainty(200 * std::exp(0.2)), 0.05, 1e-12);
}

TEST(EfficiencyValue, InterpolationReturnsItsPoints) {
  const Points points = {{200, 100, 400, 400}, {0.2, 0.1, 0.05, 0.05}, {0.01, 0.01, 0.005, 0.005}};
  const Evaluation fit(ANA_EFF_INTERPOLATED, points, {});
  EXPECT_EQ(fit.energies, (std::vector<REAL>{100, 200, 400}));  // sorted, and one for the two at 400
  EXPECT_NEAR(fit.value(100), 0.1, 1e-8);
  EXPECT_NEAR(fit.value(200), 0.2, 1e-8);
  EXPECT_NEAR(fit.value(400), 0.05, 1e-8);
  EXPECT_NEAR(fit.uncertainty(100), 0.1, 1e-7);
  EXPECT_NEAR(fit.uncertainty(400), 0.1 / std::sqrt(2.0), 1e-7);
  EXPECT_NEAR(fit.value(std::sqrt(2.0) * 100), std::sqrt(0.02), 1e-7);
  EXPECT_NEAR(fit.uncertainty(std::sqrt(2.0) * 100), 0.5 * std::hypot(0.1, 0.05), 1e-7);
  EXPECT_NEAR(fit.value(50), 0.05, 1e-7);  // on along the first two
}
