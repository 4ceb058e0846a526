// The engine "detection limits", loaded from its library, on a data file whose every number can be worked by hand.
#include <cmath>
#include <functional>

#include "ResultCode.h"
#include "anastatus.h"
#include "engine_file.h"
#include "engstatus.h"

using namespace orbtest;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t kName = 0x20090001;
constexpr std::uint32_t kKeyEnergy = 0x20090002;
constexpr std::uint32_t kThreshold_Bq = 0x20090003;
constexpr std::uint32_t kLimit_Bq = 0x20090004;
constexpr std::uint32_t kActivity = 0x20090005;
constexpr std::uint32_t kActivityU = 0x20090006;
constexpr std::uint32_t kThresholdCounts = 0x20090009;
constexpr std::uint32_t kLimitCounts = 0x2009000A;
constexpr std::uint32_t kContinuum = 0x2009000B;
constexpr std::uint32_t kContinuumU = 0x2009000C;
constexpr std::uint32_t kRecognised = 0x2009000F;
constexpr std::uint32_t kBest = 0x20090010;
constexpr std::uint32_t kIntervalHigh = 0x20090013;
constexpr std::uint32_t kMethod = 0x20090016;
constexpr std::uint32_t kMarks = 0x20090017;
constexpr std::uint32_t kSpecificLimit = 0x20090018;
constexpr std::uint32_t kReferenceTime = 0x20090040;

// Energy = channel, FWHM 4 keV at 400 keV, and 9 counts in every channel. The window of a line at 400 keV is 395 to
// 405, 11 channels with 99 counts, its flanks have 198: u(B)^2 = 49.5, u(0) = 12.18606.
constexpr double kInside = 0.9988;  // +-5.5 of 4 / 2.3548 channels: 3.238 sigma
constexpr double kThreshold = 20.0443;
constexpr double kLimit = 2 * kThreshold + 2.70554;
constexpr double kCountsPerBq = kInside * 0.01 * 0.5 * 1000;  // efficiency, probability, live time

class DetectionLimits : public EngineFileTest {
 protected:
  void SetUp() override {
    EngineFileTest::SetUp();
    put(0x200300B3, 0);
    ASSERT_EQ(file_.setParameter(0x20030085, Variant(2), 0, 0), 0u);  // ISO 11929
    setCounts(std::vector<unsigned>(1000, 9));
  }

  std::uint32_t run() { return runEngine("RunDetectionLimits", "libdetection_limits.so"); }
  std::vector<std::string> names() { return texts(kName); }
};

TEST_F(DetectionLimits, AreThoseOfTheKeyLine) {
  makeLibrary({{"Aa-100", 700, 90, false}, {"Aa-100", 400, 50, true}});
  put(0x20010005, 2);  // quantity
  ASSERT_EQ(run(), 0u);
  ASSERT_THAT(names(), ElementsAre("Aa-100"));
  EXPECT_NEAR(number(kKeyEnergy), 400, 1e-9);
  EXPECT_NEAR(number(kContinuum), 99, 1e-6);
  EXPECT_NEAR(number(kContinuumU), std::sqrt(49.5), 1e-6);
  EXPECT_NEAR(number(kThresholdCounts), kThreshold, 1e-3);
  EXPECT_NEAR(number(kLimitCounts), kLimit, 1e-3);
  EXPECT_NEAR(number(kThreshold_Bq), kThreshold / kCountsPerBq, 1e-3);
  EXPECT_NEAR(number(kLimit_Bq), kLimit / kCountsPerBq, 1e-3);
  EXPECT_NEAR(number(kSpecificLimit), kLimit / kCountsPerBq / 2, 1e-3);
  EXPECT_NEAR(number(kActivity), 0, 1e-6);
  EXPECT_NEAR(number(kActivityU), 12.18606 / kCountsPerBq, 1e-3);  // as many counts as continuum
  EXPECT_NEAR(number(kBest), 0.797885 * 12.18606 / kCountsPerBq, 1e-3);
  EXPECT_NEAR(number(kIntervalHigh), 2.277 * 12.18606 / kCountsPerBq, 1e-2);  // 95.45 % of a half normal: 2.277
  EXPECT_EQ(number(kRecognised), 0);
  EXPECT_EQ(number(kMarks), 0);
  EXPECT_NEAR(number(0x2009000D), 11, 1e-3);
  EXPECT_NEAR(number(0x2009000E), kInside, 1e-5);
  EXPECT_NEAR(number(0x20090042, 0), 95.45, 0.01);
  EXPECT_THAT(text(0x200900F3, 0), testing::HasSubstr("ORB_L_LIMITMETHOD=2"));
  EXPECT_EQ(text(0x200900F0, 0), "detection limits");
  EXPECT_THAT(text(0x20090041, 0), testing::EndsWith("test.lib"));
  // A second run replaces the first.
  ASSERT_EQ(run(), 0u);
  EXPECT_THAT(names(), ElementsAre("Aa-100"));
}

