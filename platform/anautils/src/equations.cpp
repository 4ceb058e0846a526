#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "anautils.h"
#include "file_values.h"
#include "guard.h"
#include "kernel/polynomial.h"

namespace anautils {

namespace {

constexpr REAL kNotANumber = std::numeric_limits<REAL>::quiet_NaN();

std::span<const REAL> coefficientsOf(const stAEncalEq_T& equation) {
  return {equation.rCoeff, equation.ulNofC};
}

/// Whether the equation has a known type and coefficients that are finite.
bool isUsable(const stAEncalEq_T& equation) {
  const bool is_sqrt = equation.usType == ANA_EQ_SQRT;
  if (!is_sqrt && equation.usType != ANA_EQ_POLYNOMIAL) return false;
  if (equation.ulNofC < (is_sqrt ? 2u : 1u) || equation.ulNofC > (is_sqrt ? 2u : ANA_MAX_COEFFICIENTS)) return false;
  for (const REAL c : coefficientsOf(equation))
    if (!std::isfinite(c)) return false;
  return equation.fLowBound == 0 || std::isfinite(equation.rLowBound);
}

stAEncalEq_T equationOf(USHORT type, std::span<const double> coefficients) {
  stAEncalEq_T equation{};
  equation.usType = type;
  equation.ulNofC = static_cast<ULONG>(coefficients.size());
  for (std::size_t i = 0; i < coefficients.size(); ++i) equation.rCoeff[i] = static_cast<REAL>(coefficients[i]);
  require(isUsable(equation), ANA_BADCAL);
  return equation;
}

void setLowBound(stAEncalEq_T& equation, double bound) {
  equation.rLowBound = static_cast<REAL>(bound);
  equation.fLowBound = 1;
  require(std::isfinite(equation.rLowBound), ANA_BADCAL);
}

/// All six coefficients count, whatever number of terms a fit was asked for. No lower bound: the equation goes on
/// beyond both ends of the spectrum.
stAEncalEq_T energyEquation(void* handle) {
  std::array<double, ANA_MAX_COEFFICIENTS> coefficients;
  readArray(handle, ORB_D_ECALOFFSET, coefficients);
  require(coefficients[1] != 0, ANA_NOENERGYCAL);
  std::size_t n = coefficients.size();
  while (coefficients[n - 1] == 0) --n;  // ends at the gain
  return equationOf(ANA_EQ_POLYNOMIAL, std::span(coefficients).first(n));
}

/// The bound keeps the width positive: with a negative offset a (scintillators) it lies where the curve is |a|/10.
stAEncalEq_T fwhmEquation(void* handle) {
  const double a = readDouble(handle, ORB_D_FWHMOFF, 0.0);
  const double b = readDouble(handle, ORB_D_FWHMSLOPE, 0.0);
  require(a != 0 || b != 0, ANA_NOFWHMCAL);
  require(b > 0, ANA_BADCAL);
  stAEncalEq_T equation = equationOf(ANA_EQ_SQRT, std::array{a, b});
  setLowBound(equation, a < 0 ? std::pow(-1.1 * a / b, 2) : 0.0);
  return equation;
}

/// A rising equation is not followed to where it becomes negative. A falling one is: 0 or less means no tail.
stAEncalEq_T tailEquation(void* handle) {
  const double a = readDouble(handle, ORB_D_TAILOFF, 0.0);
  const double b = readDouble(handle, ORB_D_TAILSLOPE, 0.0);
  require(a != 0 || b != 0, ANA_NOTAILCAL);
  stAEncalEq_T equation = equationOf(ANA_EQ_POLYNOMIAL, std::array{a, b});
  setLowBound(equation, a < 0 && b > 0 ? -a / b : 0.0);
  return equation;
}

stAEncalEq_T equationOfKind(void* handle, SHORT kind) {
  switch (kind) {
    case ANA_ENERGY:
      return energyEquation(handle);
    case ANA_FWHM:
      return fwhmEquation(handle);
    case ANA_LOWTAIL:
      return tailEquation(handle);
    default:
      throw Failure(ANA_UNKNOWNKIND);
  }
}

}  // namespace

}  // namespace anautils

using namespace anautils;

LONG lGetEneq(void* handle, SHORT kind, SHORT set, stAEncalEq_T* equation) {
  return guarded([&] {
    require(set == 1 && equation != nullptr, ANA_BADARG);
    *equation = equationOfKind(handle, kind);
  });
}

REAL rEval(REAL argument, const stAEncalEq_T* equation) {
  if (equation == nullptr || !isUsable(*equation) || !std::isfinite(argument)) return kNotANumber;
  double x = argument;
  if (equation->fLowBound != 0 && x < equation->rLowBound) x = equation->rLowBound;
  if (equation->usType == ANA_EQ_SQRT) x = std::sqrt(x);
  double value = 0;
  for (ULONG i = equation->ulNofC; i-- > 0;) value = value * x + equation->rCoeff[i];
  return static_cast<REAL>(value);
}

LONG lPEn2Chan(DOUBLE energy, const stAEncalEq_T* equation, DOUBLE* position) {
  return guarded([&] {
    require(equation != nullptr && position != nullptr && std::isfinite(energy), ANA_BADARG);
    require(equation->usType == ANA_EQ_POLYNOMIAL && isUsable(*equation), ANA_BADCAL);
    const bool is_bound = equation->fLowBound != 0;
    const double low = is_bound ? equation->rLowBound : 0.0;
    std::array<double, ANA_MAX_COEFFICIENTS> coefficients{};
    std::copy_n(equation->rCoeff, equation->ulNofC, coefficients.begin());
    const auto root = risingRoot(std::span(coefficients).first(equation->ulNofC), energy, low, is_bound);
    require(root.has_value(), ANA_NOROOT);
    *position = *root;
  });
}

REAL rPEn2Chan(REAL energy, const stAEncalEq_T* equation) {
  DOUBLE position = 0;
  return lPEn2Chan(energy, equation, &position) == ANA_OK ? static_cast<REAL>(position) : kNotANumber;
}
