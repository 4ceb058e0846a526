#include <string>

#include "dates.h"
#include "spectrum_data.h"
#include "text.h"

namespace orb::formats {
namespace {

/// One line of text. A dollar sign in front would begin a section: a blank keeps it away from the edge.
std::string lineOf(const std::string& text) {
  const std::string clean = writtenText(text);
  return (clean.starts_with('$') ? " " : "") + clean + "\n";
}

void appendRemarks(const SpectrumData& spectrum, std::string& out) {
  std::string lines;
  if (!spectrum.detector.empty()) lines += lineOf("DETDESC# " + spectrum.detector);
  if (!spectrum.instrument.empty()) lines += lineOf("AP# " + spectrum.instrument);
  if (!spectrum.name.empty()) lines += lineOf("NAME# " + spectrum.name);
  for (const std::string& remark : spectrum.remarks) lines += lineOf(remark);
  if (!lines.empty()) out += "$SPEC_REM:\n" + lines;
}

void appendTimes(const SpectrumData& spectrum, Written& written) {
  if (spectrum.start) {
    const auto date = americanDate(*spectrum.start);
    if (date) written.text += "$DATE_MEA:\n" + *date + "\n";
    if (!date) written.not_carried.push_back("start time " + spectrum.start->toString());
  }
  if (spectrum.live_s) {
    written.text += "$MEAS_TIM:\n" + plainNumberText(*spectrum.live_s);
    if (spectrum.real_s) written.text += " " + plainNumberText(*spectrum.real_s);
    written.text += "\n";
  } else if (spectrum.real_s) {
    written.not_carried.push_back("real time without live time");
  }
}

void appendCounts(const SpectrumData& spectrum, std::string& out) {
  const std::size_t n = spectrum.counts.size();
  out +=
      "$DATA:\n" + std::to_string(spectrum.first_channel) + " " + std::to_string(spectrum.first_channel + n - 1) + "\n";
  for (const double count : spectrum.counts) {
    appendCount(out, count);
    out += '\n';
  }
}

std::string counted(const std::vector<double>& coefficients) {
  return std::to_string(coefficients.size()) + "\n" + joined(coefficients);
}

void appendEnergy(const EnergyCalibration& energy, Written& written) {
  std::string& out = written.text;
  const bool has_place = energy.unit == "keV" || (isWord(energy.unit) && energy.points.empty());
  if (!has_place && !energy.empty()) {
    written.not_carried.push_back("energy calibration in '" + energy.unit + "'");
    return;
  }
  if (!energy.coefficients.empty()) {
    std::vector<double> line = energy.coefficients;
    line.resize(2);
    out += "$ENER_FIT:\n" + joined(line) + "\n$MCA_CAL:\n" + counted(energy.coefficients) + " " + energy.unit + "\n";
  } else if (!energy.points.empty()) {
    out += "$ENER_TABLE:\n" + std::to_string(energy.points.size()) + "\n";
    for (const CalibrationPoint& point : energy.points) {
      out += numberText(point.x) + " " + numberText(point.y) + "\n";
    }
  }
}

void appendFwhm(const FwhmCalibration& fwhm, Written& written) {
  if (fwhm.empty()) return;
  if (!fwhm.coefficients.empty() && fwhm.position == Quantity::kChannel) {
    const char* const unit = fwhm.width == Quantity::kEnergy ? " keV\n" : "\n";
    written.text += "$SHAPE_CAL:\n" + counted(fwhm.coefficients) + unit;
  } else {
    written.not_carried.push_back("FWHM calibration that is no polynomial in the channel");
  }
}

}  // namespace

Written writeSpe(const SpectrumData& spectrum) {
  Written written;
  std::string& out = written.text;
  out.reserve(spectrum.counts.size() * 8 + 1024);
  out += "$SPEC_ID:\n" + lineOf(spectrum.title);
  appendRemarks(spectrum, out);
  appendTimes(spectrum, written);
  appendCounts(spectrum, out);
  appendEnergy(spectrum.energy, written);
  appendFwhm(spectrum.fwhm, written);
  return written;
}

}  // namespace orb::formats
