#include "spectrum_view.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "normal_distribution.h"

namespace orbengine {

namespace {

constexpr double kReference_keV = 661.66;
constexpr double kScintillatorFwhm_keV = 12;  // at the reference; a semiconductor stays below, a scintillator above
constexpr double kWindow_fwhm = 1.25;         // to both sides

}  // namespace

SpectrumView::SpectrumView(const File& file, const LineScale& scale) : scale_(scale), counts_(file.spectrum()) {
  const auto channels = static_cast<double>(counts_.size());
  first_ = static_cast<int>(std::clamp(file.number(ORB_L_LOCFIRST, 1), 1.0, channels));
  last_ = static_cast<int>(std::clamp(file.number(ORB_L_LOCLAST, channels), 1.0, channels));
  lowest_keV_ = file.number(ORB_D_LOCELOW, 0);
  const double error_percent = file.number(ORB_F_ERRORPROB, 5);
  require(error_percent > 0 && error_percent < 50, ENG_BADSETTING);
  quantile_ = com::norvale::datatypes::normalQuantile(1 - error_percent / 100);
  is_scintillator_ = scale.fwhm(kReference_keV) > kScintillatorFwhm_keV;
}

double SpectrumView::detectionLimit(double energy) const {
  constexpr double kNever = std::numeric_limits<double>::infinity();
  const double position = scale_.position(energy);
  if (!(position >= first_ && position <= last_) || energy < lowest_keV_) return kNever;
  const double half_width = kWindow_fwhm * scale_.fwhm(energy) / scale_.slope(position);
  if (!std::isfinite(half_width) || half_width <= 0) return kNever;
  const auto from = static_cast<std::size_t>(std::max<double>(first_, std::ceil(position - half_width)));
  const auto to = static_cast<std::size_t>(std::min<double>(last_, std::floor(position + half_width)));
  double counts = 0;
  for (std::size_t channel = from; channel <= to; ++channel) counts += counts_[channel - 1];
  return quantile_ * quantile_ + 2 * quantile_ * std::sqrt(2 * std::max(0.0, counts));
}

double SpectrumView::typicalEfficiency(double energy) const {
  const double falling =
      is_scintillator_ ? 1 / (1 + std::pow(energy / 250, 1.2)) : 1 / (1 + std::pow(energy / 150, 0.95));
  const double entering = std::exp(-std::pow((is_scintillator_ ? 30.0 : 45.0) / energy, 2.5));
  return falling * entering;
}

}  // namespace orbengine
