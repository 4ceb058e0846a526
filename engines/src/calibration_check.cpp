// Engine "energy and shape check": whether the file's calibrations can carry an analysis. Writes nothing.
#include "calibrations.h"
#include "engine.h"

namespace orbengine {

namespace {

constexpr double kLeastFwhm_channels = 0.5;  // below, a line is one channel
constexpr int kPlaces = 64;                  // of the spectrum at which the FWHM is looked at

/// The equation of a kind; a missing and a broken one have statuses of their own.
stAEncalEq_T equationOf(const File& file, SHORT kind, LONG is_missing, ULONG missing, ULONG broken) {
  stAEncalEq_T equation;
  const LONG status = lGetEneq(file.handle(), kind, 1, &equation);
  require(status != is_missing, missing);
  require(status != ANA_BADCAL, broken);
  check(status);
  return equation;
}

void requireRisingEnergy(const stAEncalEq_T& energy, ULONG channels) {
  double below = rEval(1, &energy);
  for (ULONG channel = 2; channel <= channels; ++channel) {
    const double here = rEval(static_cast<REAL>(channel), &energy);
    require(std::isfinite(here) && here > below, ENG_BADENERGYCAL);
    below = here;
  }
  require(below > 0, ENG_BADENERGYCAL);
}

void requireUsableFwhm(const LineScale& scale, ULONG channels) {
  for (int i = 1; i <= kPlaces; ++i) {
    const double position = static_cast<double>(channels) * i / kPlaces;
    const double energy = scale.energy(position);
    if (energy <= 0) continue;
    const double width = scale.fwhm(energy) / scale.slope(position);
    require(width >= kLeastFwhm_channels && width <= static_cast<double>(channels) / 2, ENG_BADFWHMCAL);
  }
}

}  // namespace

}  // namespace orbengine

using namespace orbengine;

ORB_ENGINE RunCalibrationCheck(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {}, [](File& file) {
    const ULONG channels = file.countChannels();
    require(channels > 1, ENG_NOSPECTRUM);
    const stAEncalEq_T energy = equationOf(file, ANA_ENERGY, ANA_NOENERGYCAL, ENG_NOENERGYCAL, ENG_BADENERGYCAL);
    equationOf(file, ANA_FWHM, ANA_NOFWHMCAL, ENG_NOFWHMCAL, ENG_BADFWHMCAL);
    requireRisingEnergy(energy, channels);
    requireUsableFwhm(LineScale(file.handle()), channels);
  });
}
