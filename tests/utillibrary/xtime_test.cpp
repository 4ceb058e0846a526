#include "xtime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

#include "print_values.h"

namespace {

using com::norvale::datatypes::xtime_t;

constexpr std::int64_t kMaxSeconds = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMinSeconds = std::numeric_limits<std::int64_t>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Seconds from published time stamps, ticks from the Modified Julian Date of the day (which counts from the
// same midnight), both by hand.
const struct {
  const char* text;
  xtime_t time;
  double ticks;
} kKnownTimes[] = {
    {"1858-11-17T00:00:00Z", {-3506716800, 0}, 0},
    {"1858-11-17T00:00:00.0000001Z", {-3506716800, 100}, 1},
    {"1858-11-17T00:00:00.00000005Z", {-3506716800, 50}, 0.5},
    {"1858-11-16T23:59:59.9999999Z", {-3506716801, 999999900}, -1},
    {"1858-11-16T00:00:00Z", {-3506803200, 0}, -864e9},
    {"1970-01-01T00:00:00Z", {0, 0}, 35067168000000000.0},
    {"1969-12-31T23:59:59.5Z", {-1, 500000000}, 35067167995000000.0},
    {"2000-01-01T00:00:00Z", {946684800, 0}, 51544 * 864e9},
    {"2000-02-29T12:00:00Z", {951825600, 0}, 51603.5 * 864e9},
    {"2001-09-09T01:46:40Z", {1000000000, 0}, 45067168000000000.0},
    {"2009-02-13T23:31:30Z", {1234567890, 0}, 47412846900000000.0},
    {"2024-03-01T12:30:00.25Z", {1709296200, 250000000}, 52160130002500000.0},
    {"2038-01-19T03:14:08Z", {2147483648, 0}, 56542004480000000.0},
    {"0001-01-01T00:00:00Z", {-62135596800, 0}, -586288800.0 * 1e9},
    {"9999-12-31T23:59:59Z", {253402300799, 0}, 2569090175990000000.0},
};

TEST(XTime, KnownTimesConvertBothWays) {
  for (const auto& known : kKnownTimes) {
    SCOPED_TRACE(known.text);
    EXPECT_EQ(known.time.toString(), known.text);
    xtime_t parsed{1, 1};
    EXPECT_TRUE(xtime_t::parse(known.text, parsed));
    EXPECT_EQ(parsed, known.time);
    EXPECT_EQ(known.time.toVMSTime(), known.ticks);
    // The year 9999 has more ticks than a double can count one by one, and so has no exact way back.
    if (std::fabs(known.ticks) < 1e17) {
      EXPECT_EQ(xtime_t::fromVMSTime(known.ticks), known.time);
    }
  }
}

TEST(XTime, EveryDayOfFourHundredYearsFollowsTheOneBefore) {
  const int month_days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::int64_t seconds = -11676096000;  // 1600-01-01
  for (int year = 1600; year < 2000; ++year) {
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year == 1600;
    for (int month = 1; month <= 12; ++month) {
      const int last = month == 2 && leap ? 29 : month_days[month - 1];
      for (int day = 1; day <= last; ++day, seconds += 86400) {
        char text[32];
        std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
        xtime_t parsed;
        ASSERT_TRUE(xtime_t::parse(text, parsed)) << text;
        ASSERT_EQ(parsed, (xtime_t{seconds, 0})) << text;
        ASSERT_EQ(parsed.toString(), std::string(text) + "T00:00:00Z");
      }
    }
  }
  EXPECT_EQ(seconds, 946684800);  // 2000-01-01
}

TEST(XTime, TextOfAnyStateOfTheObjectIsDefined) {
  constexpr std::int32_t kMaxNanos = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMinNanos = std::numeric_limits<std::int32_t>::min();
  const struct {
    xtime_t time;
    const char* text;
  } cases[] = {
      {{kMaxSeconds, 0}, "+292277026596-12-04T15:30:07Z"},
      {{kMinSeconds, 0}, "-292277022657-01-27T08:29:52Z"},
      {{253402300800, 0}, "+10000-01-01T00:00:00Z"},
      {{-62167219200, 0}, "0000-01-01T00:00:00Z"},
      {{-62167219201, 0}, "-0001-12-31T23:59:59Z"},
      {{0, -1}, "1969-12-31T23:59:59.999999999Z"},
      {{0, 1000000000}, "1970-01-01T00:00:01Z"},
      {{0, kMaxNanos}, "1970-01-01T00:00:02.147483647Z"},
      {{0, kMinNanos}, "1969-12-31T23:59:57.852516352Z"},
      {{kMaxSeconds, kMaxNanos}, "+292277026596-12-04T15:30:07.999999999Z"},
      {{kMinSeconds, kMinNanos}, "-292277022657-01-27T08:29:52Z"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.time.toString(), c.text);
}

TEST(XTime, ReadsEachFormOfATime) {
  const struct {
    const char* text;
    xtime_t time;
  } cases[] = {
      {"2000-01-01", {946684800, 0}},
      {"2000-01-01T00:01", {946684860, 0}},
      {"2000-01-01 00:01Z", {946684860, 0}},
      {"2000-01-01T00:00:01", {946684801, 0}},
      {"2000-01-01 00:00:00.5", {946684800, 500000000}},
      {"2000-01-01T00:00:00.123456789", {946684800, 123456789}},
      {"2000-01-01T00:00:00.9999999999Z", {946684800, 999999999}},
      {"2000-01-01T00:00:00.000000000000000000001Z", {946684800, 0}},
      {"2000-01-01T00:00:00+00:00", {946684800, 0}},
      {"2000-01-01T05:30+05:30", {946684800, 0}},
      {"1999-12-31T16:00:00.25-08:00", {946684800, 250000000}},
      {"2000-01-01T00:00+23:59", {946598460, 0}},
      {"1999-12-31T23:59:59Z", {946684799, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    xtime_t time{1, 1};
    EXPECT_TRUE(xtime_t::parse(c.text, time));
    EXPECT_EQ(time, c.time);
  }
}

TEST(XTime, RefusesEverythingElseAndLeavesTheTimeUntouched) {
  const std::vector<const char*> cases[] = {
      {"", "2000", "2000-01", "2000-1-01", "20000101", "02000-01-01", "+2000-01-01", "-200-01-01"},
      {"2000-00-01", "2000-13-01", "2000-01-00", "2000-01-32", "2000-04-31", "1900-02-29", "2001-02-29", "2000-02-30"},
      {"2000-01-01T", "2000-01-01t00:00", "2000-01-01Z", "2000-01-01+01:00", " 2000-01-01", "2000-01-01 ",
       "2000-01-01  00:00"},
      {"2000-01-01T00", "2000-01-01T0:00", "2000-01-01T24:00", "2000-01-01T00:60", "2000-01-01T00:00:60"},
      {"2000-01-01T00:00:", "2000-01-01T00:00:1", "2000-01-01T00:00.5", "2000-01-01T00:00:00.",
       "2000-01-01T00:00:00,5"},
      {"2000-01-01T00:00:00.Z", "2000-01-01T00:00:00.5e1", "2000-01-01T00:00z"},
      {"2000-01-01T00:00ZZ", "2000-01-01T00:00+1:00", "2000-01-01T00:00+01", "2000-01-01T00:00+24:00",
       "2000-01-01T00:00+00:60"},
      {"2000-01-01T00:00+0100", "2000-01-01T00:00+01:00Z", "2000-01-01T-1:00", "2000-01-01T00:00:00 UTC",
       "\xB2\xB0\xB0\xB0-01-01"}};
  for (const auto& group : cases) {
    for (const char* text : group) {
      xtime_t time{77, 88};
      EXPECT_FALSE(xtime_t::parse(text, time)) << text;
      EXPECT_EQ(time, (xtime_t{77, 88})) << text;
    }
  }
  xtime_t time;
  EXPECT_FALSE(xtime_t::parse(std::string("2000-01-01\0", 11), time));
}

TEST(XTime, VmsTimesOutsideTheRangeOfSecondsSaturate) {
  const xtime_t first{kMinSeconds, 0};
  const xtime_t last{kMaxSeconds, 999999999};
  for (const double far : {9.3e25, 1e26, 1.1e27, 1e300, kInfinity}) {
    EXPECT_EQ(xtime_t::fromVMSTime(far), last) << far;
    EXPECT_EQ(xtime_t::fromVMSTime(-far), first) << -far;
  }
  EXPECT_EQ(xtime_t::fromVMSTime(std::nan("")), xtime_t());
  EXPECT_EQ(xtime_t::fromVMSTime(-std::nan("")), xtime_t());
}

TEST(XTime, TicksRoundToTheNearestNanosecond) {
  const struct {
    double ticks;
    xtime_t time;
  } cases[] = {
      {0.004, {-3506716800, 0}},  {0.006, {-3506716800, 1}},       {-0.5, {-3506716801, 999999950}},
      {-1e-20, {-3506716800, 0}}, {9999999.999, {-3506716799, 0}},
  };
  for (const auto& c : cases) EXPECT_EQ(xtime_t::fromVMSTime(c.ticks), c.time) << c.ticks;
}

// The way to a count of ticks and back may lose what the double cannot hold, and no more.
TEST(XTime, ThereAndBackIsTheSameTimeWithinTheResolutionOfADouble) {
  for (const std::int64_t scale : {1ll, 86400ll, 3506716800ll, 1000000007ll, 99999999999ll, 900000000000ll}) {
    for (const std::int64_t sign : {-1, 1}) {
      for (const std::int32_t nanos : {0, 1, 49, 50, 51, 100, 123456789, 999999999}) {
        const xtime_t time{sign * scale, nanos};
        const double ticks = time.toVMSTime();
        const double resolution_ns = 100 * (std::nextafter(std::fabs(ticks), kInfinity) - std::fabs(ticks));
        const xtime_t back = xtime_t::fromVMSTime(ticks);
        const std::int64_t error_ns =
            (back.dateTime - time.dateTime) * 1000000000 + back.nanoseconds - time.nanoseconds;
        EXPECT_LE(std::fabs(static_cast<double>(error_ns)), resolution_ns / 2 + 0.5) << testing::PrintToString(time);
      }
    }
  }
}

TEST(XTime, FarTimesThereAndBackAreTheSameWithinTheResolutionOfADouble) {
  std::mt19937_64 random(18581117);
  for (int i = 0; i < 20000; ++i) {
    // Of every magnitude, up to half of the range, where the difference of two times cannot overflow.
    const auto seconds = static_cast<std::int64_t>(random() >> (2 + i % 32)) * (i % 3 == 0 ? -1 : 1);
    const double ticks = xtime_t{seconds, 0}.toVMSTime();
    const double resolution_s = (std::nextafter(std::fabs(ticks), kInfinity) - std::fabs(ticks)) / 1e7;
    const std::int64_t error_s = xtime_t::fromVMSTime(ticks).dateTime - seconds;
    ASSERT_LE(std::fabs(static_cast<double>(error_s)), resolution_s / 2 + 1) << seconds;
  }
}

}  // namespace
