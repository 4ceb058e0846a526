// AA_2nd_Diff_Peak_Loc and lPANolin: the lines of a spectrum, located and fitted.
#include <algorithm>
#include <cmath>

#include "anautils.h"
#include "file_values.h"
#include "guard.h"
#include "kernel/compton_edge.h"
#include "kernel/peak_search.h"
#include "kernel/peak_shape.h"
#include "peak_table.h"
#include "region_lines.h"

namespace anautils {

namespace {

constexpr double kCounterLimit = 2147483647;  // a channel that holds it has overflowed

/// FWHM at each channel: the calibration's, or from the counts. Empty when nothing stands out there.
std::vector<double> widthsOf(const std::vector<double>& counts, const LineCalibration& calibration) {
  return calibration.hasFwhm() ? calibration.widths(counts.size()) : estimatedWidths(counts);
}

std::vector<LocatedLine> locate(void* handle, const std::vector<double>& counts, const LineCalibration& calibration) {
  const ChannelRange range = readRange(handle, ORB_L_LOCFIRST, ORB_L_LOCLAST, static_cast<int>(counts.size()));
  const double lowest_keV = readDouble(handle, ORB_D_LOCELOW, 0);
  const std::vector<double> widths = widthsOf(counts, calibration);
  std::vector<LocatedLine> lines;
  if (widths.empty()) return lines;
  for (const FoundPeak& peak : findPeaks(counts, widths, range.first - 1, range.last - 1, readSearchSettings(handle))) {
    const double position = peak.position + 1;
    const bool is_below = calibration.hasEnergy() && calibration.energy(position) < lowest_keV;
    if (!is_below) lines.push_back({position, peak.significance});
  }
  return lines;
}

/// The fit of all lines of a file.
class SpectrumFit {
 public:
  SpectrumFit(void* handle, const LineCalibration& calibration)
      : counts_(readSpectrum(handle)),
        calibration_(calibration),
        located_(readLocatedLines(handle)),
        settings_(readLineFitSettings(handle)),
        rule_(readRegionRule(handle)),
        limits_(readRange(handle, ORB_L_FITFIRST, ORB_L_FITLAST, static_cast<int>(counts_.size()))),
        one_region_(readInt(handle, ORB_L_ONEREGION, 0) != 0) {
    widths_ = widthsOf(counts_, calibration_);
    if (widths_.empty()) located_.clear();
    located_.erase(std::remove_if(located_.begin(), located_.end(), [&](const LocatedLine& l) { return !isInside(l); }),
                   located_.end());
    keep_significance_ = keepSignificance(handle);
    dropEdges();
    for (const LocatedLine& line : located_) starts_.push_back(startOf(line.position));
  }

  std::vector<TableRegion> run() {
    std::vector<LineExtent> extents;
    for (const LineStart& start : starts_) extents.push_back({start.position, start.width, start.tail});
    const auto plans = one_region_ ? planOneRegion(extents, rule_, limits_) : planRegions(extents, rule_, limits_);
    std::vector<TableRegion> regions;
    for (std::size_t i = 0; i < plans.size(); ++i) {
      const bool goes_on = plans[i].cut_before && !regions.empty();
      regions.push_back(fitPlan(plans[i], goes_on ? fixedLines(regions.back().fit) : std::vector<FixedLine>()));
      if (goes_on) regions[i - 1] = fitBetween(plans, regions, i - 1);
    }
    return regions;
  }

  double quantile() const { return settings_.quantile; }

 private:
  bool isInside(const LocatedLine& line) const {
    return line.position >= limits_.first - 0.5 && line.position <= limits_.last + 0.5;
  }

  LineStart startOf(double position) const {
    if (calibration_.hasFwhm()) return calibratedStart(calibration_, position, settings_.tail);
    LineStart start;
    start.position = position;
    start.width = widthAt(position);
    return start;
  }

