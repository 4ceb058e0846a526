#include "xtime.h"

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "saturate.h"
#include "time_math.h"

namespace com::norvale::datatypes {
namespace {

constexpr std::int64_t kNanosPerSecond = 1'000'000'000;
constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr double kTicksPerDay = 864e9;
constexpr double kVmsDayOf1970 = 40587;  // days from 1858-11-17 to 1970-01-01

struct Floored {
  std::int64_t quotient;
  std::int64_t remainder;  // 0 to divisor - 1, also below zero
};

constexpr Floored floorDivide(std::int64_t value, std::int64_t divisor) {
  const std::int64_t quotient = value / divisor;
  const std::int64_t remainder = value % divisor;
  if (remainder < 0) return {quotient - 1, remainder + divisor};
  return {quotient, remainder};
}

// `day` counts from 1970; `nanos` may be a whole day, when rounding made it so.
xtime_t atDay(std::int64_t day, std::int64_t nanos) {
  std::int64_t seconds = 0;
  const bool outside = __builtin_mul_overflow(day, kSecondsPerDay, &seconds) ||
                       __builtin_add_overflow(seconds, nanos / kNanosPerSecond, &seconds);
  if (outside) return day < 0 ? kEarliest : kLatest;
  return {seconds, static_cast<std::int32_t>(nanos % kNanosPerSecond)};
}

struct Date {
  std::int64_t year;
  int month;
  int day;
};

// Calendar arithmetic works on years that begin in March, so that the leap day is the last of its year, and
// on eras of 400 years, which all have the same number of days. 719468 days lie between 0000-03-01 and
// 1970-01-01. From month m of such a year (March is 0) to its first day: (153 m + 2) / 5.
constexpr std::int64_t kDaysPerEra = 146'097;
constexpr std::int64_t kEraShift = 719'468;

Date dateOfDay(std::int64_t day) {
  const auto [era, day_of_era] = floorDivide(day + kEraShift, kDaysPerEra);
  const std::int64_t leap_days = day_of_era / 1'460 - day_of_era / 36'524 + day_of_era / 146'096;
  const std::int64_t year_of_era = (day_of_era - leap_days) / 365;
  const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t march_month = (5 * day_of_year + 2) / 153;
  const auto day_of_month = static_cast<int>(day_of_year - (153 * march_month + 2) / 5 + 1);
  const auto month = static_cast<int>(march_month < 10 ? march_month + 3 : march_month - 9);
  return {era * 400 + year_of_era + (month <= 2 ? 1 : 0), month, day_of_month};
}

std::int64_t dayOfDate(const Date& date) {
  const auto [era, year_of_era] = floorDivide(date.year - (date.month <= 2 ? 1 : 0), 400);
  const int march_month = date.month > 2 ? date.month - 3 : date.month + 9;
  const int day_of_year = (153 * march_month + 2) / 5 + date.day - 1;
  const std::int64_t day_of_era = 365 * year_of_era + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * kDaysPerEra + day_of_era - kEraShift;
}

int daysInMonth(std::int64_t year, int month) {
  constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month == 2 && leap ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// Reads a text from the front; each function takes what it finds and tells whether it found it.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }

  bool skip(char wanted) {
    if (rest_.empty() || rest_.front() != wanted) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // Exactly n digits, as a number in lowest..highest.
  bool number(int n, int lowest, int highest, int& value) {
    value = 0;
    for (int i = 0; i < n; ++i) {
      if (!atDigit()) return false;
      value = 10 * value + takeDigit();
    }
    return value >= lowest && value <= highest;
  }

  // Decimals of a second, at least one; those beyond a nanosecond are dropped.
  bool nanoseconds(std::int32_t& value) {
    if (!atDigit()) return false;
    value = 0;
    for (std::int32_t unit = 100'000'000; atDigit(); unit /= 10) value += unit * takeDigit();
    return true;
  }

 private:
  bool atDigit() const { return !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9'; }

  int takeDigit() {
    const int digit = rest_.front() - '0';
    rest_.remove_prefix(1);
    return digit;
  }

  std::string_view rest_;
};

bool scanDate(Scanner& in, Date& date) {
  int year = 0;
  if (!in.number(4, 0, 9999, year) || !in.skip('-')) return false;
  if (!in.number(2, 1, 12, date.month) || !in.skip('-')) return false;
  date.year = year;
  return in.number(2, 1, daysInMonth(year, date.month), date.day);
}

bool scanClock(Scanner& in, xtime_t& clock) {
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (!in.number(2, 0, 23, hour) || !in.skip(':') || !in.number(2, 0, 59, minute)) return false;
  if (in.skip(':')) {
    if (!in.number(2, 0, 59, second)) return false;
    if (in.skip('.') && !in.nanoseconds(clock.nanoseconds)) return false;
  }
  clock.dateTime = hour * 3600 + minute * 60 + second;
  return true;
}

// The local clock's lead over UTC in seconds; no zone at all means UTC.
bool scanZone(Scanner& in, int& offset) {
  offset = 0;
  if (in.atEnd() || in.skip('Z')) return true;
  const bool west = in.skip('-');
  if (!west && !in.skip('+')) return false;
  int hours = 0;
  int minutes = 0;
  if (!in.number(2, 0, 23, hours) || !in.skip(':') || !in.number(2, 0, 59, minutes)) return false;
  offset = (west ? -1 : 1) * (hours * 3600 + minutes * 60);
  return true;
}

std::string fraction(std::int32_t nanoseconds) {
  if (nanoseconds == 0) return {};
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), ".%09" PRId32, nanoseconds);
  std::string digits = text.data();
  digits.erase(digits.find_last_not_of('0') + 1);
  return digits;
}

}  // namespace

xtime_t normalised(const xtime_t& t) noexcept {
  const auto [carry, nanos] = floorDivide(t.nanoseconds, kNanosPerSecond);
  std::int64_t seconds = 0;
  if (__builtin_add_overflow(t.dateTime, carry, &seconds)) return carry < 0 ? kEarliest : kLatest;
  return {seconds, static_cast<std::int32_t>(nanos)};
}

double toSeconds(const xtime_t& t) noexcept {
  return static_cast<double>(t.dateTime) + t.nanoseconds / 1e9;
}

xtime_t fromSeconds(double seconds) noexcept {
  if (std::isnan(seconds)) return {};
  if (seconds >= kTwoTo63) return kLatest;
  if (seconds < -kTwoTo63) return kEarliest;
  const double whole = std::floor(seconds);
  const double nanos = std::round((seconds - whole) * 1e9);
  return normalised({static_cast<std::int64_t>(whole), static_cast<std::int32_t>(nanos)});
}

double xtime_t::toVMSTime() const noexcept {
  // The count needs more than 64 bits. Days and the ticks inside the day are each exact, or nearly so, and
  // the fused step rounds their sum once.
  const xtime_t t = normalised(*this);
  const auto [day, second] = floorDivide(t.dateTime, kSecondsPerDay);
  const double ticks_of_day = static_cast<double>(second * kNanosPerSecond + t.nanoseconds) / 100;
  return std::fma(static_cast<double>(day) + kVmsDayOf1970, kTicksPerDay, ticks_of_day);
}

xtime_t xtime_t::fromVMSTime(double ticks) noexcept {
  constexpr double kFarOutside = 1e27;  // ticks; the range of the seconds ends below 1e26
  if (std::isnan(ticks)) return {};
  if (std::fabs(ticks) > kFarOutside) return ticks < 0 ? kEarliest : kLatest;
  double ticks_of_day = std::fmod(ticks, kTicksPerDay);
  if (ticks_of_day < 0) ticks_of_day += kTicksPerDay;
  const double day = std::round((ticks - ticks_of_day) / kTicksPerDay) - kVmsDayOf1970;
  return atDay(static_cast<std::int64_t>(day), static_cast<std::int64_t>(std::round(ticks_of_day * 100)));
}

std::string xtime_t::toString() const {
  const xtime_t t = normalised(*this);
  const auto [day, second] = floorDivide(t.dateTime, kSecondsPerDay);
  const Date date = dateOfDay(day);
  // A year of other than four digits needs a sign, lest it be taken for another field.
  const char* format = date.year < 0 || date.year > 9999 ? "%+05" PRId64 "-%02d-%02dT%02d:%02d:%02d"
                                                         : "%04" PRId64 "-%02d-%02dT%02d:%02d:%02d";
  std::array<char, 64> text{};
  const auto clock = static_cast<int>(second);
  std::snprintf(text.data(), text.size(), format, date.year, date.month, date.day, clock / 3600, clock / 60 % 60,
                clock % 60);
  return text.data() + fraction(t.nanoseconds) + "Z";
}

bool xtime_t::parse(const std::string& text, xtime_t& time) {
  Scanner in(text);
  Date date{};
  xtime_t clock;
  int offset = 0;
  if (!scanDate(in, date)) return false;
  if (!in.atEnd()) {
    if (!in.skip('T') && !in.skip(' ')) return false;
    if (!scanClock(in, clock) || !scanZone(in, offset) || !in.atEnd()) return false;
  }
  time = {dayOfDate(date) * kSecondsPerDay + clock.dateTime - offset, clock.nanoseconds};
  return true;
}

}  // namespace com::norvale::datatypes
