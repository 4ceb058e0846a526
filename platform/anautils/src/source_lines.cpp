// lFindSource: the lines of a known source in a spectrum, whatever calibration the file has.
#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "file_values.h"
#include "guard.h"
#include "kernel/line_matching.h"
#include "kernel/peak_search.h"
#include "region_lines.h"

namespace anautils {

namespace {

constexpr double kSearchThreshold = 4.5;
constexpr double kLeastSignificance = 4.5;
constexpr std::size_t kMostPeaks = 80;

std::vector<FoundPeak> strongPeaks(const std::vector<double>& counts, const std::vector<double>& widths) {
  SearchSettings search;
  search.threshold = kSearchThreshold;
  auto peaks = findPeaks(counts, widths, 0, static_cast<int>(counts.size()) - 1, search);
  std::sort(peaks.begin(), peaks.end(), [](const auto& a, const auto& b) { return a.significance > b.significance; });
  peaks.resize(std::min(peaks.size(), kMostPeaks));
  std::sort(peaks.begin(), peaks.end(), [](const auto& a, const auto& b) { return a.position < b.position; });
  return peaks;
}

/// Narrow lines get regions wide enough for a width that is free: the continuum must be known without it. The lines of
/// a scintillator would make one region of the whole spectrum; they are fitted close by, and their width keeps near to
/// the estimated one.
std::pair<RegionRule, FitSettings> fitRules(const std::vector<double>& widths) {
  constexpr double kBroad = 0.02;  // of the position, in the middle of the spectrum
  const std::size_t middle = widths.size() / 2;
  const bool is_broad = widths[middle] > kBroad * static_cast<double>(middle);
  RegionRule rule;
  FitSettings settings;
  settings.continuum = Continuum::Step;
  settings.width = is_broad ? WidthMode::Derived : WidthMode::Free;
  settings.width_scatter = is_broad ? 0.2 : settings.width_scatter;
  rule.left = rule.right = is_broad ? 1.5 : 3.5;
  rule.together = is_broad ? 2 : 4;
  return {rule, settings};
}

/// Fits all peaks, a width to each region.
std::vector<FittedLine> fittedPeaks(const std::vector<double>& counts, const std::vector<double>& widths) {
  std::vector<LineStart> starts;
  std::vector<LineExtent> extents;
  for (const FoundPeak& peak : strongPeaks(counts, widths)) {
    const double fwhm = widths[static_cast<std::size_t>(std::lround(peak.position))];
    LineStart start;
    start.position = peak.position + 1;
    start.width = fwhm;
    starts.push_back(start);
    extents.push_back({start.position, fwhm, 0});
  }
  const auto [rule, settings] = fitRules(widths);
  std::vector<FittedLine> lines;
  for (const RegionPlan& plan : planRegions(extents, rule, {1, static_cast<int>(counts.size())})) {
    std::vector<LineStart> here;
    for (const int i : plan.lines) here.push_back(starts[static_cast<std::size_t>(i)]);
    const RegionFit fit = fitChannels(counts, plan.channels, here, settings);
    if (fit.status != FitStatus::Ok && fit.status != FitStatus::NotConverged) continue;
    for (const FittedLine& line : fit.lines)
      if (line.significance > kLeastSignificance && line.area > 0 && line.flags == 0) lines.push_back(line);
  }
  return lines;
}

/// Straight through the file's energy equation at a tenth and nine tenths of the spectrum.
StartingScale startingScale(void* handle, std::size_t n) {
  const LineCalibration calibration = LineCalibration::ofFile(handle);
  if (!calibration.hasEnergy()) return {};
  const double low = 0.1 * static_cast<double>(n);
  const double high = 0.9 * static_cast<double>(n);
  const double gain = (calibration.energy(high) - calibration.energy(low)) / (high - low);
  return {gain, calibration.energy(low) - gain * low};
}

std::vector<AnaMatchedLine_T> findSource(void* handle, const std::vector<KnownLine>& known) {
  const std::vector<double> counts = readSpectrum(handle);
  const std::vector<double> widths = estimatedWidths(counts);
  require(!widths.empty(), ANA_NOPEAK);
  const auto lines = fittedPeaks(counts, widths);
  std::vector<MatchPeak> peaks;
  for (const FittedLine& line : lines) peaks.push_back({line.centroid, line.fwhm, line.area});
  std::vector<AnaMatchedLine_T> matched;
  for (const LineMatch& match :
       matchLines(peaks, known, startingScale(handle, counts.size()), static_cast<int>(counts.size()))) {
    const FittedLine& line = lines[static_cast<std::size_t>(match.peak)];
    matched.push_back({match.known, line.centroid, line.centroid_u, line.fwhm, line.fwhm_u, line.area, line.area_u});
  }
  return matched;
}

}  // namespace

}  // namespace anautils

using namespace anautils;

LONG lFindSource(void* handle, const DOUBLE* energies, const DOUBLE* intensities, const int* groups, int n_known,
                 AnaMatchedLine_T* matched, int* n_matched) {
  return guarded([&] {
    require(energies != nullptr && intensities != nullptr && matched != nullptr && n_matched != nullptr && n_known > 0,
            ANA_BADARG);
    std::vector<KnownLine> known;
    for (int i = 0; i < n_known; ++i) {
      require(std::isfinite(energies[i]) && energies[i] > 0, ANA_BADENERGY);
      require(std::isfinite(intensities[i]) && intensities[i] > 0, ANA_BADARG);
      known.push_back({energies[i], intensities[i], groups != nullptr ? groups[i] : 0});
    }
    const auto found = findSource(handle, known);
    require(!found.empty(), ANA_NOPATTERN);
    std::copy(found.begin(), found.end(), matched);
    *n_matched = static_cast<int>(found.size());
  });
}
