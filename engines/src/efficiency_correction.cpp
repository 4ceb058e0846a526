// Engine "efficiency correction": efficiency and emission rate of every fitted line, after the lines of a background
// measurement were taken off. Without an efficiency calibration it does the latter alone.
#include <cmath>
#include <limits>

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

/// The record of the peak nearest to each background line, which belongs to that one alone; 0: none is near enough.
std::vector<USHORT> ownersOf(const File& file, const Background& background) {
  std::vector<USHORT> owners(background.peaks.size(), 0);
  const USHORT records = file.records(ORB_CLS_PEAKS);
  for (std::size_t i = 0; i < owners.size(); ++i) {
    double least = std::numeric_limits<double>::infinity();
    for (unsigned r = 1; r <= records; ++r) {
      const auto record = static_cast<USHORT>(r);
      const auto energy = file.find(0x20060007, record);
      const double distance = energy ? std::abs(*energy - background.peaks[i].energy) : least;
      if (distance >= least || distance > toleranceAt(file, file.number(0x20060024, 0, record))) continue;
      least = distance;
      owners[i] = record;
    }
  }
  return owners;
}

/// Counts of the background in each line, scaled to the live time of the file.
void subtractBackground(File& file, const Background& background) {
  const double scale = file.number(kLiveTime, 0) / background.live_s;
  const std::vector<USHORT> owners = ownersOf(file, background);
  const USHORT records = file.records(ORB_CLS_PEAKS);
  for (unsigned r = 1; r <= records; ++r) {
    const auto record = static_cast<USHORT>(r);
    double area = 0;
    double variance = 0;
    for (std::size_t i = 0; i < owners.size(); ++i) {
      if (owners[i] != record) continue;
      area += background.peaks[i].area;
      variance += background.peaks[i].area_u * background.peaks[i].area_u;
    }
    file.set(0x20060054, area * scale, record);
    file.set(0x20060055, std::sqrt(variance) * scale, record);
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
