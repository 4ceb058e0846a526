#pragma once
#include <vector>

#include "file_values.h"
#include "kernel/efficiency_fit.h"

/// Efficiency calibrations as they lie in an open file (docs/analysis.md).
namespace anautils {

/// The model that the file selects: an unmistakable beginning of one of its words, in any case.
/// Fails with ANA_UNKNOWNKIND, and with ANA_NOEFFICIENCY when the file selects none.
USHORT selectedModel(void* handle);

/// The relative uncertainty that the values of a model share; the peak-to-total curve has none.
/// Fails with ANA_BADSETTING.
double commonUncertainty(void* handle, USHORT model);

/// The points of a model's table that are not empty.
struct EfficiencyTable {
  Points all;
  std::vector<USHORT> records;
  Points used;  ///< those that were not taken out; at most ANA_MAX_EFF_POINTS
};

/// Fails with ANA_BADPOINT when one of the used points has a value that is not possible, and with ANA_TOOMANYPOINTS.
EfficiencyTable readEfficiencyPoints(void* handle, USHORT model);

/// The equation of a model. Fails with ANA_NOEFFICIENCY, ANA_BADCAL, ANA_BADSETTING.
stEfEq_T readEfficiencyEquation(void* handle, USHORT model);

/// Settings of a fit. Fails with ANA_BADSETTING.
EfficiencySettings readEfficiencySettings(void* handle, USHORT model);

/// Adds equation, chi-squares, range and time of a fit to what is to be written.
void addEfficiencyFit(PendingWrites& results, const EfficiencyFit& fit);

/// Adds the residuals of the points, in units of their uncertainties.
void addEfficiencyResiduals(PendingWrites& results, const EfficiencyFit& fit, const EfficiencyTable& table);

}  // namespace anautils
