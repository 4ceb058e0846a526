#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "xtime.h"

namespace orb::formats {

/// Dates as spectrum files print them, each with or without a clock behind a blank:
///   YYYY-MM-DD, YYYY/MM/DD           ISO 8601, also with T and a zone
///   MM/DD/YYYY                       the usual one; read as DD/MM/YYYY where the first number is beyond 12
///   DD.MM.YYYY
///   DD-Mon-YYYY, DD Mon YYYY         English month, three letters or more
/// A year of two digits lies in 1970 to 2069. The clock is hh:mm, hh:mm:ss or hh:mm:ss.fff, with a comma or point and
/// with or without AM or PM. Nothing comes back for any other text and for a date that does not exist.
/// @param needs_clock  refuses a date without clock.
std::optional<com::norvale::datatypes::xtime_t> parseDate(std::string_view text, bool needs_clock = false);

/// "MM/DD/YYYY hh:mm:ss", with a fraction where there is one; nothing for years outside 0 to 9999.
std::optional<std::string> americanDate(const com::norvale::datatypes::xtime_t& time);

/// Seconds of an ISO 8601 duration such as "PT613S" or "P1DT2H3M4.5S" (no years or months), or of a plain number. Not
/// negative.
std::optional<double> parseDuration(std::string_view text);

}  // namespace orb::formats
