#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "sample_spectra.h"
#include "view.h"

namespace orb::plot {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A straight line, and one whose channels are three times as wide at its end as at its beginning.
const std::vector<double> kCalibrations[] = {{}, {0, 1, 0.001}};

TEST(Columns, NoCountIsLostWhateverTheNumberOfColumns) {
  Spectrum spectrum;
  std::mt19937 random(7);
  for (int i = 0; i < 1000; ++i) spectrum.counts.push_back(static_cast<double>(random() % 500));
  for (const auto& calibration : kCalibrations) {
    spectrum.energy_coefficients = calibration;
    const View view(spectrum, {});
    for (const std::size_t n : {1u, 7u, 400u, 999u, 1000u, 1001u, 3000u}) {
      const std::vector<Column> columns = columnsOf(view, n);
      for (int i = 0; i < 1000; ++i) {
        const auto at = static_cast<std::size_t>(view.placeOfChannel(i + 1) * static_cast<double>(n));
        const double count = spectrum.counts[static_cast<std::size_t>(i)];
        EXPECT_TRUE(columns[at].lo <= count && count <= columns[at].hi) << "channel " << i + 1 << " of " << n;
      }
      const bool gap = std::any_of(columns.begin(), columns.end(), [](const Column& c) { return std::isnan(c.last); });
      EXPECT_FALSE(gap) << n << " columns";
    }
  }
}

TEST(Columns, AChannelShowsInOneColumnOrInAllThatItCovers) {
  Spectrum spectrum = samples::flat(100, 0);
  spectrum.counts[49] = 9;  // channel 50 reaches over 0.49 to 0.50 of the width
  const struct {
    std::size_t n_columns, first, last;
  } cases[] = {{10, 4, 4}, {50, 24, 24}, {100, 49, 49}, {300, 147, 149}, {1000, 490, 499}};
  for (const auto& c : cases) {
    const std::vector<Column> columns = columnsOf(View(spectrum, {}), c.n_columns);
    for (std::size_t i = 0; i < c.n_columns; ++i) {
      EXPECT_EQ(columns[i].hi == 9, i >= c.first && i <= c.last) << i << " of " << c.n_columns;
    }
  }
}

TEST(Columns, MissingCountsLeaveGapsOnlyWhereNothingElseIs) {
  Spectrum spectrum = samples::flat(6, 5);
  spectrum.counts[2] = spectrum.counts[3] = kNaN;
  spectrum.counts[5] = std::numeric_limits<double>::infinity();
  const std::vector<Column> columns = columnsOf(View(spectrum, {}), 3);
  EXPECT_EQ(columns[0].last, 5);
  EXPECT_TRUE(std::isnan(columns[1].last));
  EXPECT_EQ(columns[2].last, 5);
}

TEST(CountScale, LimitsFitTheCounts) {
  const struct {
    const char* name;
    std::vector<double> counts;
    bool log;
    double lo, hi;
  } cases[] = {
      {"linear from 0", {3, 80, 5}, false, 0, 100},
      {"all zero", {0, 0}, false, 0, 1},
      {"nothing", {kNaN}, false, 0, 1},
      {"negative", {-20, 60}, false, -24, 80},
      {"all negative", {-20, -10}, false, -21, 0},
      {"log, single counts stand above the floor", {0, 1, 5000}, true, 0.5, 50000},
      {"log, from the decade of the least", {30, 1e5}, true, 10, 1e6},
      {"log, all zero", {0, 0}, true, 0.5, 10},
      {"log, all negative", {-3}, true, 0.5, 10},
      {"log, one height", {1, 1}, true, 0.5, 8.8914},
  };
  for (const auto& c : cases) {
    // A fifth of the height stays free: behind 4 decades that is one more.
    const CountScale scale = countScaleFor(c.counts, c.log, 0.2);
    EXPECT_NEAR(scale.lo, c.lo, 1e-9) << c.name;
    EXPECT_NEAR(scale.hi, c.hi, 1e-4 * c.hi) << c.name;
  }
}

TEST(CountScale, CountsAreHeldInsideThePicture) {
  for (const bool log : {false, true}) {
    const CountScale scale = countScaleFor(std::vector<double>{0, 1, 100}, log, 0);
    EXPECT_EQ(scale.place(-50), 0);
    EXPECT_EQ(scale.place(0), 0);
    EXPECT_DOUBLE_EQ(scale.place(100), 1);
    EXPECT_EQ(scale.place(1e9), 1);
  }
}

}  // namespace
}  // namespace orb::plot
