#include <cstdlib>
#include <memory>

#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

using LifecycleTest = DoubleTest;

struct OpenCase {
  const char* name;
  std::uint32_t options;
  const char* operation;
  const char* call;
};

void PrintTo(const OpenCase& c, std::ostream* out) {
  *out << c.name;
}

class OpenTest : public DoubleTest, public ::testing::WithParamInterface<OpenCase> {};

TEST_P(OpenTest, PassesModeUnderTheLockAndTakesTheHandle) {
  FileAccess file;
  service().watched = {&file};
  file.setModified(true);
  EXPECT_EQ(file.open("d/a.dat", static_cast<OpenOptions>(GetParam().options)), 0u);
  EXPECT_EQ(service().texts(), Lines{GetParam().call});
  EXPECT_EQ(service().last().locks, "L");
  EXPECT_EQ(file.name(), "d/a.dat");
  EXPECT_EQ(file.handle(), kA);
  EXPECT_TRUE(file.isOpen());
  EXPECT_TRUE(file.hasBeenModified()) << "open does not touch the flag";
}

TEST_P(OpenTest, ForgetsTheHandleButNotTheNameWhenRefused) {
  FileAccess file(kB);  // not open any more, and remembered
  service().onNext(GetParam().operation, [] {});
  ASSERT_EQ(file.open("old.dat", static_cast<OpenOptions>(GetParam().options)), 0u);
  service().open_handles.clear();

  service().refuse(GetParam().operation, 0x0061003A);
  EXPECT_EQ(file.open("a.dat", static_cast<OpenOptions>(GetParam().options)), 0xE061003Au);
  EXPECT_EQ(file.handle(), nullptr);
  EXPECT_EQ(file.name(), "old.dat");
  EXPECT_EQ(log, Lines{"FileAccess::open: Failed to open: a.dat (0xE061003A)"});
}

