// Two file objects.
#include "BehaviourTest.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;
using ::testing::Each;
using ::testing::HasSubstr;

constexpr std::uint32_t kEfficiencyEnergy = 0x20020020;  // in the records of block 0x2002
constexpr std::uint32_t kNuclideOfPoint = 0x20020023;

class CopyingTest : public BehaviourTest {
 protected:
  CopyingTest() {
    create(source_, "source.dat");
    create(dest_, "dest.dat");
    for (std::uint16_t point = 1; point <= 3; ++point) {
      EXPECT_EQ(source_.setParameter(kEfficiencyEnergy, Variant(100.0 * point), point, 0), 0u);
    }
    EXPECT_EQ(source_.setParameter(kEnergySlope, Variant(0.75), 0, 0), 0u);
    EXPECT_EQ(source_.setSpectrum(std::vector<int>(4096, 8), 1, 1), 0u);
  }

  FileAccess source_;
  FileAccess dest_;
};

TEST_F(CopyingTest, CalibrationsFindOrMakeTheirBlocks) {
  ASSERT_EQ(source_.createBlock(0x200D, 0, 1, 1), 0u);
  ASSERT_EQ(source_.insertItem(0x200D, 0, 0), 0u);
  ASSERT_EQ(source_.setParameter(0x2000006B, Variant("LINEAR"), 0, 0), 0u);
  EXPECT_EQ(source_.copyCalibrationsTo(dest_, ALL), 0u);
  reopen(dest_);
  EXPECT_EQ(count(dest_, 0x200D), 1) << "made";
  EXPECT_EQ(count(dest_, kEfficiencyEnergy), 3) << "replaced";
  EXPECT_EQ(get(dest_, kEnergySlope), Variant(0.75));
  EXPECT_EQ(get(dest_, 0x2000006B), Variant("LINEAR"));
  EXPECT_THAT(log, Each(HasSubstr("0xEBE8805A"))) << "nothing but values that the source does not have";
}

TEST_F(CopyingTest, ReadOnlyDestinationKeepsItsCalibration) {
  ASSERT_EQ(dest_.setParameter(kEnergySlope, Variant(0.1), 0, 0), 0u);
  reopen(dest_);
  EXPECT_EQ(source_.copyCalibrationsTo(dest_, EFFICIENCY), convertReturnCode(AIO_READONLY));
  EXPECT_EQ(source_.duplicateTo(dest_), convertReturnCode(AIO_READONLY));
  EXPECT_EQ(get(dest_, kEnergySlope), Variant(0.1));
}

}  // namespace
}  // namespace orbtest
