#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "Variant.h"
#include "print_values.h"

namespace {

using com::norvale::datatypes::Variant;
using com::norvale::datatypes::xtime_t;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr float kInfF = std::numeric_limits<float>::infinity();
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMaxU64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();

template <typename T>
void expectHolds(const Variant& v, T expected) {
  ASSERT_TRUE(std::holds_alternative<T>(v.value())) << v.value().index();
  EXPECT_EQ(std::get<T>(v.value()), expected);
}

TEST(Variant, EachTypeIsHeldAsItself) {
  expectHolds<std::int8_t>(static_cast<signed char>(-128), -128);
  expectHolds<std::uint8_t>(static_cast<unsigned char>(255), 255);
  expectHolds<std::int16_t>(static_cast<short>(-32768), -32768);
  expectHolds<std::uint16_t>(static_cast<unsigned short>(65535), 65535);
  expectHolds<std::int32_t>(kMin32, kMin32);
  expectHolds<std::uint32_t>(4294967295u, 4294967295u);
  expectHolds<std::int64_t>(static_cast<long long>(kMin64), kMin64);
  expectHolds<std::uint64_t>(static_cast<unsigned long long>(kMaxU64), kMaxU64);
  expectHolds<std::conditional_t<sizeof(long) == 8, std::int64_t, std::int32_t>>(-7L, -7);
  expectHolds<std::conditional_t<sizeof(long) == 8, std::uint64_t, std::uint32_t>>(7UL, 7);
  expectHolds<float>(0.1F, 0.1F);
  expectHolds<double>(0.1, 0.1);
  expectHolds<bool>(true, true);
  expectHolds<xtime_t>(xtime_t{1, 2}, xtime_t{1, 2});
  expectHolds<std::string>("text", "text");
  expectHolds<std::string>(std::string("t\0t", 3), std::string("t\0t", 3));
  expectHolds<std::string>(static_cast<const char*>(nullptr), "");
  expectHolds<std::wstring>(L"text", L"text");
  expectHolds<std::wstring>(std::wstring(L"text"), L"text");
  expectHolds<std::wstring>(static_cast<const wchar_t*>(nullptr), L"");
  expectHolds<std::monostate>(Variant(), std::monostate());
}

TEST(Variant, KnowsWhatKindOfValueItHolds) {
  const struct {
    Variant v;
    bool has_value, number, text;
  } cases[] = {
      {Variant(), false, false, false}, {0, true, true, false},
      {0.0F, true, true, false},        {false, true, false, false},
      {xtime_t(), true, false, false},  {"", true, false, true},
      {L"", true, false, true},         {Variant(1ull), true, true, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.v.hasValue(), c.has_value) << testing::PrintToString(c.v);
    EXPECT_EQ(c.v.isNumber(), c.number) << testing::PrintToString(c.v);
    EXPECT_EQ(c.v.isText(), c.text) << testing::PrintToString(c.v);
  }
  Variant v = "text";
  v.clear();
  EXPECT_FALSE(v.hasValue());
}

TEST(Variant, EqualMeansTheSameTypeAndTheSameValue) {
  const Variant different[] = {Variant(), 1,   2,  1u,   Variant(1ll),  1.0,          1.0F,
                               true,      "1", "", L"1", xtime_t{1, 0}, xtime_t{1, 1}};
  for (const Variant& a : different) {
    for (const Variant& b : different) {
      EXPECT_EQ(a == b, &a == &b) << testing::PrintToString(std::make_pair(a, b));
      EXPECT_EQ(a != b, &a != &b) << testing::PrintToString(std::make_pair(a, b));
    }
  }
  EXPECT_NE(Variant(kNan), Variant(kNan));
  EXPECT_EQ(Variant(0.0), Variant(-0.0));
}

struct Conversion {
  Variant from;
  bool b;
  std::int8_t i8;
  std::uint8_t u8;
  std::int16_t i16;
  std::uint16_t u16;
  std::int32_t i32;
  std::uint32_t u32;
  std::int64_t i64;
  std::uint64_t u64;
  float f;
  double d;
};

// The largest float below 2^63, and 2^64 - 1 rounded to a double.
constexpr double kTwo31 = 2147483648.0;
constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;

const Conversion kConversions[] = {
    {Variant(), false, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {0, false, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {true, true, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
    {static_cast<signed char>(-128), true, -128, 0, -128, 0, -128, 0, -128, 0, -128, -128},
    {static_cast<unsigned char>(255), true, 127, 255, 255, 255, 255, 255, 255, 255, 255, 255},
    {32768, true, 127, 255, 32767, 32768, 32768, 32768, 32768, 32768, 32768, 32768},
    {static_cast<short>(-1), true, -1, 0, -1, 0, -1, 0, -1, 0, -1, -1},
    {kMin32, true, -128, 0, -32768, 0, kMin32, 0, kMin32, 0, -2147483648.0F, -kTwo31},
    {4294967295u, true, 127, 255, 32767, 65535, 2147483647, 4294967295u, 4294967295, 4294967295u, 4294967296.0F,
     4294967295.0},
    {Variant(static_cast<long long>(kMin64)), true, -128, 0, -32768, 0, kMin32, 0, kMin64, 0, -9223372036854775808.0F,
     -kTwo63},
    {Variant(static_cast<unsigned long long>(kMaxU64)), true, 127, 255, 32767, 65535, 2147483647, 4294967295u, kMax64,
     kMaxU64, 18446744073709551616.0F, kTwo64},
    {0.999, true, 0, 0, 0, 0, 0, 0, 0, 0, 0.999F, 0.999},
    {-0.999, true, 0, 0, 0, 0, 0, 0, 0, 0, -0.999F, -0.999},
    {-0.0, false, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {127.9F, true, 127, 127, 127, 127, 127, 127, 127, 127, 127.9F, 127.90000152587890625},
    {-128.9, true, -128, 0, -128, 0, -128, 0, -128, 0, -128.9F, -128.9},
    {2147483647.5, true, 127, 255, 32767, 65535, 2147483647, 2147483647u, 2147483647, 2147483647u, 2147483648.0F,
     2147483647.5},
    {kTwo31, true, 127, 255, 32767, 65535, 2147483647, 2147483648u, 2147483648, 2147483648u, 2147483648.0F, kTwo31},
    {9223372036854774784.0, true, 127, 255, 32767, 65535, 2147483647, 4294967295u, 9223372036854774784,
     9223372036854774784u, 9223372036854775808.0F, 9223372036854774784.0},
    {kTwo63, true, 127, 255, 32767, 65535, 2147483647, 4294967295u, kMax64, 9223372036854775808u,
     9223372036854775808.0F, kTwo63},
    {-kTwo63, true, -128, 0, -32768, 0, kMin32, 0, kMin64, 0, -9223372036854775808.0F, -kTwo63},
    {18446744073709551616.0F, true, 127, 255, 32767, 65535, 2147483647, 4294967295u, kMax64, kMaxU64,
     18446744073709551616.0F, kTwo64},
    {1e300, true, 127, 255, 32767, 65535, 2147483647, 4294967295u, kMax64, kMaxU64, FLT_MAX, 1e300},
    {-1e300, true, -128, 0, -32768, 0, kMin32, 0, kMin64, 0, -FLT_MAX, -1e300},
    {kInf, true, 127, 255, 32767, 65535, 2147483647, 4294967295u, kMax64, kMaxU64, kInfF, kInf},
    {-kInfF, true, -128, 0, -32768, 0, kMin32, 0, kMin64, 0, -kInfF, -kInf},
    {xtime_t{300, 500000000}, true, 127, 255, 300, 300, 300, 300, 300, 300, 300.5F, 300.5},
    {xtime_t{0, 1000000}, true, 0, 0, 0, 0, 0, 0, 0, 0, 0.001F, 0.001},
    {xtime_t{-1, 500000000}, true, -1, 0, -1, 0, -1, 0, -1, 0, -0.5F, -0.5},
    {xtime_t{-1, 1000000000}, false, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {" 200 ", true, 127, 200, 200, 200, 200, 200, 200, 200, 200, 200},
    {L"-70000.5", true, -128, 0, -32768, 0, -70000, 0, -70000, 0, -70000.5F, -70000.5},
};

TEST(Variant, NumbersSaturateInEachType) {
  for (const Conversion& c : kConversions) {
    SCOPED_TRACE(testing::PrintToString(c.from));
    EXPECT_EQ(bool(c.from), c.b);
    EXPECT_EQ(c.from.toBool(), c.b);
    EXPECT_EQ(static_cast<signed char>(c.from), c.i8);
    EXPECT_EQ(static_cast<unsigned char>(c.from), c.u8);
    EXPECT_EQ(short(c.from), c.i16);
    EXPECT_EQ(c.from.toInt16(), c.i16);
    EXPECT_EQ(static_cast<unsigned short>(c.from), c.u16);
    EXPECT_EQ(c.from.toUInt16(), c.u16);
    EXPECT_EQ(int(c.from), c.i32);
    EXPECT_EQ(c.from.toInt32(), c.i32);
    EXPECT_EQ(static_cast<unsigned>(c.from), c.u32);
    EXPECT_EQ(c.from.toUInt32(), c.u32);
    EXPECT_EQ(static_cast<long long>(c.from), c.i64);
    EXPECT_EQ(c.from.toInt64(), c.i64);
    EXPECT_EQ(static_cast<unsigned long long>(c.from), c.u64);
    EXPECT_EQ(c.from.toUInt64(), c.u64);
    EXPECT_EQ(static_cast<long>(c.from), sizeof(long) == 8 ? c.i64 : c.i32);
    EXPECT_EQ(static_cast<unsigned long>(c.from), sizeof(long) == 8 ? c.u64 : c.u32);
    EXPECT_EQ(float(c.from), c.f);
    EXPECT_EQ(c.from.toFloat(), c.f);
    EXPECT_EQ(double(c.from), c.d);
    EXPECT_EQ(c.from.toDouble(), c.d);
  }
}

TEST(Variant, NotANumberIsTrueAndZeroAsAnInteger) {
  for (const Variant& v : {Variant(kNan), Variant(-std::nanf("")), Variant("nan")}) {
    EXPECT_TRUE(v.toBool());
    EXPECT_EQ(v.toInt16(), 0);
    EXPECT_EQ(v.toInt64(), 0);
    EXPECT_EQ(v.toUInt64(), 0u);
    EXPECT_TRUE(std::isnan(v.toFloat()));
    EXPECT_TRUE(std::isnan(v.toDouble()));
  }
  EXPECT_EQ(Variant(kNan).toXtime_t(), xtime_t());
}

TEST(Variant, NumbersAreSecondsAsATime) {
  const xtime_t first{kMin64, 0};
  const xtime_t last{kMax64, 999999999};
  const struct {
    Variant from;
    xtime_t time;
  } cases[] = {
      {Variant(), {0, 0}},
      {true, {1, 0}},
      {-5, {-5, 0}},
      {Variant(static_cast<long long>(kMax64)), {kMax64, 0}},
      {Variant(static_cast<unsigned long long>(kMaxU64)), last},
      {0.25, {0, 250000000}},
      {-0.25F, {-1, 750000000}},
      {-1e-20, {0, 0}},
      {1.9999999999, {2, 0}},
      {1e-9, {0, 1}},
      {-kTwo63, first},
      {kTwo63, last},
      {kInf, last},
      {-kInf, first},
      {xtime_t{7, 8}, {7, 8}},
      {"2000-01-01T00:00:00.5Z", {946684800, 500000000}},
      {L" 2000-01-01\n", {946684800, 0}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.from.toXtime_t(), c.time) << testing::PrintToString(c.from);
}

}  // namespace
