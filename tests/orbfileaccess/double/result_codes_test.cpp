#include <new>
#include <stdexcept>

#include "ExceptionCapture.h"
#include "ServiceDouble.h"

namespace orbtest {
namespace {

TEST(ConvertReturnCode, FollowsSeverityAndFacility) {
  const struct {
    std::uint32_t status, code;
  } cases[] = {
      {0, 0},
      {0x00000001, 0x2BE80001},  // a success with a number is not 0
      {0x00001389, 0x2BE81389},
      {0x00000008, 0xABE80008},
      {0x0000805A, 0xEBE8805A},
      {0x00008102, 0xEBE88102},
      {0x0000ABCB, 0x6BE8ABCB},
      {0x00000004, 0x0BE80004},  // severe: no severity bits
      {0x0000ABCC, 0x0BE8ABCC},
      {0x00000005, 0x0BE80005},
      {0x00000006, 0x0BE80006},
      {0x0000FFFF, 0x0BE8FFFF},
      {0x12340002, 0xEBE80002},  // only the low 16 bits travel
      {0x00610001, 0xE0610001},  // the service's own facility: always an error
      {0x00618001, 0xE0618001},
      {0x12610003, 0xE0610003},
      {0x00610000, 0xE0610000},
      {0x00620000, 0xABE80000},
  };
  for (const auto& c : cases) EXPECT_EQ(convertReturnCode(c.status), c.code) << std::hex << c.status;
}

TEST_F(DoubleTest, ExceptionsBecomeCodesAndOneLine) {
  const std::string stl = "Caught STL Exception.  Description: ";
  const struct {
    const char* name;
    std::function<void()> body;
    std::uint32_t code;
    std::string line;
  } cases[] = {
      {"nothing", [] {}, 0, ""},
      {"string", [] { throw std::string("bad thing"); }, 0xECE99F6D, "bad thing (0xECE99F6D)"},
      {"empty string", [] { throw std::string(); }, 0xECE99F6D,
       "Exception thrown with empty Error String (0xECE99F6D)"},
      {"unsigned", [] { throw 0xEBE80001u; }, 0xEBE80001, "Caught exception (0xEBE80001)"},
      {"int", [] { throw -2; }, 0xFFFFFFFE, "Caught exception (0xFFFFFFFE)"},
      {"short", [] { throw short{-3}; }, 0xFFFFFFFD, "Caught exception (0xFFFFFFFD)"},
      {"unsigned 0", [] { throw 0u; }, 0, ""},
      {"int 0", [] { throw 0; }, 0, ""},
      {"short 0", [] { throw short{0}; }, 0, ""},
      {"bad_alloc", [] { throw std::bad_alloc(); }, 0x8007000E, "Caught exception (0x8007000E)"},
      {"length_error", [] { throw std::length_error("too long"); }, 0xECE99F6D, stl + "too long (0xECE99F6D)"},
      {"long", [] { throw 5L; }, 0xECE99F6D, "Caught Unknown exception. (0xECE99F6D)"},
      {"char pointer", [] { throw "text"; }, 0xECE99F6D, "Caught Unknown exception. (0xECE99F6D)"},
  };
  for (const auto& c : cases) {
    log.clear();
    EXPECT_EQ(com::norvale::orb::captureExceptions("FileAccess::x", c.body), c.code) << c.name;
    EXPECT_EQ(log, c.line.empty() ? Lines{} : Lines{"FileAccess::x: " + c.line}) << c.name;
  }
}

}  // namespace
}  // namespace orbtest
