#pragma once
#include <array>
#include <optional>
#include <vector>

#include "aioproto.h"

namespace anautils {

/// What a file's calibrations say about a line at a position. Positions in channels, from 1.
class LineCalibration {
 public:
  /// A file without an energy calibration has no widths either. Throws Failure: ANA_BADCAL for a calibration that is
  /// there and not usable.
  static LineCalibration ofFile(void* handle);

  bool hasEnergy() const { return has_energy_; }
  bool hasFwhm() const { return fwhm_.has_value(); }
  bool hasTail() const { return tail_.has_value(); }

  double energy(double position) const;     ///< [keV]
  double slope(double position) const;      ///< [keV/channel]
  double energyUnc(double position) const;  ///< the calibration's part of the uncertainty [keV]
  double fwhm(double position) const;       ///< [channels]; needs hasFwhm()
  double tail(double position) const;       ///< [channels]; 0 for none, also without a calibration

  /// FWHM at each of the channels 1 to n [channels]. Throws Failure(ANA_BADCAL) where it is not positive or above the
  /// number of channels.
  std::vector<double> widths(std::size_t n) const;

 private:
  bool has_energy_ = false;
  std::array<double, ANA_MAX_COEFFICIENTS> coefficients_{};
  std::array<double, 10> covariance_{};  // upper triangle of four terms
  std::optional<stAEncalEq_T> fwhm_;
  std::optional<stAEncalEq_T> tail_;
};

}  // namespace anautils
