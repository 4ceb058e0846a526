// Reads arbitrary text as everything that a command line may hold: values of parameters, names, dates, durations,
// ranges, calibration points. Byte 0 and 1 choose the parameter, the rest is the text.
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "arguments.h"
#include "dates.h"
#include "failure.h"
#include "fuzz_support.h"
#include "parameter_name.h"
#include "parts.h"
#include "plot.h"
#include "usage_error.h"
#include "value_json.h"

namespace {

using fuzz::require;
using namespace orb::tool;

/// What was read and is printed reads as the same again.
void readValue(const std::string& text, const AioParamInfo_T& parameter) {
  try {
    const auto value = parseValue(text, parameter, "fuzz");
    valueJson(value, parameter).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    const std::string printed = valueText(value, parameter);
    require(valueText(parseValue(printed, parameter, "fuzz"), parameter) == printed);
  } catch (const Failure&) {
  }
}

void readRange(const std::string& text) {
  try {
    const auto range = orb::plot::parseRange(text, "keV");
    require(!std::isnan(range.from) && !std::isnan(range.to));
  } catch (const std::invalid_argument&) {
  }
}

void readPoint(const std::string& text) {
  try {
    const GivenPoint point = parsePoint(text, "--energy");
    require(std::isfinite(point.x) && std::isfinite(point.value) && point.uncertainty >= 0);
  } catch (const UsageError&) {
  }
}

void findName(const std::string& text) {
  try {
    findParameter(text, "fuzz");
  } catch (const Failure&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<AioParamInfo_T> parameters = allParameters();
  if (size < 2) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
  readValue(text, parameters[(data[0] * 256u + data[1]) % parameters.size()]);
  readRange(text);
  readPoint(text);
  findName(text);
  for (const bool needs_clock : {false, true}) {
    if (const auto date = orb::formats::parseDate(text, needs_clock)) orb::formats::americanDate(*date);
  }
  require(orb::formats::parseDuration(text).value_or(0) >= 0);
  return 0;
}
