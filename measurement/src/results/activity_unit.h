/// Units in which reports print activities.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace com::norvale::measurement {

/// The size in Bq of a unit: Bq, Ci, dps or dpm, the first two with a prefix from f to T ("kBq", "uCi", "µCi").
/// Nothing for any other word.
std::optional<double> activityUnitBq(std::string_view unit);

}  // namespace com::norvale::measurement
