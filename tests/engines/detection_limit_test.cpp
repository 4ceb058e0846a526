// Decision thresholds and detection limits: cases worked by hand, rates of wrong decisions by simulation, and edges.
#include "kernel/detection_limit.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

#include "kernel/on_off_counting.h"
#include "normal_distribution.h"

using namespace orbengine;
using namespace com::norvale::datatypes;
using testing::AllOf;
using testing::Ge;
using testing::Le;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// Two flanks of together twice the window, with the counts of one window in mean.
Background backgroundOf(double off_counts, double off_ratio = 2) {
  return {off_counts / off_ratio, std::sqrt(off_counts) / off_ratio, off_counts, off_ratio};
}

LimitRule ruleOf(LimitMethod method, double error = 0.05) {
  LimitRule rule;
  rule.method = method;
  rule.alpha = rule.beta = error;
  return rule;
}

// ---- Window and continuum

/// Counts 10 + 2 i in channel i of 100, and a window of 10 channels of width about channel 50: 45 to 55. A straight
/// line is its own continuum, wherever the flanks are: 11 (10 + 2 * 50) = 1210.
class Windows : public testing::Test {
 protected:
  Windows() : counts_(100) {
    for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] = static_cast<float>(10 + 2 * (i + 1));
  }
  LineWindow measured(double position, double fwhm, const std::vector<ChannelSpan>& excluded = {}) const {
    return measureWindow(counts_, position, fwhm, WindowSettings{}, excluded);
  }
  std::vector<float> counts_;
};

TEST_F(Windows, StraightContinuumIsExactAndKnowsItsUncertainty) {
  const LineWindow window = measured(50, 4);
  ASSERT_EQ(window.state, WindowState::kMeasured);
  EXPECT_EQ(window.channels.first, 45);
  EXPECT_EQ(window.channels.last, 55);
  EXPECT_NEAR(window.inside, 0.99880, 1e-5);  // +-5.5 channels are 3.238 sigma
  EXPECT_DOUBLE_EQ(window.gross, 1210);
  EXPECT_NEAR(window.continuum.counts, 1210, 1e-9);
  // 22 channels of flank (34 to 44, 56 to 66) with 2420 counts, each of weight 1/2.
  EXPECT_NEAR(window.continuum.counts_u, std::sqrt(2420) / 2, 1e-9);
  EXPECT_NEAR(window.continuum.off_counts, 2420, 1e-6);
  EXPECT_NEAR(window.continuum.off_ratio, 2, 1e-9);
  EXPECT_FALSE(window.is_cut || window.has_one_flank);
}

TEST_F(Windows, FlanksPassOverOtherLines) {
  for (int channel = 57; channel <= 63; ++channel) counts_[static_cast<std::size_t>(channel - 1)] += 1000;
  EXPECT_GT(std::abs(measured(50, 4).continuum.counts - 1210), 500);
  const LineWindow window = measured(50, 4, {{63, 57}, {57, 60}, {59, 63}});  // one empty, two overlapping
  EXPECT_NEAR(window.continuum.counts, 1210, 1e-9);
  EXPECT_FALSE(window.has_one_flank);
}

TEST_F(Windows, UncertaintyHoldsTheSlope) {
  // One channel of window, 50, and of either flank, 49 and 52 (51 is taken): B = (2 n_49 + n_52) / 3.
  const LineWindow window = measureWindow(std::vector<float>(100, 9), 50, 0.1, WindowSettings{}, {{51, 51}});
  EXPECT_NEAR(window.continuum.counts, 9, 1e-12);
  EXPECT_NEAR(window.continuum.counts_u, std::sqrt(4 + 1), 1e-12);
}

TEST_F(Windows, OneFlankGivesAConstant) {
  const LineWindow window = measured(50, 4, {{1, 44}});
  ASSERT_EQ(window.state, WindowState::kMeasured);
  EXPECT_TRUE(window.has_one_flank);
  EXPECT_NEAR(window.continuum.counts, 11 * (10 + 2 * 61), 1e-9);  // mean of channels 56 to 66
  EXPECT_EQ(measured(50, 4, {{1, 44}, {56, 100}}).state, WindowState::kNoFlank);
}

