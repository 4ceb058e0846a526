#include "spectrum_file_output.h"

#include <numeric>

#include "calibration_text.h"
#include "summary_output.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

using formats::SpectrumData;

double total(const SpectrumData& spectrum) {
  return std::accumulate(spectrum.counts.begin(), spectrum.counts.end(), 0.0);
}

std::string energyText(const SpectrumData& spectrum) {
  const formats::EnergyCalibration& energy = spectrum.energy;
  if (!energy.coefficients.empty() && energy.unit == "keV") {
    EnergyCalibration calibration;
    calibration.coefficients = energy.coefficients;
    calibration.first_channel = 0;
    return energyWords(calibration, spectrum.first_channel, spectrum.first_channel + spectrum.counts.size() - 1);
  }
  if (!energy.coefficients.empty()) return "coefficients in " + energy.unit;
  if (!energy.points.empty()) return std::to_string(energy.points.size()) + " points in " + energy.unit;
  return "not calibrated";
}

void describe(const SpectrumData& spectrum, const std::string& margin, Console& console) {
  const auto label = [&](const char* name, const std::string& text) {
    if (!text.empty()) console.line(margin + padRight(name, kLabelWidth) + escapeLine(text));
  };
  const auto seconds = [](const std::optional<double>& s) { return s ? numberText(*s) + " s" : "not known"; };
  label("Title", spectrum.title);
  label("Detector", spectrum.detector);
  label("Instrument", spectrum.instrument);
  label("Start", spectrum.start ? spectrum.start->toString() : "not known");
  label("Live time", seconds(spectrum.live_s));
  label("Real time", seconds(spectrum.real_s));
  label("Channels", std::to_string(spectrum.counts.size()));
  label("Counts", numberText(total(spectrum)));
  label("Energy", energyText(spectrum));
  label("FWHM", spectrum.fwhm.empty() ? "not calibrated" : "calibrated");
  for (const std::string& warning : spectrum.warnings) label("Note", warning);
}

/// Many spectra get a line each.
void list(const std::vector<SpectrumData>& spectra, Console& console) {
  console.line("Spectra");
  std::size_t number = 0;
  for (const SpectrumData& spectrum : spectra) {
    std::string text = "  " + padLeft(std::to_string(++number), 4) + "  " + std::to_string(spectrum.counts.size()) +
                       " channels, " + numberText(total(spectrum)) + " counts";
    if (spectrum.start) text += ", " + spectrum.start->toString();
    if (spectrum.live_s) text += ", " + numberText(*spectrum.live_s) + " s live";
    for (const std::string& word : {spectrum.name, spectrum.detector}) {
      if (!word.empty()) text += ", " + word;
    }
    console.line(escapeLine(text));
  }
}

Json energyJson(const formats::EnergyCalibration& energy) {
  if (energy.empty()) return nullptr;
  Json json;
  json["coefficients"] = energy.coefficients;
  json["unit"] = energy.unit;
  json["first_channel"] = 0;
  if (!energy.points.empty()) json["points"] = energy.points.size();
  return json;
}

Json spectrumJson(const SpectrumData& spectrum) {
  Json json;
  json["name"] = spectrum.name;
  json["title"] = spectrum.title;
  json["detector"] = spectrum.detector;
  json["instrument"] = spectrum.instrument;
  json["channels"] = spectrum.counts.size();
  json["total_counts"] = countsJson(total(spectrum));
  json["live_time_s"] = spectrum.live_s ? Json(*spectrum.live_s) : Json(nullptr);
  json["real_time_s"] = spectrum.real_s ? Json(*spectrum.real_s) : Json(nullptr);
  json["start_time"] = spectrum.start ? Json(spectrum.start->toString()) : Json(nullptr);
  json["energy_calibration"] = energyJson(spectrum.energy);
  json["has_fwhm_calibration"] = !spectrum.fwhm.empty();
  json["warnings"] = spectrum.warnings;
  return json;
}

}  // namespace

Json spectrumFileJson(const SpectrumFile& file) {
  Json json;
  json["file"] = file.path;
  json["format"] = formatWords(file.format);
  json.update(spectrumJson(file.spectra.front()));
  json["spectra"] = Json::array();
  for (const SpectrumData& spectrum : file.spectra) json["spectra"].push_back(spectrumJson(spectrum));
  json["blocks"] = Json::array();
  return json;
}

void printSpectrumFile(const SpectrumFile& file, Console& console) {
  const std::size_t n = file.spectra.size();
  console.line(padRight("File", kLabelWidth) + escapeLine(file.path));
  console.line(padRight("Format", kLabelWidth) + formatWords(file.format) +
               (n == 1 ? "" : ", " + std::to_string(n) + " spectra; the first one:"));
  describe(file.spectra.front(), n == 1 ? "" : "  ", console);
  if (n > 1) list(file.spectra, console);
}

}  // namespace orb::tool
