// From fitted lines to activities: the engines "efficiency correction" and "nuclide identification" on peak tables
// whose results are worked by hand.
#include <array>

#include "engine_file.h"
#include "engstatus.h"

using namespace orbtest;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t kEmission = 0x20060052;
constexpr std::uint32_t kEmissionU = 0x20060053;
constexpr std::uint32_t kBackgroundArea = 0x20060054;
constexpr std::uint32_t kBackgroundAreaU = 0x20060055;
constexpr std::uint32_t kPeakNuclide = 0x20060057;
constexpr std::uint32_t kName = 0x20080001;
constexpr std::uint32_t kActivity = 0x20080003;
constexpr std::uint32_t kActivityU = 0x20080004;
constexpr std::uint32_t kReferenceActivity = 0x20080005;
constexpr std::uint32_t kSpecificActivity = 0x20080007;
constexpr std::uint32_t kSpecificActivityU = 0x20080008;
constexpr std::uint32_t kDecayFactor = 0x2008000E;

class ActivitiesFileTest : public EngineFileTest {
 protected:
  void SetUp() override {
    EngineFileTest::SetUp();
    setCounts(std::vector<unsigned>(1000, 4));
    put(0x200300B3, 0);
    makeLibrary({{"Aa-100", 400, 50, true, 3600}, {"Bb-200", 700, 100, true}});
  }
  std::uint32_t correct() { return runEngine("RunEfficiencyCorrection", "libefficiency_correction.so"); }
  std::uint32_t identify() { return runEngine("RunNuclideIdentification", "libnuclide_identification.so"); }

  /// Another measurement of ten times the live time with the peaks that are given.
  std::string backgroundFile(const std::vector<std::array<double, 3>>& peaks) {
    const std::string path = folder_ / "background.dat";
    FileAccess background;
    EXPECT_EQ(background.create(path, 1000, false), 0u);
    background.setParameter(0x20000005, Variant(10000.0), 0, 0);
    std::uint16_t record = 0;
    for (const auto& [energy, area, area_u] : peaks) {
      ++record;
      background.setParameter(0x20060007, Variant(energy), record, 0);
      background.setParameter(0x2006000C, Variant(area), record, 0);
      background.setParameter(0x2006000D, Variant(area_u), record, 0);
    }
    EXPECT_EQ(background.close(com::norvale::orb::FLUSH), 0u);
    return path;
  }
};

TEST_F(ActivitiesFileTest, BackgroundLinesAreTakenOffTheNearestPeakScaledToTheLiveTime) {
  addPeak(400, 1000, 40);
  addPeak(401.5, 500, 30);
  addPeak(700, 300, 20);
  setText(0x20030060, backgroundFile({{400.4, 2000, 300}, {400.1, 1000, 400}, {650, 900, 30}}));
  ASSERT_EQ(correct(), 0u);
  EXPECT_NEAR(number(kBackgroundArea, 1), 300, 1e-9);
  EXPECT_NEAR(number(kBackgroundAreaU, 1), 50, 1e-9) << "300 and 400 in squares, a tenth";
  EXPECT_EQ(number(kBackgroundArea, 2), 0) << "a line belongs to one peak alone";
  EXPECT_EQ(number(kBackgroundArea, 3), 0);
  EXPECT_NEAR(number(kEmission, 1), 700 / (0.01 * 1000), 1e-5);
  EXPECT_NEAR(number(kEmissionU, 1), std::hypot(40, 50) / (0.01 * 1000), 1e-5);

  // Tolerances in FWHM, of 4 keV at 400: the line at 401.5 is the nearest one to 402.2.
  ASSERT_EQ(file_.setParameter(0x20030050, Variant(1), 0, 0), 0u);
  put(0x20030058, 0.5);
  std::filesystem::remove(folder_ / "background.dat");
  setText(0x20030060, backgroundFile({{402.2, 1000, 100}, {702.8, 1000, 100}}));
  ASSERT_EQ(correct(), 0u);
  EXPECT_EQ(number(kBackgroundArea, 1), 0);
  EXPECT_NEAR(number(kBackgroundArea, 2), 100, 1e-9);
  EXPECT_EQ(number(kBackgroundArea, 3), 0) << "2.8 keV away, 2.65 allowed";

  setText(0x20030027, "Gross");  // nothing of the former run is left
  ASSERT_EQ(correct(), 0u);
  EXPECT_EQ(number(kBackgroundArea, 2), 0);
  EXPECT_EQ(text(0x200600F4, 0), "efficiency correction");
  EXPECT_THAT(text(0x200600F7, 0), testing::HasSubstr("ORB_T_AREAKIND=Gross"));
}