TEST_F(DetectionLimits, LineIsChosenByWhatTheSpectrumCanShow) {
  makeLibrary({{"Aa-100", 400, 50, true},
               {"Bb-101", 400, 50, true},  // identified
               {"Cc-102", 600, 20, false},
               {"Cc-102", 2000, 90, true},  // outside
               {"Cc-102", 511, 180, false, 0, 0, "annihilation"},
               {"Cc-102", 700, 30, false},
               {"Dd-103", 4000, 90, true},  // outside, the only one
               {"Ee-104", 998, 50, true}});
  setText(0x20080001, "Bb-101", 1);
  ASSERT_EQ(run(), 0u);
  ASSERT_THAT(names(), ElementsAre("Aa-100", "Cc-102", "Ee-104"));
  EXPECT_NEAR(number(kKeyEnergy, 2), 700, 1e-9);
  EXPECT_EQ(number(kMarks, 2), 0);
  EXPECT_EQ(number(kMarks, 3), 8 + 2);  // cut by the end, and beyond the efficiency points
  EXPECT_LT(number(0x2009000E, 3), 0.9);
}

TEST_F(DetectionLimits, CountsOfAFittedPeakBelongToTheContinuum) {
  // A peak of 500 +- 30 counts at 401, within 1 FWHM of 400; one of 5000 at 614, in the flank of a line at 600.
  std::vector<unsigned> counts(1000, 9);
  counts[400] += 500;
  counts[613] += 5000;
  setCounts(counts);
  addPeak(401, 500, 30);
  addPeak(614, 5000, 80);
  makeLibrary({{"Aa-100", 400, 50, true}, {"Bb-101", 600, 50, true}});
  ASSERT_EQ(run(), 0u);
  EXPECT_EQ(number(kMarks, 1), 4);
  EXPECT_NEAR(number(kContinuum, 1), 99 + 500 * 0.9955, 1);  // its window holds -6.5 to +4.5 channels of the peak
  EXPECT_NEAR(number(kActivity, 1), 0, 1);
  EXPECT_EQ(number(kRecognised, 1), 0);
  EXPECT_GT(number(kContinuumU, 1), 30);
  EXPECT_EQ(number(kMarks, 2), 0);
  EXPECT_NEAR(number(kContinuum, 2), 13 * 9, 1);  // 594 to 606
  // Peaks all over leave no continuum.
  for (int channel = 300; channel < 500; channel += 8) addPeak(channel, 10, 5);
  ASSERT_EQ(run(), 0u);
  EXPECT_EQ(number(kMarks, 1), 4);
  EXPECT_FALSE(hasValue(kThresholdCounts, 1) || hasValue(kThreshold_Bq, 1) || hasValue(kContinuum, 1));
}

TEST_F(DetectionLimits, ActivitiesAreThoseOfTheReferenceDate) {
  // Two half-lives from the reference date to the start, one during the counting: 4 ln 2 / (1 - 1/2).
  makeLibrary({{"Aa-100", 400, 50, true, 3600}});
  ASSERT_EQ(run(), 0u);
  const double before = number(kThreshold_Bq);
  EXPECT_NEAR(before, kThreshold / kCountsPerBq * std::log(2) / 0.5, 1e-3);
  putTime(0x20000001, 1700000000);
  putTime(0x20010008, 1700000000 - 7200);
  ASSERT_EQ(run(), 0u);
  EXPECT_NEAR(number(kThreshold_Bq) / before, 4, 1e-6);
  EXPECT_EQ(seconds(kReferenceTime), 1700000000 - 7200);
  ASSERT_EQ(file_.setParameter(0x20030059, Variant(0), 0, 0), 0u);  // no correction during the counting
  ASSERT_EQ(run(), 0u);
  EXPECT_NEAR(number(kThreshold_Bq), 4 * kThreshold / kCountsPerBq, 4e-3);
  // So long ago that the factor has no number: counts only.
  putTime(0x20010008, 0);
  ASSERT_EQ(run(), 0u);
  EXPECT_NEAR(number(kThresholdCounts), kThreshold, 1e-3);
  EXPECT_FALSE(hasValue(kThreshold_Bq));
}

