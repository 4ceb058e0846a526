#include "calibration_doubts.h"

#include <algorithm>
#include <cmath>

#include "blocks.h"
#include "comdefs.h"
#include "failure.h"
#include "orbparams.h"
#include "value_text.h"

namespace com::norvale::measurement {

namespace {

constexpr double kFromHere_keV = 100;   // lines below decide over no width equation
constexpr double kOff_fwhm = 0.25;      // of a line that does not lie on the energy equation
constexpr double kMoved_fwhm = 2;       // of energies that another source may explain better
constexpr double kOffEfficiency = 0.1;  // relative

/// 0: the file does not tell.
double channelsOf(const FileAccess& file) {
  return findNumber(file, ORB_L_CHANNELS).value_or(0);
}

/// The point for which a measure is greatest, and the measure.
template <typename Measure>
std::pair<const GivenPoint*, double> worst(const std::vector<GivenPoint>& points, const Measure& measure) {
  std::pair<const GivenPoint*, double> result{nullptr, 0};
  for (const GivenPoint& point : points)
    if (const double m = measure(point); m > result.second) result = {&point, m};
  return result;
}

void noteEnergies(const FileAccess& file, const CalibrationTable& table, const std::optional<EnergyCalibration>& former,
                  bool is_found, const Note& note) {
  const auto energy = readEnergyCalibration(file);
  const auto fwhm = readFwhmCalibration(file);
  if (!energy || !fwhm) return;
  const auto off = [&](const EnergyCalibration& equation) {
    return worst(table.energy, [&](const GivenPoint& point) {
      return std::abs(equation.energy_keV(point.x) - point.value) / fwhm->fwhm_keV(point.value);
    });
  };
  if (const auto [point, widths] = off(*energy); widths > kOff_fwhm)
    note("the point at " + roundedText(point->value, 6) + " keV lies " + roundedText(widths, 2) +
         " FWHM off the energy equation");
  if (!is_found || !former || former->is_default) return;
  if (const auto [point, widths] = off(*former); widths > kMoved_fwhm)
    note("the former equation has the line of " + roundedText(point->value, 6) + " keV at " +
         roundedText(former->energy_keV(point->x), 6) + " keV; is the spectrum of this source?");
}

void noteEfficiency(FileAccess& file, const CalibrationTable& table, const Note& note) {
  const auto [point, off] = worst(table.efficiency, [&](const GivenPoint& p) {
    try {
      const auto fitted = file.evaluate(com::norvale::orb::ENERGY2DEFAULTEFF, static_cast<float>(p.x), false);
      return std::abs(static_cast<double>(fitted.value) / p.value - 1);
    } catch (const unsigned int status) {  // outside what the model can tell
      requireAnswer(status, file.name(), "cannot evaluate the efficiency");
      return 0.0;
    }
  });
  if (off > kOffEfficiency)
    note("the efficiency at " + roundedText(point->x, 6) + " keV lies " + roundedText(100 * off, 2) +
         " % off the fitted curve");
}

}  // namespace

void requireChannels(const FileAccess& file, const CalibrationTable& table) {
  const double channels = channelsOf(file);
  for (const GivenPoint& point : table.energy)
    if (channels > 0 && (point.x < 0 || point.x > channels + 1))
      throw Failure(file.name(), "channel " + roundedText(point.x, 9) + " of an energy point lies outside the " +
                                     roundedText(channels, 9) + " channels");
}

void requireWidths(const FileAccess& file) {
  const auto energy = readEnergyCalibration(file);
  const auto fwhm = readFwhmCalibration(file);
  if (!energy || !fwhm) return;
  for (const double e : {std::max(kFromHere_keV, energy->energy_keV(1)), energy->energy_keV(channelsOf(file))})
    if (e >= kFromHere_keV && !(fwhm->fwhm_keV(e) > 0))
      throw Failure(file.name(), "the FWHM equation is not positive at " + roundedText(e, 5) + " keV");
}

void noteDoubts(FileAccess& file, const CalibrationTable& table, const std::optional<EnergyCalibration>& former,
                bool is_found, const Note& note) {
  noteEnergies(file, table, former, is_found, note);
  if (!table.efficiency.empty()) noteEfficiency(file, table, note);
  if (hasBlock(listBlocks(file), ORB_CLS_NUCRESULTS))
    note("the peaks and nuclides in the file are those of the former calibrations; orb analyze makes them anew");
}

}  // namespace com::norvale::measurement
