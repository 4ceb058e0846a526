#include "energy_shift.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace orbengine {

namespace {

constexpr std::size_t kMostPeaks = 30;
constexpr std::size_t kLeastMatches = 7;
constexpr std::size_t kLeastOfBroad = 5;  // matches in the spectrum of a scintillator, which has few lines
constexpr double kShareOfBroad = 0.8;     // of its peaks that must match
constexpr double kBroad = 0.03;           // FWHM over energy, of the middle one: a semiconductor stays below
constexpr double kWithin_fwhm = 0.5;
constexpr double kLeastRatio = 1.25;  // of two energies that fix a shift

/// Whether the lines are those of a scintillator.
bool areBroad(const std::vector<ShiftPeak>& peaks, const std::vector<std::size_t>& order) {
  std::vector<double> widths;
  for (const std::size_t p : order)
    if (peaks[p].energy > 0) widths.push_back(peaks[p].fwhm / peaks[p].energy);
  if (widths.empty()) return false;
  const auto middle = widths.begin() + static_cast<std::ptrdiff_t>(widths.size() / 2);
  std::nth_element(widths.begin(), middle, widths.end());
  return *middle > kBroad;
}

/// Newton's form of the parabola through three points of (energy, shift).
class Parabola {
 public:
  Parabola() = default;
  explicit Parabola(const std::array<std::array<double, 2>, 3>& points) : x0_(points[0][0]), x1_(points[1][0]) {
    c0_ = points[0][1];
    c1_ = (points[1][1] - points[0][1]) / (points[1][0] - points[0][0]);
    const double c12 = (points[2][1] - points[1][1]) / (points[2][0] - points[1][0]);
    c2_ = (c12 - c1_) / (points[2][0] - points[0][0]);
  }
  double at(double energy) const { return c0_ + (energy - x0_) * (c1_ + (energy - x1_) * c2_); }

 private:
  double x0_ = 0, x1_ = 0, c0_ = 0, c1_ = 0, c2_ = 0;
};

class ShiftSearch {
 public:
  ShiftSearch(const std::vector<ShiftPeak>& peaks, const std::vector<double>& pattern)
      : peaks_(peaks), pattern_(pattern), order_(peaks.size()) {
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::stable_sort(order_.begin(), order_.end(),
                     [&](auto a, auto b) { return peaks[a].significance > peaks[b].significance; });
    order_.resize(std::min(order_.size(), kMostPeaks));
    are_broad_ = areBroad(peaks, order_);
    for (const double energy : pattern) near_.push_back(peaksNear(energy));
  }

  EnergyShift run() {
    const std::vector<ShiftMatch> unshifted = matchesUnder(Parabola());
    best_ = unshifted;
    best_score_ = score(unshifted);
    for (std::size_t i = 0; i < pattern_.size(); ++i)
      for (std::size_t j = i + 1; j < pattern_.size(); ++j)
        for (std::size_t k = j + 1; k < pattern_.size(); ++k) tryTriple({i, j, k});
    EnergyShift shift;
    shift.matches_before = unshifted.size();
    if (!isPattern(best_.size())) return shift;
    shift.matches = best_;
    for (const ShiftMatch& match : best_)
      shift.mean_fwhm += std::abs(peaks_[match.peak].energy - match.energy) / peaks_[match.peak].fwhm;
    shift.mean_fwhm /= static_cast<double>(best_.size());
    return shift;
  }

 private:
  /// The light of a scintillator is not in proportion to high energies.
  double greatestShift(double energy) const { return 15 + (are_broad_ ? 0.04 : 0.008) * energy; }

  bool isPattern(std::size_t matches) const {
    const auto n_peaks = static_cast<double>(
        std::count_if(order_.begin(), order_.end(), [&](std::size_t p) { return peaks_[p].significance > 0; }));
    const bool explains_spectrum = static_cast<double>(matches) >= kShareOfBroad * n_peaks;
    return matches >= kLeastMatches || (are_broad_ && matches >= kLeastOfBroad && explains_spectrum);
  }