INSTANTIATE_TEST_SUITE_P(
    All, OpenTest,
    ::testing::Values(OpenCase{"readOnly", READONLY, "AioOpen2", "AioOpen2(d/a.dat, 0, 0, 0)"},
                      OpenCase{"readWrite", READWRITE, "AioOpen2", "AioOpen2(d/a.dat, 1, 0, 0)"},
                      OpenCase{"otherBits", 6, "AioOpen2", "AioOpen2(d/a.dat, 6, 0, 0)"},
                      OpenCase{"readWriteAndOthers", READWRITE | 6, "AioOpen2", "AioOpen2(d/a.dat, 1, 0, 0)"},
                      OpenCase{"create", CREATE, "AioCreate", "AioCreate(d/a.dat, 0, 0, 0, 0)"},
                      OpenCase{"createWins", CREATE | READWRITE, "AioCreate", "AioCreate(d/a.dat, 0, 0, 0, 0)"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(LifecycleTest, OpenRefusesAnEmptyNameAndASecondFile) {
  FileAccess file;
  EXPECT_EQ(file.open("", READONLY), 0xECE99D7Du);
  open(file, "a.dat");
  EXPECT_EQ(file.open("b.dat", READONLY), 0xEBE8138Du);
  EXPECT_EQ(file.name(), "a.dat");
  EXPECT_EQ(file.handle(), kA);
  EXPECT_EQ(service().texts(), Lines{});
  EXPECT_EQ(log, (Lines{"FileAccess::open: File name is NUL (0xECE99D7D)",
                        "FileAccess::open: Cannot open: b.dat because this instance already has a file open. "
                        "(0xEBE8138D)"}));
}

TEST_F(LifecycleTest, ClosePassesTheOptionUnderTheLockAndClearsEverything) {
  for (const CloseOptions option : {FLUSH, NOFLUSH, DELETE}) {
    FileAccess file;
    open(file, "a.dat");
    service().watched = {&file};
    file.setModified(true);
    EXPECT_EQ(file.close(option), 0u);
    EXPECT_EQ(service().texts(), Lines{"AioClose2(A, " + std::to_string(option) + ")"});
    EXPECT_EQ(service().last().locks, "L");
    EXPECT_EQ(file.name(), "");
    EXPECT_EQ(file.handle(), nullptr);
    EXPECT_FALSE(file.hasBeenModified());
    service().watched.clear();
  }
  EXPECT_EQ(log, Lines{});
}

TEST_F(LifecycleTest, FailedCloseStillForgetsTheFile) {
  FileAccess file;
  open(file, "a.dat");
  file.setModified(true);
  service().refuse("AioClose2");
  EXPECT_EQ(file.close(FLUSH), kRefusedCode);
  EXPECT_EQ(log, Lines{"FileAccess::close: Failed to close: a.dat (0xEBE81232)"});
  EXPECT_EQ(file.name(), "");
  EXPECT_EQ(file.handle(), nullptr);
  EXPECT_FALSE(file.hasBeenModified());
}

TEST_F(LifecycleTest, AttachedHandleIsForgottenNeverClosed) {
  service().open_handles = {kB};
  {
    FileAccess file(kB);
    EXPECT_TRUE(file.isOpen());
    file.setModified(true);
    EXPECT_EQ(file.close(DELETE), 0u);
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.hasBeenModified());
    EXPECT_EQ(file.close(FLUSH), 0xEBE81389u) << "no longer attached";
    log.clear();
  }
  { FileAccess destroyed(kB); }
  EXPECT_TRUE(AioIsOpen(kB));
  EXPECT_EQ(service().texts(), Lines{});
  EXPECT_EQ(log, Lines{});
}

TEST_F(LifecycleTest, AttachClosesOnlyWhenNothingIsOpen) {
  FileAccess file;
  file.attach(kB);
  EXPECT_EQ(log, Lines{"FileAccess::close: File is already closed (0xEBE81389)"});
  log.clear();
  file.attach(kB);  // attached, though not open: forgotten without a line
  EXPECT_EQ(log, Lines{});
  EXPECT_EQ(file.handle(), kB);

  FileAccess owner;
  open(owner, "a.dat");
  owner.setModified(true);
  owner.attach(kB);
  EXPECT_EQ(service().texts(), Lines{}) << "the open file is dropped, not closed";
  EXPECT_EQ(owner.handle(), kB);
  EXPECT_EQ(owner.name(), "a.dat");
  EXPECT_TRUE(owner.hasBeenModified());
  EXPECT_EQ(owner.close(FLUSH), 0u);
  EXPECT_EQ(owner.name(), "a.dat") << "close of an attached handle keeps the name";
}

TEST_F(LifecycleTest, AttachingNullCountsAsAttached) {
  FileAccess file;
  file.attach(nullptr);
  log.clear();
  EXPECT_EQ(file.close(FLUSH), 0u);
  EXPECT_EQ(log, Lines{});

  FileAccess constructed(nullptr);
  EXPECT_EQ(constructed.close(FLUSH), 0xEBE81389u) << "the constructor takes null for no handle";
}

TEST_F(LifecycleTest, FlushClearsTheFlagOnSuccessOnly) {
  FileAccess file;
  open(file, "a.dat");
  file.setModified(true);
  service().refuse("AioFlush", 1);
  EXPECT_EQ(file.flush(), 0x2BE80001u) << "a success with a number is a failure";
  EXPECT_TRUE(file.hasBeenModified());
  EXPECT_EQ(file.flush(), 0u);
  EXPECT_FALSE(file.hasBeenModified());
  EXPECT_EQ(log, Lines{});
}

TEST_F(LifecycleTest, DestructorDropsChangesAndThrowsNothing) {
  {
    FileAccess file;
    open(file, "a.dat");
    service().onNext("AioClose2", [] { throw std::string("out of the service"); });
  }
  EXPECT_EQ(service().texts(), Lines{"AioClose2(A, 1)"});
}

TEST_F(LifecycleTest, SchemaComesFromTheEnvironmentAndGoesThere) {
  ::unsetenv("ORBDB");
  EXPECT_EQ(FileAccess().getSchema(), "orbdb.dat");
  FileAccess file;
  EXPECT_EQ(file.setSchema("x.dat"), 0u);
  EXPECT_EQ(file.getSchema(), "x.dat");
  EXPECT_STREQ(std::getenv("ORBDB"), "x.dat");
  EXPECT_EQ(FileAccess(kB).getSchema(), "x.dat");
  ::setenv("ORBDB", "", 1);
  EXPECT_EQ(FileAccess().getSchema(), "") << "set, though empty";
  ::unsetenv("ORBDB");
}

TEST_F(LifecycleTest, RefusedBlocksAndValuesDoNotChangeTheResult) {
  service().others = Parameter{"", 14, 0, 5};  // any value can be written as text
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
