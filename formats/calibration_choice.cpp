#include "calibration_choice.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "channel_shift.h"
#include "text.h"

namespace orb::formats {
namespace {

bool isZero(const std::vector<double>& coefficients, const std::vector<CalibrationPoint>& points) {
  return std::all_of(coefficients.begin(), coefficients.end(), [](double c) { return c == 0; }) &&
         std::all_of(points.begin(), points.end(), [](const CalibrationPoint& p) { return p.y == 0; });
}

bool isConstant(const EnergyCalibration& calibration) {
  const auto& c = calibration.coefficients;
  if (!c.empty()) return std::all_of(c.begin() + 1, c.end(), [](double value) { return value == 0; });
  const auto& points = calibration.points;
  return std::all_of(points.begin(), points.end(), [&](const CalibrationPoint& p) { return p.y == points[0].y; });
}

struct Range {
  double first;
  double last;
};

Range channels(const SpectrumData& spectrum) {
  const auto first = static_cast<double>(spectrum.first_channel);
  return {first, first + static_cast<double>(spectrum.counts.size()) - 1};
}

/// Where both calibrations say something: points say nothing beyond the outermost.
Range common(Range range, const EnergyCalibration& calibration) {
  if (calibration.points.empty()) return range;
  return {std::max(range.first, calibration.points.front().x), std::min(range.last, calibration.points.back().x)};
}

bool differ(const EnergyCalibration& a, const EnergyCalibration& b, Range range, double tolerance) {
  for (const double channel : {range.first, (range.first + range.last) / 2, range.last}) {
    if (std::fabs(energyAt(a, channel) - energyAt(b, channel)) > tolerance) return true;
  }
  return false;
}

/// The first terms only, as many as both have. A section that prints fewer terms than another cuts them off rather than
/// fitting again, and then its terms equal the other's.
bool firstTermsDiffer(const EnergyCalibration& a, const EnergyCalibration& b, Range range, double tolerance) {
  EnergyCalibration short_a = a;
  EnergyCalibration short_b = b;
  const std::size_t n = std::min(a.coefficients.size(), b.coefficients.size());
  if (n == 0) return true;
  short_a.coefficients.resize(n);
  short_b.coefficients.resize(n);
  return differ(short_a, short_b, range, tolerance);
}

/// Sections may round differently; more than the width of a channel is a contradiction.
bool contradict(const EnergyCalibration& chosen, const EnergyCalibration& other, const SpectrumData& spectrum) {
  const Range all = channels(spectrum);
  const Range range = common(common(all, chosen), other);
  if (range.last < range.first) return false;
  const double span = energyAt(chosen, all.last) - energyAt(chosen, all.first);
  const double width = std::fabs(span) / std::max(1.0, all.last - all.first);
  return differ(chosen, other, range, width) && firstTermsDiffer(chosen, other, range, width);
}

}  // namespace

double energyAt(const EnergyCalibration& calibration, double channel) {
  if (!calibration.coefficients.empty()) return polynomial(calibration.coefficients, channel);
  const auto& points = calibration.points;
  if (points.size() == 1) return points[0].y;
  const auto above = std::lower_bound(points.begin() + 1, points.end() - 1, channel,
                                      [](const CalibrationPoint& p, double x) { return p.x < x; });
  const CalibrationPoint& b = *above;
  const CalibrationPoint& a = *(above - 1);
  return b.x == a.x ? a.y : a.y + (b.y - a.y) * (channel - a.x) / (b.x - a.x);
}

bool isMeaningful(const EnergyCalibration& calibration) {
  return !calibration.empty() && !isConstant(calibration);
}

void chooseEnergyCalibration(const std::vector<EnergyCandidate>& candidates, SpectrumData& spectrum) {
  const EnergyCandidate* chosen = nullptr;
  for (const EnergyCandidate& candidate : candidates) {
    const EnergyCalibration& calibration = candidate.calibration;
    if (calibration.empty()) continue;
    if (isZero(calibration.coefficients, calibration.points)) {
      spectrum.warnings.push_back("all-zero calibration ignored: " + candidate.label);
    } else if (isConstant(calibration)) {
      spectrum.warnings.push_back("calibration gives every channel the same energy, ignored: " + candidate.label);
    } else if (chosen == nullptr) {
      chosen = &candidate;
    } else if (contradict(chosen->calibration, calibration, spectrum)) {
      spectrum.warnings.push_back("calibrations contradict each other: " + chosen->label + " and " + candidate.label +
                                  "; " + chosen->label + " is used");
    }
  }
  if (chosen != nullptr) spectrum.energy = chosen->calibration;
}

void setFwhmCalibration(std::string_view label, FwhmCalibration calibration, SpectrumData& spectrum) {
  if (calibration.empty()) return;
  if (isZero(calibration.coefficients, calibration.points)) {
    spectrum.warnings.push_back("all-zero FWHM calibration ignored: " + std::string(label));
  } else {
    spectrum.fwhm = std::move(calibration);
  }
}

void toKeV(EnergyCalibration& calibration, std::vector<std::string>& warnings) {
  const bool mega = equalsIgnoringCase(calibration.unit, "MeV");
  const bool single = equalsIgnoringCase(calibration.unit, "eV");
  if (equalsIgnoringCase(calibration.unit, "keV") || calibration.unit.empty()) calibration.unit = "keV";
  if (!mega && !single) return;
  const int exponent = mega ? 3 : -3;
  for (double& c : calibration.coefficients) c = timesPowerOfTen(c, exponent);
  for (CalibrationPoint& p : calibration.points) p.y = timesPowerOfTen(p.y, exponent);
  warnings.push_back("energy calibration converted from " + calibration.unit + " to keV");
  calibration.unit = "keV";
}

bool coversEveryChannel(const std::vector<CalibrationPoint>& points, const SpectrumData& spectrum) {
  if (points.size() != spectrum.counts.size()) return false;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (points[i].x != static_cast<double>(spectrum.first_channel + i)) return false;
  }
  return !points.empty();
}

void warnOfTimes(SpectrumData& spectrum) {
  if (spectrum.live_s && spectrum.real_s && *spectrum.live_s > *spectrum.real_s) {
    spectrum.warnings.push_back("live time " + plainNumberText(*spectrum.live_s) + " s exceeds real time " +
                                plainNumberText(*spectrum.real_s) + " s");
  }
}

}  // namespace orb::formats
