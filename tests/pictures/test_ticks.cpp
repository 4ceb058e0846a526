#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ticks.h"

namespace orb::plot {
namespace {

using Values = std::vector<double>;
using Labels = std::vector<std::string>;

TEST(Ticks, LinearAxesGetStepsOfOneTwoAndFive) {
  const struct {
    double lo, hi;
    int max_major;
    bool whole;
    Values major;
    Labels labels;
  } cases[] = {
      {0, 100, 5, false, {0, 20, 40, 60, 80, 100}, {"0", "20", "40", "60", "80", "100"}},
      {0, 100, 4, false, {0, 50, 100}, {"0", "50", "100"}},
      {0, 1.05, 6, false, {0, 0.2, 0.4, 0.6, 0.8, 1}, {"0", "0.2", "0.4", "0.6", "0.8", "1.0"}},
      {0.5, 3.5, 10, true, {1, 2, 3}, {"1", "2", "3"}},
      {-12.3, 27, 5, false, {-10, 0, 10, 20}, {"-10", "0", "10", "20"}},
      {-0.3, 45, 3, false, {0, 20, 40}, {"0", "20", "40"}},
      {59.3, 59.7, 4, false, {59.3, 59.4, 59.5, 59.6, 59.7}, {"59.3", "59.4", "59.5", "59.6", "59.7"}},
      {0, 99000, 2, true, {0, 50000}, {"0", "50000"}},
      {0, 210000, 3, true, {0, 100000, 200000}, {"0", "100k", "200k"}},
      {1.2e6, 3.1e6, 4, true, {1.5e6, 2e6, 2.5e6, 3e6}, {"1.5M", "2.0M", "2.5M", "3.0M"}},
      {0, 2.5e-6, 3, false, {0, 1e-6, 2e-6}, {"0", "1e-06", "2e-06"}},
  };
  for (const auto& c : cases) {
    const Ticks ticks = linearTicks(c.lo, c.hi, c.max_major, c.whole);
    EXPECT_THAT(ticks.major, testing::Pointwise(testing::DoubleEq(), c.major)) << c.lo << " to " << c.hi;
    EXPECT_EQ(ticks.labels, c.labels);
  }
}

TEST(Ticks, MinorMarksDivideTheStepsAndNeverRepeatAMajorOne) {
  EXPECT_EQ(linearTicks(0, 40, 2, false).minor, (Values{5, 10, 15, 25, 30, 35}));
  EXPECT_EQ(linearTicks(0, 20, 2, false).minor, (Values{2, 4, 6, 8, 12, 14, 16, 18}));
  EXPECT_EQ(linearTicks(0, 10, 2, false).minor, (Values{1, 2, 3, 4, 6, 7, 8, 9}));
  EXPECT_EQ(linearTicks(0, 3, 3, true).minor, Values{}) << "there is nothing between whole counts";
}

TEST(Ticks, LogAxesGetDecadesWithTheirMultiplesBetween) {
  const struct {
    double lo, hi;
    int max_major;
    Values major;
    Labels labels;
  } cases[] = {
      {0.5, 2000, 8, {1, 10, 100, 1000}, {"1", "10", "100", "1000"}},
      {5000, 2e7, 8, {1e4, 1e5, 1e6, 1e7}, {"10k", "100k", "1M", "10M"}},
      {0.5, 2e6, 4, {1, 100, 1e4, 1e6}, {"1", "100", "10k", "1M"}},
      {20, 700, 8, {20, 50, 100, 200, 500}, {"20", "50", "100", "200", "500"}},
      {30, 90, 5, {40, 60, 80}, {"40", "60", "80"}},
  };
  for (const auto& c : cases) {
    const Ticks ticks = logTicks(c.lo, c.hi, c.max_major);
    EXPECT_THAT(ticks.major, testing::Pointwise(testing::DoubleEq(), c.major)) << c.lo << " to " << c.hi;
    EXPECT_EQ(ticks.labels, c.labels);
  }
  EXPECT_EQ(logTicks(7, 130, 8).minor, (Values{7, 8, 9, 20, 30, 40, 50, 60, 70, 80, 90}));
  EXPECT_EQ(logTicks(0.5, 2e6, 4).minor, (Values{10, 1000, 1e5})) << "on a crowded axis decades are minor marks";
}

TEST(Ticks, AnyAxisKeepsToItsRoomAndItsLimits) {
  for (const double lo : {0.0, 1e-300, 0.37, 12345.678, 1e15}) {
    for (const double span : {1e-290, 0.001, 1.0, 7.77, 1e5, 1e290}) {
      for (const int room : {2, 5, 20}) {
        const double hi = lo + span;
        if (!(hi > lo * (1 + 1e-9))) continue;
        const Ticks linear = linearTicks(lo, hi, room, false);
        EXPECT_LE(linear.major.size(), static_cast<std::size_t>(room) + 1) << lo << " + " << span;
        for (const double value : linear.major) EXPECT_TRUE(value >= lo - span * 1e-6 && value <= hi + span * 1e-6);
        const Ticks log = logTicks(lo, hi, room);
        EXPECT_EQ(log.major.size(), log.labels.size());
        EXPECT_LE(log.major.size(), static_cast<std::size_t>(std::max(room, 6)) + 1);
      }
    }
  }
}

}  // namespace
}  // namespace orb::plot
