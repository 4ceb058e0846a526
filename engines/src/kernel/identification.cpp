#include "identification.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orbengine {

namespace {

constexpr double kPeakWorth = 16;       // a peak explained or not counts no more than a deviation of 4 sigma
constexpr double kLeastGain = 4;        // of a nuclide: two sigma
constexpr double kExpectedAbove = 1.5;  // a line ought to be seen from this many detection limits on
constexpr double kChanceWeight = 0.4;   // most candidates have lines that rule them out at once
constexpr double kRelative = 8;         // what it counts that a relative is there
constexpr double kDimness = 1;          // what a factor of e in strength counts between two that explain the same
constexpr int kSweeps = 3;

double squared(double x) {
  return x * x;
}

/// What a nuclide adds to one peak, all its lines there together.
struct Share {
  std::size_t peak;
  double sensitivity;
  double closeness;  // 1: at its energy, falling to 0.14 at the tolerance
};

bool isEvidence(const CandidateLine& line) {
  return line.role == LineRole::kEvidence;
}

/// A candidate with its lines matched to the peaks.
struct Hypothesis {
  int candidate = 0;
  std::vector<MatchedLine> lines;
  std::vector<Share> shares;      // of the lines that are evidence
  std::vector<Share> companions;  // of those that merely come along
  double strength = 0;
  bool is_held = false;  // at the strength of its daughters
};

int nearestPeak(const std::vector<SpectrumPeak>& peaks, const CandidateLine& line) {
  int nearest = -1;
  double distance = line.tolerance;
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    const double d = std::abs(peaks[i].energy - line.energy);
    if (!(d <= distance)) continue;
    distance = d;
    nearest = static_cast<int>(i);
  }
  return nearest;
}

/// The lines of a nuclide at one peak count together.
void addShare(std::vector<Share>& shares, const Share& share) {
  const auto same = std::find_if(shares.begin(), shares.end(), [&](const Share& s) { return s.peak == share.peak; });
  if (same == shares.end()) {
    shares.push_back(share);
  } else {
    same->sensitivity += share.sensitivity;
    same->closeness = std::max(same->closeness, share.closeness);
  }
}

Hypothesis matched(const std::vector<SpectrumPeak>& peaks, const Candidate& candidate, int index) {
  Hypothesis hypothesis;
  hypothesis.candidate = index;
  for (const CandidateLine& line : candidate.lines) {
    MatchedLine match;
    match.peak = nearestPeak(peaks, line);
    hypothesis.lines.push_back(match);
    if (match.peak < 0) continue;
    const auto peak = static_cast<std::size_t>(match.peak);
    const double delta = peaks[peak].energy - line.energy;
    hypothesis.lines.back().delta_e = delta;
    const Share share{peak, line.sensitivity, std::exp(-0.5 * squared(2 * delta / line.tolerance))};
    if (line.role != LineRole::kNothing) addShare(isEvidence(line) ? hypothesis.shares : hypothesis.companions, share);
  }
  return hypothesis;
}

/// The peaks and what is explained of them so far.
class Explanation {
 public:
  Explanation(const std::vector<SpectrumPeak>& peaks, const std::vector<Candidate>& candidates,
              const IdentificationSettings& settings)
      : peaks_(peaks), candidates_(candidates), settings_(settings), explained_(peaks.size(), 0.0) {}

  void add(const Hypothesis& h, double sign = 1) {
    for (const Share& share : h.shares) explained_[share.peak] += sign * h.strength * share.sensitivity;
    // How many X-rays reach the detector is known so badly that they must not explain more than is there.
    for (const Share& share : h.companions)
      explained_[share.peak] += sign * std::min(h.strength * share.sensitivity, peaks_[share.peak].area);
  }

