#include <cmath>
#include <cstdint>
#include <numeric>
#include <string>

#include "json_library.h"
#include "shown_text.h"
#include "spectrum_data.h"

namespace orb::formats {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kExactIntegers = 9007199254740992.0;

/// Whole numbers print without ".0".
Json number(double value) {
  if (value == std::floor(value) && std::fabs(value) < kExactIntegers) return static_cast<std::int64_t>(value);
  return value;
}

Json points(const std::vector<CalibrationPoint>& list) {
  Json array = Json::array();
  for (const CalibrationPoint& point : list) array.push_back({number(point.x), number(point.y)});
  return array;
}

template <typename Calibration>
void addCurve(const Calibration& calibration, Json& object) {
  if (!calibration.coefficients.empty()) object["coefficients"] = calibration.coefficients;
  if (!calibration.points.empty()) object["points"] = points(calibration.points);
}

void addTexts(const SpectrumData& spectrum, Json& object) {
  object["title"] = spectrum.title;
  if (!spectrum.name.empty()) object["name"] = spectrum.name;
  if (!spectrum.detector.empty()) object["detector"] = spectrum.detector;
  if (!spectrum.instrument.empty()) object["instrument"] = spectrum.instrument;
  if (!spectrum.remarks.empty()) object["remarks"] = spectrum.remarks;
}

void addCalibrations(const SpectrumData& spectrum, Json& object) {
  if (!spectrum.energy.empty()) {
    Json energy;
    addCurve(spectrum.energy, energy);
    energy["unit"] = spectrum.energy.unit;
    object["energy_calibration"] = energy;
  }
  if (!spectrum.fwhm.empty()) {
    Json fwhm;
    addCurve(spectrum.fwhm, fwhm);
    fwhm["position"] = spectrum.fwhm.position == Quantity::kEnergy ? "energy" : "channel";
    fwhm["unit"] = spectrum.fwhm.width == Quantity::kEnergy ? "keV" : "channels";
    object["fwhm_calibration"] = fwhm;
  }
}

}  // namespace

Written writeJson(const SpectrumData& spectrum) {
  Json object;
  addTexts(spectrum, object);
  if (spectrum.start) object["start_time"] = spectrum.start->toString();
  if (spectrum.live_s) object["live_time_s"] = number(*spectrum.live_s);
  if (spectrum.real_s) object["real_time_s"] = number(*spectrum.real_s);
  object["channels"] = spectrum.counts.size();
  object["first_channel"] = spectrum.first_channel;
  object["total_counts"] = number(std::accumulate(spectrum.counts.begin(), spectrum.counts.end(), 0.0));
  addCalibrations(spectrum, object);
  Json counts = Json::array();
  for (const double count : spectrum.counts) counts.push_back(number(count));
  object["counts"] = std::move(counts);
  // Texts of callers may be any bytes; what is no UTF-8 becomes U+FFFD.
  const std::string text = object.dump(-1, ' ', false, Json::error_handler_t::replace);
  return {com::norvale::datatypes::shownJson(text) + "\n", {}};
}

}  // namespace orb::formats
