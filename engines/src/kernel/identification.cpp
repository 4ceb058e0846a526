#include "identification.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "explanation.h"

namespace orbengine {

namespace {

constexpr double kLeastGain = 4;       // of a nuclide: two sigma
constexpr double kChanceWeight = 0.4;  // most candidates have lines that rule them out at once
constexpr double kRelative = 8;        // what it counts that a relative is there
constexpr double kDimness = 1;         // what a factor of e in strength counts between two that explain the same
constexpr int kSweeps = 3;

/// How probable it is that a peak lies as near to a line by chance, for all lines of a nuclide together: from the
/// density of the peaks that are clearer. The clearest one of its surroundings is not there by chance.
class Coincidence {
 public:
  explicit Coincidence(const std::vector<SpectrumPeak>& peaks) : peaks_(peaks) {}

  double probability(const Hypothesis& h, const Candidate& candidate) const {
    double all = 1;
    for (std::size_t i = 0; i < candidate.lines.size(); ++i)
      if (h.lines[i].peak >= 0 && isEvidence(candidate.lines[i])) all *= ofLine(h.lines[i], candidate.lines[i]);
    return all;
  }

 private:
  static double clearness(const SpectrumPeak& peak) { return peak.area_u > 0 ? peak.area / peak.area_u : 0; }

  double ofLine(const MatchedLine& match, const CandidateLine& line) const {
    constexpr double kLeastReach_keV = 50;
    constexpr double kReach = 0.15;   // of the energy, to both sides
    constexpr double kNearest = 0.1;  // of the tolerance: nearer than this says no more
    const double own = clearness(peaks_[static_cast<std::size_t>(match.peak)]);
    const double reach = std::max(kLeastReach_keV, kReach * line.energy);
    const auto clearer = std::count_if(peaks_.begin(), peaks_.end(), [&](const SpectrumPeak& peak) {
      return std::abs(peak.energy - line.energy) < reach && clearness(peak) > own;
    });
    const double distance = std::max(std::abs(match.delta_e), kNearest * line.tolerance);
    return std::min(1.0, static_cast<double>(clearer) * distance / reach);
  }

  const std::vector<SpectrumPeak>& peaks_;
};

/// The selection: hypotheses that are in, and what they explain.
class Selection {
 public:
  Selection(const std::vector<SpectrumPeak>& peaks, const std::vector<Candidate>& candidates,
            const IdentificationSettings& settings)
      : candidates_(candidates), settings_(settings), explanation_(peaks, candidates, settings), coincidence_(peaks) {
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      Hypothesis h = matched(peaks, candidates[i], static_cast<int>(i));
      if (!h.shares.empty()) waiting_.push_back(std::move(h));
    }
  }

