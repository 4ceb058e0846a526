// Engine "efficiency correction": efficiency and emission rate of every fitted line, after the lines of a background
// measurement were taken off. Without an efficiency calibration it does the latter alone.
#include "calibrations.h"
#include "peaks.h"

namespace orbengine {

namespace {

constexpr ULONG kAreaKind = 0x20030027;
constexpr ULONG kBackgroundFile = 0x20030060;
constexpr ULONG kToleranceInFwhm = 0x20030050;
constexpr ULONG kBackgroundTolerance_keV = 0x20030056;
constexpr ULONG kBackgroundTolerance_fwhm = 0x20030058;
constexpr ULONG kLiveTime = 0x20000005;

/// The fitted lines and live time of the background measurement.
struct Background {
  std::vector<FittedPeak> peaks;
  double live_s = 0;
};

/// Nothing when the settings name no background or want gross areas.
std::optional<Background> readBackground(const File& file) {
  const std::string path = file.text(kBackgroundFile);
  if (path.empty() || file.text(kAreaKind) == "Gross") return std::nullopt;
  void* handle = nullptr;
  check(AioOpen2(&handle, path.c_str(), AIO_READ_ONLY, 0, 0));
  struct Closer {
    void* handle;
    ~Closer() { AioClose2(handle, AIO_CLOSE_NOFLUSH); }
  } const closer{handle};
  const File background(handle, 0);
  Background found{readFittedPeaks(background), background.number(kLiveTime, 0)};
  require(found.live_s > 0, ENG_BADSETTING);
  return found;
}

double toleranceAt(const File& file, double fwhm) {
  const bool in_fwhm = file.number(kToleranceInFwhm, 0) != 0;
  return in_fwhm ? file.number(kBackgroundTolerance_fwhm, 0.5) * fwhm : file.number(kBackgroundTolerance_keV, 1);
}

const FittedPeak* nearest(const std::vector<FittedPeak>& peaks, double energy, double tolerance) {
  const FittedPeak* found = nullptr;
  for (const FittedPeak& peak : peaks) {
    const double distance = std::abs(peak.energy - energy);
    if (distance > tolerance) continue;
    tolerance = distance;
    found = &peak;
  }
  return found;
}

/// Counts of the background in each line, scaled to the live time of the file.
void subtractBackground(File& file, const Background& background) {
  const double live_s = file.number(kLiveTime, 0);
  const USHORT records = file.records(ORB_CLS_PEAKS);
  for (unsigned i = 1; i <= records; ++i) {
    const auto record = static_cast<USHORT>(i);
    const auto energy = file.find(0x20060007, record);
    if (!energy) continue;
    const double tolerance = toleranceAt(file, file.number(0x20060024, 0, record));
    const FittedPeak* const line = nearest(background.peaks, *energy, tolerance);
    const double scale = live_s / background.live_s;
    file.set(0x20060054, line != nullptr ? line->area * scale : 0, record);
    file.set(0x20060055, line != nullptr ? line->area_u * scale : 0, record);
  }
}

void correct(File& file, const EfficiencyCurve& curve) {
  const double live_s = file.number(kLiveTime, 0);
  for (const FittedPeak& peak : readFittedPeaks(file)) {
    const auto efficiency = curve.at(peak.energy);
    if (!efficiency) continue;
    file.set(0x20060050, efficiency->value, peak.record);
    file.set(0x20060051, efficiency->value * efficiency->relative_u, peak.record);
    if (!(live_s > 0)) continue;
    const double per_count = 1 / (efficiency->value * live_s);
    file.set(0x20060052, peak.area * per_count, peak.record);
    file.set(0x20060053, std::hypot(peak.area_u, peak.area * efficiency->relative_u) * per_count, peak.record);
  }
}

}  // namespace

}  // namespace orbengine

using namespace orbengine;

ORB_ENGINE RunEfficiencyCorrection(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_PEAKS}, [](File& file) {
    readFittedPeaks(file);  // refuses a file without peak results
    if (const auto background = readBackground(file)) subtractBackground(file, *background);
    if (const auto curve = EfficiencyCurve::ofFile(file.handle())) correct(file, *curve);
  });
}
