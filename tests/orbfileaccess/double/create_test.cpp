#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

class CreateTest : public DoubleTest {
 protected:
  CreateTest() { service().others = Parameter{"", 14, 0, 5}; }  // any value can be written as text
};

TEST_F(CreateTest, MakesFileBlocksAndValuesUnderTheLock) {
  FileAccess file;
  service().watched = {&file};
  EXPECT_EQ(file.create("n.dat", 4096, true), 0u);
  const Lines work = service().textsOfWork();
  ASSERT_EQ(work.size(), 6u + 86u);
  EXPECT_EQ(Lines(work.begin(), work.begin() + 6),
            (Lines{"AioCreate(n.dat, 0, 0, 0, 0)", "AioCreateBlock(A, 2000, 0)", "AioCreateBlock(A, 2010, 0)",
                   "AioCreateBlock(A, 2004, 0)", "AioCreateBlock(A, 2010, 0)", "AioCreatePHA(A, 1, 4096, 1)"}));
  EXPECT_EQ(work[6], "AioPutParam(A, 20000059, 0, 0, 340000000000)");
  EXPECT_EQ(work[6 + 3], "AioPutParam(A, 20000021, 0, 0, 302E35000000)") << "0.5 keV per channel";
  EXPECT_EQ(work[91], "AioPutParam(A, 20000007, 0, 0, 343039360000)");
  for (const Call& call : service().calls) EXPECT_EQ(call.locks, "L");
  EXPECT_EQ(file.name(), "n.dat");
  EXPECT_TRUE(file.hasBeenModified());
  EXPECT_EQ(log, Lines{});
}

TEST_F(CreateTest, RefusedBlocksAndValuesDoNotChangeTheResult) {
  for (int i = 0; i < 4; ++i) service().refuse("AioCreateBlock");
  service().refuse("AioCreatePHA");
  service().refuse("AioPutParam");
  FileAccess file;
  EXPECT_EQ(file.create("n.dat", 0, false), 0u);
  EXPECT_EQ(service().textsOfWork()[6 + 3], "AioPutParam(A, 20000021, 0, 0, 696E66000000)") << "infinity";
  EXPECT_EQ(log, Lines{"FileAccess::setParameter: File: n.dat. Failed to set parameter: P20000059 Record: 0 "
                       "Entry: 0 (0xEBE81232)"});
}

}  // namespace
}  // namespace orbtest