TEST_F(Windows, NarrowWindowKeepsItsFlanksClearOfTheLine) {
  // 1.2 FWHM of 10 channels: 44 to 56; the line reaches 12.5 channels, so the flanks begin at 37 and 63.
  const LineWindow window = measureWindow(counts_, 50, 10, {1.2, 1}, {{38, 62}});
  const LineWindow open = measureWindow(counts_, 50, 10, {1.2, 1}, {});
  EXPECT_EQ(window.channels.first, 44);
  EXPECT_EQ(window.channels.last, 56);
  EXPECT_EQ(window.continuum.counts, open.continuum.counts);
  EXPECT_EQ(window.continuum.counts_u, open.continuum.counts_u);
}

TEST_F(Windows, EdgesHaveAStateOfTheirOwn) {
  const struct {
    const char* name;
    double position, fwhm;
    WindowState state;
    bool is_cut;
  } cases[] = {
      {"whole", 50, 4, WindowState::kMeasured, false},
      {"low end", 3, 4, WindowState::kMeasured, true},
      {"high end", 100, 4, WindowState::kMeasured, true},
      {"below", 0.4, 4, WindowState::kOutside, false},
      {"above", 100.6, 4, WindowState::kOutside, false},
      {"far above", 1e300, 4, WindowState::kOutside, false},
      {"no width", 50, 0, WindowState::kBadLine, false},
      {"negative width", 50, -4, WindowState::kBadLine, false},
      {"width NaN", 50, kNan, WindowState::kBadLine, false},
      {"width inf", 50, kInfinity, WindowState::kBadLine, false},
      {"position NaN", kNan, 4, WindowState::kBadLine, false},
      {"wider than the spectrum", 50, 60, WindowState::kNoFlank, true},
  };
  for (const auto& c : cases) {
    const LineWindow window = measured(c.position, c.fwhm);
    EXPECT_EQ(window.state, c.state) << c.name;
    EXPECT_EQ(window.is_cut, c.is_cut) << c.name;
  }
  EXPECT_EQ(measureWindow({}, 1, 4, WindowSettings{}, {}).state, WindowState::kOutside);
  EXPECT_EQ(measureWindow({7.0f}, 1, 4, WindowSettings{}, {}).state, WindowState::kNoFlank);
  const LineWindow cut = measured(3, 4);
  EXPECT_EQ(cut.channels.first, 1);
  EXPECT_NEAR(cut.inside, 0.92954 - (1 - 0.99940), 1e-4);  // -2.5 channels are 1.4718 sigma, 5.5 are 3.238
  EXPECT_TRUE(cut.has_one_flank);
  for (const float bad : {-1.0f, std::numeric_limits<float>::quiet_NaN()}) {
    counts_[51] = bad;
    EXPECT_EQ(measured(50, 4).state, WindowState::kBadCounts);
  }
}

TEST_F(Windows, NarrowLineHasOneChannel) {
  const LineWindow window = measured(50.4, 0.1);
  ASSERT_EQ(window.state, WindowState::kMeasured);
  EXPECT_EQ(window.channels.first, 50);
  EXPECT_EQ(window.channels.last, 50);
  EXPECT_NEAR(window.continuum.counts, 110, 1e-9);
}

TEST(Window, WithoutCountsIsUncertainByOneCount) {
  const LineWindow window = measureWindow(std::vector<float>(100), 50, 4, WindowSettings{}, {});
  ASSERT_EQ(window.state, WindowState::kMeasured);
  EXPECT_EQ(window.continuum.counts, 0);
  EXPECT_EQ(window.continuum.off_counts, 0);
  EXPECT_DOUBLE_EQ(window.continuum.counts_u, 0.5);  // one count in 22 channels, scaled to 11
  EXPECT_DOUBLE_EQ(window.continuum.off_ratio, 2);
}

TEST(Window, OtherLinesAddTheirCountsAndUncertainty) {
  const Background sum = withOtherLines(backgroundOf(200), 50, 12);
  EXPECT_DOUBLE_EQ(sum.counts, 150);
  EXPECT_DOUBLE_EQ(sum.counts_u, std::sqrt(50 + 144));
  EXPECT_DOUBLE_EQ(sum.off_counts / sum.off_ratio, 150);
  EXPECT_DOUBLE_EQ(std::sqrt(sum.off_counts) / sum.off_ratio, sum.counts_u);
  for (const double nothing : {0.0, -20.0, kNan}) EXPECT_EQ(withOtherLines(backgroundOf(200), nothing, 5).counts, 100);
}

// ---- Worked cases