TEST_F(ActivitiesFileTest, ABackgroundThatCannotBeReadRefusesAndChangesNothing) {
  addPeak(400, 1000, 40);
  setText(0x20030060, folder_ / "missing.dat");
  EXPECT_NE(correct(), 0u);
  EXPECT_FALSE(hasValue(kEmission));
  setText(0x20030027, "Gross");  // then nobody asks for it
  EXPECT_EQ(correct(), 0u);
  EXPECT_NEAR(number(kEmission), 100, 1e-5);
}

TEST_F(ActivitiesFileTest, ActivityIsCarriedToTheReferenceDateAndDividedByTheQuantity) {
  addPeak(400, 1000, 40);
  addPeak(700, 500, 25);
  addPeak(800, 900, 30);
  putTime(0x20000001, 1700000000);
  putTime(0x20010008, 1700000000 - 7200);
  put(0x20010005, 2.5);
  put(0x20010007, 0.05);
  ASSERT_EQ(identify(), 0u);
  ASSERT_THAT(texts(kName), testing::UnorderedElementsAre("Aa-100", "Bb-200"));
  EXPECT_THAT(texts(kPeakNuclide), ElementsAre("Aa-100", "Bb-200", ""));
  const std::uint16_t a = text(kName, 1) == "Aa-100" ? 1 : 2;
  const auto b = static_cast<std::uint16_t>(3 - a);
  // One half-life while counting: the mean is 1/2 / ln 2 of the start. Two between reference date and start.
  const double at_start = 1000 / (0.01 * 0.5 * 1000) * std::log(2) / 0.5;
  EXPECT_NEAR(number(kActivity, a), at_start, 1e-6 * at_start);
  EXPECT_NEAR(number(kActivityU, a) / number(kActivity, a), 0.04, 1e-5);
  EXPECT_NEAR(number(kDecayFactor, a), 4, 1e-9);
  EXPECT_NEAR(number(kReferenceActivity, a), 4 * at_start, 1e-5 * at_start);
  EXPECT_NEAR(number(kSpecificActivity, a), 4 * at_start / 2.5, 1e-5 * at_start);
  EXPECT_NEAR(number(kSpecificActivityU, a) / number(kSpecificActivity, a), std::hypot(0.04, 0.02), 1e-5);
  EXPECT_NEAR(number(kActivity, b), 500 / (0.01 * 1000), 1e-5) << "without a half-life nothing decays";
  EXPECT_EQ(number(kDecayFactor, b), 1);

  // Collected evenly during one half-life that ended at the reference date: ln 2 / (1 - 1/2) times as much.
  setText(0x20030053, "DEPOSIT");
  put(0x20030015, 3600);
  ASSERT_EQ(identify(), 0u);
  EXPECT_NEAR(number(kDecayFactor, a), 4 * std::log(2) / 0.5, 1e-9);
}

TEST_F(ActivitiesFileTest, WithoutEfficiencyOrLiveTimeNuclidesHaveNoActivities) {
  addPeak(400, 1000, 40);
  put(0x20000005, 0);
  ASSERT_EQ(identify(), 0u);
  EXPECT_THAT(texts(kName), ElementsAre("Aa-100"));
  EXPECT_FALSE(hasValue(kActivity));
}

}  // namespace