  /// The file's significance holds for a line at a known place. A search tries many places: the threshold rises until
  /// noise brings as many false maxima as 7 exp(-k^2/2), 0.08 at k = 3, by the number of maxima of Rice (1945), 0.25
  /// per filter width and exp(-u^2/2).
  double keepSignificance(void* handle) const {
    const double k = settings_.keep_significance;
    const int n = static_cast<int>(counts_.size());
    const int first = std::max(1, readInt(handle, ORB_L_LOCFIRST, 1));
    const int last = std::min(n, readInt(handle, ORB_L_LOCLAST, n));
    double places = 0;
    for (int channel = first; channel <= last; ++channel) {
      if (!widths_.empty()) places += 0.25 * kFwhmPerSigma / widths_[static_cast<std::size_t>(channel - 1)];
    }
    return std::sqrt(k * k + std::max(0.0, 2 * std::log(std::max(places, 1e-3) / 7)));
  }

  struct Edge {
    double energy_keV;
    double significance;  // of the line that it belongs to
  };

  /// The Compton edges of all lines, in order of energy.
  std::vector<Edge> comptonEdges() const {
    std::vector<Edge> edges;
    for (const LocatedLine& line : located_) {
      const double edge_keV = comptonEdge(calibration_.energy(line.position));
      if (std::isfinite(edge_keV)) edges.push_back({edge_keV, line.significance});
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.energy_keV < b.energy_keV; });
    return edges;
  }

  /// Takes out what does not stand out against the Compton edge of a much stronger line.
  void dropEdges() {
    if (!calibration_.hasEnergy() || located_.empty()) return;
    const std::vector<Edge> edges = comptonEdges();
    std::vector<LocatedLine> kept;
    for (const LocatedLine& line : located_)
      if (!isEdge(line, edges)) kept.push_back(line);
    located_ = std::move(kept);
  }

  bool isEdge(const LocatedLine& line, const std::vector<Edge>& edges) const {
    constexpr double kMuchStronger = 10;
    constexpr double kBelow_fwhm = 2.5;  // the search sees a step there, or a little above it
    constexpr double kAbove_fwhm = 1;
    const double energy = calibration_.energy(line.position);
    const double keV_per_fwhm = widthAt(line.position) * calibration_.slope(line.position);
    if (!(line.significance > 0) || !(keV_per_fwhm > 0)) return false;
    const auto from = std::lower_bound(edges.begin(), edges.end(), energy - kAbove_fwhm * keV_per_fwhm,
                                       [](const Edge& edge, double keV) { return edge.energy_keV < keV; });
    for (auto edge = from; edge != edges.end(); ++edge) {
      const double below = (edge->energy_keV - energy) / keV_per_fwhm;
      if (!(below < kBelow_fwhm)) return false;
      const bool is_of_strong = edge->significance >= kMuchStronger * line.significance;
      if (is_of_strong && below > -kAbove_fwhm && !standsOut(line, line.position + below * widthAt(line.position)))
        return true;
    }
    return false;
  }

  bool standsOut(const LocatedLine& line, double edge) const {
    constexpr double kReach_fwhm = 4;
    constexpr double kClearer = 3;      // lines that are no part of an edge
    constexpr double kBeside_fwhm = 2;  // beyond the channels looked at: lines that reach into them
    const double fwhm = widthAt(line.position);
    const int first = std::max(1, static_cast<int>(edge - kReach_fwhm * fwhm));
    const int last = std::min(static_cast<int>(counts_.size()), static_cast<int>(edge + kReach_fwhm * fwhm));
    if (first >= last) return true;
    std::vector<double> others;
    const auto from = std::lower_bound(located_.begin(), located_.end(), first - kBeside_fwhm * fwhm,
                                       [](const LocatedLine& other, double x) { return other.position < x; });
    for (auto other = from; other != located_.end() && other->position < last + kBeside_fwhm * fwhm; ++other)
      if (other->significance > kClearer * line.significance) others.push_back(other->position - first);
    const std::vector<double> counts(counts_.begin() + first - 1, counts_.begin() + last);
    return significanceBesideEdge(counts, fwhm, line.position - first, edge - first, others) >= keep_significance_;
  }

  double widthAt(double position) const {
    const auto at = std::clamp<std::ptrdiff_t>(std::lround(position) - 1, 0, std::ssize(widths_) - 1);
    return widths_[static_cast<std::size_t>(at)];
  }

