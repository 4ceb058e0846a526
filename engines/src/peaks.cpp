#include "peaks.h"

#include <cmath>

namespace orbengine {

namespace {

constexpr int kMarkNotFitted = 128;  // of ORB_L_PKSTATUS

}  // namespace

std::vector<FittedPeak> readFittedPeaks(const File& file) {
  require(file.hasBlock(ORB_CLS_PEAKS), ENG_NOPEAKS);
  std::vector<FittedPeak> peaks;
  for (const USHORT record : file.eachRecord(ORB_CLS_PEAKS)) {
    const auto area = file.find(ORB_D_PKAREA, record);
    const auto energy = file.find(ORB_D_PKENERGY, record);
    const auto marks = static_cast<int>(file.number(ORB_L_PKSTATUS, 0, record));
    if (!area || !energy || (marks & kMarkNotFitted) != 0) continue;
    FittedPeak peak;
    peak.record = record;
    peak.energy = *energy;
    peak.area = *area - file.number(ORB_D_PKBKGAREA, 0, record);
    peak.area_u = std::hypot(file.number(ORB_D_PKAREAUNC, 0, record), file.number(ORB_D_PKBKGAREAUNC, 0, record));
    peak.fwhm = file.number(ORB_D_PKFWHM, 0, record);
    if (std::isfinite(peak.energy) && std::isfinite(peak.area) && std::isfinite(peak.area_u)) peaks.push_back(peak);
  }
  require(!peaks.empty() || file.records(ORB_CLS_PEAKS) == 0, ENG_NOPEAKS);
  return peaks;
}

double matchTolerance(const File& file, SettingOr keV, SettingOr in_fwhm, double fwhm) {
  const bool counts_fwhm = file.number(ORB_L_TOLMODE, 0) != 0;
  return counts_fwhm ? file.number(in_fwhm.code, in_fwhm.fallback) * fwhm : file.number(keV.code, keV.fallback);
}

}  // namespace orbengine
