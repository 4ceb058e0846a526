/// The spectrum under the lines of a library: what could be seen at an energy.
#pragma once
#include <vector>

#include "calibrations.h"
#include "engine.h"

namespace orbengine {

class SpectrumView {
 public:
  SpectrumView(const File& file, const LineScale& scale);

  /// Net area that a line at the energy would need to be recognised [counts], by Currie (1968) with the quantile of the
  /// file's error probability and all counts within 1.25 FWHM, those of other lines too. Infinite outside the channels
  /// that are searched.
  double detectionLimit(double energy) const;

  /// Shape of the full-energy peak efficiency of an uncalibrated detector, of no meaning as a value: falling with the
  /// energy, and lost towards low ones in window and dead layer. Good to about 30 % in ratios.
  double typicalEfficiency(double energy) const;

  bool isScintillator() const { return is_scintillator_; }

  /// Quantile of the normal distribution that belongs to the file's error probability.
  double quantile() const { return quantile_; }

 private:
  const LineScale& scale_;
  std::vector<float> counts_;
  int first_ = 1;  // channels that are searched
  int last_ = 1;
  double lowest_keV_ = 0;
  double quantile_ = 1.645;
  bool is_scintillator_ = false;
};

}  // namespace orbengine
