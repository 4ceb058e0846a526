// The calibrations of a file for a report: equations, curves, points.
#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "calibration_text.h"
#include "codes.h"
#include "comdefs.h"
#include "failure.h"
#include "report_data.h"
#include "report_values.h"
#include "value_text.h"

namespace orb::tool {

namespace {

using report::Calibration;
using report::CurvePoint;

constexpr int kSteps = 160;  // of a curve

/// Where the values of a table of points lie.
struct PointCodes {
  std::uint16_t cls;
  std::uint32_t x, y, uncertainty, residual, label, excluded;  ///< 0: there is none
};
constexpr PointCodes kEnergyPoints = {ORB_CLS_CALRESULTS, 0x200D0002, 0x200D0003, 0x200D0007,
                                      0x200D0006,         0x200D0009, 0x200D000A};
constexpr PointCodes kWidthPoints = {ORB_CLS_SHAPECALRES, 0x20130004, 0x20130005, 0x20130006,
                                     0x2013000E,          0,          0x2013000B};
constexpr PointCodes kEfficiencyPoints = {ORB_CLS_GEOM, 0x20020020, 0x20020021, 0x20020022,
                                          0x20020026,   0x20020023, 0x20020024};

std::vector<CurvePoint> readPoints(const FileAccess& file, const PointCodes& codes, double coverage) {
  std::vector<CurvePoint> points;
  const std::uint16_t n = countRecords(file, codes.cls).value_or(0);
  for (std::uint32_t i = 1; i <= n; ++i) {
    const RecordView view(file, static_cast<std::uint16_t>(i));
    CurvePoint point;
    point.x = view.numberOr0(codes.x);
    point.y = {view.numberOr0(codes.y), coverage * view.numberOr0(codes.uncertainty)};
    if (!std::isfinite(point.x) || !std::isfinite(point.y.value) || point.y.value == 0) continue;
    point.residual = view.number(codes.residual);
    if (codes.label != 0) point.label = view.text(codes.label);
    point.is_used = view.whole(codes.excluded) == 0;
    points.push_back(std::move(point));
  }
  return points;
}

/// Label, number and degrees of freedom of a fit; nothing where there was none.
void addChiSquare(const RecordView& header, std::uint32_t chi_square, std::uint32_t dof, Calibration& calibration) {
  const auto value = header.number(chi_square);
  if (!value) return;
  std::string words = roundedText(*value, 3);
  if (const auto degrees = dof != 0 ? header.number(dof) : std::nullopt)
    words += " with " + numberText(*degrees) + (*degrees == 1 ? " degree" : " degrees") + " of freedom";
  calibration.facts.push_back({"Reduced chi-square", words});
}

void addText(const char* label, const std::string& words, Calibration& calibration) {
  if (!words.empty()) calibration.facts.push_back({label, words});
}

std::optional<Calibration> energyCalibration(const FileAccess& file, const report::Report& report) {
  const auto equation = readEnergyCalibration(file);
  Calibration calibration{"Energy", "Channel", "Energy [keV]", "Residual [keV]", false, false, {}, {}, {}};
  calibration.points = readPoints(file, kEnergyPoints, report.coverage_factor);
  if (!equation) return calibration.points.empty() ? std::nullopt : std::optional(calibration);
  const RecordView header(file, 0);
  const auto n = static_cast<std::size_t>(std::max(1.0, header.number(kChannelCount).value_or(1)));
  addText("Equation", energyWords(*equation, 1, n), calibration);
  addText("Made", header.time(kEnergyTime), calibration);
  if (!calibration.points.empty()) addChiSquare(header, 0x20000019, 0x2000003A, calibration);
  for (int i = 0; i <= kSteps; ++i) {
    const double channel = 1 + (static_cast<double>(n) - 1) * i / kSteps;
    calibration.curve.emplace_back(channel, equation->energy_keV(channel));
  }
  return calibration;
}

/// Energies that a curve over the spectrum covers.
double highestEnergy(const FileAccess& file) {
  constexpr double kWithoutCalibration_keV = 2000;
  const auto equation = readEnergyCalibration(file);
  const double n = findNumber(file, kChannelCount).value_or(0);
  const double highest = equation ? equation->energy_keV(n) : kWithoutCalibration_keV;
  return std::isfinite(highest) && highest > 0 ? highest : kWithoutCalibration_keV;
}

std::optional<Calibration> widthCalibration(const FileAccess& file, const report::Report& report) {
  const auto equation = readFwhmCalibration(file);
  Calibration calibration{"FWHM", "Energy [keV]", "FWHM [keV]", "Residual [keV]", false, false, {}, {}, {}};
  calibration.points = readPoints(file, kWidthPoints, report.coverage_factor);
  if (!equation) return calibration.points.empty() ? std::nullopt : std::optional(calibration);
  const RecordView header(file, 0);
  addText("Equation", fwhmWords(*equation), calibration);
  addText("Made", header.time(kShapeTime), calibration);
  if (!calibration.points.empty()) addChiSquare(header, 0x2000001A, 0x2000004A, calibration);
  const double highest = highestEnergy(file);
  for (int i = 0; i <= kSteps; ++i) {
    const double energy = highest * i / kSteps;
    if (equation->fwhm_keV(energy) > 0) calibration.curve.emplace_back(energy, equation->fwhm_keV(energy));
  }
  return calibration;
}

/// The curve of the model that the file selects; empty when it has none.
std::vector<std::pair<double, double>> efficiencyCurve(const FileAccess& file, double low, double high) {
  stEfEq_T equation{};
  int n = 0;
  std::vector<REAL> energies(ANA_MAX_EFF_POINTS);
  std::vector<REAL> efficiencies(ANA_MAX_EFF_POINTS);
  std::vector<REAL> uncertainties(ANA_MAX_EFF_POINTS);
  std::vector<std::pair<double, double>> curve;
  const char* const what = "cannot compute the efficiency";
  const LONG found =
      lGetEfeq(file.handle(), 1, &equation, &n, energies.data(), efficiencies.data(), uncertainties.data());
  requireAnswer(static_cast<std::uint32_t>(found), file.name(), what);
  if (found != ANA_OK) return curve;
  for (int i = 0; i <= kSteps; ++i) {
    const double energy = low * std::pow(high / low, static_cast<double>(i) / kSteps);
    REAL efficiency = 0;
    const LONG status =
        lEffic(static_cast<REAL>(energy), &equation, n, energies.data(), efficiencies.data(), &efficiency);
    requireAnswer(static_cast<std::uint32_t>(status), file.name(), what);
    if (status == ANA_OK) curve.emplace_back(energy, efficiency);
  }
  return curve;
}

/// A file may name a model by the beginning of its word.
std::string modelWords(const std::string& name) {
  constexpr std::pair<char, const char*> kModels[] = {{'D', "polynomials in ln(E)"},
                                                      {'L', "straight line in ln(E)"},
                                                      {'E', "empirical"},
                                                      {'I', "interpolated"},
                                                      {'A', "average"},
                                                      {'P', "peak-to-total"}};
  for (const auto& [letter, words] : kModels)
    if (!name.empty() && (name.front() & ~0x20) == letter) return words;
  return name;
}

std::optional<Calibration> efficiencyCalibration(const FileAccess& file, const report::Report& report) {
  const RecordView header(file, 0);
  Calibration calibration{"Efficiency", "Energy [keV]", "Efficiency", "Residual [σ]", true, true, {}, {}, {}};
  calibration.points = readPoints(file, kEfficiencyPoints, report.coverage_factor);
  double low = header.numberOr0(0x20020006);
  double high = header.numberOr0(0x20020007);
  for (const CurvePoint& point : calibration.points) {
    if (!(point.x > 0)) continue;
    low = low > 0 ? std::min(low, point.x) : point.x;
    high = std::max(high, point.x);
  }
  if (low > 0 && high > low && std::isfinite(high)) calibration.curve = efficiencyCurve(file, low, high);
  if (calibration.curve.empty() && calibration.points.empty()) return std::nullopt;
  addText("Title", header.text(0x20020001), calibration);
  addText("Model", calibration.curve.empty() ? "no curve" : modelWords(header.text(0x20020028)), calibration);
  addText("Geometry", header.text(0x20020003), calibration);
  addText("Source", header.text(0x20020004), calibration);
  addText("Made", header.time(0x20020002), calibration);
  addText("Valid", roundedText(low, 5) + " to " + roundedText(high, 5) + " keV", calibration);
  if (const auto common = header.number(0x20020011))
    addText("Common uncertainty", roundedText(*common, 3) + " %", calibration);
  return calibration;
}

}  // namespace

void readCalibrations(const FileAccess& file, report::Report& report) {
  for (auto& calibration :
       {energyCalibration(file, report), widthCalibration(file, report), efficiencyCalibration(file, report)})
    if (calibration) report.calibrations.push_back(*calibration);
}

}  // namespace orb::tool
