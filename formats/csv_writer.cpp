#include <string>

#include "calibration_choice.h"
#include "header_keys.h"
#include "spectrum_data.h"
#include "text.h"

namespace orb::formats {
namespace {

/// Whether a spreadsheet would begin a cell in the midst of the text and compute it.
bool holdsFormula(std::string_view text) {
  while (true) {
    const std::size_t separator = text.find_first_of(",;");
    if (separator == std::string_view::npos) return false;
    text = trimmed(text.substr(separator + 1));
    if (!text.empty() && std::string_view("=+-@\"").find(text.front()) != std::string_view::npos) return true;
  }
}

/// A line that holds a formula is quoted as a whole.
void appendKey(std::string& out, const char* key, const std::string& value) {
  if (value.empty()) return;
  const std::string line = std::string("# ") + key + ": " + value;
  out += (holdsFormula(value) ? quotedField(line) : line) + "\n";
}

void appendPoints(std::string& out, const char* key, const std::vector<CalibrationPoint>& points) {
  for (const CalibrationPoint& point : points) appendKey(out, key, numberText(point.x) + " " + numberText(point.y));
}

void appendHeader(const SpectrumData& spectrum, bool has_axis, std::string& out) {
  appendKey(out, "title", writtenText(spectrum.title));
  appendKey(out, "name", writtenText(spectrum.name));
  appendKey(out, "detector", writtenText(spectrum.detector));
  appendKey(out, "instrument", writtenText(spectrum.instrument));
  for (const std::string& remark : spectrum.remarks) appendKey(out, "remark", writtenText(remark));
  if (spectrum.start) appendKey(out, "start_time", spectrum.start->toString());
  if (spectrum.live_s) appendKey(out, "live_time_s", plainNumberText(*spectrum.live_s));
  if (spectrum.real_s) appendKey(out, "real_time_s", plainNumberText(*spectrum.real_s));
  const EnergyCalibration& energy = spectrum.energy;
  if (!energy.empty()) appendKey(out, "energy_unit", writtenText(energy.unit));
  appendKey(out, "energy_coefficients", joined(energy.coefficients));
  if (!has_axis) appendPoints(out, "energy_point", energy.points);
  const FwhmCalibration& fwhm = spectrum.fwhm;
  if (!fwhm.empty()) appendKey(out, "fwhm_form", fwhmForm(fwhm));
  appendKey(out, "fwhm_coefficients", joined(fwhm.coefficients));
  appendPoints(out, "fwhm_point", fwhm.points);
}

}  // namespace

Written writeCsv(const SpectrumData& spectrum) {
  Written written;
  std::string& out = written.text;
  const bool axis_of_points = coversEveryChannel(spectrum.energy.points, spectrum);
  const bool has_energies = axis_of_points || !spectrum.energy.coefficients.empty();
  out.reserve(spectrum.counts.size() * (has_energies ? 32 : 12) + 1024);
  appendHeader(spectrum, axis_of_points, out);
  out += has_energies ? "channel,energy,counts\n" : "channel,counts\n";
  for (std::size_t i = 0; i < spectrum.counts.size(); ++i) {
    const std::size_t channel = spectrum.first_channel + i;
    out += std::to_string(channel) + ",";
    if (has_energies) {
      out += numberText(axis_of_points ? spectrum.energy.points[i].y
                                       : energyAt(spectrum.energy, static_cast<double>(channel))) +
             ",";
    }
    appendCount(out, spectrum.counts[i]);
    out += '\n';
  }
  return written;
}

}  // namespace orb::formats
