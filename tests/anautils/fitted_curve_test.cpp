// The curve of a region from the table of lines, against what the fit said about itself when it wrote the table.
#include <gmock/gmock.h>

#include <functional>

#include "analysis_file.h"

namespace {

constexpr int kChannels = 1024;

class FittedCurve : public AnalysisFile {
 protected:
  void SetUp() override {
    AnalysisFile::SetUp();
    calibrate();
    put(0x2003003F, 3.0F);  // least significance
  }

  /// Draws the lines, locates and fits them. @param tail  junction distance of all lines [channels]
  void analyse(const std::vector<std::pair<double, double>>& lines, double tail, double step) {
    TrueRegion region{kChannels, {}, 900, 300, step};
    for (const auto& [position, area] : lines) region.lines.push_back({position - 1, widthAt(position), area, tail});
    std::mt19937_64 random(11);
    counts_ = drawnCounts(expectedCounts(region), random);
    setCounts(counts_);
    ASSERT_ANA(ANA_OK, AA_2nd_Diff_Peak_Loc(file_, 0, 0, 0));
    ASSERT_ANA(ANA_OK, lPANolin(file_, 0, 0, 0));
  }
  LONG evaluate(LONG region, ULONG capacity = kChannels) {
    return lFittedRegion(file_, region, capacity, &first_, &n_, continuum_.data(), model_.data());
  }
  /// Pearson's sum of the counts against the curve that was evaluated last.
  double chiSquare() const {
    double sum = 0;
    for (std::size_t i = 0; i < n_; ++i) sum += std::pow(counts_[first_ - 1 + i] - model_[i], 2) / model_[i];
    return sum;
  }
  double storedChiSquare(USHORT record) { return number(0x20060010, record) * whole(0x20060041, record); }
  double areaOf(int region) {
    double area = 0;
    for (USHORT record = 1; record <= countOf(file_, ORB_CLS_PEAKS); ++record)
      if (whole(0x20060021, record) == region) area += number(0x2006000C, record);
    return area;
  }
  int regions() { return whole(0x20060061); }
  USHORT firstRecordOf(int region) {
    USHORT record = 1;
    while (whole(0x20060021, record) != region) ++record;
    return record;
  }

  std::vector<double> counts_;
  std::vector<double> continuum_ = std::vector<double>(kChannels);
  std::vector<double> model_ = std::vector<double>(kChannels);
  ULONG first_ = 0;
  ULONG n_ = 0;
};

struct Case {
  const char* name;
  double tail;  // channels
  double step;
  double curvature;
  friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

class FittedCurveOf : public FittedCurve, public testing::WithParamInterface<Case> {};

TEST_P(FittedCurveOf, HasTheChiSquareThatTheFitReported) {
  const Case& c = GetParam();
  if (c.tail > 0) put(0x20000065, 0.5 * c.tail);  // keV
  put(0x2003003A, c.curvature);
  put(0x2003003B, c.curvature);
  analyse({{150.6, 3000}, {300, 20000}, {305.2, 8000}, {600.4, 2e5}, {900, 2000}}, c.tail, c.step);
  ASSERT_EQ(regions(), 4);
  for (int region = 1; region <= regions(); ++region) {
    SCOPED_TRACE(region);
    const USHORT record = firstRecordOf(region);
    ASSERT_ANA(ANA_OK, evaluate(region));
    EXPECT_EQ(first_, static_cast<ULONG>(whole(0x2006001E, record)));
    EXPECT_EQ(first_ + n_ - 1, static_cast<ULONG>(whole(0x2006001F, record)));
    EXPECT_NEAR(chiSquare() / storedChiSquare(record), 1, 1e-6);
    EXPECT_LT(chiSquare(), 2 * static_cast<double>(n_)) << "a curve far from the counts";
    double area = 0;
    for (std::size_t i = 0; i < n_; ++i) area += model_[i] - continuum_[i];
    EXPECT_NEAR(area / areaOf(region), 1, 0.01) << "what lies over the continuum is the net area";
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, FittedCurveOf,
                         testing::Values(Case{"plain", 0, 0, 0}, Case{"step", 0, 0.02, 0}, Case{"tail", 4, 0.01, 0},
                                         Case{"curved", 0, 0, 0.2}),
                         [](const auto& test) { return test.param.name; });

TEST_F(FittedCurve, PartsOfACutMultipletHoldEachOthersLines) {
  put(0x20030007, 2);  // lines fitted together
  analyse({{300, 2e5}, {308, 2e5}, {317, 2e5}, {325, 2e5}}, 0, 0);
  ASSERT_EQ(regions(), 2);
  for (const int region : {1, 2}) {
    ASSERT_ANA(ANA_OK, evaluate(region));
    // The part above was fitted before the one below got its last numbers.
    EXPECT_NEAR(chiSquare() / storedChiSquare(firstRecordOf(region)), 1, 0.05) << region;
  }
}

TEST_F(FittedCurve, RefusalsLeaveTheOutputsAlone) {
  EXPECT_ANA(ANA_NOPEAKTABLE, evaluate(1));
  analyse({{300, 20000}}, 0, 0);
  ASSERT_ANA(ANA_OK, evaluate(1));
  const ULONG n = n_;
  n_ = first_ = 77;
  const double kept = model_[0] = -5;
  const struct {
    const char* name;
    LONG expected;
    std::function<LONG()> call;
  } cases[] = {
      {"no such region", ANA_NOPEAK, [&] { return evaluate(2); }},
      {"region 0", ANA_BADARG, [&] { return evaluate(0); }},
      {"past all regions", ANA_BADARG, [&] { return evaluate(2147483647); }},
      {"no room", ANA_BADARG, [&] { return evaluate(1, n - 1); }},
      {"no outputs", ANA_BADARG, [&] { return lFittedRegion(file_, 1, 0, nullptr, nullptr, nullptr, nullptr); }},
      {"no file", static_cast<LONG>(AIO_BADHANDLE),
       [&] { return lFittedRegion(nullptr, 1, n, &first_, &n_, nullptr, nullptr); }},
      {"width of zero", ANA_BADCAL, [&] { return put(0x20060024, 0.0, 1), evaluate(1); }},
      {"region past the end", ANA_OUTSIDE,
       [&] { return put(0x20060024, 2.0, 1), put(0x2006001F, 5000, 1), evaluate(1); }},
      {"inverted region", ANA_EMPTYREGION, [&] { return put(0x2006001F, 1, 1), evaluate(1); }},
      {"no calibration", ANA_NOENERGYCAL, [&] { return put(0x20000021, 0.0), evaluate(1); }},
  };
  for (const auto& c : cases) {
    EXPECT_ANA(c.expected, c.call()) << c.name;
    EXPECT_EQ(n_, 77u) << c.name;
    EXPECT_EQ(model_[0], kept) << c.name;
  }
}

TEST_F(FittedCurve, SizesComeWithoutArrays) {
  analyse({{300, 20000}}, 0, 0);
  ASSERT_ANA(ANA_OK, lFittedRegion(file_, 1, 0, &first_, &n_, nullptr, nullptr));
  EXPECT_LT(first_, 300u);
  EXPECT_GT(first_ + n_, 300u);
}

}  // namespace
