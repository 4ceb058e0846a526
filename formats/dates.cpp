#include "dates.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <string>

#include "number_scan.h"
#include "text.h"

namespace orb::formats {
namespace {

using com::norvale::datatypes::xtime_t;

constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";

/// Takes things off the front of a text.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  std::string_view rest() const { return rest_; }
  bool skip(char wanted) {
    if (rest_.empty() || rest_.front() != wanted) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void skipBlanks() { rest_ = trimmed(rest_); }

  /// One to four digits; `digits` tells how many there were.
  bool number(int& value, int& digits) {
    value = 0;
    digits = 0;
    while (!rest_.empty() && isDigit(rest_.front()) && digits < 5) {
      value = value * 10 + (rest_.front() - '0');
      rest_.remove_prefix(1);
      ++digits;
    }
    return digits > 0 && digits < 5;
  }

  std::string_view digits() {
    return take([](char c) { return isDigit(c); });
  }
  std::string_view letters() {
    return take([](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); });
  }

 private:
  template <typename Wanted>
  std::string_view take(Wanted wanted) {
    std::size_t length = 0;
    while (length < rest_.size() && wanted(rest_[length])) ++length;
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  std::string_view rest_;
};

struct Date {
  int year = 0;
  int month = 0;
  int day = 0;
};

int monthOf(std::string_view name) {
  if (name.size() < 3) return 0;
  for (std::size_t month = 0; month < 12; ++month) {
    if (equalsIgnoringCase(name.substr(0, 3), kMonths.substr(3 * month, 3))) return static_cast<int>(month) + 1;
  }
  return 0;
}

int fullYear(int year, int digits) {
  if (digits != 2) return year;
  return year < 70 ? 2000 + year : 1900 + year;
}

/// "-Mon-YYYY" behind the day.
bool scanNamedMonth(Scanner& in, Date& date) {
  int digits = 0;
  date.month = monthOf(in.letters());
  in.skip('.');
  if (!in.skip('-') && !in.skip('/')) in.skip(' ');
  if (date.month == 0 || !in.number(date.year, digits)) return false;
  date.year = fullYear(date.year, digits);
  return true;
}

/// "SbScc" behind the first number, S being one of / . -
bool scanNumericDate(Scanner& in, char separator, int first, int first_digits, Date& date) {
  int second = 0;
  int third = 0;
  int digits = 0;
  if (!in.number(second, digits) || !in.skip(separator) || !in.number(third, digits)) return false;
  if (first_digits == 4) {
    date = {first, second, third};
    return true;
  }
  const bool day_first = separator == '.' || first > 12;
  date = {fullYear(third, digits), day_first ? second : first, day_first ? first : second};
  return separator != '-';
}

bool scanDate(Scanner& in, Date& date) {
  int first = 0;
  int digits = 0;
  if (!in.number(first, digits)) return false;
  const char separator = in.rest().empty() ? '\0' : in.rest().front();
  if (separator != '/' && separator != '.' && separator != '-' && separator != ' ') return false;
  in.skip(separator);
  date.day = first;
  const bool named = !in.rest().empty() && !isDigit(in.rest().front());
  if (named) return scanNamedMonth(in, date);
  return separator != ' ' && scanNumericDate(in, separator, first, digits, date);
}

/// Turns "11:05:11.25 PM" into "T23:05:11.25".
bool scanClock(Scanner& in, std::string& iso) {
  int hour = 0;
  int minute = 0;
  int second = 0;
  int digits = 0;
  if (!in.number(hour, digits) || !in.skip(':') || !in.number(minute, digits)) return false;
  if (in.skip(':') && !in.number(second, digits)) return false;
  std::string_view fraction;
  if (in.skip('.') || in.skip(',')) fraction = in.digits();
  in.skipBlanks();
  const std::string_view half = in.letters();
  const bool morning = equalsIgnoringCase(half, "AM");
  const bool evening = equalsIgnoringCase(half, "PM");
  if (!in.rest().empty() || (!half.empty() && !morning && !evening)) return false;
  if ((morning || evening) && (hour < 1 || hour > 12)) return false;
  if (morning && hour == 12) hour = 0;
  if (evening && hour != 12) hour += 12;
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "T%02d:%02d:%02d", hour, minute, second);
  iso += text.data();
  if (!fraction.empty()) (iso += '.') += fraction;
  return true;
}

}  // namespace

std::optional<xtime_t> parseDate(std::string_view text, bool needs_clock) {
  text = trimmed(text);
  xtime_t time;
  const bool has_clock = text.find(':') != std::string_view::npos;
  if (needs_clock && !has_clock) return std::nullopt;
  if (xtime_t::parse(std::string(text), time)) return time;

  Scanner in(text);
  Date date;
  if (!scanDate(in, date)) return std::nullopt;
  std::array<char, 64> iso_date{};
  std::snprintf(iso_date.data(), iso_date.size(), "%04d-%02d-%02d", date.year, date.month, date.day);
  std::string iso = iso_date.data();
  if (!in.skip('T')) in.skipBlanks();
  if (!in.rest().empty() && !scanClock(in, iso)) return std::nullopt;
  if (!xtime_t::parse(iso, time)) return std::nullopt;
  return time;
}

std::optional<std::string> americanDate(const xtime_t& time) {
  const std::string iso = time.toString();  // YYYY-MM-DDThh:mm:ss[.fraction]Z
  if (!isDigit(iso[0])) return std::nullopt;
  return iso.substr(5, 2) + "/" + iso.substr(8, 2) + "/" + iso.substr(0, 4) + " " + iso.substr(11, iso.size() - 12);
}

std::optional<double> parseDuration(std::string_view text) {
  struct Unit {
    char letter;
    double seconds;
  };
  constexpr std::array<Unit, 4> kUnits{{{'D', 86400}, {'H', 3600}, {'M', 60}, {'S', 1}}};
  text = trimmed(text);
  const bool plain = text.empty() || text.front() != 'P';
  if (!plain) text.remove_prefix(1);
  const char* p = text.data();
  const char* const end = p + text.size();
  std::optional<double> total;
  std::size_t unit = 0;
  while (p != end) {
    if (!plain && *p == 'T' && unit < 2) {
      unit = 1;
      if (++p == end) return std::nullopt;
    }
    double value = 0;
    p = scanAnyNumber(p, end, value);
    if (p == nullptr || !(value >= 0) || !std::isfinite(value)) return std::nullopt;
    if (plain) return p == end ? std::optional(value) : std::nullopt;
    while (p != end && unit < kUnits.size() && kUnits[unit].letter != *p) ++unit;
    if (p == end || unit == kUnits.size()) return std::nullopt;
    total = total.value_or(0) + value * kUnits[unit].seconds;
    ++unit;
    ++p;
  }
  return total;
}

}  // namespace orb::formats
