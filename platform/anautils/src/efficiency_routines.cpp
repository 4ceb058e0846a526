#include <cmath>

#include "anautils.h"
#include "efficiency_file.h"
#include "guard.h"
#include "kernel/efficiency.h"

namespace anautils {

namespace {

void checkArguments(REAL energy, const stEfEq_T* equation, int n_points, const REAL* energies, const REAL* values,
                    const REAL* result) {
  require(equation != nullptr && result != nullptr && n_points >= 0 && n_points <= ANA_MAX_EFF_POINTS, ANA_BADARG);
  require(n_points == 0 || (energies != nullptr && values != nullptr), ANA_BADARG);
  require(std::isfinite(energy) && energy > 0, ANA_BADENERGY);
  require(equation->usType != 0, ANA_NOEFFICIENCY);
}

InterpolationPoints pointsOf(int n_points, const REAL* energies, const REAL* values) {
  const auto n = static_cast<std::size_t>(n_points);
  return {{energies, n}, {values, n}};
}

}  // namespace

}  // namespace anautils

using namespace anautils;

LONG lGetEfeq(void* handle, SHORT set, stEfEq_T* equation, int* n_points, REAL* energies, REAL* efficiencies,
              REAL* uncertainties) {
  return guarded([&] {
    require(set == 1 && equation != nullptr && n_points != nullptr && energies != nullptr && efficiencies != nullptr &&
                uncertainties != nullptr,
            ANA_BADARG);
    const USHORT model = selectedModel(handle);
    const Points used = readEfficiencyPoints(handle, model).used;
    const Points points = model == ANA_EFF_INTERPOLATED ? interpolationPoints(used) : sortedByEnergy(used);
    stEfEq_T found = readEfficiencyEquation(handle, model);
    if (model == ANA_EFF_INTERPOLATED) {
      require(points.size() > 0, ANA_NOEFFICIENCY);
      require(points.size() > 1, ANA_TOOFEWPOINTS);
      found.u.sRange.dLow = points.x.front();  // it holds where its points are, fitted or not
      found.u.sRange.dHigh = points.x.back();
    }
    *equation = found;
    *n_points = static_cast<int>(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
      energies[i] = static_cast<REAL>(points.x[i]);
      efficiencies[i] = static_cast<REAL>(points.y[i]);
      uncertainties[i] = static_cast<REAL>(points.u[i] / points.y[i]);
    }
  });
}

LONG lEffic(REAL energy, const stEfEq_T* equation, int n_points, const REAL* energies, const REAL* efficiencies,
            REAL* efficiency) {
  return guarded([&] {
    checkArguments(energy, equation, n_points, energies, efficiencies, efficiency);
    const auto result = static_cast<REAL>(efficiencyAt(*equation, energy, pointsOf(n_points, energies, efficiencies)));
    require(std::isfinite(result) && result > 0, ANA_BADCAL);
    *efficiency = result;
  });
}

LONG lEffvar(REAL energy, REAL /*efficiency*/, const stEfEq_T* equation, int n_points, const REAL* energies,
             const REAL* uncertainties, REAL* relative_uncertainty) {
  return guarded([&] {
    checkArguments(energy, equation, n_points, energies, uncertainties, relative_uncertainty);
    const auto result =
        static_cast<REAL>(relativeUncertaintyAt(*equation, energy, pointsOf(n_points, energies, uncertainties)));
    require(std::isfinite(result), ANA_BADCAL);
    *relative_uncertainty = result;
  });
}

LONG lEfcal(void* handle, SHORT set, void* reserved1, void* reserved2) {
  return guarded([&] {
    require(set == 1 && reserved1 == nullptr && reserved2 == nullptr, ANA_BADARG);
    const USHORT model = selectedModel(handle);
    const EfficiencyTable table = readEfficiencyPoints(handle, model);
    const EfficiencyFit fit = fitEfficiency(model, table.used, readEfficiencySettings(handle, model));
    PendingWrites results;
    addEfficiencyFit(results, fit);
    addEfficiencyResiduals(results, fit, table);
    results.commit(handle);
  });
}
