// The calibrations of a file for a report: equations, curves, points.
#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "calibration_text.h"
#include "comdefs.h"
#include "failure.h"
#include "orbparams.h"
#include "report_data.h"
#include "report_values.h"
#include "value_text.h"

namespace com::norvale::measurement {

namespace {

using report::Calibration;
using report::CurvePoint;

constexpr int kSteps = 160;  // of a curve

/// Where the values of a table of points lie.
struct PointCodes {
  std::uint16_t cls;
  std::uint32_t x, y, uncertainty, residual, label, excluded;  ///< 0: there is none
};
constexpr PointCodes kEnergyPoints = {ORB_CLS_CALRESULTS, ORB_D_CRCHANNEL, ORB_D_CRENERGY,  ORB_D_CRENERGYUNC,
                                      ORB_D_CRRESID,      ORB_T_CRNUCLIDE, ORB_L_CREXCLUDED};
constexpr PointCodes kWidthPoints = {
    ORB_CLS_SHAPECALRES, ORB_D_SRENERGY, ORB_D_SRFWHM, ORB_D_SRFWHMUNC, ORB_D_SRFWHMRESID, 0, ORB_L_SRSTATUS};
constexpr PointCodes kEfficiencyPoints = {ORB_CLS_GEOM,     ORB_D_EFFPTENERGY, ORB_D_EFFPTVALUE, ORB_D_EFFPTUNC,
                                          ORB_D_EFFPTRESID, ORB_T_EFFPTNUCL,   ORB_L_EFFPTEXCL};

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
  const auto n = static_cast<std::size_t>(std::max(1.0, header.number(ORB_L_CHANNELS).value_or(1)));
  addText("Equation", energyWords(*equation, 1, n), calibration);
  addText("Made", header.time(ORB_X_ECALTIME), calibration);
  if (!calibration.points.empty()) addChiSquare(header, ORB_D_ECALCHISQ, ORB_L_ECALDOF, calibration);
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
  const double n = findNumber(file, ORB_L_CHANNELS).value_or(0);
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
  addText("Made", header.time(ORB_X_SCALTIME), calibration);
  if (!calibration.points.empty()) addChiSquare(header, ORB_D_FWHMCHISQ, ORB_L_FWHMDOF, calibration);
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
  double low = header.numberOr0(ORB_D_EFFELOW);
  double high = header.numberOr0(ORB_D_EFFEHIGH);
  for (const CurvePoint& point : calibration.points) {
    if (!(point.x > 0)) continue;
    low = low > 0 ? std::min(low, point.x) : point.x;
    high = std::max(high, point.x);
  }
  if (low > 0 && high > low && std::isfinite(high)) calibration.curve = efficiencyCurve(file, low, high);
  if (calibration.curve.empty() && calibration.points.empty()) return std::nullopt;
  addText("Title", header.text(ORB_T_EFFTITLE), calibration);
  addText("Model", calibration.curve.empty() ? "no curve" : modelWords(header.text(ORB_T_EFFMODEL)), calibration);
  addText("Geometry", header.text(ORB_T_EFFGEOM), calibration);
  addText("Source", header.text(ORB_T_EFFSOURCE), calibration);
  addText("Made", header.time(ORB_X_EFFTIME), calibration);
  addText("Valid", roundedText(low, 5) + " to " + roundedText(high, 5) + " keV", calibration);
  if (const auto common = header.number(ORB_F_EFFCOMMONUNC))
    addText("Common uncertainty", roundedText(*common, 3) + " %", calibration);
  return calibration;
}

}  // namespace

void readCalibrations(const FileAccess& file, report::Report& report) {
  for (auto& calibration :
       {energyCalibration(file, report), widthCalibration(file, report), efficiencyCalibration(file, report)})
    if (calibration) report.calibrations.push_back(*calibration);
}

}  // namespace com::norvale::measurement