  std::vector<std::size_t> peaksNear(double energy) const {
    std::vector<std::size_t> near;
    for (const std::size_t p : order_)
      if (std::abs(peaks_[p].energy - energy) <= greatestShift(energy)) near.push_back(p);
    return near;
  }

  void tryTriple(const std::array<std::size_t, 3>& lines) {
    if (pattern_[lines[1]] < kLeastRatio * pattern_[lines[0]] || pattern_[lines[2]] < kLeastRatio * pattern_[lines[1]])
      return;
    for (const std::size_t a : near_[lines[0]])
      for (const std::size_t b : near_[lines[1]])
        for (const std::size_t c : near_[lines[2]])
          if (peaks_[a].energy < peaks_[b].energy && peaks_[b].energy < peaks_[c].energy) tryPeaks(lines, {a, b, c});
  }

  void tryPeaks(const std::array<std::size_t, 3>& lines, const std::array<std::size_t, 3>& chosen) {
    std::array<std::array<double, 2>, 3> points;
    for (std::size_t i = 0; i < 3; ++i)
      points[i] = {peaks_[chosen[i]].energy, pattern_[lines[i]] - peaks_[chosen[i]].energy};
    const Parabola shift(points);
    for (const double energy : {pattern_.front(), pattern_.back()})
      if (std::abs(shift.at(energy)) > greatestShift(energy)) return;
    const std::vector<ShiftMatch> matches = matchesUnder(shift);
    const double reached = score(matches) - kShiftCosts;
    if (reached <= best_score_) return;
    best_score_ = reached;
    best_ = matches;
  }

  std::vector<ShiftMatch> matchesUnder(const Parabola& shift) const {
    std::vector<ShiftMatch> matches;
    for (std::size_t i = 0; i < pattern_.size(); ++i) {
      double nearest = kWithin_fwhm;
      const std::size_t before = matches.size();
      for (const std::size_t p : near_[i]) {
        const double shifted = peaks_[p].energy + shift.at(peaks_[p].energy);
        const double distance = std::abs(shifted - pattern_[i]) / peaks_[p].fwhm;
        if (distance >= nearest || isTaken(matches, before, p)) continue;
        nearest = distance;
        matches.resize(before);
        matches.push_back({p, pattern_[i]});
      }
    }
    return matches;
  }

  /// A wide peak may lie within reach of two lines of the pattern, but is only one of them.
  static bool isTaken(const std::vector<ShiftMatch>& matches, std::size_t before, std::size_t peak) {
    return std::any_of(matches.begin(), matches.begin() + static_cast<std::ptrdiff_t>(before),
                       [peak](const ShiftMatch& match) { return match.peak == peak; });
  }

  /// Matches count; among equals, strong peaks do, because the lines of the pattern are strong ones.
  double score(const std::vector<ShiftMatch>& matches) const {
    double score = 0;
    for (const ShiftMatch& match : matches)
      score += 1 + 0.2 * peaks_[match.peak].significance / peaks_[order_.front()].significance;
    return score;
  }

  static constexpr double kShiftCosts = 0.5;  // a shift must bring something

  const std::vector<ShiftPeak>& peaks_;
  const std::vector<double>& pattern_;
  std::vector<std::size_t> order_;              // the strongest peaks
  std::vector<std::vector<std::size_t>> near_;  // for each line of the pattern
  bool are_broad_ = false;
  std::vector<ShiftMatch> best_;
  double best_score_ = 0;
};

}  // namespace

EnergyShift findEnergyShift(std::vector<ShiftPeak> peaks, const std::vector<double>& pattern) {
  const auto is_useless = [](const ShiftPeak& p) {
    return !(p.fwhm > 0) || !std::isfinite(p.energy) || !std::isfinite(p.significance);
  };
  // Indices of the caller stay valid: what cannot be used is put out of reach, not taken out.
  for (ShiftPeak& peak : peaks)
    if (is_useless(peak)) peak = {-1e9, 1, 0};
  if (peaks.empty() || pattern.empty()) return {};
  return ShiftSearch(peaks, pattern).run();
}

}  // namespace orbengine
