#include "calibration_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "orbparams.h"
#include "value_text.h"

namespace com::norvale::measurement {

const char* const kTypicalWidths = "typical of this kind of detector, not measured";

namespace {

constexpr double kDefaultFullScale_keV = 2048;
constexpr double kCaesium_keV = 661.7;

/// FWHM equations that a new file begins with, by kind of detector.
constexpr std::pair<double, double> kDefaultWidths[] = {{-7.0, 2.0}, {1.0, 0.03}};

/// A gain that spreads the default full scale over the channels, and nothing that a calibration would have left.
bool isDefaultEnergy(const FileAccess& file, const EnergyCalibration& calibration) {
  if (calibration.coefficients.size() != 2 || calibration.coefficients[0] != 0) return false;
  if (!calibration.source.empty() || findValue(file, ORB_X_ECALTIME)) return false;
  const double n_channels = findNumber(file, ORB_L_CHANNELS).value_or(0);
  return n_channels > 0 && calibration.coefficients[1] == kDefaultFullScale_keV / n_channels;
}

bool isDefaultWidth(const FileAccess& file, const FwhmCalibration& calibration) {
  if (calibration.source == kTypicalWidths) return true;
  if (!calibration.source.empty() || findValue(file, ORB_X_SCALTIME)) return false;
  return std::any_of(std::begin(kDefaultWidths), std::end(kDefaultWidths), [&](const auto& width) {
    return width.first == calibration.offset && width.second == calibration.slope;
  });
}

std::string term(double coefficient, std::size_t power, bool first) {
  std::string text = first ? (coefficient < 0 ? "-" : "") : (coefficient < 0 ? " - " : " + ");
  text += roundedText(std::fabs(coefficient), 6);
  if (power >= 1) text += " x";
  if (power >= 2) text.append("^").append(std::to_string(power));
  return text;
}

std::string provenance(bool is_default, const std::string& source) {
  if (is_default) return "; " + std::string(source.empty() ? "default of a new file, not measured" : source);
  return source.empty() ? "" : "; from " + source;
}

}  // namespace

double EnergyCalibration::energy_keV(double position) const {
  double energy = 0;
  for (auto c = coefficients.rbegin(); c != coefficients.rend(); ++c) energy = energy * position + *c;
  return energy;
}

double FwhmCalibration::fwhm_keV(double energy_keV) const {
  return offset + slope * std::sqrt(energy_keV);
}

std::optional<EnergyCalibration> readEnergyCalibration(const FileAccess& file) {
  EnergyCalibration calibration;
  for (std::uint32_t i = 0; i < kEnergyCoefficients; ++i) {
    calibration.coefficients.push_back(findNumber(file, ORB_D_ECALOFFSET + i).value_or(0));
  }
  auto& terms = calibration.coefficients;
  if (!std::all_of(terms.begin(), terms.end(), [](double c) { return std::isfinite(c); })) return std::nullopt;
  while (terms.size() > 2 && terms.back() == 0) terms.pop_back();
  if (std::all_of(terms.begin() + 1, terms.end(), [](double c) { return c == 0; })) return std::nullopt;
  calibration.source = findText(file, ORB_T_ECALSOURCE);
  calibration.is_default = isDefaultEnergy(file, calibration);
  return calibration;
}

std::optional<FwhmCalibration> readFwhmCalibration(const FileAccess& file) {
  const auto slope = findNumber(file, ORB_D_FWHMSLOPE);
  if (!slope || !std::isfinite(*slope)) return std::nullopt;
  FwhmCalibration calibration;
  calibration.slope = *slope;
  calibration.offset = findNumber(file, ORB_D_FWHMOFF).value_or(0);
  if (!std::isfinite(calibration.offset) || (calibration.slope == 0 && calibration.offset == 0)) return std::nullopt;
  calibration.source = findText(file, ORB_T_SCALSOURCE);
  calibration.is_default = isDefaultWidth(file, calibration);
  return calibration;
}

void scaleFwhmCalibration(FileAccess& file, const FwhmCalibration& calibration, double ratio) {
  putValue(file, ORB_D_FWHMOFF, Variant(calibration.offset * ratio));
  putValue(file, ORB_D_FWHMSLOPE, Variant(calibration.slope * ratio));
}

std::string energyWords(const EnergyCalibration& calibration, std::size_t first, std::size_t last) {
  std::string text;
  for (std::size_t i = 0; i < calibration.coefficients.size(); ++i) {
    const double c = calibration.coefficients[i];
    if (c != 0) text += term(c, i, text.empty());
  }
  char range[128];
  std::snprintf(range, sizeof range, "; %.2f keV in channel %zu, %.2f keV in channel %zu",
                calibration.energy_keV(static_cast<double>(first)), first,
                calibration.energy_keV(static_cast<double>(last)), last);
  return text + " keV (x: channel, from " + std::to_string(calibration.first_channel) + ")" + range +
         provenance(calibration.is_default, calibration.source);
}

std::string fwhmWords(const FwhmCalibration& calibration) {
  const char* const sign = calibration.slope < 0 ? " - " : " + ";
  char example[48];
  std::snprintf(example, sizeof example, "%.3g keV at %.1f keV", calibration.fwhm_keV(kCaesium_keV), kCaesium_keV);
  return roundedText(calibration.offset, 6) + sign + roundedText(std::fabs(calibration.slope), 6) + " sqrt(E) keV; " +
         example + provenance(calibration.is_default, calibration.source);
}

}  // namespace com::norvale::measurement
