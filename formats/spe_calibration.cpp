#include <algorithm>
#include <cmath>

#include "calibration_choice.h"
#include "number_scan.h"
#include "spe_sections.h"
#include "text.h"

namespace orb::formats {
namespace {

// In order of trust: the section with the most terms and a unit first, whole-number tables last.
constexpr std::string_view kMcaCal = "$MCA_CAL";
constexpr std::string_view kEnerFit = "$ENER_FIT";
constexpr std::string_view kEnerData = "$ENER_DATA";
constexpr std::string_view kEnerTable = "$ENER_TABLE";
constexpr std::string_view kShapeCal = "$SHAPE_CAL";

const char* contentOf(const SpeSection& section) {
  return skipBlanks(section.body.data(), section.body.data() + section.body.size());
}

/// The first number of a section tells how many things follow.
std::size_t takeSize(const Source& source, const SpeSection& section, std::vector<double>& numbers,
                     std::size_t largest) {
  if (numbers.empty() || numbers[0] < 0 || numbers[0] > static_cast<double>(largest) ||
      numbers[0] != std::floor(numbers[0])) {
    source.fail(contentOf(section), section.name + " does not begin with the number of its entries");
  }
  const auto size = static_cast<std::size_t>(numbers[0]);
  numbers.erase(numbers.begin());
  return size;
}

/// The word behind the coefficients, if there is one.
std::string unitAt(const Source& source, std::string_view rest) {
  const std::string_view word = rest.substr(0, rest.find_first_of(" \t\r\n"));
  if (!word.empty() && !isWord(word)) {
    source.fail(word.data(), quotedAt(word.data(), word.data() + word.size()) + " is neither a coefficient nor a unit");
  }
  return std::string(word);
}

/// "3", the coefficients, and perhaps a unit.
std::vector<double> countedCoefficients(const Source& source, const SpeSection& section, std::string& unit) {
  auto [numbers, rest, digits] = numbersOf(section.body);
  const std::size_t n = takeSize(source, section, numbers, kMaxCoefficients);
  if (numbers.size() < n) {
    source.fail(contentOf(section), section.name + " announces " + std::to_string(n) + " coefficients and holds " +
                                        std::to_string(numbers.size()));
  }
  numbers.resize(n);
  unit = unitAt(source, rest);
  return numbers;
}

/// Coefficients alone. Files with more terms than two write them here as well.
std::vector<double> bareCoefficients(const Source& source, const SpeSection& section, std::string& unit) {
  auto [numbers, rest, digits] = numbersOf(section.body);
  if (numbers.size() > kMaxCoefficients) {
    source.fail(contentOf(section),
                section.name + " holds more than " + std::to_string(kMaxCoefficients) + " coefficients");
  }
  if (numbers.empty() && !rest.empty()) source.fail(rest.data(), section.name + " does not begin with a number");
  unit = unitAt(source, rest);
  return numbers;
}

/// The number of rows, then rows "channel energy".
std::vector<CalibrationPoint> rows(const Source& source, const SpeSection& section) {
  std::vector<double> numbers = numbersOf(section.body).values;
  const std::size_t n = takeSize(source, section, numbers, kMaxChannels);
  if (numbers.size() < 2 * n) {
    source.fail(contentOf(section), section.name + " announces " + std::to_string(n) + " rows and holds " +
                                        std::to_string(numbers.size() / 2));
  }
  std::vector<CalibrationPoint> points(n);
  for (std::size_t i = 0; i < n; ++i) {
    points[i] = {numbers[2 * i], numbers[2 * i + 1]};
    if (i > 0 && points[i].x <= points[i - 1].x) {
      source.fail(contentOf(section), section.name + ": channels do not rise in row " + std::to_string(i + 1));
    }
  }
  return points;
}

}  // namespace

bool isCalibrationSection(std::string_view name) {
  return name == kMcaCal || name == kEnerFit || name == kEnerData || name == kEnerTable || name == kShapeCal;
}

void readSpeCalibrations(const Source& source, const std::vector<SpeSection>& sections, SpectrumData& spectrum) {
  std::vector<EnergyCandidate> candidates;
  for (const std::string_view name : {kMcaCal, kEnerFit, kEnerData, kEnerTable}) {
    const SpeSection* const section = findSection(sections, name);
    if (section == nullptr || trimmed(section->body).empty()) continue;
    EnergyCalibration calibration;
    if (name == kMcaCal) {
      calibration.coefficients = countedCoefficients(source, *section, calibration.unit);
    } else if (name == kEnerFit) {
      calibration.coefficients = bareCoefficients(source, *section, calibration.unit);
    } else {
      calibration.points = rows(source, *section);
    }
    toKeV(calibration, spectrum.warnings);
    candidates.push_back({section->name, std::move(calibration)});
  }
  chooseEnergyCalibration(candidates, spectrum);

  const SpeSection* const shape = findSection(sections, kShapeCal);
  if (shape == nullptr || trimmed(shape->body).empty()) return;
  FwhmCalibration fwhm;  // in channels over the channel
  std::string unit;
  fwhm.coefficients = countedCoefficients(source, *shape, unit);
  if (equalsIgnoringCase(unit, "keV")) fwhm.width = Quantity::kEnergy;
  setFwhmCalibration(kShapeCal, std::move(fwhm), spectrum);
}

}  // namespace orb::formats
