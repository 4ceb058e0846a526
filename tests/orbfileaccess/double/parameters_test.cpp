// Get and set of values beyond what operations_test.cpp covers, and the forms that take a map.
#include <limits>

#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

constexpr std::uint32_t kCount = 0x20000007;
constexpr std::uint32_t kTitle = 0x20000026;
constexpr std::uint32_t kSlope = 0x20000021;

class ParameterTest : public DoubleTest {
 protected:
  ParameterTest() {
    service().dictionary = {{kCount, {"COUNT", 8, 4, 4}}, {kTitle, {"TITLE", 14, 0, 3}}, {kSlope, {"SLOPE", 27, 8, 8}}};
    service().values = {{kCount, bytesOf(std::uint32_t{16})}, {kSlope, bytesOf(0.5)}};
    open(file_, "a.dat");
  }

  FileAccess file_;
};

TEST_F(ParameterTest, EveryFailureLeavesTheValueEmpty) {
  Variant value(5);
  EXPECT_EQ(FileAccess().getParameter(kCount, value, 0, 0), 0xEBE81389u);
  EXPECT_FALSE(value.hasValue());

  value = Variant(5);
  EXPECT_EQ(file_.getParameter(0x20001111, value, 0, 0), 0xE06100C2u);
  EXPECT_FALSE(value.hasValue());

  value = Variant(5);
  service().refuse("AioGetParam");
  EXPECT_EQ(file_.getParameter(kCount, value, 0, 0), kRefusedCode);
  EXPECT_FALSE(value.hasValue());

  service().dictionary[kCount].return_length = 2;  // shorter than its type
  value = Variant(5);
  EXPECT_EQ(file_.getParameter(kCount, value, 0, 0), 0x80070057u);
  EXPECT_FALSE(value.hasValue());
}

TEST_F(ParameterTest, UnknownCodeIsReportedByTheLookUpAlone) {
  Variant value;
  EXPECT_EQ(file_.getParameter(0x20001111, value, 0, 0), 0xE06100C2u);
  EXPECT_EQ(file_.setParameter(0x20001111, Variant(1), 0, 0), 0xE06100C2u);
  const std::string line = "ParameterMetadata::setCode: Error getting parameter information (0xE06100C2)";
  EXPECT_EQ(log, (Lines{line, line}));
  EXPECT_EQ(service().textsOfWork(), Lines{});
  EXPECT_FALSE(file_.hasBeenModified());
}

TEST_F(ParameterTest, ValueThatDoesNotConvertPassesItsExceptionAndTouchesNothing) {
  EXPECT_THROW(file_.setParameter(kCount, Variant("many"), 0, 0), std::invalid_argument);
  EXPECT_EQ(service().textsOfWork(), Lines{});
  EXPECT_FALSE(file_.hasBeenModified());
}

TEST_F(ParameterTest, ReadingStopsAtTheFirstFailureOrIgnoresAll) {
  const ParameterMap asked{{kCount, Variant("old")}, {kSlope, Variant("old")}};
  ParameterMap map = asked;
  service().refuse("AioGetParam");
  EXPECT_EQ(file_.getParameters(map, 0, 0, false), kRefusedCode);
  EXPECT_FALSE(map[kCount].hasValue());
  EXPECT_EQ(map[kSlope], Variant("old")) << "not reached";

  map = asked;
  service().refuse("AioGetParam");
  EXPECT_EQ(file_.getParameters(map, 0, 0, true), 0u);
  EXPECT_EQ(map[kSlope], Variant(0.5));
  EXPECT_EQ(log.size(), 2u) << "each failure is logged all the same";

  service().values.clear();
  EXPECT_EQ(file_.getParameters(map, 0, 0, true), 0u) << "also when nothing could be read";
}

TEST_F(ParameterTest, WritingStopsAtTheFirstFailureOrAnswersTheLast) {
  const ParameterMap map{{kCount, Variant(1)}, {kSlope, Variant(2)}, {kTitle, Variant("keV")}};
  service().refuse("AioPutParam");
  EXPECT_EQ(file_.setParameters(map, 0, 0, false), kRefusedCode);
  EXPECT_EQ(service().textsOfWork().size(), 1u);
  EXPECT_TRUE(file_.hasBeenModified());

  service().calls.clear();
  service().refuse("AioPutParam");
  EXPECT_EQ(file_.setParameters(map, 0, 0, true), kRefusedCode) << "later successes do not clear it";
  EXPECT_EQ(service().textsOfWork().size(), 3u);

  service().refuse("AioPutParam");
  service().refuse("AioPutParam", 0x0000ABC2);
  EXPECT_EQ(file_.setParameters(map, 0, 0, true), 0xEBE8ABC2u) << "the last of two";
}

TEST_F(ParameterTest, WritingWalksACopyOfTheMap) {
  ParameterMap map{{kCount, Variant(1)}, {kSlope, Variant(2)}};
  service().onNext("AioPutParam", [&] { map.clear(); });
  EXPECT_EQ(file_.setParameters(map, 0, 0, false), 0u);
  EXPECT_EQ(service().textsOfWork().size(), 2u);
}

TEST_F(ParameterTest, EmptyMapIsDoneEvenWithoutAFile) {
  FileAccess closed;
  ParameterMap empty;
  EXPECT_EQ(closed.getParameters(empty, 0, 0, false) | closed.setParameters(empty, 0, 0, false), 0u);
  EXPECT_EQ(log, Lines{});
}

}  // namespace
}  // namespace orbtest
