// Location, widths, region limits and matching of lines: kernels against spectra of known truth.
#include "kernel/peak_search.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <numeric>

#include "growth.h"
#include "kernel/line_matching.h"
#include "kernel/region_limits.h"
#include "kernel/second_difference.h"
#include "simulated_region.h"

using namespace anautils;
using namespace anautilstest;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

namespace {

std::vector<double> flat(int n, double level) {
  return std::vector<double>(static_cast<std::size_t>(n), level);
}

/// Expected counts on a flat continuum.
std::vector<double> withLines(int n, double level, const std::vector<TrueLine>& lines) {
  return expectedCounts({n, lines, level, level, 0});
}

std::vector<double> drawn(const std::vector<double>& expected, unsigned seed) {
  std::mt19937_64 random(seed);
  return drawnCounts(expected, random);
}

std::vector<double> positionsOf(const std::vector<FoundPeak>& peaks) {
  std::vector<double> positions;
  for (const FoundPeak& peak : peaks) positions.push_back(peak.position);
  return positions;
}

std::vector<FoundPeak> found(const std::vector<double>& counts, double fwhm, const SearchSettings& settings = {}) {
  return findPeaks(counts, std::vector<double>(counts.size(), fwhm), 0, static_cast<int>(counts.size()) - 1, settings);
}

// ---- Second difference

TEST(SecondDifference, DoesNotSeeAStraightLine) {
  std::vector<double> slope(200);
  std::iota(slope.begin(), slope.end(), 1000.0);
  for (const double sigma : {0.6, 1.0, 2.3, 9.0}) {
    const auto filter = secondDifferenceFilter(sigma, 4);
    EXPECT_NEAR(respond(slope, slope, filter, 100).difference, 0, 1e-9) << sigma;
    EXPECT_LT(filter[0], 0) << sigma;
  }
}

TEST(SecondDifference, SignificanceHasTheSpreadOfOne) {
  for (const double level : {1.0, 5.0, 200.0}) {
    const auto counts = drawn(flat(20000, level), 5);
    const auto smooth = smoothedCounts(counts, 19);
    const auto filter = secondDifferenceFilter(3, 4);
    double sum = 0;
    for (int i = 0; i < 20000; ++i) sum += std::pow(respond(counts, smooth, filter, i).significance, 2);
    EXPECT_NEAR(std::sqrt(sum / 20000), 1, 0.05) << level;
  }
}

TEST(SecondDifference, SmoothingKeepsLevelsUpToTheEnds) {
  for (const double count : smoothedCounts(flat(10, 7), 5)) EXPECT_DOUBLE_EQ(count, 7);
  for (const double count : smoothedCounts(flat(10, 0), 5)) EXPECT_GT(count, 0);  // an empty stretch is not exact
  EXPECT_THAT(smoothedCounts({1, 2, 6, 3, 9}, 3), ElementsAre(1.5, 3, 11.0 / 3, 6, 6));
  EXPECT_THAT(smoothedCounts({}, 3), IsEmpty());
}

// ---- Search

TEST(PeakSearch, FindsEveryLineOnceAndNothingElse) {
  constexpr double w = 6;
  const struct {
    const char* name;
    std::vector<double> counts;
    std::vector<double> lines;
  } cases[] = {
      {"nothing", flat(300, 0), {}},
      {"flat", flat(300, 50), {}},
      {"strong line", withLines(300, 50, {{100.4, w, 1e5, 0}}), {100.4}},
      {"line without continuum", withLines(300, 0, {{100.4, w, 1000, 0}}), {100.4}},
      {"pair at 1.1 FWHM", withLines(300, 50, {{100, w, 1e4, 0}, {106.6, w, 1e4, 0}}), {100, 106.6}},
      {"pair at 0.6 FWHM is one", withLines(300, 50, {{100, w, 1e4, 0}, {103.6, w, 1e4, 0}}), {101.8}},
      {"triplet", withLines(300, 50, {{100, w, 1e4, 0}, {110, w, 5e3, 0}, {120, w, 1e4, 0}}), {100, 110, 120}},
      {"weak beside 30 times as strong", withLines(300, 50, {{100, w, 6e4, 0}, {115, w, 2e3, 0}}), {100}},
      {"weak beyond 3 FWHM of it", withLines(300, 50, {{100, w, 6e4, 0}, {125, w, 2e3, 0}}), {100, 125}},
      {"near both ends", withLines(300, 50, {{5, w, 1e4, 0}, {294, w, 1e4, 0}}), {5, 294}},
      {"far too broad", withLines(300, 50, {{150, 10 * w, 1e5, 0}}), {}},
  };
  for (const auto& c : cases) {
    const auto positions = positionsOf(found(c.counts, w));
    ASSERT_EQ(positions.size(), c.lines.size()) << c.name << ": " << testing::PrintToString(positions);
    for (std::size_t i = 0; i < positions.size(); ++i) EXPECT_NEAR(positions[i], c.lines[i], 0.12 * w) << c.name;
  }
}

TEST(PeakSearch, AnEdgeIsNoLine) {
  // At 300 the edge is seen with 4 standard deviations, where noise may still make a line of it.
  for (const auto& [height, most] : {std::pair{300.0, 8}, std::pair{3000.0, 2}}) {
    std::vector<double> edge(400);
    for (int i = 0; i < 400; ++i) edge[static_cast<std::size_t>(i)] = 100 + height / 2 * std::erfc((i - 200) / 4.0);
    int lines = 0;
    for (unsigned seed = 1; seed <= 20; ++seed)
      for (const FoundPeak& peak : found(drawn(edge, seed), 6)) lines += std::abs(peak.position - 200) < 18;
    EXPECT_LE(lines, most) << height;  // of 20 edges
  }
}

TEST(PeakSearch, ThresholdMeansWhatItSays) {
  // Maxima of noise above u in N channels: 0.25 N / sigma exp(-u^2/2) (Rice 1945); for one filter of sigma 2.55
  // (FWHM 6) and u = 3: 0.25 * 80000 / 2.55 * 0.0111 = 87, before those of odd shape are left out.
  SearchSettings settings;
  settings.threshold = 3;
  settings.two_filters = false;
  std::size_t maxima = 0;
  for (unsigned seed = 1; seed <= 20; ++seed) maxima += found(drawn(flat(4000, 100), seed), 6, settings).size();
  EXPECT_THAT(maxima, AllOf(Ge(30u), Le(110u)));
  settings.threshold = 4.5;  // 0.3
  maxima = 0;
  for (unsigned seed = 1; seed <= 20; ++seed) maxima += found(drawn(flat(4000, 100), seed), 6, settings).size();
  EXPECT_LE(maxima, 2u);
}

TEST(PeakSearch, WideFilterFindsWhatTheNarrowOneMisses) {
  const auto counts = withLines(300, 100, {{100, 6, 145, 0}});  // 2.8 and 3.6 standard deviations
  SearchSettings settings;
  const auto both = found(counts, 6, settings);
  ASSERT_EQ(both.size(), 1u);
  EXPECT_TRUE(both[0].by_wide_filter);
  EXPECT_NEAR(both[0].position, 100, 0.5);
  settings.two_filters = false;
  EXPECT_THAT(found(counts, 6, settings), IsEmpty());
}

TEST(PeakSearch, DoesNotKnowLeftFromRight) {
  const auto counts =
      drawn(withLines(500, 40, {{60.3, 6, 800, 0}, {69, 6, 500, 0}, {250, 6, 300, 0}, {470, 6, 9e4, 0}}), 3);
  auto mirrored = counts;
  std::reverse(mirrored.begin(), mirrored.end());
  auto positions = positionsOf(found(mirrored, 6));
  std::reverse(positions.begin(), positions.end());
  for (double& position : positions) position = 499 - position;
  EXPECT_THAT(positions, testing::Pointwise(testing::DoubleNear(1e-6), positionsOf(found(counts, 6))));
  EXPECT_GE(positions.size(), 4u);
}

TEST(PeakSearch, FollowsTheWidthAlongTheSpectrum) {
  const std::vector<TrueLine> lines = {{100, 3, 2000, 0}, {700, 12, 4000, 0}, {1500, 30, 8000, 0}};
  std::vector<double> widths(1800);
  for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = 1.07 + 0.0193 * static_cast<double>(i);
  const auto peaks = findPeaks(withLines(1800, 20, lines), widths, 0, 1799, {});
  ASSERT_EQ(peaks.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(peaks[i].position, lines[i].position, 0.1 * lines[i].width);
}

TEST(PeakSearch, RangeAndShortSpectra) {
  const auto counts = withLines(300, 50, {{100, 6, 1e4, 0}, {200, 6, 1e4, 0}});
  const std::vector<double> widths(300, 6);
  const struct {
    int first, last;
    std::size_t lines;
  } ranges[] = {{0, 299, 2}, {0, 150, 1}, {150, 299, 1}, {120, 180, 0}, {100, 100, 1}, {150, 149, 0}};
  for (const auto& r : ranges) EXPECT_EQ(findPeaks(counts, widths, r.first, r.last, {}).size(), r.lines) << r.first;
  for (const int n : {0, 1, 2, 5}) EXPECT_THAT(found(flat(n, 1000), 6), IsEmpty()) << n;
}

TEST(PeakSearch, FindsBroadLinesOfALongSpectrumWhereTheyAre) {
  const std::vector<TrueLine> lines = {{30000.3, 1500, 4e5, 0}, {60000, 1500, 2e5, 0}, {63000, 1500, 1e5, 0}};
  const auto peaks = found(drawn(withLines(100000, 2, lines), 5), 1500);
  ASSERT_EQ(peaks.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(peaks[i].position, lines[i].position, 150);
}

// Beyond what detectors have, four times the channels are four times the work at most; every channel against every
// other would be sixteen times.
TEST(PeakSearch, WorkGrowsWithTheChannels) {
  const auto every = [](int period, double height) {
    return [=](std::size_t n) {
      std::vector<double> counts(n, 100);
      for (std::size_t i = 0; i < n; ++i)
        counts[i] += height * std::exp(-std::pow((static_cast<double>(i % period) - period / 2) / 1.5, 2));
      return counts;
    };
  };
  const auto dome = [](std::size_t n) {
    std::vector<double> counts(n);
    for (std::size_t i = 0; i < n; ++i)
      counts[i] = (i % 2 == 0 ? 1 : 2) * 1e9 * std::sin(3.14 * static_cast<double>(i) / static_cast<double>(n));
    return counts;
  };
  const auto wholeSearch = [](double fwhm) {
    return [=](const std::vector<double>& counts) {
      const auto widths = fwhm > 0 ? std::vector<double>(counts.size(), fwhm) : estimatedWidths(counts);
      if (!widths.empty()) findPeaks(counts, widths, 0, static_cast<int>(counts.size()) - 1, {});
    };
  };
  const struct {
    const char* name;
    std::function<std::vector<double>(std::size_t)> counts;
    double fwhm;  // 0: from the counts
  } cases[] = {{"flat", every(1, 0), 0},
               {"alternating", every(2, 1e9), 0},
               {"dense lines", every(8, 5000), 2.5},
               {"broad", every(40, 50), 200},
               {"dome", dome, 3}};
  for (const auto& c : cases) EXPECT_LT(orbtest::growth(32768, 4, c.counts, wholeSearch(c.fwhm)), 8) << c.name;
}

// ---- Widths from the counts

TEST(WidthSearch, FindsTheWidthOfTheLines) {
  for (const double w : {2.5, 6.0, 15.0, 40.0, 600.0}) {
    const auto at = [&](int k) { return 120 + 15 * w * k + 0.3; };
    const int n = static_cast<int>(at(4)) + 120;
    const auto counts = drawn(withLines(n, 30, {{at(0), w, 9e3, 0}, {at(1), w, 5e4, 0}, {at(2), w, 2e4, 0}}), 7);
    EXPECT_NEAR(typicalWidth(counts) / w, 1, 0.15) << w;
    EXPECT_NEAR(widthAround(counts, static_cast<int>(at(1))) / w, 1, 0.15) << w;
    EXPECT_EQ(widthAround(counts, static_cast<int>((at(0) + at(1)) / 2)), 0) << w;
  }
}

// The noise of a strong line is its own, and must not make it broad.
TEST(WidthSearch, WidthDoesNotDependOnTheHeight) {
  for (const double level : {1.0, 1000.0})
    for (const double area : {3e4, 1e6}) {
      const auto counts = drawn(withLines(600, level, {{200, 6, area, 0}, {400, 6, 0.6 * area, 0}}), 3);
      EXPECT_NEAR(typicalWidth(counts) / 6, 1, 0.15) << level << ", " << area;
    }
}

TEST(WidthSearch, FollowsWidthsThatGrow) {
  std::vector<TrueLine> lines;
  for (int k = 0; k < 8; ++k) {
    const double position = 150 + 230.0 * k;
    lines.push_back({position, std::sqrt(16 + 0.1 * position), 2e4, 0});
  }
  const auto widths = estimatedWidths(drawn(withLines(2000, 40, lines), 11));
  ASSERT_EQ(widths.size(), 2000u);
  for (const TrueLine& line : lines)
    EXPECT_NEAR(widths[static_cast<std::size_t>(line.position)] / line.width, 1, 0.15) << line.position;
}

TEST(WidthSearch, WithoutLinesThereIsNoWidth) {
  for (const auto& counts : {flat(0, 0), flat(1, 9), flat(30, 9), flat(2000, 0), flat(2000, 50)}) {
    EXPECT_EQ(typicalWidth(counts), 0) << counts.size();
    EXPECT_THAT(estimatedWidths(counts), IsEmpty()) << counts.size();
    for (const int element : {-1, 0, 1000, 5000}) EXPECT_EQ(widthAround(counts, element), 0) << counts.size();
  }
}

// ---- Regions

TEST(RegionLimits, FollowWidthTailAndLimits) {
  constexpr ChannelRange kWhole{1, 1000};
  const struct {
    const char* name;
    LineExtent line;
    ChannelRange limits;
    int first, last;
  } cases[] = {
      {"plain", {100, 10, 0}, kWhole, 70, 130},
      {"rounding", {100.4, 9, 0}, kWhole, 73, 127},  // 73.4, 127.4
      {"short tail", {100, 10, 4}, kWhole, 70, 130},
      {"long tail", {100, 10, 2}, kWhole, 57, 130},  // 1 + 18.034 / 2 * ln 100 = 42.5 below
      {"low end", {10, 10, 0}, kWhole, 1, 40},
      {"high end", {990, 10, 0}, kWhole, 960, 1000},
      {"limits", {100, 10, 0}, {90, 105}, 90, 105},
  };
  for (const auto& c : cases) {
    const ChannelRange region = regionOf(c.line, {}, c.limits);
    EXPECT_EQ(region.first, c.first) << c.name;
    EXPECT_EQ(region.last, c.last) << c.name;
  }
}

TEST(RegionLimits, LinesThatTouchShareARegion) {
  const auto plan = [](const std::vector<double>& positions, int most = 10) {
    std::vector<LineExtent> lines;
    for (const double position : positions) lines.push_back({position, 10, 0});
    RegionRule rule;
    rule.most_lines = most;
    return planRegions(lines, rule, {1, 1000});
  };
  EXPECT_THAT(plan({}), IsEmpty());
  EXPECT_EQ(plan({100, 160}).size(), 1u);  // 70 to 130 and 130 to 190
  ASSERT_EQ(plan({100, 162}).size(), 2u);
  // Five lines in regions of three at most: cut at the widest gap, 120 to 150; both parts keep 1.2 FWHM and overlap.
  const auto cut = plan({100, 110, 120, 150, 160}, 3);
  ASSERT_EQ(cut.size(), 2u);
  EXPECT_THAT(cut[0].lines, ElementsAre(0, 1, 2));
  EXPECT_THAT(cut[1].lines, ElementsAre(3, 4));
  EXPECT_FALSE(cut[0].cut_before);
  EXPECT_TRUE(cut[1].cut_before);
  EXPECT_EQ(cut[0].channels.first, 70);
  EXPECT_EQ(cut[0].channels.last, 132);
  EXPECT_EQ(cut[1].channels.first, 138);
  EXPECT_EQ(cut[1].channels.last, 190);
  // Every line is in just one region, and inside it, however many there are.
  std::vector<double> many;
  for (int k = 0; k < 40; ++k) many.push_back(50 + 17.0 * k + (k % 3));
  std::vector<int> seen;
  for (const RegionPlan& region : plan(many, 4)) {
    EXPECT_THAT(region.lines.size(), AllOf(Ge(1u), Le(4u)));
    for (const int line : region.lines) {
      seen.push_back(line);
      EXPECT_LT(region.channels.first, many[static_cast<std::size_t>(line)]);
      EXPECT_GT(region.channels.last, many[static_cast<std::size_t>(line)]);
    }
  }
  ASSERT_EQ(seen.size(), many.size());
  for (int k = 0; k < 40; ++k) EXPECT_EQ(seen[static_cast<std::size_t>(k)], k);
}

// Lines that lie ever closer are cut one by one.
TEST(RegionLimits, WorkGrowsWithTheLines) {
  const auto closer = [](std::size_t n) {
    std::vector<LineExtent> lines;
    double position = 1;
    for (std::size_t k = 0; k < n; ++k) {
      position += 20 - 10 * static_cast<double>(k) / static_cast<double>(n);
      lines.push_back({position, 10, 0});
    }
    return lines;
  };
  const auto plan = [](const std::vector<LineExtent>& lines) { planRegions(lines, {}, {1, 1 << 24}); };
  EXPECT_LT(orbtest::growth(4096, 16, closer, plan), 48);
}

// ---- Matching with a source

/// Lines of Eu-152 [keV, photons per 100 decays].
const std::vector<KnownLine> kEuropium = {{121.78, 28.4},  {244.70, 7.5},   {344.28, 26.6}, {411.12, 2.2},
                                          {443.96, 2.8},   {778.90, 13.0},  {867.38, 4.2},  {964.08, 14.5},
                                          {1085.87, 10.1}, {1112.07, 13.4}, {1408.01, 20.8}};

class Matching : public testing::Test {
 protected:
  /// The peaks of the source in a spectrum of 4096 channels, and the index of the known line of each; -1 for others.
  void see(double offset, double gain, double bend, const std::vector<std::size_t>& missing = {}) {
    peaks_.clear();
    truth_.clear();
    for (std::size_t k = 0; k < kEuropium.size(); ++k) {
      if (std::count(missing.begin(), missing.end(), k) > 0) continue;
      const double c = kEuropium[k].energy - offset;
      const double x = 2 * c / (gain + std::sqrt(gain * gain + 4 * bend * c));
      add(x + 0.15 * std::sin(17.0 * static_cast<double>(k)), 1e6 * kEuropium[k].intensity / kEuropium[k].energy,
          static_cast<int>(k));
    }
  }
  void add(double position, double area, int known = -1) {
    peaks_.push_back({position, 4, area});
    truth_.push_back(known);
  }
  void expectRight(const StartingScale& start, std::size_t n, const char* name) const {
    const auto matches = matchLines(peaks_, kEuropium, start, 4096);
    EXPECT_EQ(matches.size(), n) << name;
    for (const LineMatch& match : matches)
      EXPECT_EQ(truth_[static_cast<std::size_t>(match.peak)], match.known) << name << ", line " << match.known;
  }

  std::vector<MatchPeak> peaks_;
  std::vector<int> truth_;
};

TEST_F(Matching, FindsTheSourceWhateverTheScale) {
  const struct {
    const char* name;
    double offset, gain, bend;
  } scales[] = {{"usual", 0, 0.37, 0},   {"coarse", 0, 0.7, 0},
                {"offset", 20, 0.4, 0},  {"negative offset", -15, 0.4, 0},
                {"bent", 2, 0.38, 1e-6}, {"bent down", 2, 0.42, -2e-6}};
  for (const auto& s : scales) {
    see(s.offset, s.gain, s.bend);
    expectRight({}, 11, s.name);
    expectRight({s.gain * 1.3, 5}, 11, s.name);  // a wrong hint does no harm
  }
}

TEST_F(Matching, StrangeAndMissingPeaksDoNotMislead) {
  see(1, 0.37, 0, {1, 3, 8});
  add(661.66 / 0.37, 2e4);
  add(511.0 / 0.37, 9e4);
  add(1460.8 / 0.37, 1e4);
  add(300, 5e3);
  expectRight({}, 8, "strange and missing");
}

TEST_F(Matching, LittleToGoBy) {
  EXPECT_THAT(matchLines({}, kEuropium, {}, 4096), IsEmpty());
  see(0, 0.37, 0);
  EXPECT_THAT(matchLines(peaks_, {}, {}, 4096), IsEmpty());
  // One known line: the strongest peak, or with a scale the one that lies there.
  const auto strongest = matchLines(peaks_, {{661.66, 85}}, {}, 4096);
  ASSERT_EQ(strongest.size(), 1u);
  EXPECT_EQ(truth_[static_cast<std::size_t>(strongest[0].peak)], 0);
  const auto placed = matchLines(peaks_, {{778.90, 85}}, {0.37, 0}, 4096);
  ASSERT_EQ(placed.size(), 1u);
  EXPECT_EQ(truth_[static_cast<std::size_t>(placed[0].peak)], 5);
}

}  // namespace