TEST(DetectionLimit, Iso11929PairedCounting) {
  // B = 100 from 200 counts in a double flank: u(B)^2 = 50, u(0) = sqrt(150) = 12.2474, k = 1.644854.
  // y* = 20.1453; y# = 2 y* + k^2 = 40.2906 + 2.7055 = 42.9961.
  const CountLimits counts = countLimits(backgroundOf(200), ruleOf(LimitMethod::kIso11929));
  EXPECT_EQ(counts.source, LimitSource::kNormal);
  EXPECT_NEAR(counts.k_alpha, 1.644854, 1e-6);
  EXPECT_NEAR(counts.threshold, 20.1453, 1e-4);
  EXPECT_NEAR(counts.limit, 42.9961, 1e-4);
  // 0.02 Bq a count, 10 %: y# = 0.02 * 42.9961 / (1 - 2.7055 * 0.01) = 0.883834.
  EXPECT_NEAR(activityLimit(counts, {0.02, 0.1}).value(), 0.883834, 1e-6);
  EXPECT_NEAR(activityLimit(counts, {0.02, 0}).value(), 0.02 * 42.9961, 1e-5);
}

TEST(DetectionLimit, Iso11929WithUnequalErrors) {
  // alpha 2.5 %, beta 5 %: y* = 1.959964 * 12.247449 = 24.004559. y# solves its own definition.
  LimitRule rule = ruleOf(LimitMethod::kIso11929);
  rule.alpha = 0.025;
  const CountLimits counts = countLimits(backgroundOf(200), rule);
  EXPECT_NEAR(counts.threshold, 24.004559, 1e-5);
  EXPECT_NEAR(counts.limit, counts.threshold + counts.k_beta * std::sqrt(counts.limit + 150), 1e-9);
  const double limit = activityLimit(counts, {0.5, 0.2}).value();
  EXPECT_NEAR(
      limit, 0.5 * counts.threshold + counts.k_beta * std::sqrt(0.5 * limit + 0.25 * 150 + 0.04 * limit * limit), 1e-9);
}

TEST(DetectionLimit, CurriesFormula) {
  LimitRule rule = ruleOf(LimitMethod::kCurrie);
  const CountLimits counts = countLimits(backgroundOf(200), rule);  // 2.71 + 4.65 sqrt(100); half of 46.5
  EXPECT_EQ(counts.source, LimitSource::kCurrie);
  EXPECT_NEAR(counts.threshold, 23.25, 1e-12);
  EXPECT_NEAR(counts.limit, 49.21, 1e-12);
  EXPECT_NEAR(counts.k_alpha, 1.6462, 1e-4);
  EXPECT_NEAR(activityLimit(counts, {2, 0.9}).value(), 98.42, 1e-12);
}

TEST(DetectionLimit, FewCountsAreExact) {
  // Nothing in flanks twice the window: a window with g counts or more has probability 3^-g. 1/27 is the first below
  // 5 %, so 2 counts are not yet significant. Fewer than 3 of 6.29579 expected counts come in 5 %.
  const CountLimits empty = countLimits(backgroundOf(0), ruleOf(LimitMethod::kIso11929));
  EXPECT_EQ(empty.source, LimitSource::kPoisson);
  EXPECT_EQ(empty.threshold, 2);
  EXPECT_NEAR(empty.limit, 6.29579, 1e-5);
  // One count in a flank as large as the window: of 8 counts 7 in the window have (8 + 1) / 2^8 = 3.5 %, of 7 counts 6
  // have (7 + 1) / 2^7 = 6.3 %.
  EXPECT_EQ(criticalCount(1, 1, 0.05), 7);
  EXPECT_EQ(criticalCount(1, 1, 0.07), 6);
  EXPECT_EQ(criticalCount(0, 2, 0.01), 5);  // 3^-5 = 0.4 %, 3^-4 = 1.2 %
  // A tiny flank: thousands of counts are needed, and the limit still lies above the critical count.
  EXPECT_GT(onOffLimit(1, 0.01, 0.05, 0.05), criticalCount(1, 0.01, 0.05));
  // A continuum that is known, 3 counts: 7 or more have 3.4 %, 6 or more 8.4 % (Poisson).
  EXPECT_EQ(criticalCount(30000, 10000, 0.05), 7);
}

