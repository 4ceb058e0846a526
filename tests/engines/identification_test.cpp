// The kernels behind nuclide identification and activities, on arrays.
#include "kernel/identification.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "kernel/activity.h"
#include "kernel/decay.h"
#include "kernel/peak_naming.h"

namespace orbengine {
namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();

CandidateLine line(double energy, double sensitivity, double limit = 30) {
  CandidateLine line;
  line.energy = energy;
  line.sensitivity = sensitivity;
  line.limit = limit;
  line.tolerance = 2;
  return line;
}

SpectrumPeak peak(double energy, double area) {
  return {energy, area, std::sqrt(area) + 5};
}

/// Names as in the case's list of candidates.
struct IdentificationCase {
  const char* what;
  std::vector<SpectrumPeak> peaks;
  std::vector<Candidate> candidates;
  std::vector<int> present;
};

const Candidate kOneLine{{line(661.7, 0.85)}};
const Candidate kPair{{line(1173.2, 1.0), line(1332.5, 0.9)}};
const Candidate kChain{{line(295.2, 0.5), line(351.9, 0.9), line(609.3, 0.8), line(1120.3, 0.2)}};

TEST(IdentificationTest, WhichNuclidesAreThere) {
  Candidate annihilation{{line(511, 1.8)}};
  annihilation.lines[0].role = LineRole::kNothing;
  const Candidate rival{{line(609.9, 1.0), line(900, 0.9)}};  // its second line is not seen
  const Candidate unseen{{line(609.9, 1.0), line(900, 0.9, kNever)}};
  const Candidate off{{line(663.5, 1.0)}};
  const std::vector<SpectrumPeak> chain = {peak(295.3, 5000), peak(351.9, 9000), peak(609.2, 8000), peak(1120.4, 2000)};
  const IdentificationCase cases[] = {
      {"no peaks", {}, {kOneLine, kPair}, {}},
      {"one line", {peak(661.6, 900)}, {kPair, kOneLine}, {1}},
      {"outside the tolerance", {peak(664, 900)}, {kOneLine}, {}},
      {"the nearer of two", {peak(661.7, 900)}, {off, kOneLine}, {1}},
      {"half of a pair, the other ought to be seen", {peak(1173.2, 900)}, {kPair}, {}},
      {"half of a pair, the other too weak to be seen", {peak(1173.2, 40)}, {kPair}, {0}},
      {"annihilation alone says nothing", {peak(511, 90000)}, {annihilation}, {}},
      {"a chain, and a rival for one of its peaks", chain, {rival, unseen, kChain}, {2}},
      {"a line in another's peak shows by the excess",
       {peak(295.3, 5000), peak(351.9, 9000), peak(609.4, 60000), peak(1120.4, 2000)},
       {unseen, kChain},
       {0, 1}},
  };
  for (const IdentificationCase& c : cases) {
    std::vector<int> found;
    for (const IdentifiedNuclide& nuclide : identify(c.peaks, c.candidates, {})) {
      found.push_back(nuclide.candidate);
      EXPECT_GT(nuclide.confidence, 0) << c.what;
      EXPECT_LE(nuclide.confidence, 1) << c.what;
    }
    EXPECT_THAT(found, ::testing::UnorderedElementsAreArray(c.present)) << c.what;
  }
}

TEST(IdentificationTest, ConfidenceFallsWithDistanceAndMissingLines) {
  const auto confidence = [](const std::vector<SpectrumPeak>& peaks, const Candidate& candidate) {
    const auto found = identify(peaks, {candidate}, {0.3, 0.1, 0.0, 1});
    return found.empty() ? 0 : found.front().confidence;
  };
  const double whole = confidence({peak(1173.2, 900), peak(1332.5, 800)}, kPair);
  EXPECT_GT(whole, 0.9);
  EXPECT_LT(confidence({peak(1174.2, 900), peak(1333.5, 800)}, kPair), whole - 0.2);
  const Candidate with_weak{{line(1173.2, 1.0), line(1332.5, 0.9), line(800, 0.3)}};
  EXPECT_LT(confidence({peak(1173.2, 900), peak(1332.5, 800)}, with_weak), whole - 0.1);
}

TEST(IdentificationTest, ANearPeakAmongManyClearerOnesMayBeChance) {
  std::vector<Candidate> library(60, Candidate{{line(3000, 1)}});
  library[0] = kOneLine;
  const auto confidence = [&](const std::vector<SpectrumPeak>& peaks) {
    const auto found = identify(peaks, library, {0.3, 0.1, 0.0, 1});
    return found.empty() ? 0 : found.front().confidence;
  };
  std::vector<SpectrumPeak> peaks = {peak(661.9, 150)};
  const double alone = confidence(peaks);
  EXPECT_GT(alone, 0.8);
  for (int i = -10; i <= 10; ++i)
    if (i != 0) peaks.push_back(peak(661.7 + 9 * i, 4000));
  EXPECT_LT(confidence(peaks), alone - 0.2);
  peaks[0] = peak(661.9, 40000);  // the clearest of all
  EXPECT_GE(confidence(peaks), alone);
}

TEST(IdentificationTest, StrengthIsThatOfTheUndisturbedLines) {
  const auto found =
      identify({peak(295.2, 5000), peak(351.9, 9000), peak(609.3, 30000), peak(1120.3, 2000)}, {kChain}, {});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_NEAR(found[0].strength, 10000, 500) << "the third peak holds something else too";
}

TEST(IdentificationTest, XRaysAreNoEvidenceButExplainTheirPeak) {
  Candidate with_x_ray{{line(661.7, 0.85), line(32.2, 0.06), line(36.4, 0.9)}};
  with_x_ray.lines[1].role = with_x_ray.lines[2].role = LineRole::kCompanion;
  const Candidate rival{{line(32.4, 1)}};
  EXPECT_THAT(identify({peak(32.2, 900)}, {with_x_ray}, {}), ::testing::IsEmpty());
  const auto found = identify({peak(661.6, 9000), peak(32.2, 700)}, {rival, with_x_ray}, {});
  ASSERT_EQ(found.size(), 1u) << "the rival's only peak is explained";
  EXPECT_EQ(found[0].candidate, 1);
  EXPECT_EQ(found[0].lines[1].peak, 1);
  EXPECT_FALSE(found[0].lines[2].is_expected) << "not found, and nobody says that it should have been";
  const auto without = identify({peak(661.6, 9000)}, {kOneLine}, {});
  EXPECT_NEAR(found[0].confidence, without.at(0).confidence, 1e-9);
}

TEST(IdentificationTest, NuclidesOfABlendAreToldByTheirOtherLines) {
  const auto broad = [](double energy, double sensitivity) {
    CandidateLine wide = line(energy, sensitivity, 500);
    wide.tolerance = 25;
    return wide;
  };
  const Candidate thallium{{broad(2614.5, 0.0565), broad(583.2, 0.226)}};
  const Candidate bismuth{{broad(609.3, 0.117), broad(1764.5, 0.0134)}};
  const std::vector<SpectrumPeak> peaks = {{599, 2700, 320}, {1762, 365, 79}, {2615, 744, 54}};
  IdentificationSettings settings;
  EXPECT_EQ(identify(peaks, {thallium, bismuth}, settings).size(), 1u) << "single lines: the one explains the other's";
  settings.are_blends = true;
  EXPECT_EQ(identify(peaks, {thallium, bismuth}, settings).size(), 2u);
}

TEST(IdentificationTest, WhatNeedsLessOrHasRelativesComesFirst) {
  const Candidate dim{{line(241.0, 0.04)}};
  Candidate bright{{line(238.6, 0.44)}};
  const auto firstOf = [](const std::vector<SpectrumPeak>& peaks, const std::vector<Candidate>& candidates) {
    const auto found = identify(peaks, candidates, {});
    return found.empty() ? -1 : found.front().candidate;
  };
  EXPECT_EQ(firstOf({peak(239.8, 9000)}, {dim, bright}), 1) << "equally near";
  EXPECT_EQ(firstOf({peak(240.9, 9000)}, {dim, bright}), 0) << "too far for the bright one";
}

TEST(IdentificationTest, AParentHasTheStrengthOfItsDaughters) {
  const Candidate rival{{line(185.7, 0.57), line(143.8, 0.11), line(163.4, 0.05)}};
  const Candidate parent{{line(186.2, 0.036)}};
  Candidate daughter = kChain;
  daughter.parent = 1;
  std::vector<SpectrumPeak> peaks = {peak(185.9, 600),  peak(143.8, 60),   peak(163.4, 26),   peak(295.2, 5000),
                                     peak(351.9, 9000), peak(609.3, 8000), peak(1120.3, 2000)};
  const auto found = identify(peaks, {rival, parent, daughter}, {});
  ASSERT_EQ(found.size(), 3u);
  for (const IdentifiedNuclide& nuclide : found)
    if (nuclide.candidate == 1) {
      EXPECT_NEAR(nuclide.strength, 10000, 500);
    }
  peaks[0] = peak(185.9, 320);  // the rival alone: the daughters came without their parent
  EXPECT_EQ(identify(peaks, {rival, parent, daughter}, {}).size(), 2u);
}

TEST(IdentificationTest, ALineThatTheBackgroundMoreThanExplainsSpeaksAgainst) {
  IdentificationSettings settings;
  for (const bool are_blends : {false, true}) {
    settings.are_blends = are_blends;
    EXPECT_THAT(identify({peak(1173.2, 900), {1332.5, -100, 30}}, {kPair}, settings), ::testing::IsEmpty())
        << are_blends;
  }
}

TEST(PeakNamingTest, EveryPeakIsCalledAfterWhatMadeIt) {
  const auto at = [](double energy, double area) { return PeakToName{energy, area, 2, 1}; };
  const std::vector<PeakToName> peaks = {at(1173.2, 10000), at(1332.5, 9000), at(2505.7, 40),  at(1460.8, 5000),
                                         at(949.7, 90),     at(511.2, 300),   at(1333.9, 700), at(2664.9, 9500),
                                         at(2633.8, 30),    at(800, 100)};
  const std::vector<ExplainingLine> lines = {
      {"Co-60", 1173.23, 9800, 0}, {"Co-60", 1332.49, 9700, 1}, {"K-40", 1460.82, 5000, 3}, {"Tl-208", 510.74, 60, 5}};
  const char* const names[] = {"Co-60", "Co-60", "sum", "K-40", "escape", "annihilation", "", "", "", ""};
  const auto found = namePeaks(peaks, lines);
  ASSERT_EQ(found.size(), peaks.size());
  for (std::size_t i = 0; i < peaks.size(); ++i) EXPECT_EQ(found[i].name, names[i]) << peaks[i].energy;
  EXPECT_EQ(found[3].energy, 1460.82);
}

TEST(PeakNamingTest, APartThatTheFitSplitOffBelongsToItsLine) {
  const std::vector<PeakToName> peaks = {
      {121.6, 9000, 1.2, 1}, {122.1, 4000, 1.2, 1}, {123.2, 500, 1.2, 1}, {351.3, 4500, 2, 1}};
  const auto found = namePeaks(peaks, {{"Eu-152", 121.78, 12000, 0}, {"Bi-214", 351.9, 20, 3}});
  EXPECT_EQ(found[1].name, "Eu-152");
  EXPECT_EQ(found[2].name, "") << "resolved";
  EXPECT_EQ(found[3].name, "") << "its line explains next to nothing of it";
}

// ---- Activities ------------------------------------------------------------------------------------------------

/// Two nuclides, one peak shared: 100 and 50 Bq.
std::vector<Contribution> sharedPeak() {
  return {{0, 0, 10, 0, 0}, {0, 1, 5, 0, 0}, {1, 1, 8, 0, 0}, {1, 2, 2, 0, 0}};
}

TEST(ActivityTest, InterferingLinesAreSolvedTogether) {
  const ActivityResult result = solveActivities({{1000, 40}, {900, 30}, {100, 15}}, sharedPeak(), 2, 3);
  ASSERT_EQ(result.nuclides.size(), 2u);
  EXPECT_NEAR(result.nuclides[0].value, 100, 1e-9);
  EXPECT_NEAR(result.nuclides[1].value, 50, 1e-9);
  // By hand: the normal equations' inverse.
  const double w0 = 1 / 1600.0, w1 = 1 / 900.0, w2 = 1 / 225.0;
  const double a = 100 * w0 + 25 * w1, b = 40 * w1, d = 64 * w1 + 4 * w2;
  EXPECT_NEAR(result.nuclides[0].u, std::sqrt(d / (a * d - b * b)), 1e-9);
  EXPECT_TRUE(result.lines[1].is_interfered);
  EXPECT_FALSE(result.lines[0].is_interfered);
}

TEST(ActivityTest, NuclidesThatNoPeakTellsApartAreNotDetermined) {
  const ActivityResult result = solveActivities({{1000, 40}}, {{0, 0, 10, 0, 0}, {1, 0, 8, 0, 0}}, 2, 3);
  EXPECT_FALSE(result.nuclides[0].is_determined);
  EXPECT_FALSE(result.nuclides[1].is_determined);
  EXPECT_FALSE(solveActivities({}, {}, 1, 3).nuclides[0].is_determined);
  EXPECT_FALSE(solveActivities({{10, 1}}, {}, 1, 3).nuclides[0].is_determined)
      << "found, but without a line that counts";
}

TEST(ActivityTest, ANuclideThatIsNotDeterminedLeavesTheOthersAlone) {
  const std::vector<Contribution> lines = {{0, 0, 10, 0, 0}, {2, 1, 5, 0, 0}, {3, 1, 4, 0, 0}};
  const ActivityResult result = solveActivities({{1000, 40}, {500, 20}}, lines, 4, 3);
  EXPECT_TRUE(result.nuclides[0].is_determined);
  EXPECT_NEAR(result.nuclides[0].value, 100, 1e-9);
  for (const std::size_t without : {1u, 2u, 3u}) EXPECT_FALSE(result.nuclides[without].is_determined) << without;
}

TEST(ActivityTest, ACommonErrorMovesAllActivitiesAlike) {
  auto lines = sharedPeak();
  for (Contribution& line : lines) line.shared_u = 0.05;
  const ActivityResult result = solveActivities({{1000, 1e-3}, {900, 1e-3}, {100, 1e-3}}, lines, 2, 0);
  EXPECT_NEAR(result.nuclides[0].u, 5, 0.01);
  EXPECT_NEAR(result.nuclides[1].u, 2.5, 0.01);
}

TEST(ActivityTest, LineThatDoesNotAgreeIsLeftOut) {
  const std::vector<Contribution> lines = {{0, 0, 10, 0, 0}, {0, 1, 10, 0, 0}, {0, 2, 10, 0, 0}};
  const std::vector<PeakArea> peaks = {{1000, 20}, {1010, 20}, {1500, 20}};
  const ActivityResult result = solveActivities(peaks, lines, 1, 3);
  EXPECT_NEAR(result.nuclides[0].value, 100.5, 1e-9);
  EXPECT_EQ(result.nuclides[0].lines, 2);
  EXPECT_EQ(result.lines[2].weight, 0);
  EXPECT_NEAR(solveActivities(peaks, lines, 1, 0).nuclides[0].value, 117, 1e-9) << "0: all are kept";
}

// ---- Decay -----------------------------------------------------------------------------------------------------

TEST(DecayTest, FactorsOfWorkedCases) {
  EXPECT_DOUBLE_EQ(toReferenceDate(100, 1, 200).value, 4);
  EXPECT_DOUBLE_EQ(toReferenceDate(100, 1, -100).value, 0.5);
  EXPECT_NEAR(toReferenceDate(100, 1, 200).relative_u, 2 * std::log(2) * 0.01, 1e-12);
  EXPECT_DOUBLE_EQ(toReferenceDate(0, 0, 1e9).value, 1);
  EXPECT_NEAR(meanDuringCounting(100, 100), 0.5 / std::log(2), 1e-12);
  EXPECT_NEAR(meanDuringCounting(1e12, 1), 1, 1e-9);
  EXPECT_DOUBLE_EQ(meanDuringCounting(0, 100), 1);
  EXPECT_NEAR(forBuildUp(BuildUp::Irradiation, 100, 100), 2, 1e-12);
  EXPECT_NEAR(forBuildUp(BuildUp::Deposit, 100, 100), 2 * std::log(2), 1e-12);
  EXPECT_DOUBLE_EQ(forBuildUp(BuildUp::None, 100, 100), 1);
}

}  // namespace
}  // namespace orbengine
