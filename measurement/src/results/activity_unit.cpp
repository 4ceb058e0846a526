#include "activity_unit.h"

#include <utility>

namespace com::norvale::measurement {

namespace {

constexpr std::pair<std::string_view, double> kUnits[] = {{"Bq", 1}, {"Ci", 3.7e10}, {"dps", 1}, {"dpm", 1.0 / 60}};
constexpr std::pair<std::string_view, double> kPrefixes[] = {
    {"", 1},          {"f", 1e-15}, {"p", 1e-12}, {"n", 1e-9}, {"u", 1e-6}, {"\u00B5", 1e-6},
    {"\u03BC", 1e-6}, {"m", 1e-3},  {"k", 1e3},   {"M", 1e6},  {"G", 1e9},  {"T", 1e12}};

}  // namespace

std::optional<double> activityUnitBq(std::string_view unit) {
  for (const auto& [name, size] : kUnits) {
    if (!unit.ends_with(name)) continue;
    const std::string_view before = unit.substr(0, unit.size() - name.size());
    if (name.front() == 'd') return before.empty() ? std::optional(size) : std::nullopt;
    for (const auto& [prefix, factor] : kPrefixes)
      if (before == prefix) return factor * size;
  }
  return std::nullopt;
}

}  // namespace com::norvale::measurement
