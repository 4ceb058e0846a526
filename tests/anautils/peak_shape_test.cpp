// The shape of a line against quadrature of its density, and its derivatives against differences.
#include "kernel/peak_shape.h"

#include <gmock/gmock.h>

#include <functional>

#include "simulated_region.h"

using namespace anautils;
using namespace anautilstest;
using testing::Each;
using testing::Ge;

namespace {

class Shapes : public testing::TestWithParam<PeakShape> {};

INSTANTIATE_TEST_SUITE_P(PeakShape, Shapes,
                         testing::Values(PeakShape{20.3, 2.0, 0}, PeakShape{20.3, 0.4, 0}, PeakShape{19.5, 0.85, 1.3},
                                         PeakShape{20.0, 3.0, 1.2}, PeakShape{21.7, 2.5, 2.5},
                                         PeakShape{20.3, 2.0, 7.9}));

constexpr int kChannels = 45;

std::vector<ChannelShare> sharesOf(const PeakShape& shape) {
  std::vector<ChannelShare> shares(kChannels);
  channelShares(shape, 0, kChannels, shares.data());
  return shares;
}

TEST_P(Shapes, AgreeWithQuadratureOfTheDensity) {
  const PeakShape shape = GetParam();
  const TrueLine line{shape.centroid, shape.sigma * kFwhm, 1, shape.tail};
  const double whole = lineIntegral(line, line.position - 300 * shape.sigma, line.position + 12 * shape.sigma, 60000);
  const std::vector<ChannelShare> shares = sharesOf(shape);
  for (int i = 0; i < kChannels; ++i) {
    const ChannelShare& share = shares[static_cast<std::size_t>(i)];
    const auto step = [&](double x) { return 0.5 * std::erfc((x - shape.centroid) / shape.sigma / std::sqrt(2.0)); };
    EXPECT_NEAR(share.area, lineIntegral(line, i - 0.5, i + 0.5, 200) / whole, 1e-8) << i;
    EXPECT_NEAR(share.step, integral(step, i - 0.5, i + 0.5, 200), 1e-8) << i;
    EXPECT_DOUBLE_EQ(share.area, channelArea(shape, i));
  }
}

TEST_P(Shapes, DerivativesAgreeWithDifferences) {
  const PeakShape shape = GetParam();
  struct Derivative {
    double PeakShape::*parameter;
    double ChannelShare::*value;
    double ChannelShare::*derivative;
  };
  std::vector<Derivative> derivatives = {{&PeakShape::centroid, &ChannelShare::area, &ChannelShare::area_by_centroid},
                                         {&PeakShape::sigma, &ChannelShare::area, &ChannelShare::area_by_sigma},
                                         {&PeakShape::centroid, &ChannelShare::step, &ChannelShare::step_by_centroid},
                                         {&PeakShape::sigma, &ChannelShare::step, &ChannelShare::step_by_sigma}};
  if (shape.tail > 0) derivatives.push_back({&PeakShape::tail, &ChannelShare::area, &ChannelShare::area_by_tail});
  const std::vector<ChannelShare> shares = sharesOf(shape);
  constexpr double kDifference = 1e-5;
  for (const Derivative& d : derivatives) {
    PeakShape less = shape, more = shape;
    less.*d.parameter -= kDifference;
    more.*d.parameter += kDifference;
    const std::vector<ChannelShare> below = sharesOf(less), above = sharesOf(more);
    for (std::size_t i = 0; i < shares.size(); ++i)
      EXPECT_NEAR(shares[i].*d.derivative, (above[i].*d.value - below[i].*d.value) / (2 * kDifference), 1e-7) << i;
  }
}

TEST(PeakShape, IsWholeAndNeverNegativeFarFromTheLine) {
  for (const PeakShape shape : {PeakShape{5000, 1.5, 0}, PeakShape{5000, 1.5, 1.0}, PeakShape{5000, 400, 120}}) {
    std::vector<ChannelShare> shares(16384);
    channelShares(shape, 0, static_cast<int>(shares.size()), shares.data());
    double sum = 0;
    std::vector<double> areas;
    for (const ChannelShare& share : shares) sum += areas.emplace_back(share.area);
    EXPECT_THAT(areas, Each(Ge(-1e-15)));
    EXPECT_NEAR(sum, areaBelow(shape, 16383.5) - areaBelow(shape, -0.5), 1e-12);
    EXPECT_GT(sum, 0.98);
    EXPECT_NEAR(shares.front().step, 1, 1e-9);
    EXPECT_NEAR(shares.back().step, 0, 1e-9);
  }
}

TEST(PeakShape, TailsOutsideTheUsableRangeAreBroughtIntoIt) {
  EXPECT_EQ(withUsableTail({10, 2, 9}).tail, 0);
  EXPECT_EQ(withUsableTail({10, 2, -1}).tail, 0);
  EXPECT_EQ(withUsableTail({10, 2, 0.1}).tail, 0.6);
  EXPECT_EQ(withUsableTail({10, 2, 3}).tail, 3);
}

}  // namespace
