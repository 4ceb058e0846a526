#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "axis_fit.h"
#include "calibration_choice.h"
#include "n42_parts.h"
#include "text.h"

namespace orb::formats {
namespace {

constexpr std::size_t kMaxPoints = 1024;

/// All numbers of an element and nothing else.
NumberList numbersIn(const N42Document& document, const pugi::xml_node& node, std::size_t max_values) {
  NumberList list = numbersOf(rawText(node), max_values);
  if (list.rest.empty()) return list;
  const bool too_many = list.values.size() == max_values;
  const char* const end = list.rest.data() + list.rest.size();
  document.fail(node, too_many ? "more than " + std::to_string(max_values) + " numbers"
                               : quotedAt(list.rest.data(), end) + " is not a number");
}

std::vector<double> coefficientsOf(const N42Document& document, const pugi::xml_node& node) {
  return node ? numbersIn(document, node, kMaxCoefficients).values : std::vector<double>();
}

/// The two children X and Y, or both numbers in the text of the point itself.
CalibrationPoint pointOf(const N42Document& document, const pugi::xml_node& node) {
  std::vector<double> pair;
  for (const char* name : {"X", "Y"}) {
    const pugi::xml_node part = childNamed(node, name);
    if (!part) continue;
    const auto numbers = numbersIn(document, part, 1).values;
    pair.insert(pair.end(), numbers.begin(), numbers.end());
  }
  if (pair.empty()) pair = numbersIn(document, node, 2).values;
  if (pair.size() != 2) document.fail(node, "a point wants two numbers");
  return {pair[0], pair[1]};
}

void requireRising(const N42Document& document, const pugi::xml_node& node,
                   const std::vector<CalibrationPoint>& points) {
  const auto falls = [](const CalibrationPoint& a, const CalibrationPoint& b) { return b.x <= a.x; };
  if (std::adjacent_find(points.begin(), points.end(), falls) != points.end()) {
    document.fail(node, "the points of the calibration do not rise");
  }
}

std::vector<CalibrationPoint> pointsOf(const N42Document& document, const pugi::xml_node& array) {
  std::vector<CalibrationPoint> points;
  for (const pugi::xml_node& node : array.children()) {
    if (localName(node) != "PointXY") continue;
    if (points.size() == kMaxPoints) document.fail(array, "more than " + std::to_string(kMaxPoints) + " points");
    points.push_back(pointOf(document, node));
  }
  requireRising(document, array, points);
  return points;
}

/// Lower edges of all channels, and perhaps the upper edge of the last. Coefficients in these files give lower edges as
/// well, so the edges stand for the channels here.
void readBoundaries(const N42Document& document, const pugi::xml_node& node, const SpectrumData& spectrum,
                    EnergyCalibration& calibration) {
  const std::size_t n = spectrum.counts.size();
  NumberList list = numbersIn(document, node, n + 1);
  if (list.values.size() < n) {
    document.fail(node, std::to_string(list.values.size()) + " energies for " + std::to_string(n) + " channels");
  }
  list.values.resize(n);
  const auto falls = std::adjacent_find(list.values.begin(), list.values.end(), std::greater<>());
  if (falls != list.values.end()) document.fail(node, "the energies do not rise after " + numberText(*falls));
  calibration.coefficients = fitAxis(list.values, 0, list.digits);
  if (!calibration.coefficients.empty()) return;
  calibration.points.resize(n);
  for (std::size_t i = 0; i < n; ++i) calibration.points[i] = {static_cast<double>(i), list.values[i]};
}

std::string labelOf(const pugi::xml_node& node) {
  const std::string_view id = attributeOf(node, "id");
  const std::string name = cleanText(localName(node));
  return id.empty() ? "<" + name + ">" : "<" + name + "> '" + cleanText(id) + "'";
}

/// <EnergyCalibration> of 2012.
EnergyCandidate energyOf2012(const N42Document& document, const pugi::xml_node& node, SpectrumData& spectrum) {
  EnergyCandidate candidate{labelOf(node), {}};
  candidate.calibration.coefficients = coefficientsOf(document, childNamed(node, "CoefficientValues"));
  const pugi::xml_node boundaries = childNamed(node, "EnergyBoundaryValues");
  if (candidate.calibration.coefficients.empty() && boundaries) {
    readBoundaries(document, boundaries, spectrum, candidate.calibration);
  }
  if (childNamed(node, "EnergyDeviationValues")) {
    spectrum.warnings.push_back("not carried: energy deviations of " + candidate.label);
  }
  return candidate;
}

/// What <Calibration> of 2006 holds, an equation or points.
bool readEquation(const N42Document& document, const pugi::xml_node& node, std::vector<double>& coefficients,
                  std::vector<CalibrationPoint>& points, std::vector<std::string>& warnings) {
  const pugi::xml_node equation = childNamed(node, "Equation");
  const std::string_view model = attributeOf(equation, "Model");
  if (!model.empty() && !equalsIgnoringCase(model, "Polynomial")) {
    warnings.push_back("not carried: calibration with the model '" + cleanText(model) + "'");
    return false;
  }
  coefficients = coefficientsOf(document, childNamed(equation, "Coefficients"));
  if (coefficients.empty()) points = pointsOf(document, childNamed(node, "ArrayXY"));
  return true;
}

EnergyCandidate energyOf2006(const N42Document& document, const pugi::xml_node& node, SpectrumData& spectrum) {
  EnergyCandidate candidate{labelOf(node), {}};
  EnergyCalibration& calibration = candidate.calibration;
  readEquation(document, node, calibration.coefficients, calibration.points, spectrum.warnings);
  const auto falls = [](const CalibrationPoint& a, const CalibrationPoint& b) { return a.y > b.y; };
  if (std::adjacent_find(calibration.points.begin(), calibration.points.end(), falls) != calibration.points.end()) {
    spectrum.warnings.push_back("not carried: " + candidate.label + ", whose energies fall");
    calibration.points.clear();
  }
  const std::string_view unit = attributeOf(node, "EnergyUnits");
  if (!unit.empty()) calibration.unit = cleanText(unit);
  toKeV(calibration, spectrum.warnings);
  return candidate;
}

/// <FWHMCalibration> of 2012: energies and widths in keV. A remark of our own writer carries a polynomial in channels.
void readFwhm2012(const N42Document& document, const pugi::xml_node& node, SpectrumData& spectrum) {
  constexpr std::string_view kMark = "FWHM in channels over the channel:";
  FwhmCalibration fwhm;
  for (const pugi::xml_node& child : node.children()) {
    const std::string remark = localName(child) == "Remark" ? textOf(child) : std::string();
    if (remark.starts_with(kMark)) {
      fwhm.coefficients = numbersOf(std::string_view(remark).substr(kMark.size()), kMaxCoefficients).values;
    }
  }
  if (fwhm.coefficients.empty()) {
    fwhm.position = fwhm.width = Quantity::kEnergy;
    const auto energies = numbersIn(document, childNamed(node, "EnergyValues"), kMaxPoints).values;
    const auto widths = numbersIn(document, childNamed(node, "FWHMValues"), kMaxPoints).values;
    if (energies.size() != widths.size()) {
      document.fail(node,
                    std::to_string(energies.size()) + " energies and " + std::to_string(widths.size()) + " widths");
    }
    for (std::size_t i = 0; i < energies.size(); ++i) fwhm.points.push_back({energies[i], widths[i]});
    requireRising(document, node, fwhm.points);
  }
  setFwhmCalibration(labelOf(node), std::move(fwhm), spectrum);
}

void readFwhm2006(const N42Document& document, const pugi::xml_node& node, SpectrumData& spectrum) {
  FwhmCalibration fwhm;
  if (!readEquation(document, node, fwhm.coefficients, fwhm.points, spectrum.warnings)) return;
  const std::string_view unit = attributeOf(node, "FWHMUnits");
  const bool mega = equalsIgnoringCase(unit, "MeV");
  if (mega || equalsIgnoringCase(unit, "keV")) fwhm.width = Quantity::kEnergy;
  if (mega) {
    for (double& c : fwhm.coefficients) c = timesPowerOfTen(c, 3);
    for (CalibrationPoint& point : fwhm.points) point.y = timesPowerOfTen(point.y, 3);
  }
  setFwhmCalibration(labelOf(node), std::move(fwhm), spectrum);
}

/// The element that an attribute of the spectrum points to, or the only one there is.
pugi::xml_node referred(const N42Document& document, const pugi::xml_node& element, const char* attribute,
                        std::string_view target, SpectrumData& spectrum) {
  const std::string_view id = attributeOf(element, attribute);
  const pugi::xml_node found = id.empty() ? document.onlyOne(target, attribute) : document.byId(target, id);
  if (!id.empty() && !found) {
    spectrum.warnings.push_back(std::string(attribute) + " points to '" + cleanText(id) +
                                "', which is not in the file");
  } else if (id.empty() && found) {
    spectrum.warnings.push_back("no " + std::string(attribute) + ": the file's only <" + std::string(target) +
                                "> is used");
  }
  return found;
}

/// <Calibration> elements of a 2006 spectrum: its own, then those that its attribute lists.
std::vector<pugi::xml_node> calibrations2006(const N42Document& document, const pugi::xml_node& element) {
  std::vector<pugi::xml_node> found;
  for (const pugi::xml_node& child : element.children()) {
    if (localName(child) == "Calibration" && found.size() < kMaxCoefficients) found.push_back(child);
  }
  std::string_view ids = attributeOf(element, "CalibrationIDs");
  while (!ids.empty() && found.size() < kMaxCoefficients) {
    const std::string_view id = ids.substr(0, ids.find_first_of(" \t\r\n"));
    if (const pugi::xml_node node = document.byId("Calibration", id)) found.push_back(node);
    ids = trimmed(ids.substr(id.size()));
  }
  return found;
}

}  // namespace

void readN42Calibrations(const N42Document& document, const pugi::xml_node& element, SpectrumData& spectrum) {
  std::vector<EnergyCandidate> candidates;
  for (const pugi::xml_node& node : calibrations2006(document, element)) {
    const std::string_view type = attributeOf(node, "Type");
    if (equalsIgnoringCase(type, "FWHM")) {
      if (spectrum.fwhm.empty()) readFwhm2006(document, node, spectrum);
    } else if (type.empty() || equalsIgnoringCase(type, "Energy")) {
      candidates.push_back(energyOf2006(document, node, spectrum));
    } else {
      spectrum.warnings.push_back("not carried: calibration of the type '" + cleanText(type) + "'");
    }
  }
  const auto energy = referred(document, element, "energyCalibrationReference", "EnergyCalibration", spectrum);
  if (energy) candidates.push_back(energyOf2012(document, energy, spectrum));
  chooseEnergyCalibration(candidates, spectrum);
  const auto fwhm = referred(document, element, "FWHMCalibrationReference", "FWHMCalibration", spectrum);
  if (fwhm && spectrum.fwhm.empty()) readFwhm2012(document, fwhm, spectrum);
}

}  // namespace orb::formats