  /// A part of a long multiplet again, because it was fitted without the lines above it that are known now.
  TableRegion fitBetween(const std::vector<RegionPlan>& plans, const std::vector<TableRegion>& regions,
                         std::size_t part) const {
    std::vector<FixedLine> neighbours = fixedLines(regions[part + 1].fit);
    if (plans[part].cut_before && part > 0) {
      const std::vector<FixedLine> below = fixedLines(regions[part - 1].fit);
      neighbours.insert(neighbours.end(), below.begin(), below.end());
    }
    return fitPlan(plans[part], neighbours);
  }

  TableRegion fitPlan(const RegionPlan& plan, const std::vector<FixedLine>& neighbours) const {
    TableRegion region;
    std::vector<LineStart> starts;
    for (const int i : plan.lines) {
      starts.push_back(starts_[static_cast<std::size_t>(i)]);
      region.located.push_back(located_[static_cast<std::size_t>(i)]);
    }
    FitSettings fit = settingsForRegion(settings_, starts.size(), starts.front().width);
    if (!calibration_.hasFwhm()) fit.width = WidthMode::Free;
    region.fit = fitChannels(counts_, plan.channels, starts, fit, neighbours);
    while (dropWeakest(region, starts))
      region.fit = starts.empty() ? emptyFit(region.fit) : fitChannels(counts_, plan.channels, starts, fit, neighbours);
    region.marks = marksOf(plan, region.fit);
    return region;
  }

  /// Takes the weakest line out of the starts when it is too weak to be kept. A line that the residuals added goes
  /// through the stricter test of the fit itself.
  bool dropWeakest(TableRegion& region, std::vector<LineStart>& starts) const {
    if (region.fit.status != FitStatus::Ok && region.fit.status != FitStatus::NotConverged) return false;
    const FittedLine* weakest = nullptr;
    for (const FittedLine& line : region.fit.lines)
      if (line.start >= 0 && !(line.significance >= keep_significance_) &&
          (weakest == nullptr || line.significance < weakest->significance))
        weakest = &line;
    if (weakest == nullptr) return false;
    starts.erase(starts.begin() + weakest->start);
    region.located.erase(region.located.begin() + weakest->start);
    return true;
  }

  static RegionFit emptyFit(const RegionFit& fit) {
    RegionFit empty = fit;
    empty.lines.clear();
    empty.area_covariance.clear();
    return empty;
  }

  int marksOf(const RegionPlan& plan, const RegionFit& fit) const {
    int marks = 0;
    const bool at_an_end = plan.channels.first == 1 || plan.channels.last == static_cast<int>(counts_.size());
    if (at_an_end) marks |= kMarkCut;
    for (int i = plan.channels.first; i <= plan.channels.last; ++i)
      if (counts_[static_cast<std::size_t>(i - 1)] >= kCounterLimit) marks |= kMarkOverflow;
    if (settings_.greatest_chi2 > 0 && fit.dof > 0 && fit.chi2 / fit.dof > settings_.greatest_chi2)
      marks |= kMarkBadFit;
    return marks;
  }

  std::vector<double> counts_;
  const LineCalibration& calibration_;
  std::vector<LocatedLine> located_;
  LineFitSettings settings_;
  RegionRule rule_;
  ChannelRange limits_;
  bool one_region_;
  std::vector<double> widths_;  // FWHM at each channel
  double keep_significance_ = 0;
  std::vector<LineStart> starts_;
};

}  // namespace

}  // namespace anautils

using namespace anautils;

LONG AA_2nd_Diff_Peak_Loc(void* handle, LONG reserved1, LONG reserved2, LONG reserved3) {
  return guarded([&] {
    require(reserved1 == 0 && reserved2 == 0 && reserved3 == 0, ANA_BADARG);
    const std::vector<double> counts = readSpectrum(handle);
    const LineCalibration calibration = LineCalibration::ofFile(handle);
    writeLocatedLines(handle, locate(handle, counts, calibration), calibration);
  });
}

LONG lPANolin(void* handle, LONG reserved1, LONG reserved2, LONG reserved3) {
  return guarded([&] {
    require(reserved1 == 0 && reserved2 == 0 && reserved3 == 0, ANA_BADARG);
    const LineCalibration calibration = LineCalibration::ofFile(handle);
    SpectrumFit fit(handle, calibration);
    const std::vector<TableRegion> regions = fit.run();
    writeFittedLines(handle, regions, {calibration, readDouble(handle, ORB_D_LIVETIME, 0), fit.quantile()});
  });
}
