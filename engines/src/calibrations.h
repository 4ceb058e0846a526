/// The calibrations of the open file as functions.
#pragma once
#include <array>
#include <optional>

#include "anautils.h"

namespace orbengine {

/// Whether a routine has a result, where the data may be such that it has none. Throws Failure when it could not do its
/// work: a calculation that had no memory says nothing of the data.
bool hasResult(LONG status);

/// Energy and FWHM. Throws Failure with the status of the routine (ANA_NOENERGYCAL, ANA_NOFWHMCAL, ANA_BADCAL).
class LineScale {
 public:
  explicit LineScale(void* handle);

  double energy(double position) const;  ///< [keV] of a position [channel]
  /// [channel] of an energy [keV]; not-a-number when no position has it
  double position(double energy) const;
  double fwhm(double energy) const;  ///< [keV]
  /// keV per channel at a position
  double slope(double position) const { return energy(position + 0.5) - energy(position - 0.5); }

 private:
  stAEncalEq_T energy_{};
  stAEncalEq_T fwhm_{};
};

struct EfficiencyValue {
  double value = 0;
  double relative_u = 0;
  bool is_extrapolated = false;  ///< the energy lies outside the calibrated range
};

/// The efficiency model that the file selects.
class EfficiencyCurve {
 public:
  /// Nothing when the file has no efficiency calibration of that model. Throws Failure for one that is broken.
  static std::optional<EfficiencyCurve> ofFile(void* handle);

  /// Nothing where the curve has no value.
  std::optional<EfficiencyValue> at(double energy) const;

 private:
  stEfEq_T equation_{};
  int n_points_ = 0;
  std::array<REAL, ANA_MAX_EFF_POINTS> energies_{};
  std::array<REAL, ANA_MAX_EFF_POINTS> efficiencies_{};
  std::array<REAL, ANA_MAX_EFF_POINTS> uncertainties_{};
};

}  // namespace orbengine
