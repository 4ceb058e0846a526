// Engine "efficiency correction": efficiency and emission rate of every fitted line, after the lines of a background
// measurement were taken off. Without an efficiency calibration it does the latter alone.
#include <cmath>
#include <limits>

#include "calibrations.h"
#include "peaks.h"

namespace orbengine {

namespace {

/// The fitted lines and live time of the background measurement.
struct Background {
  std::vector<FittedPeak> peaks;
  double live_s = 0;
};

bool isTime(double seconds) {
  return std::isfinite(seconds) && seconds > 0;
}

/// Nothing when the settings name no background or want gross areas. Throws Failure(ENG_BADSETTING) when one of the two
/// live times, which scale it, is not usable.
std::optional<Background> readBackground(const File& file) {
  const std::string path = file.text(ORB_T_BKGFILE);
  if (path.empty() || file.text(ORB_T_AREAKIND) == "Gross") return std::nullopt;
  const OtherFile background(path);
  Background found{readFittedPeaks(background.values()), background.values().number(ORB_D_LIVETIME, 0)};
  require(isTime(found.live_s) && isTime(file.number(ORB_D_LIVETIME, 0)), ENG_BADSETTING);
  return found;
}

/// The record of the fitted peak nearest to each background line, which belongs to that one alone; 0: none is near
/// enough.
std::vector<USHORT> ownersOf(const File& file, const Background& background) {
  std::vector<USHORT> owners(background.peaks.size(), 0);
  const std::vector<FittedPeak> peaks = readFittedPeaks(file);
  for (std::size_t i = 0; i < owners.size(); ++i) {
    double least = std::numeric_limits<double>::infinity();
    for (const FittedPeak& peak : peaks) {
      const double distance = std::abs(peak.energy - background.peaks[i].energy);
      const double tolerance = matchTolerance(file, {ORB_D_BKGTOLKEV, 1}, {ORB_D_BKGTOLFWHM, 0.5}, peak.fwhm);
      if (distance >= least || distance > tolerance) continue;
      least = distance;
      owners[i] = peak.record;
    }
  }
  return owners;
}

/// Counts of the background in each line, scaled to the live time of the file.
void subtractBackground(File& file, const Background& background) {
  const double scale = file.number(ORB_D_LIVETIME, 0) / background.live_s;
  const std::vector<USHORT> owners = ownersOf(file, background);
  for (const USHORT record : file.eachRecord(ORB_CLS_PEAKS)) {
    double area = 0;
    double variance = 0;
    for (std::size_t i = 0; i < owners.size(); ++i) {
      if (owners[i] != record) continue;
      area += background.peaks[i].area;
      variance += background.peaks[i].area_u * background.peaks[i].area_u;
    }
    file.set(ORB_D_PKBKGAREA, area * scale, record);
    file.set(ORB_D_PKBKGAREAUNC, std::sqrt(variance) * scale, record);
  }
}

void correct(File& file, const EfficiencyCurve& curve) {
  const double live_s = file.number(ORB_D_LIVETIME, 0);
  for (const FittedPeak& peak : readFittedPeaks(file)) {
    const auto efficiency = curve.at(peak.energy);
    if (!efficiency) continue;
    file.set(ORB_D_PKEFF, efficiency->value, peak.record);
    file.set(ORB_D_PKEFFUNC, efficiency->value * efficiency->relative_u, peak.record);
    if (!(live_s > 0)) continue;
    const double per_count = 1 / (efficiency->value * live_s);
    file.set(ORB_D_PKEMISSION, peak.area * per_count, peak.record);
    file.set(ORB_D_PKEMISSIONUNC, std::hypot(peak.area_u, peak.area * efficiency->relative_u) * per_count, peak.record);
  }
}

/// What a former run with other settings left would be taken for the results of this one.
void clearFormer(File& file) {
  for (const USHORT record : file.eachRecord(ORB_CLS_PEAKS))
    for (const ULONG code :
         {ORB_D_PKEFF, ORB_D_PKEFFUNC, ORB_D_PKEMISSION, ORB_D_PKEMISSIONUNC, ORB_D_PKBKGAREA, ORB_D_PKBKGAREAUNC})
      if (file.find(code, record)) file.set(code, 0, record);
}

}  // namespace

}  // namespace orbengine

using namespace orbengine;

ORB_ENGINE RunEfficiencyCorrection(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_PEAKS}, [](File& file) {
    readFittedPeaks(file);  // refuses a file without peak results
    clearFormer(file);
    if (const auto background = readBackground(file)) subtractBackground(file, *background);
    if (const auto curve = EfficiencyCurve::ofFile(file.handle())) correct(file, *curve);
    file.stampAt(ORB_T_PKEFFENGINE, "efficiency correction", ENGINE_VERSION,
                 {ORB_T_EFFMODEL, ORB_T_BKGFILE, ORB_T_AREAKIND, ORB_L_TOLMODE, ORB_D_BKGTOLKEV, ORB_D_BKGTOLFWHM});
  });
}
