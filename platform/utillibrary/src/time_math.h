#pragma once
#include <cstdint>
#include <limits>

#include "xtime.h"

namespace com::norvale::datatypes {

/// The first and the last point in time that xtime_t can hold.
constexpr xtime_t kEarliest{std::numeric_limits<std::int64_t>::min(), 0};
constexpr xtime_t kLatest{std::numeric_limits<std::int64_t>::max(), 999'999'999};

/// The same point in time with nanoseconds in 0 to 999 999 999; saturates.
xtime_t normalised(const xtime_t& t) noexcept;

/// Seconds since 1970, with fraction.
double toSeconds(const xtime_t& t) noexcept;
/// The inverse of toSeconds, to the nearest nanosecond; not-a-number gives the zero time; saturates.
xtime_t fromSeconds(double seconds) noexcept;

}  // namespace com::norvale::datatypes