TEST(DetectionLimit, PoissonQuantilesServeBelowTheirLimitOnly) {
  for (const auto method : {LimitMethod::kCurrie, LimitMethod::kIso11929}) {
    LimitRule rule = ruleOf(method);
    EXPECT_EQ(countLimits(backgroundOf(19.9), rule).source, LimitSource::kPoisson);
    EXPECT_NE(countLimits(backgroundOf(20), rule).source, LimitSource::kPoisson);
    rule.poisson_below = 0;
    EXPECT_NE(countLimits(backgroundOf(0), rule).source, LimitSource::kPoisson);
    rule.poisson_below = 1e9;
    EXPECT_EQ(countLimits(backgroundOf(180, 2), rule).source, LimitSource::kPoisson);
    EXPECT_NE(countLimits(backgroundOf(2e6, 2), rule).source, LimitSource::kPoisson);
  }
}

TEST(DetectionLimit, DoesNotExistWhereTheCalibrationIsTooUncertain) {
  // k u = 1 at u = 0.60796.
  for (const double off : {0.0, 200.0}) {
    const CountLimits counts = countLimits(backgroundOf(off), ruleOf(LimitMethod::kIso11929));
    EXPECT_TRUE(activityLimit(counts, {1, 0.6079}).has_value());
    EXPECT_FALSE(activityLimit(counts, {1, 0.6080}).has_value());
    EXPECT_FALSE(activityLimit(counts, {1, kInfinity}).has_value());
    EXPECT_GT(activityLimit(counts, {1, 0.3}).value(), activityLimit(counts, {1, 0}).value());
  }
}

TEST(DetectionLimit, MeasuredActivityIsRecognisedAboveTheThresholdOnly) {
  const CountLimits counts = countLimits(backgroundOf(0), ruleOf(LimitMethod::kIso11929));
  EXPECT_FALSE(activityLimits(2, backgroundOf(0), counts, {0.1, 0}, 0.95).is_recognised);
  const ActivityLimits seen = activityLimits(3, backgroundOf(0), counts, {0.1, 0.5}, 0.95);
  EXPECT_TRUE(seen.is_recognised);
  EXPECT_NEAR(seen.activity, 0.3, 1e-12);
  EXPECT_NEAR(seen.activity_u, std::sqrt(0.03 + 0.0225), 1e-12);  // sqrt(3) counts and 50 %
  // No counts at all: uncertain by one count, never certain.
  EXPECT_NEAR(activityLimits(0, backgroundOf(0), counts, {0.1, 0}, 0.95).activity_u, 0.1, 1e-12);
}

// ---- Best estimate: means, deviations and quantiles of the normal distribution cut at 0, from quadrature

TEST(BestEstimate, AgreesWithQuadrature) {
  const struct {
    double z, best, best_u, low, high;
  } cases[] = {
      {2, 2.0552479, 0.9415158, 0.32720, 3.96979},    {0, 0.7978846, 0.6028103, 0.031338, 2.241403},
      {-5, 0.1865040, 0.1808216, 0.004874, 0.669365}, {-20, 0.0497531, 0.0496313, 0.0012638, 0.183155},
      {8, 8, 1, 8 - 1.959964, 8 + 1.959964},
  };
  const Background background{400, 0, 0, 1};
  for (const auto& c : cases) {
    // Only counting, no continuum uncertainty: u = sqrt(gross), so gross - 400 = z sqrt(gross).
    const double root = (c.z + std::sqrt(c.z * c.z + 1600)) / 2;
    const ActivityLimits result = activityLimits(root * root, background, CountLimits{}, {1 / root, 0}, 0.95);
    ASSERT_NEAR(result.activity, c.z, 1e-9);
    ASSERT_NEAR(result.activity_u, 1, 1e-9);
    EXPECT_NEAR(result.best, c.best, 1e-6) << c.z;
    EXPECT_NEAR(result.best_u, c.best_u, 1e-6) << c.z;
    EXPECT_NEAR(result.low, c.low, 3e-5) << c.z;
    EXPECT_NEAR(result.high, c.high, 3e-5) << c.z;
  }
}

TEST(BestEstimate, HasNoJumpFarBelowZero) {
  const auto at = [](double z) { return activityLimits(0, {-z, 0, 0, 1}, CountLimits{}, {1, 0}, 0.95); };
  const ActivityLimits before = at(-29.999);
  const ActivityLimits behind = at(-30.001);
  EXPECT_NEAR(behind.best / before.best, 1, 0.005);
  EXPECT_NEAR(behind.best_u / before.best_u, 1, 0.005);
  EXPECT_NEAR(behind.low / before.low, 1, 0.005);
  EXPECT_NEAR(behind.high / before.high, 1, 0.005);
  EXPECT_GT(at(-1e9).low, 0);
}

