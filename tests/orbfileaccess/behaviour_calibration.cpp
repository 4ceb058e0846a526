// Calibration through the file object on a real file.
#include <cmath>

#include "BehaviourTest.h"

namespace orbtest {
namespace {

using com::norvale::datatypes::Estimate;
using com::norvale::orb::CalibrationPoints;

class CalibrationTest : public BehaviourTest {
 protected:
  CalibrationTest() { create(file_, "calibrated.dat"); }

  /// Points of a curve, each with the same uncertainty.
  template <typename Curve>
  static CalibrationPoints pointsOf(const std::vector<float>& positions, Curve&& curve) {
    CalibrationPoints points;
    for (const float x : positions) points.push_back({Estimate<float>{x, 0}, Estimate<float>{curve(x), 0.01F}});
    return points;
  }

  FileAccess file_;
};

/// Tail points without FWHM points get records of their own, and every one of them takes part.
TEST_F(CalibrationTest, TailPointsAloneGiveTheTail) {
  const auto tail = pointsOf({100, 400, 900, 1300, 2600}, [](float e) { return 0.5F + 0.002F * e; });
  const ParameterMap fitted = file_.energyShapeCalibration({}, {}, tail, 0);
  ASSERT_EQ(fitted.size(), 3u);
  EXPECT_NEAR(fitted.at(0x20000065).toDouble(), 0.5, 1e-4);
  EXPECT_NEAR(fitted.at(0x20000066).toDouble(), 0.002, 1e-7);
  EXPECT_EQ(get(file_, 0x20000075).toDouble(), 5) << "points that took part";
  EXPECT_THAT(log, ::testing::IsEmpty());
}

TEST_F(CalibrationTest, AllThreeCurvesAtOnce) {
  const auto energy = pointsOf({200, 1000, 3000, 7000}, [](float c) { return 2 + 0.4F * c; });
  const auto fwhm = pointsOf({100, 400, 1600}, [](float e) { return 0.6F + 0.03F * std::sqrt(e); });
  const auto tail = pointsOf({100, 400, 1600}, [](float e) { return 1 + 0.001F * e; });
  const ParameterMap fitted = file_.energyShapeCalibration(energy, fwhm, tail, 2);
  ASSERT_EQ(fitted.size(), 14u);
  EXPECT_NEAR(fitted.at(0x20000021).toDouble(), 0.4, 1e-6);
  EXPECT_NEAR(fitted.at(0x20000049).toDouble(), 0.03, 1e-6);
  EXPECT_NEAR(fitted.at(0x20000066).toDouble(), 0.001, 1e-6);
  EXPECT_NEAR(file_.evaluate(com::norvale::orb::CHANNEL2ENERGY, 5000, false).value, 2002, 1e-2);
}

}  // namespace
}  // namespace orbtest
