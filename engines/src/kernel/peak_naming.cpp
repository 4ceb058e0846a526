#include "peak_naming.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace orbengine {

namespace {

constexpr double kLeastExplained = 0.05;   // of a peak, by the lines that name it
constexpr double kEscapeAbove_keV = 1400;  // pair production begins to show in real detectors
constexpr double kStrong = 0.1;            // of the strongest line of the nuclide: lines whose sum may be seen
constexpr double kGreatestSum = 0.2;       // of the weaker of its two lines

class Naming {
 public:
  Naming(const std::vector<PeakToName>& peaks, const std::vector<ExplainingLine>& lines)
      : peaks_(peaks), lines_(lines) {
    for (const ExplainingLine& line : lines) {
      double& strongest = strongest_[line.nuclide];
      strongest = std::max(strongest, peakOf(line).area);
    }
  }

  PeakName nameOf(std::size_t p) const {
    const PeakToName& peak = peaks_[p];
    const ExplainingLine* const line = mainLineOf(p);
    const bool is_explained = line != nullptr && line->counts > 0.5 * peak.area;
    if (!is_explained && isNear(peak, kAnnihilation_keV)) return {"annihilation", kAnnihilation_keV};
    if (line != nullptr) return {line->nuclide, line->energy};
    if (const ExplainingLine* const whole = wholeOf(p)) return {whole->nuclide, whole->energy};
    if (isEscape(peak)) return {"escape", 0};
    if (isSum(peak)) return {"sum", 0};
    return {};
  }

 private:
  const PeakToName& peakOf(const ExplainingLine& line) const { return peaks_[static_cast<std::size_t>(line.peak)]; }

  static bool isNear(const PeakToName& peak, double energy) { return std::abs(peak.energy - energy) <= peak.tolerance; }

  /// Nothing, when the lines at the peak explain next to nothing of it.
  const ExplainingLine* mainLineOf(std::size_t p) const {
    const ExplainingLine* most = nullptr;
    double counts = 0;
    for (const ExplainingLine& line : lines_) {
      if (line.peak != static_cast<int>(p)) continue;
      counts += line.counts;
      if (most == nullptr || line.counts > most->counts) most = &line;
    }
    return counts > kLeastExplained * peaks_[p].area ? most : nullptr;
  }

  /// The nearest line that names an unresolved peak beside this one: the fit has split its peak.
  const ExplainingLine* wholeOf(std::size_t part) const {
    const ExplainingLine* nearest = nullptr;
    double distance = peaks_[part].tolerance;
    for (std::size_t p = 0; p < peaks_.size(); ++p) {
      if (p == part || std::abs(peaks_[p].energy - peaks_[part].energy) > peaks_[part].fwhm) continue;
      const ExplainingLine* const line = mainLineOf(p);
      if (line == nullptr || std::abs(line->energy - peaks_[part].energy) > distance) continue;
      distance = std::abs(line->energy - peaks_[part].energy);
      nearest = line;
    }
    return nearest;
  }

  bool isEscape(const PeakToName& peak) const {
    return std::any_of(peaks_.begin(), peaks_.end(), [&](const PeakToName& whole) {
      const double lost = whole.energy - peak.energy;
      const bool fits = std::abs(lost - kAnnihilation_keV) <= peak.tolerance ||
                        std::abs(lost - 2 * kAnnihilation_keV) <= peak.tolerance;
      return fits && whole.energy > kEscapeAbove_keV && whole.area > peak.area;
    });
  }

  bool isSum(const PeakToName& peak) const {
    for (std::size_t i = 0; i < lines_.size(); ++i) {
      if (!isStrongBeside(lines_[i], peak)) continue;
      for (std::size_t j = i; j < lines_.size() && lines_[j].nuclide == lines_[i].nuclide; ++j)
        if (isNear(peak, lines_[i].energy + lines_[j].energy) && isStrongBeside(lines_[j], peak)) return true;
    }
    return false;
  }

  bool isStrongBeside(const ExplainingLine& line, const PeakToName& sum) const {
    const double area = peakOf(line).area;
    return area >= kStrong * strongest_.at(line.nuclide) && sum.area < kGreatestSum * area;
  }

  const std::vector<PeakToName>& peaks_;
  const std::vector<ExplainingLine>& lines_;
  std::unordered_map<std::string, double> strongest_;  // area of the nuclide's strongest peak
};

}  // namespace

std::vector<PeakName> namePeaks(const std::vector<PeakToName>& peaks, const std::vector<ExplainingLine>& lines) {
  const Naming naming(peaks, lines);
  std::vector<PeakName> names;
  for (std::size_t p = 0; p < peaks.size(); ++p) names.push_back(naming.nameOf(p));
  return names;
}

}  // namespace orbengine