TEST(NormalDistribution, IsAccurateInItsTails) {
  EXPECT_NEAR(normalQuantile(0.95), 1.6448536269514722, 1e-14);
  EXPECT_NEAR(normalQuantile(0.025), -1.959963984540054, 1e-14);
  EXPECT_NEAR(normalQuantile(1e-10), -6.361340902404056, 1e-12);
  EXPECT_NEAR(normalQuantile(1e-250) / -33.7, 1, 0.01);
  EXPECT_EQ(normalQuantile(0), -kInfinity);
  EXPECT_EQ(normalQuantile(1), kInfinity);
  EXPECT_NEAR(lowerHazard(-5), 5.18650396712583, 1e-11);
  EXPECT_NEAR(lowerHazard(-29.9), 29.933370411294675, 1e-11);
}

// ---- Rates of wrong decisions

/// Spectra of 60 channels with a flat or sloped continuum of B counts in the window of 11, and a line or none.
class Rates {
 public:
  Rates(double background, double slope, unsigned seed) : random_(seed), expected_(60) {
    for (std::size_t i = 0; i < expected_.size(); ++i)
      expected_[i] = background / 11 * (1 + slope * (static_cast<double>(i + 1) - 30) / 30);
  }

  LineWindow windowOf(const std::vector<float>& counts) const { return measureWindow(counts, 30, 4, {}, {}); }

  /// Share of decisions for a line.
  double recognised(double line_counts, const LimitRule& rule) {
    constexpr int kTrials = 10000;
    int recognised = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
      const LineWindow window = windowOf(drawn(line_counts));
      recognised += window.gross - window.continuum.counts > countLimits(window.continuum, rule).threshold;
    }
    return recognised / static_cast<double>(kTrials);
  }

  /// The limit that the expected continuum has.
  double limit(const LimitRule& rule) const {
    return countLimits(windowOf({expected_.begin(), expected_.end()}).continuum, rule).limit;
  }

 private:
  std::vector<float> drawn(double line_counts) {
    std::vector<float> counts(expected_.size());
    for (std::size_t i = 0; i < counts.size(); ++i) {
      const double mean = expected_[i] + (i == 29 ? line_counts : 0);
      counts[i] = static_cast<float>(mean > 0 ? std::poisson_distribution<int>(mean)(random_) : 0);
    }
    return counts;
  }

  std::mt19937_64 random_;
  std::vector<double> expected_;
};

// The normal form takes the continuum's variance from the same counts that it takes off, so that it sees a line too
// often where they are few: 6.6 % for 5 % at 20 counts. Poisson quantiles never do.
TEST(WrongDecisions, KeepTheirProbabilities) {
  struct Range {
    double least, most;
  };
  const struct {
    const char* name;
    LimitMethod method;
    double background, slope, poisson_below;
    Range seen_without_line, missed_at_limit;
  } cases[] = {
      {"0.5", LimitMethod::kIso11929, 0.5, 0, 10, {0.002, 0.05}, {0.03, 0.055}},
      {"3", LimitMethod::kIso11929, 3, 0, 10, {0.015, 0.05}, {0.03, 0.055}},
      {"20, Poisson", LimitMethod::kIso11929, 20, 0, 100, {0.03, 0.05}, {0.03, 0.055}},
      {"20", LimitMethod::kIso11929, 20, 0, 10, {0.055, 0.075}, {0.045, 0.065}},
      {"20, sloped", LimitMethod::kIso11929, 20, 0.5, 10, {0.055, 0.075}, {0.045, 0.065}},
      {"1000, sloped", LimitMethod::kIso11929, 1000, 0.3, 10, {0.045, 0.056}, {0.045, 0.056}},
      {"1000, Currie", LimitMethod::kCurrie, 1000, 0, 10, {0.025, 0.036}, {0.025, 0.036}},  // 4.65 / 4.03 * 1.645
  };
  unsigned seed = 1;
  for (const auto& c : cases) {
    Rates rates(c.background, c.slope, seed++);
    LimitRule rule = ruleOf(c.method);
    rule.poisson_below = c.poisson_below;
    const double seen = rates.recognised(0, rule);
    const double missed = 1 - rates.recognised(rates.limit(rule), rule);
    EXPECT_THAT(seen, AllOf(Ge(c.seen_without_line.least), Le(c.seen_without_line.most))) << c.name;
    EXPECT_THAT(missed, AllOf(Ge(c.missed_at_limit.least), Le(c.missed_at_limit.most))) << c.name;
  }
}

}  // namespace
