// The numbers that the script of the page draws.
#include <cmath>
#include <cstdio>

#include "sections.h"
#include "text.h"

namespace orb::report {

namespace {

/// What no pixel shows is left out; a number that JSON cannot hold becomes null.
std::string drawn(double value) {
  if (!std::isfinite(value)) return "null";
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.7g", value);
  for (char& c : buffer)
    if (c == ',') c = '.';  // a decimal comma of the locale
  return buffer;
}

template <typename Items, typename Write>
std::string list(const Items& items, Write write) {
  std::string out = "[";
  for (const auto& item : items) out += (out.size() > 1 ? "," : "") + write(item);
  return out + "]";
}

std::string pointJson(const CurvePoint& point) {
  return "[" + drawn(point.x) + "," + drawn(point.y.value) + "," + drawn(point.y.uncertainty) + "," +
         (point.is_used ? "true" : "false") + "]";
}

std::string calibrationJson(const Calibration& calibration) {
  const auto word = [](const std::string& any) { return plot::jsonString(plot::cleanText(any)); };
  std::string out = "{\"x\":" + word(calibration.x_label) + ",\"y\":" + word(calibration.y_label);
  out += std::string(",\"logX\":") + (calibration.is_log_x ? "true" : "false");
  out += std::string(",\"logY\":") + (calibration.is_log_y ? "true" : "false");
  out += ",\"curve\":" + list(calibration.curve, [](const auto& point) {
           return "[" + drawn(point.first) + "," + drawn(point.second) + "]";
         });
  return out + ",\"points\":" + list(calibration.points, pointJson) + "}";
}

}  // namespace

std::string fitsJson(const Report& report) {
  return list(report.regions, [](const FittedRegion& region) {
    return "{\"first\":" + std::to_string(region.first_channel) + ",\"continuum\":" + list(region.continuum, drawn) +
           ",\"model\":" + list(region.model, drawn) + "}";
  });
}

std::string calibrationsJson(const Report& report) {
  return list(report.calibrations, calibrationJson);
}

}  // namespace orb::report