  std::vector<IdentifiedNuclide> run() {
    do {
      while (takeBest()) {
      }
      takeParents();
      for (int sweep = 0; sweep < kSweeps; ++sweep) refit();
    } while (dropDoubtful());
    std::vector<IdentifiedNuclide> found;
    for (Hypothesis& h : taken_) found.push_back(judged(h));
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.confidence > b.confidence; });
    return found;
  }

 private:
  bool takeBest() {
    double best = -std::numeric_limits<double>::infinity();
    auto chosen = waiting_.end();
    for (auto h = waiting_.begin(); h != waiting_.end(); ++h) {
      const double gain = explanation_.fitStrength(*h);
      const double rank = gain - kDimness * std::log(h->strength) + (hasRelative(*h) ? kRelative : 0);
      if (gain <= kLeastGain || rank <= best) continue;
      if (explanation_.foundShare(*h) < settings_.least_share) continue;
      best = rank;
      chosen = h;
    }
    if (chosen == waiting_.end()) return false;
    explanation_.add(*chosen);
    taken_.push_back(std::move(*chosen));
    waiting_.erase(chosen);
    return true;
  }

  bool hasRelative(const Hypothesis& h) const {
    const int family = candidateOf(h).family;
    return family != 0 && std::any_of(taken_.begin(), taken_.end(),
                                      [&](const Hypothesis& other) { return candidateOf(other).family == family; });
  }

  /// Parents of nuclides that are in, at the mean strength of those. A rival may have taken their peaks.
  void takeParents() {
    for (auto h = waiting_.begin(); h != waiting_.end();) {
      double sum = 0;
      int n = 0;
      for (const Hypothesis& other : taken_) {
        if (candidateOf(other).parent != h->candidate) continue;
        sum += other.strength;
        ++n;
      }
      if (n == 0) {
        ++h;
        continue;
      }
      h->strength = sum / n;
      h->is_held = true;
      explanation_.add(*h);
      taken_.push_back(std::move(*h));
      h = waiting_.erase(h);
    }
  }

  /// Takes the least sure of the nuclides out that do not stand up to judgement, for good. What it explained is open to
  /// its rivals again.
  bool dropDoubtful() {
    auto worst = taken_.end();
    double least = 0;
    for (auto h = taken_.begin(); h != taken_.end(); ++h) {
      const IdentifiedNuclide nuclide = judged(*h);
      if (nuclide.share >= settings_.least_share && nuclide.confidence >= settings_.least_confidence) continue;
      if (worst != taken_.end() && nuclide.confidence >= least) continue;
      worst = h;
      least = nuclide.confidence;
    }
    if (worst == taken_.end()) return false;
    explanation_.add(*worst, -1);
    taken_.erase(worst);
    return true;
  }

  /// Every nuclide again, given the others; one that the later ones made superfluous goes.
  void refit() {
    for (auto h = taken_.begin(); h != taken_.end();) {
      if (h->is_held) {
        ++h;
        continue;
      }
      explanation_.add(*h, -1);
      const double gain = explanation_.fitStrength(*h);
      if (gain < kLeastGain) {
        h = taken_.erase(h);
        continue;
      }
      explanation_.add(*h);
      ++h;
    }
  }

  IdentifiedNuclide judged(Hypothesis& h) {
    IdentifiedNuclide nuclide;
    nuclide.candidate = h.candidate;
    nuclide.strength = h.strength;
    explanation_.add(h, -1);
    nuclide.share = explanation_.foundShare(h);
    const double emission = explanation_.emissionShare(h);
    const double evidence = evidenceFor(h);
    const double closeness = explanation_.closeness(h);
    explanation_.add(h);
    const double agreement = 1 / (1 + std::max(0.0, explanation_.meanDeviation(h) - 1) / kPeakWorth);
    // A line that is too weak to be missed still would have made the nuclide surer.
    const double completeness = (1 - settings_.miss_penalty * (1 - nuclide.share)) * (1 + emission) / 2;
    // Of all nuclides that were tried, so many would be expected to fit as well by chance.
    const double by_chance = static_cast<double>(candidates_.size()) * coincidence_.probability(h, candidateOf(h));
    const double trust = 1 / (1 + kChanceWeight * by_chance);
    nuclide.confidence = std::clamp(closeness * completeness * agreement * evidence * trust, 0.0, 1.0);
    nuclide.lines = h.lines;
    return nuclide;
  }

  /// How much the peaks speak for a nuclide that is not among what explains them, 0 to 1. For one that its daughters
  /// prove it is enough that they do not speak against it.
  double evidenceFor(const Hypothesis& h) const {
    const double gain = explanation_.gain(h, h.strength);
    const double of_peaks = 1 - std::exp(-gain / 5);
    return h.is_held && gain > 0 ? (1 + of_peaks) / 2 : of_peaks;
  }

  const Candidate& candidateOf(const Hypothesis& h) const { return candidates_[static_cast<std::size_t>(h.candidate)]; }

  const std::vector<Candidate>& candidates_;
  const IdentificationSettings& settings_;
  Explanation explanation_;
  Coincidence coincidence_;
  std::vector<Hypothesis> waiting_;
  std::vector<Hypothesis> taken_;
};

}  // namespace

std::vector<IdentifiedNuclide> identify(const std::vector<SpectrumPeak>& peaks,
                                        const std::vector<Candidate>& candidates,
                                        const IdentificationSettings& settings) {
  return Selection(peaks, candidates, settings).run();
}

}  // namespace orbengine