TEST_F(DetectionLimits, NoLimitExistsWhereTheCalibrationIsTooUncertain) {
  makeLibrary({{"Aa-100", 400, 50, true, 0, 35}, {"Bb-101", 400, 50, true, 0, 5}});  // 70 %, 10 %
  ASSERT_EQ(run(), 0u);
  EXPECT_EQ(number(kMarks, 1), 1);
  EXPECT_FALSE(hasValue(kLimit_Bq, 1) || hasValue(kSpecificLimit, 1));
  EXPECT_NEAR(number(kThreshold_Bq, 1), kThreshold / kCountsPerBq, 1e-3);
  EXPECT_NEAR(number(kLimit_Bq, 2), kLimit / kCountsPerBq / (1 - 0.0270554), 1e-3);
}

TEST_F(DetectionLimits, CountsRemainWithoutEfficiencyOrLiveTime) {
  makeLibrary({{"Aa-100", 400, 50, true}});
  put(0x20000005, 0);
  ASSERT_EQ(run(), 0u);
  EXPECT_NEAR(number(kLimitCounts), kLimit, 1e-3);
  EXPECT_FALSE(hasValue(kThreshold_Bq) || hasValue(kLimit_Bq) || hasValue(kActivity) || hasValue(kBest));
  put(0x20000005, 1000);
  setText(0x20020028, "");
  ASSERT_EQ(run(), 0u);
  EXPECT_NEAR(number(kLimitCounts), kLimit, 1e-3);
  EXPECT_FALSE(hasValue(kThreshold_Bq) || hasValue(kLimit_Bq) || hasValue(0x20090015));
}

TEST_F(DetectionLimits, MethodFollowsTheSettings) {
  makeLibrary({{"Aa-100", 400, 50, true}});
  ASSERT_EQ(file_.setParameter(0x20030085, Variant(1), 0, 0), 0u);
  ASSERT_EQ(run(), 0u);
  EXPECT_NEAR(number(kLimitCounts), 2.71 + 3.29 * std::sqrt(99), 1e-4);
  EXPECT_THAT(text(kMethod, 1), testing::HasSubstr("Currie"));
  setCounts(std::vector<unsigned>(1000, 0));
  ASSERT_EQ(run(), 0u);
  EXPECT_EQ(text(kMethod, 1), "Poisson quantiles");
  EXPECT_EQ(number(kThresholdCounts), 2);
  EXPECT_NEAR(number(kLimitCounts), 6.29579, 1e-4);
  EXPECT_GT(number(kActivityU), 0);
}

TEST_F(DetectionLimits, FailuresHaveAStatusAndKeepTheFormerResults) {
  makeLibrary({{"Aa-100", 400, 50, true}});
  ASSERT_EQ(run(), 0u);
  const double former = number(kLimit_Bq);
  const struct {
    const char* name;
    std::uint32_t status;
    std::function<void()> spoil, mend;
  } cases[] = {
      {"method", ENG_BADSETTING, [&] { put(0x20030085, 3); }, [&] { put(0x20030085, 2); }},
      {"error probability", ENG_BADSETTING, [&] { put(0x200300B1, 50); }, [&] { put(0x200300B1, 5); }},
      {"window", ENG_BADSETTING, [&] { put(0x20030033, -1); }, [&] { put(0x20030033, 2.5); }},
      {"library", ENG_NOLIBRARY, [&] { setText(0x20100072, "none.lib"); }, [&] { setText(0x20100072, "test.lib"); }},
      {"a library that is none", ENG_BADLIBRARY, [&] { setText(0x20100072, "spectrum.dat"); },
       [&] { setText(0x20100072, "test.lib"); }},
      {"energy", ANA_NOENERGYCAL, [&] { put(0x20000021, 0); }, [&] { put(0x20000021, 1); }},
      {"width", ANA_NOFWHMCAL, [&] { put(0x20000049, 0); }, [&] { put(0x20000049, 0.2); }},
      {"peaks", ENG_NOPEAKS, [&] { file_.deleteBlock(ORB_CLS_PEAKS << 16); },
       [&] { file_.createBlock(ORB_CLS_PEAKS << 16, 0, 1, 1); }},
  };
  for (const auto& c : cases) {
    c.spoil();
    EXPECT_EQ(run(), convertReturnCode(c.status)) << c.name;
    EXPECT_EQ(number(kLimit_Bq), former) << c.name;
    EXPECT_THAT(names(), ElementsAre("Aa-100")) << c.name;
    c.mend();
  }
  EXPECT_EQ(run(), 0u);
}

}  // namespace
