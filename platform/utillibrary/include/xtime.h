#pragma once
#include <cstdint>
#include <string>

#include "utillibrary_export.h"

namespace com::norvale::datatypes {

/// A point in time, UTC: whole seconds since 1970-01-01 00:00 and nanoseconds on top (0 to 999 999 999,
/// also before 1970). The zero time is 1970-01-01 00:00:00.
struct UTILLIBRARY_EXPORT xtime_t {
  std::int64_t dateTime = 0;     ///< [s]
  std::int32_t nanoseconds = 0;  ///< [ns]

  /// VMS time: count of 100 ns ticks since 1858-11-17 00:00 UTC. A double holds today's date to about 0.5 us;
  /// nearer to 1858 it holds parts of a tick.
  double toVMSTime() const noexcept;
  /// The inverse of toVMSTime. Not-a-number gives the zero time; values beyond the range of the seconds
  /// give the first or the last time there is.
  static xtime_t fromVMSTime(double ticks) noexcept;

  /// ISO 8601, UTC, as "2024-03-01T12:30:00Z"; a fraction of a second follows the seconds when there is
  /// one, without trailing zeros ("2024-03-01T12:30:00.25Z"). Before the year 0 and after 9999 the year has
  /// a sign ("+12024-03-01T00:00:00Z").
  std::string toString() const;
  /// Reads "YYYY-MM-DD", or "YYYY-MM-DDThh:mm[:ss[.fraction]]" (a blank may stand for the T) followed by
  /// nothing or "Z" (both UTC) or an offset "+hh:mm" or "-hh:mm". Decimals beyond a nanosecond are dropped.
  /// False, and `time` untouched, when the text is anything else or names a day or hour that does not exist.
  static bool parse(const std::string& text, xtime_t& time);

  friend bool operator==(const xtime_t& a, const xtime_t& b) noexcept {
    return a.dateTime == b.dateTime && a.nanoseconds == b.nanoseconds;
  }
  friend bool operator!=(const xtime_t& a, const xtime_t& b) noexcept { return !(a == b); }
  friend bool operator<(const xtime_t& a, const xtime_t& b) noexcept {
    return a.dateTime != b.dateTime ? a.dateTime < b.dateTime : a.nanoseconds < b.nanoseconds;
  }
};

}  // namespace com::norvale::datatypes
