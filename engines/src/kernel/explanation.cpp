#include "explanation.h"

#include <algorithm>
#include <cmath>

namespace orbengine {

namespace {

constexpr double kExpectedAbove = 1.5;  // a line ought to be seen from this many detection limits on

double squared(double x) {
  return x * x;
}

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

}  // namespace

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

void Explanation::add(const Hypothesis& h, double sign) {
  for (const Share& share : h.shares) explained_[share.peak] += sign * h.strength * share.sensitivity;
  // How many X-rays reach the detector is known so badly that they must not explain more than is there.
  for (const Share& share : h.companions)
    explained_[share.peak] += sign * std::clamp(peaks_[share.peak].area, 0.0, h.strength * share.sensitivity);
}

double Explanation::gain(const Hypothesis& h, double strength) const {
  double gain = 0;
  for (const Share& share : h.shares) {
    const double before = deviation(share.peak, 0);
    const double after = deviation(share.peak, strength * share.sensitivity);
    gain += (before > after ? share.closeness : 1) * (before - after);
  }
  const auto& lines = linesOf(h);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (h.lines[i].peak < 0 && isEvidence(lines[i]))
      gain -= settings_.miss_penalty * missing(strength * lines[i].sensitivity, lines[i].limit);
  }
  return gain;
}

double Explanation::fitStrength(Hypothesis& h) const {
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

double Explanation::closeness(const Hypothesis& h) const {
  double sum = 0;
  double weights = 0;
  for (const Share& share : h.shares) {
    if (!h.is_held && isExplained(share.peak)) continue;
    sum += share.sensitivity * share.closeness;
    weights += share.sensitivity;
  }
  return weights > 0 ? sum / weights : 0;
}

double Explanation::meanDeviation(const Hypothesis& h) const {
  double sum = 0;
  double weights = 0;
  for (const Share& share : h.shares) {
    sum += share.sensitivity * deviation(share.peak, 0);
    weights += share.sensitivity;
  }
  return weights > 0 ? sum / weights : 0;
}

double Explanation::foundShare(Hypothesis& h) const {
  const auto& lines = linesOf(h);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const bool may_be_missed = lines[i].role == LineRole::kCompanion;
    const bool is_strong = h.strength * lines[i].sensitivity > kExpectedAbove * lines[i].limit;
    h.lines[i].is_expected = h.lines[i].peak >= 0 || (!may_be_missed && is_strong);
  }
  return foundOf(h, [](const CandidateLine&, const MatchedLine& match) { return match.is_expected; });
}

double Explanation::emissionShare(const Hypothesis& h) const {
  return foundOf(h, [](const CandidateLine& line, const MatchedLine&) { return std::isfinite(line.limit); });
}

/// Found part of the lines that count, and of all that were found. Lines that say nothing take no part.
template <typename Counts>
double Explanation::foundOf(const Hypothesis& h, const Counts& counts) const {
  const auto& lines = linesOf(h);
  double found = 0;
  double all = 0;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (!isEvidence(lines[i]) || explainMostOf(h, h.lines[i])) continue;
    const bool is_found = h.lines[i].peak >= 0;
    if (is_found || counts(lines[i], h.lines[i])) all += lines[i].sensitivity;
    if (is_found) found += lines[i].sensitivity;
  }
  return all > 0 ? found / all : 0;
}

bool Explanation::isExplained(std::size_t peak) const {
  return explained_[peak] > 0 && explained_[peak] > 0.5 * peaks_[peak].area;
}

/// Whether what was added explains the greater part of a line's peak, so that it says nothing about the nuclide. A
/// nuclide that is there because its daughters are has a share in such peaks.
bool Explanation::explainMostOf(const Hypothesis& h, const MatchedLine& line) const {
  return !h.is_held && line.peak >= 0 && isExplained(static_cast<std::size_t>(line.peak));
}

/// Squared deviation of a peak when `more` counts of it are explained in addition.
double Explanation::deviation(std::size_t peak, double more) const {
  const SpectrumPeak& p = peaks_[peak];
  const double total = explained_[peak] + more;
  const double left = p.area - total;
  const double modelled = settings_.are_blends ? std::sqrt(std::max(0.0, total * std::min(total, p.area))) : p.area;
  const double sigma2 = squared(p.area_u) + squared(settings_.model_u * modelled);
  if (!(sigma2 > 0)) return 0;
  return std::min(squared(left) / sigma2, left > 0 ? kPeakWorth : 4 * kPeakWorth);
}

/// Squared deviation of a line that was not found, `expected` counts where `limit` would have been seen.
double Explanation::missing(double expected, double limit) const {
  if (!(limit > 0) || !std::isfinite(limit)) return 0;
  const double excess = std::max(0.0, expected / limit - 1);
  return std::min(squared(2 * excess / (1 + 2 * settings_.model_u * excess)), kPeakWorth);
}

}  // namespace orbengine
