#pragma once
#include "aioproto.h"
#include "kernel/points.h"

namespace anautils {

/// What a fit of an efficiency model is asked for. Numbers of terms fall when there are fewer different energies.
struct EfficiencySettings {
  int low_terms = 2;      ///< dual, below the crossover
  int high_terms = 4;     ///< dual, above the crossover
  double crossover = 0;   ///< dual [keV]; 0: the high polynomial serves all energies
  bool joined = true;     ///< dual: both polynomials have one value at the crossover
  int terms = 3;          ///< empirical and peak-to-total
  double scale = 0;       ///< empirical [keV]; 0: the geometric middle of the points
  double common_unc = 0;  ///< relative
};

struct EfficiencyFit {
  stEfEq_T equation{};
  double reduced_chi2 = 0;      ///< dual: above the crossover; joined: of both sides together
  double reduced_chi2_low = 0;  ///< dual: below the crossover
  double jump = 0;              ///< dual: relative jump at the crossover, high side against low side
};

/// Fits an efficiency model (AnaEfficiencyModel) to points: energies [keV], efficiencies, absolute uncertainties.
/// Polynomials are fitted to ln(efficiency) with the relative uncertainties. Points at the crossover serve both sides.
/// The average is weighted, its uncertainty the larger of the internal and the external one (Birge 1932).
/// Interpolation takes nothing from the points but their range.
/// Fails with ANA_TOOFEWPOINTS, ANA_EQUALPOINTS, ANA_SINGULAR, ANA_UNKNOWNKIND.
EfficiencyFit fitEfficiency(USHORT model, const Points& points, const EfficiencySettings& settings);

/// The points in order of energy.
Points sortedByEnergy(const Points& points);

/// The points between which an interpolation runs: in order of energy, energies in single precision, those of equal
/// energy replaced by their average.
Points interpolationPoints(const Points& points);

}  // namespace anautils
