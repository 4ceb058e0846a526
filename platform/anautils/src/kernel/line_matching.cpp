#include "kernel/line_matching.h"

#include <Eigen/Dense>
#include <cmath>

#include "kernel/line_pattern.h"

namespace anautils {

namespace {

constexpr std::size_t kStrongLines = 9;
constexpr double kStartBonus = 0.5;   // of the score, for the scale to begin with
constexpr double kBroadSpan = 4;      // between the energies of broad lines that tell a bend
constexpr double kStraight_fwhm = 6;  // between a parabola and its chord, in the middle
constexpr int kRounds = 4;            // of matching anew under the scale through the matches

/// The only known line at the strongest peak, without a scale: one through the origin tells which are too broad.
std::vector<LineMatch> strongestAlone(const std::vector<MatchPeak>& peaks, const KnownLine& line) {
  int top = -1;
  for (std::size_t p = 0; p < peaks.size(); ++p) {
    const Scale scale{0, line.energy / peaks[p].position, 0};
    if (LinePattern::isTooBroad(peaks[p], line, scale)) continue;
    if (top < 0 || peaks[p].area > peaks[static_cast<std::size_t>(top)].area) top = static_cast<int>(p);
  }
  return top < 0 ? std::vector<LineMatch>() : std::vector<LineMatch>{{0, top}};
}

/// The scale with the greatest score, of those that put a pair of strong lines on a pair of strong peaks, and the
/// given.
Scale bestScale(const LinePattern& pattern, const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known,
                const StartingScale& start) {
  Scale best;
  double best_score = -HUGE_VAL;
  const auto tryScale = [&](const Scale& scale, double bonus) {
    const double value = pattern.score(scale) + bonus;
    if (value <= best_score) return;
    best_score = value;
    best = scale;
  };
  const auto tryOnPeaks = [&](double low, double high) {
    for (const int a : pattern.strongPeaks())
      for (const int b : pattern.strongPeaks()) {
        const double xa = peaks[static_cast<std::size_t>(a)].position;
        const double xb = peaks[static_cast<std::size_t>(b)].position;
        const double gain = (high - low) / (xb - xa);
        if (b > a && xb - xa >= 2) tryScale({low - gain * xa, gain, 0}, 0);
      }
  };
  if (start.gain > 0) tryScale({start.offset, start.gain, 0}, kStartBonus);
  const auto lines = strongest(known, kStrongLines, [](const KnownLine& k) { return k.intensity; });
  for (const int i : lines)
    for (const int j : lines) {
      const double e1 = known[static_cast<std::size_t>(i)].energy;
      const double e2 = known[static_cast<std::size_t>(j)].energy;
      if (j > i && std::abs(e2 - e1) >= 1) tryOnPeaks(std::min(e1, e2), std::max(e1, e2));
    }
  return best;
}

/// The scale through matched lines.
class ScaleFit {
 public:
  ScaleFit(const LinePattern& pattern, int channels) : pattern_(pattern), channels_(channels) {}

  /// By least squares: a parabola, or a straight line through few matches or where the parabola bends more than
  /// detectors do. What it was before, when that does not grow.
  Scale through(const std::vector<LineMatch>& found, const Scale& before) const {
    if (found.size() < 2) return before;
    Scale scale = fitted(found, tellBend(found) ? 3 : 2);
    if (!isStraight(scale)) scale = fitted(found, 2);
    return scale.slope(1) > 0 && scale.slope(channels_) > 0 ? scale : before;
  }

 private:
  Scale fitted(const std::vector<LineMatch>& found, Eigen::Index terms) const {
    const auto n = static_cast<Eigen::Index>(found.size());
    Eigen::MatrixXd a(n, terms);
    Eigen::VectorXd y(n);
    for (Eigen::Index row = 0; row < n; ++row) {
      const LineMatch& match = found[static_cast<std::size_t>(row)];
      const double x = pattern_.peakOf(match).position / channels_;
      for (Eigen::Index k = 0; k < terms; ++k) a(row, k) = std::pow(x, static_cast<double>(k));
      y(row) = pattern_.lineOf(match).energy;
    }
    const Eigen::VectorXd c = a.colPivHouseholderQr().solve(y);
    return {c(0), c(1) / channels_, terms > 2 ? c(2) / channels_ / channels_ : 0};
  }

  /// Broad lines overlap and are not where they seem: more of them, and far apart, are needed.
  bool tellBend(const std::vector<LineMatch>& found) const {
    if (pattern_.isNarrow()) return found.size() >= 4;
    const auto by_energy = [&](const LineMatch& a, const LineMatch& b) {
      return pattern_.lineOf(a).energy < pattern_.lineOf(b).energy;
    };
    const auto [lowest, highest] = std::minmax_element(found.begin(), found.end(), by_energy);
    return found.size() >= 5 && pattern_.lineOf(*highest).energy > kBroadSpan * pattern_.lineOf(*lowest).energy;
  }

  bool isStraight(const Scale& scale) const {
    const double from_chord = std::abs(scale.bend) * channels_ * channels_ / 4;  // [keV] in the middle
    return from_chord < kStraight_fwhm * pattern_.medianFwhm() * std::abs(scale.slope(channels_ / 2.0));
  }

  const LinePattern& pattern_;
  int channels_;
};

}  // namespace

std::vector<LineMatch> matchLines(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known,
                                  const StartingScale& start, int channels) {
  if (peaks.empty() || known.empty()) return {};
  if (known.size() == 1 && !(start.gain > 0)) return strongestAlone(peaks, known[0]);
  const LinePattern pattern(peaks, known, start, channels);
  const Scale given{start.offset, start.gain, 0};
  const bool is_given = start.gain > 0 && pattern.explainsMost(given);
  Scale scale = is_given ? given : bestScale(pattern, peaks, known, start);
  if (!(scale.gain > 0)) return {};
  const ScaleFit fit(pattern, channels);
  for (int round = 0; round < kRounds; ++round) {
    // A scale through two peaks may be off by a part of the energy elsewhere.
    const double share = round == 0 && !is_given ? 0.004 : 0.0005;
    scale = fit.through(pattern.consistent(pattern.matches(scale, {0.8, share})), scale);
  }
  std::vector<LineMatch> found = pattern.consistent(pattern.matches(scale, {0.5, 0}));
  if (known.size() > 1 && pattern.isDoubtful(found, scale)) return {};
  std::sort(found.begin(), found.end(), [&](const LineMatch& a, const LineMatch& b) {
    return pattern.lineOf(a).energy < pattern.lineOf(b).energy;
  });
  return found;
}

}  // namespace anautils