  /// What the nuclide at a strength makes better, in squared deviations; negative when it makes things worse.
  double gain(const Hypothesis& h, double strength) const {
    double gain = 0;
    for (const Share& share : h.shares) {
      const double before = deviation(share.peak, 0);
      const double after = deviation(share.peak, strength * share.sensitivity);
      gain += (before > after ? share.closeness : 1) * (before - after);
    }
    const auto& lines = candidates_[static_cast<std::size_t>(h.candidate)].lines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (h.lines[i].peak < 0 && isEvidence(lines[i]))
        gain -= settings_.miss_penalty * missing(strength * lines[i].sensitivity, lines[i].limit);
    }
    return gain;
  }

  /// Puts the strength to where the gain is greatest: one of those at which a line explains what is left of its peak.
  double fitStrength(Hypothesis& h) const {
    double best = 0;
    h.strength = 0;
    for (const Share& share : h.shares) {
      if (!(share.sensitivity > 0)) continue;
      const double strength = (peaks_[share.peak].area - explained_[share.peak]) / share.sensitivity;
      if (!(strength > 0)) continue;
      const double g = gain(h, strength);
      if (g <= best) continue;
      best = g;
      h.strength = strength;
    }
    return best;
  }

  /// Whether what was added explains the greater part of a line's peak, so that it says nothing about the nuclide. A
  /// nuclide that is there because its daughters are has a share in such peaks.
  bool explainMostOf(const Hypothesis& h, const MatchedLine& line) const {
    return !h.is_held && line.peak >= 0 && isExplained(static_cast<std::size_t>(line.peak));
  }

  /// How near the found lines lie to their peaks, weighted by intensity: 1 at the energies themselves. Peaks that
  /// others explain lie where those put them.
  double closeness(const Hypothesis& h) const {
    double sum = 0;
    double weights = 0;
    for (const Share& share : h.shares) {
      if (!h.is_held && isExplained(share.peak)) continue;
      sum += share.sensitivity * share.closeness;
      weights += share.sensitivity;
    }
    return weights > 0 ? sum / weights : 0;
  }

  /// Mean squared deviation of the nuclide's peaks from what explains them.
  double meanDeviation(const Hypothesis& h) const {
    double sum = 0;
    double weights = 0;
    for (const Share& share : h.shares) {
      sum += share.sensitivity * deviation(share.peak, 0);
      weights += share.sensitivity;
    }
    return weights > 0 ? sum / weights : 0;
  }

 private:
  bool isExplained(std::size_t peak) const {
    return explained_[peak] > 0 && explained_[peak] > 0.5 * peaks_[peak].area;
  }

  /// Squared deviation of a peak when `more` counts of it are explained in addition.
  double deviation(std::size_t peak, double more) const {
    const SpectrumPeak& p = peaks_[peak];
    const double total = explained_[peak] + more;
    const double left = p.area - total;
    const double modelled = settings_.are_blends ? std::sqrt(std::max(0.0, total * std::min(total, p.area))) : p.area;
    const double sigma2 = squared(p.area_u) + squared(settings_.model_u * modelled);
    if (!(sigma2 > 0)) return 0;
    return std::min(squared(left) / sigma2, left > 0 ? kPeakWorth : 4 * kPeakWorth);
  }

  /// Squared deviation of a line that was not found, `expected` counts where `limit` would have been seen.
  double missing(double expected, double limit) const {
    if (!(limit > 0) || !std::isfinite(limit)) return 0;
    const double excess = std::max(0.0, expected / limit - 1);
    return std::min(squared(2 * excess / (1 + 2 * settings_.model_u * excess)), kPeakWorth);
  }

  const std::vector<SpectrumPeak>& peaks_;
  const std::vector<Candidate>& candidates_;
  const IdentificationSettings& settings_;
  std::vector<double> explained_;
};

/// Found part of the emission that ought to be seen at the nuclide's strength; marks the lines that ought to. Lines at
/// peaks that others explain say nothing for the nuclide and nothing against it.
double foundShare(Hypothesis& h, const Candidate& candidate, const Explanation& others) {
  double found = 0;
  double expected = 0;
  for (std::size_t i = 0; i < candidate.lines.size(); ++i) {
    const CandidateLine& line = candidate.lines[i];
    const bool is_found = h.lines[i].peak >= 0;
    const bool may_be_missed = line.role == LineRole::kCompanion;
    h.lines[i].is_expected =
        is_found || (!may_be_missed && h.strength * line.sensitivity > kExpectedAbove * line.limit);
    if (!isEvidence(line) || others.explainMostOf(h, h.lines[i])) continue;
    if (h.lines[i].is_expected) expected += line.sensitivity;
    if (is_found) found += line.sensitivity;
  }
  return expected > 0 ? found / expected : 0;
}

/// Found part of all that the nuclide emits where lines can be seen, whether or not it ought to be seen.
double emissionShare(const Hypothesis& h, const Candidate& candidate, const Explanation& others) {
  double found = 0;
  double all = 0;
  for (std::size_t i = 0; i < candidate.lines.size(); ++i) {
    const CandidateLine& line = candidate.lines[i];
    const bool is_found = h.lines[i].peak >= 0;
    if (!isEvidence(line) || !(is_found || std::isfinite(line.limit)) || others.explainMostOf(h, h.lines[i])) continue;
    all += line.sensitivity;
    if (is_found) found += line.sensitivity;
  }
  return all > 0 ? found / all : 0;
}

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
      if (foundShare(*h, candidateOf(*h), explanation_) < settings_.least_share) continue;
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
    nuclide.share = foundShare(h, candidateOf(h), explanation_);
    const double emission = emissionShare(h, candidateOf(h), explanation_);
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
