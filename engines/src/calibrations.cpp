#include "calibrations.h"

#include <limits>

#include "engine.h"

namespace orbengine {

bool hasResult(LONG status) {
  if (!AnaIsAnswer(status)) throw Failure(static_cast<ULONG>(status));
  return status == ANA_OK;
}

LineScale::LineScale(void* handle) {
  check(lGetEneq(handle, ANA_ENERGY, 1, &energy_));
  check(lGetEneq(handle, ANA_FWHM, 1, &fwhm_));
}

double LineScale::energy(double position) const {
  return rEval(static_cast<REAL>(position), &energy_);
}

double LineScale::position(double energy) const {
  double position = 0;
  const LONG status = lPEn2Chan(energy, &energy_, &position);
  return hasResult(status) ? position : std::numeric_limits<double>::quiet_NaN();
}

double LineScale::fwhm(double energy) const {
  return rEval(static_cast<REAL>(energy), &fwhm_);
}

std::optional<EfficiencyCurve> EfficiencyCurve::ofFile(void* handle) {
  EfficiencyCurve curve;
  const LONG status = lGetEfeq(handle, 1, &curve.equation_, &curve.n_points_, curve.energies_.data(),
                               curve.efficiencies_.data(), curve.uncertainties_.data());
  if (status == ANA_NOEFFICIENCY) return std::nullopt;
  check(status);
  return curve;
}

std::optional<EfficiencyValue> EfficiencyCurve::at(double energy) const {
  const auto at = static_cast<REAL>(energy);
  REAL value = 0;
  REAL relative_u = 0;
  if (!hasResult(lEffic(at, &equation_, n_points_, energies_.data(), efficiencies_.data(), &value)) ||
      !hasResult(lEffvar(at, value, &equation_, n_points_, energies_.data(), uncertainties_.data(), &relative_u)))
    return std::nullopt;
  const stEfRange_T& range = equation_.u.sRange;
  return EfficiencyValue{value, relative_u, energy < range.dLow || energy > range.dHigh};
}

}  // namespace orbengine
