#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <stdexcept>

#include "Variant.h"
#include "print_values.h"

namespace {

using com::norvale::datatypes::Variant;
using com::norvale::datatypes::xtime_t;
using testing::HasSubstr;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();

const struct {
  const char* text;
  double real;
  std::int64_t integer;
} kNumbers[] = {
    {"0", 0, 0},
    {"-0", 0, 0},
    {"007", 7, 7},
    {"+7", 7, 7},
    {" \t\r\n\v\f42\n", 42, 42},
    {"3.7", 3.7, 3},
    {"-3.7", -3.7, -3},
    {".5", 0.5, 0},
    {"5.", 5, 5},
    {"1e3", 1000, 1000},
    {"+1.5E+2", 150, 150},
    {"25e-1", 2.5, 2},
    {"0x1F", 31, 31},
    {"0XabCD", 43981, 43981},
    {"+0x10", 16, 16},
    {"-0x10", -16, -16},
    {"9007199254740993", 9007199254740992.0, 9007199254740993},
    {"9223372036854775807", 9223372036854775808.0, kMax64},
    {"9223372036854775808", 9223372036854775808.0, kMax64},
    {"-9223372036854775807", -9223372036854775808.0, -9223372036854775807},
    {"-9223372036854775808", -9223372036854775808.0, kMin64},
    {"-9223372036854775809", -9223372036854775808.0, kMin64},
    {"0x7FFFFFFFFFFFFFFF", 9223372036854775808.0, kMax64},
    {"-0x8000000000000001", -9223372036854775808.0, kMin64},
    {"100000000000000000000000", 1e23, kMax64},
    {"-100000000000000000000000", -1e23, kMin64},
    {"0x100000000000000000", 295147905179352825856.0, kMax64},
    {"1.7976931348623157e308", DBL_MAX, kMax64},
    {"4.9e-324", 4.9406564584124654e-324, 0},
    {"1e400", kInf, kMax64},
    {"-1e400", -kInf, kMin64},
    {"1e-400", 0, 0},
    {"0e999999999999999999999", 0, 0},
    {"1e999999999999999999999", kInf, kMax64},
    {"1e-999999999999999999999", 0, 0},
    {"1e+999999999999999999999", kInf, kMax64},
    {"123456e-400", 0, 0},
    {"0.000123e+400", kInf, kMax64},
    {"inf", kInf, kMax64},
    {"-Infinity", -kInf, kMin64},
};

TEST(VariantText, IsReadAsANumber) {
  for (const auto& c : kNumbers) {
    SCOPED_TRACE(c.text);
    const Variant narrow = c.text;
    EXPECT_EQ(narrow.toDouble(), c.real);
    EXPECT_EQ(narrow.toInt64(), c.integer);
    EXPECT_EQ(narrow.toBool(), c.real != 0);
    const Variant wide = std::wstring(c.text, c.text + std::strlen(c.text));
    EXPECT_EQ(wide.toDouble(), c.real);
    EXPECT_EQ(wide.toInt64(), c.integer);
  }
}

TEST(VariantText, OfManyDigitsIsReadAsANumber) {
  EXPECT_EQ(Variant(std::string(400, '0') + "1").toDouble(), 1);
  EXPECT_EQ(Variant("1" + std::string(400, '0')).toDouble(), kInf);
  EXPECT_EQ(Variant("1" + std::string(400, '0') + "e-400").toDouble(), 1);
  EXPECT_EQ(Variant("0." + std::string(400, '0') + "1").toDouble(), 0);
  EXPECT_EQ(Variant("0." + std::string(400, '0') + "1e+5").toDouble(), 0);
  EXPECT_EQ(Variant("0." + std::string(400, '0') + "1e401").toDouble(), 1);
  EXPECT_EQ(Variant("0x" + std::string(300, 'F')).toDouble(), kInf);
  EXPECT_EQ(Variant("0x" + std::string(300, 'F')).toInt32(), 2147483647);
}

TEST(VariantText, SaturatesInSmallerTypes) {
  EXPECT_EQ(Variant("18446744073709551615").toUInt64(), 18446744073709551615u);
  EXPECT_EQ(Variant("18446744073709551616").toUInt64(), 18446744073709551615u);
  EXPECT_EQ(Variant("0xFFFFFFFFFFFFFFFF").toUInt64(), 18446744073709551615u);
  EXPECT_EQ(Variant("-1").toUInt64(), 0u);
  EXPECT_EQ(Variant("40000").toInt16(), 32767);
  EXPECT_EQ(Variant("-40000.5").toInt16(), -32768);
  EXPECT_EQ(Variant("1e39").toFloat(), FLT_MAX);
  EXPECT_EQ(Variant("-1e39").toFloat(), -FLT_MAX);
  EXPECT_EQ(Variant("-1e400").toFloat(), -std::numeric_limits<float>::infinity());
  EXPECT_EQ(Variant("1e-60").toFloat(), 0.0F);
}

TEST(VariantText, IsRoundedToAFloatOnce) {
  // Just above the middle between 1 and the next float, and by so little that the nearest double is the
  // middle: rounding to a double first would end at 1.
  EXPECT_EQ(Variant("1.00000005960464477539062500001").toFloat(), std::nextafter(1.0F, 2.0F));
}

TEST(VariantText, ThatIsNoNumberIsRefusedByName) {
  const std::string cases[] = {"",         " ",
                               "abc",      "12abc",
                               "1 2",      "--1",
                               "+-1",      "- 1",
                               "0x",       "0xG",
                               "0x-1",     "0x1.8",
                               "0x1p3",    "1e",
                               "e5",       ".",
                               "1,5",      "true",
                               "1..2",     "1e5.5",
                               "+",        "in",
                               "nan1",     "2000-01-01",
                               "\xC2\xB2", std::string("1\0", 2)};
  const std::function<void(const Variant&)> conversions[] = {
      [](const Variant& v) { v.toInt16(); },   [](const Variant& v) { v.toUInt64(); },
      [](const Variant& v) { v.toFloat(); },   [](const Variant& v) { v.toDouble(); },
      [](const Variant& v) { v.toXtime_t(); },
  };
  for (const std::string& text : cases) {
    for (const auto& convert : conversions) {
      if (&convert == &conversions[4] && text == "2000-01-01") continue;
      SCOPED_TRACE(text);
      try {
        convert(text);
        ADD_FAILURE() << "was taken";
      } catch (const std::invalid_argument& e) {
        EXPECT_THAT(e.what(), HasSubstr(std::string('"' + text + '"').c_str()));
      }
    }
  }
}

TEST(VariantText, MessageNamesTheTypeThatWasWanted) {
  const auto message = [](const std::function<void()>& convert) -> std::string {
    try {
      convert();
    } catch (const std::invalid_argument& e) {
      return e.what();
    }
    return "nothing thrown";
  };
  EXPECT_EQ(message([] { Variant("abc").toInt32(); }), "\"abc\" is not a number");
  EXPECT_EQ(message([] { Variant(L"\u00B5").toDouble(); }), "\"\u00B5\" is not a number");
  EXPECT_EQ(message([] { Variant("abc").toXtime_t(); }), "\"abc\" is not a time");
  EXPECT_EQ(message([] { Variant("maybe").toBool(); }), "\"maybe\" is neither true nor false nor a number");
}

TEST(VariantText, IsReadAsATruthValue) {
  for (const char* text : {"true", " true\n", "1", "-0.5", "0x1", "nan", "inf"}) {
    EXPECT_TRUE(Variant(text).toBool()) << text;
  }
  for (const char* text : {"false", " false ", "0", "-0.0", "0x0", "0e5"}) {
    EXPECT_FALSE(Variant(text).toBool()) << text;
  }
  EXPECT_TRUE(Variant(L"true").toBool());
  for (const char* text : {"", "yes", "TRUE", "True", "truely", "tru", "false 0"}) {
    EXPECT_THROW(Variant(text).toBool(), std::invalid_argument) << text;
  }
}

TEST(VariantText, IsTheShortestThatReadsBack) {
  const struct {
    Variant from;
    const char* text;
  } cases[] = {
      {Variant(), ""},
      {static_cast<signed char>(-128), "-128"},
      {static_cast<unsigned char>(65), "65"},
      {Variant(static_cast<long long>(kMin64)), "-9223372036854775808"},
      {Variant(18446744073709551615ull), "18446744073709551615"},
      {0.1F, "0.1"},
      {0.1, "0.1"},
      {1.0 / 3, "0.3333333333333333"},
      {1.0F / 3, "0.33333334"},
      {5.0, "5"},
      {-2.5e-10, "-2.5e-10"},
      {1e22, "1e+22"},
      {DBL_MAX, "1.7976931348623157e+308"},
      {-0.0, "-0"},
      {std::nan(""), "nan"},
      {-std::nan(""), "nan"},
      {kInf, "inf"},
      {-std::numeric_limits<float>::infinity(), "-inf"},
      {true, "true"},
      {false, "false"},
      {xtime_t{951825600, 250000000}, "2000-02-29T12:00:00.25Z"},
      {"\xFF as it is", "\xFF as it is"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.from.toString(), c.text);
}

TEST(VariantText, OfAnyNumberReadsBackToTheSameBits) {
  std::mt19937_64 random(20240301);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    double real = 0;
    float single = 0;
    std::memcpy(&real, &bits, sizeof real);
    std::memcpy(&single, &bits, sizeof single);
    if (std::isnan(real) || std::isnan(single)) continue;
    ASSERT_EQ(Variant(Variant(real).toString()).toDouble(), real);
    ASSERT_EQ(Variant(Variant(single).toString()).toFloat(), single);
    ASSERT_EQ(Variant(Variant(bits).toString()).toUInt64(), bits);
  }
}

TEST(VariantText, DoesNotDependOnTheLocale) {
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
  std::ostringstream out;
  out << Variant(1234567) << ' ' << Variant(0.5) << ' ' << Variant(xtime_t());
  const double half = Variant("0.5").toDouble();
  std::locale::global(before);
  EXPECT_EQ(out.str(), "1234567 0.5 1970-01-01T00:00:00Z");
  EXPECT_EQ(half, 0.5);
}

TEST(VariantText, WideTextAndUtf8AreTheSameCharacters) {
  const struct {
    std::wstring wide;
    std::string narrow;
  } cases[] = {
      {L"", ""},
      {L"a\x7F", "a\x7F"},
      {{0x80, 0x7FF}, "\xC2\x80\xDF\xBF"},
      {{0x800, 0xD7FF, 0xE000, 0xFFFF}, "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
      {{0x10000, 0x10FFFF}, "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {L"\u03B3 1.5 \u00B5s", "\xCE\xB3 1.5 \xC2\xB5s"},
      {std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Variant(c.wide).toString(), c.narrow);
    EXPECT_EQ(Variant(c.narrow).toWString(), c.wide);
    EXPECT_EQ(Variant(c.wide).toWString(), c.wide);
  }
  EXPECT_EQ(Variant(2.5).toWString(), L"2.5");
}

TEST(VariantText, WhatIsNoCharacterIsReplaced) {
  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(Variant(std::wstring{L'a', wchar_t(0xD800), wchar_t(0xDFFF), wchar_t(0x110000), L'b'}).toString(),
            "a" + mark + mark + mark + "b");
  EXPECT_EQ(Variant(std::wstring(1, static_cast<wchar_t>(0xFFFFFFFFu))).toString(), mark);

  const wchar_t m = 0xFFFD;
  const struct {
    const char* bytes;
    std::wstring wide;
  } cases[] = {
      {"\x80", {m}},                       // continues nothing
      {"\xC3", {m}},                       // ends early
      {"\xC3(", {m, L'('}},                // is not continued
      {"\xE2\x82", {m, m}},                //
      {"\xF0\x9F\x98", {m, m, m}},         //
      {"\xE2\x82z", {m, m, L'z'}},         //
      {"\xC0\xAF", {m, m}},                // longer than needed
      {"\xE0\x80\xAF", {m, m, m}},         //
      {"\xF0\x80\x80\xAF", {m, m, m, m}},  //
      {"\xED\xA0\x80", {m, m, m}},         // half of a pair
      {"\xF4\x90\x80\x80", {m, m, m, m}},  // beyond the last character
      {"\xFF\xFE", {m, m}},                // never in UTF-8
      {"a\xE2\x82\xAC\xFFz", {L'a', 0x20AC, m, L'z'}},
  };
  for (const auto& c : cases) EXPECT_EQ(Variant(c.bytes).toWString(), c.wide) << testing::PrintToString(c.bytes);
}

}  // namespace
