#include "kernel/line_matching.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "kernel/median.h"

namespace anautils {

namespace {

constexpr std::size_t kStrongLines = 9;
constexpr std::size_t kStrongPeaks = 16;
constexpr double kLowestSeen = 100;  // keV: a line below may be absorbed
constexpr double kMissingWeight = 0.7;
constexpr double kUnexplainedWeight = 0.35;
constexpr double kAreaFactor = 3;                // between areas of a group that go together
constexpr double kGreatestDrift = 0.4;           // of the gain, from that of a scale to begin with
constexpr double kNarrowLine = 0.02;             // FWHM over position in the middle: a semiconductor stays far below
constexpr double kNarrowLine_keV = 6;            // the same where there is a scale to begin with
constexpr double kGreatestResidual_fwhm = 0.25;  // root mean square, of narrow lines
constexpr double kUsualEnd_keV = 2500;  // of a spectrum, without a scale to begin with; a factor of e costs this:
constexpr double kUnusualEnd = 0.5;
constexpr double kWeakOfBroad = 0.1;      // of the strongest line of its group: a scintillator hides it under others
constexpr double kBroadAreaFactor = 8;    // the same in a scintillator, small ones lose high energies
constexpr double kWorstResolution = 0.2;  // FWHM over energy, above the energy after it
constexpr double kResolutionHolds_keV = 150;
constexpr double kLeastAgreement = 0.2;
constexpr double kGoodStart = 0.6;      // share of the lines that a starting scale has to explain
constexpr double kUnresolved_fwhm = 1;  // a line so near to a found one is not missed
constexpr double kBroadSpan = 4;        // between the energies of broad lines that tell a bend
constexpr double kStraight_fwhm = 6;    // between a parabola and its chord, in the middle

/// Energy of a position: a parabola, or a straight line.
struct Scale {
  double offset = 0, gain = 0, bend = 0;
  double energy(double x) const { return offset + x * (gain + x * bend); }
  double slope(double x) const { return gain + 2 * bend * x; }
};

template <typename T, typename Size>
std::vector<int> strongest(const std::vector<T>& items, std::size_t n, Size size) {
  std::vector<int> order(items.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    return size(items[static_cast<std::size_t>(a)]) > size(items[static_cast<std::size_t>(b)]);
  });
  order.resize(std::min(order.size(), n));
  std::sort(order.begin(), order.end());
  return order;
}

class Matcher {
 public:
  Matcher(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known, const StartingScale& start,
          int channels)
      : peaks_(peaks), known_(known), start_(start), channels_(channels) {
    for (const KnownLine& line : known) greatest_intensity_ = std::max(greatest_intensity_, line.intensity);
    for (const MatchPeak& peak : peaks) greatest_area_ = std::max(greatest_area_, peak.area);
    std::vector<double> widths;
    for (const MatchPeak& peak : peaks) widths.push_back(peak.fwhm);
    median_fwhm_ = medianOf(widths);
    for (std::size_t k = 0; k < known.size(); ++k) is_hidden_.push_back(isHiddenByNature(k));
    strong_peaks_ = strongest(peaks, kStrongPeaks, [](const MatchPeak& p) { return p.area; });
  }

  /// The only known line at the strongest peak, without a scale: one through the origin tells which are too broad.
  std::vector<LineMatch> strongestAlone() const {
    int top = -1;
    for (std::size_t p = 0; p < peaks_.size(); ++p) {
      const MatchPeak& peak = peaks_[p];
      const Scale scale{0, known_[0].energy / peak.position, 0};
      if (isTooBroad(peak, known_[0], scale)) continue;
      if (top < 0 || peak.area > peaks_[static_cast<std::size_t>(top)].area) top = static_cast<int>(p);
    }
    return top < 0 ? std::vector<LineMatch>() : std::vector<LineMatch>{{0, top}};
  }

  /// Each known line with the nearest peak within some widths and a share of its energy; a peak belongs to one line.
  std::vector<LineMatch> matches(const Scale& scale, double widths, double share) const {
    std::vector<LineMatch> found;
    for (std::size_t k = 0; k < known_.size(); ++k) {
      if (is_hidden_[k]) continue;
      int best = -1;
      double least = 0;
      for (std::size_t p = 0; p < peaks_.size(); ++p) {
        const MatchPeak& peak = peaks_[p];
        const double reach = widths * peak.fwhm * std::abs(scale.slope(peak.position)) + share * known_[k].energy;
        const double distance = std::abs(scale.energy(peak.position) - known_[k].energy);
        if (distance > reach || (best >= 0 && distance >= least) || isTooBroad(peak, known_[k], scale)) continue;
        best = static_cast<int>(p);
        least = distance;
      }
      if (best >= 0) addUnique(found, {static_cast<int>(k), best}, scale);
    }
    return found;
  }

  /// Without those whose areas do not go with the others.
  std::vector<LineMatch> consistent(const std::vector<LineMatch>& found) const {
    std::vector<LineMatch> kept;
    for (const LineMatch& match : found)
      if (areaAgreement(match, found) > kLeastAgreement) kept.push_back(match);
    return kept;
  }

  double score(const Scale& scale) const {
    if (!isPossible(scale)) return -HUGE_VAL;
    const auto found = matches(scale, 0.8, 0.004);
    double sum = 0;
    std::vector<bool> has_line(peaks_.size(), false);
    for (const LineMatch& match : found) {
      has_line[static_cast<std::size_t>(match.peak)] = true;
      sum += weightOf(known_[static_cast<std::size_t>(match.known)]) * areaAgreement(match, found);
    }
    const double last = scale.energy(channels_);
    for (std::size_t k = 0; k < known_.size(); ++k)
      if (!is_hidden_[k] && isMissed(k, found, scale)) sum -= kMissingWeight * weightOf(known_[k]);
    for (const int p : strong_peaks_)
      if (!has_line[static_cast<std::size_t>(p)])
        sum -= kUnexplainedWeight * std::sqrt(peaks_[static_cast<std::size_t>(p)].area / greatest_area_);
    const double shift = scale.offset / (0.02 * last + 5);
    const double end = start_.gain > 0 ? 0 : std::log(last / kUsualEnd_keV);
    return sum - 0.2 * shift * shift - kUnusualEnd * end * end;
  }

  /// Whether the strongest of the lines that the spectrum should show is among the matches, or hides in one.
  bool hasStrongest(const std::vector<LineMatch>& found, const Scale& scale) const {
    int strongest_line = -1;
    for (std::size_t k = 0; k < known_.size(); ++k) {
      const bool is_stronger =
          strongest_line < 0 || known_[k].intensity > known_[static_cast<std::size_t>(strongest_line)].intensity;
      if (canBeSeen(k, scale) && is_stronger) strongest_line = static_cast<int>(k);
    }
    return strongest_line < 0 || !isMissed(static_cast<std::size_t>(strongest_line), found, scale);
  }

  /// Where more speaks against a pattern than for it, no calibration is better than one that looks like one.
  bool isDoubtful(const std::vector<LineMatch>& found, const Scale& scale) const {
    constexpr std::size_t kMany = 4;  // lines at their places: then some may hide
    constexpr double kLeastOfMany = -0.5;
    if (!(score(scale) > (found.size() >= kMany ? kLeastOfMany : 0))) return true;
    if (!hasStrongest(found, scale)) return true;
    double sum = 0;
    for (const LineMatch& match : found) {
      const MatchPeak& peak = peaks_[static_cast<std::size_t>(match.peak)];
      const double off = scale.energy(peak.position) - known_[static_cast<std::size_t>(match.known)].energy;
      sum += std::pow(off / (peak.fwhm * scale.slope(peak.position)), 2);
    }
    return isNarrow() && sum > kGreatestResidual_fwhm * kGreatestResidual_fwhm * static_cast<double>(found.size());
  }

  /// Whether a scale finds most lines that the spectrum should show, the strongest among them.
  bool explainsMost(const Scale& scale) const {
    if (!isPossible(scale)) return false;
    const auto found = matches(scale, 0.5, 0);
    double expected = 0;
    double explained = 0;
    for (std::size_t k = 0; k < known_.size(); ++k)
      if (canBeSeen(k, scale)) expected += weightOf(known_[k]);
    for (const LineMatch& match : found)
      explained += weightOf(known_[static_cast<std::size_t>(match.known)]) * areaAgreement(match, found);
    return found.size() > 1 && explained > kGoodStart * expected && hasStrongest(found, scale);
  }

  Scale best() const {
    Scale best_scale;
    double best_score = -HUGE_VAL;
    const auto tryScale = [&](const Scale& scale, double bonus) {
      const double value = score(scale) + bonus;
      if (value <= best_score) return;
      best_score = value;
      best_scale = scale;
    };
    if (start_.gain > 0) tryScale({start_.offset, start_.gain, 0}, 0.5);
    const auto lines = strongest(known_, kStrongLines, [](const KnownLine& k) { return k.intensity; });
    for (std::size_t i = 0; i < lines.size(); ++i)
      for (std::size_t j = i + 1; j < lines.size(); ++j) tryPeakPairs(lines[i], lines[j], tryScale);
    return best_scale;
  }

  /// By least squares through the matches: a parabola, or a straight line through few of them or where the parabola
  /// bends more than detectors do.
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
      const double x = peaks_[static_cast<std::size_t>(match.peak)].position / channels_;
      for (Eigen::Index k = 0; k < terms; ++k) a(row, k) = std::pow(x, static_cast<double>(k));
      y(row) = known_[static_cast<std::size_t>(match.known)].energy;
    }
    const Eigen::VectorXd c = a.colPivHouseholderQr().solve(y);
    return {c(0), c(1) / channels_, terms > 2 ? c(2) / channels_ / channels_ : 0};
  }

  /// Broad lines overlap and are not where they seem: more of them, and far apart, are needed.
  bool tellBend(const std::vector<LineMatch>& found) const {
    if (isNarrow()) return found.size() >= 4;
    const auto byEnergy = [&](const LineMatch& a, const LineMatch& b) { return energyOf(a) < energyOf(b); };
    const auto [lowest, highest] = std::minmax_element(found.begin(), found.end(), byEnergy);
    return found.size() >= 5 && energyOf(*highest) > kBroadSpan * energyOf(*lowest);
  }

  double energyOf(const LineMatch& match) const { return known_[static_cast<std::size_t>(match.known)].energy; }

  bool isStraight(const Scale& scale) const {
    const double from_chord = std::abs(scale.bend) * channels_ * channels_ / 4;  // [keV] in the middle
    return from_chord < kStraight_fwhm * median_fwhm_ * std::abs(scale.slope(channels_ / 2.0));
  }

  double weightOf(const KnownLine& line) const { return std::sqrt(line.intensity / greatest_intensity_); }

  bool canBeSeen(std::size_t k, const Scale& scale) const {
    return known_[k].energy > kLowestSeen && known_[k].energy < scale.energy(channels_);
  }

  /// Whether a line should be seen, has no peak, and does not hide in one that was found.
  bool isMissed(std::size_t k, const std::vector<LineMatch>& found, const Scale& scale) const {
    if (!canBeSeen(k, scale)) return false;
    return std::none_of(found.begin(), found.end(), [&](const LineMatch& match) {
      const MatchPeak& peak = peaks_[static_cast<std::size_t>(match.peak)];
      const double reach = kUnresolved_fwhm * peak.fwhm * std::abs(scale.slope(peak.position));
      return match.known == static_cast<int>(k) || std::abs(scale.energy(peak.position) - known_[k].energy) < reach;
    });
  }

  /// No detector resolves so badly.
  static bool isTooBroad(const MatchPeak& peak, const KnownLine& line, const Scale& scale) {
    return line.energy > kResolutionHolds_keV &&
           peak.fwhm * std::abs(scale.slope(peak.position)) > kWorstResolution * line.energy;
  }

  bool isNarrow() const {
    return start_.gain > 0 ? median_fwhm_ * start_.gain < kNarrowLine_keV : median_fwhm_ < kNarrowLine * channels_ / 2;
  }

  /// Counts of a line in a usual detector, in any unit.
  static double brightness(const KnownLine& line) { return line.intensity / (1 + line.energy / 150); }

  bool isHiddenByNature(std::size_t k) const {
    if (isNarrow()) return false;
    return std::any_of(known_.begin(), known_.end(), [&](const KnownLine& other) {
      return other.group == known_[k].group && brightness(known_[k]) < kWeakOfBroad * brightness(other);
    });
  }

  /// Logarithm of a match's area over what the line's intensity makes expect, with the efficiency of a usual detector.
  double areaRatio(const LineMatch& match) const {
    const KnownLine& line = known_[static_cast<std::size_t>(match.known)];
    return std::log(peaks_[static_cast<std::size_t>(match.peak)].area / brightness(line));
  }

  /// 1 when the area of a match goes with those of the other lines of its group, less the less it does.
  double areaAgreement(const LineMatch& match, const std::vector<LineMatch>& found) const {
    std::vector<double> ratios;
    for (const LineMatch& other : found)
      if (known_[static_cast<std::size_t>(other.known)].group == known_[static_cast<std::size_t>(match.known)].group)
        ratios.push_back(areaRatio(other));
    const double factor = isNarrow() ? kAreaFactor : kBroadAreaFactor;
    const double distance = (areaRatio(match) - medianOf(std::move(ratios))) / std::log(factor);
    return 1 / (1 + distance * distance);
  }

  bool isPossible(const Scale& scale) const {
    const double last = scale.energy(channels_);
    const bool is_near_start = !(start_.gain > 0) || std::abs(scale.gain / start_.gain - 1) < kGreatestDrift;
    return scale.gain > 0 && last > 100 && last < 20000 && std::abs(scale.offset) < 0.03 * last + 20 && is_near_start;
  }

  /// Of two lines at a peak the stronger keeps it, or the nearer when they are of two groups: their intensities cannot
  /// be compared.
  void addUnique(std::vector<LineMatch>& found, LineMatch match, const Scale& scale) const {
    const KnownLine& line = known_[static_cast<std::size_t>(match.known)];
    const double energy = scale.energy(peaks_[static_cast<std::size_t>(match.peak)].position);
    for (LineMatch& other : found) {
      if (other.peak != match.peak) continue;
      const KnownLine& before = known_[static_cast<std::size_t>(other.known)];
      const bool keeps_it = line.group == before.group
                                ? line.intensity > before.intensity
                                : std::abs(line.energy - energy) < std::abs(before.energy - energy);
      if (keeps_it) other = match;
      return;
    }
    found.push_back(match);
  }

  template <typename Try>
  void tryPeakPairs(int i, int j, const Try& tryScale) const {
    const double low = std::min(known_[static_cast<std::size_t>(i)].energy, known_[static_cast<std::size_t>(j)].energy);
    const double high =
        std::max(known_[static_cast<std::size_t>(i)].energy, known_[static_cast<std::size_t>(j)].energy);
    for (std::size_t a = 0; a < strong_peaks_.size(); ++a)
      for (std::size_t b = a + 1; b < strong_peaks_.size(); ++b) {
        const double xa = peaks_[static_cast<std::size_t>(strong_peaks_[a])].position;
        const double xb = peaks_[static_cast<std::size_t>(strong_peaks_[b])].position;
        if (xb - xa < 2 || high - low < 1) continue;
        const double gain = (high - low) / (xb - xa);
        tryScale({low - gain * xa, gain, 0}, 0);
      }
  }

  const std::vector<MatchPeak>& peaks_;
  const std::vector<KnownLine>& known_;
  StartingScale start_;
  int channels_;
  double greatest_intensity_ = 0;
  double greatest_area_ = 0;
  double median_fwhm_ = 0;       // [channels]
  std::vector<bool> is_hidden_;  // known lines that a scintillator does not show
  std::vector<int> strong_peaks_;
};

}  // namespace

std::vector<LineMatch> matchLines(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known,
                                  const StartingScale& start, int channels) {
  if (peaks.empty() || known.empty()) return {};
  const Matcher matcher(peaks, known, start, channels);
  if (known.size() == 1 && !(start.gain > 0)) {
    return matcher.strongestAlone();
  }
  const Scale given{start.offset, start.gain, 0};
  const bool is_given = start.gain > 0 && matcher.explainsMost(given);
  Scale scale = is_given ? given : matcher.best();
  if (!(scale.gain > 0)) return {};
  // A scale through two peaks may be off by a part of the energy elsewhere.
  for (int round = 0; round < 4; ++round)
    scale = matcher.through(matcher.consistent(matcher.matches(scale, 0.8, round == 0 && !is_given ? 0.004 : 0.0005)),
                            scale);
  std::vector<LineMatch> found = matcher.consistent(matcher.matches(scale, 0.5, 0));
  if (known.size() > 1 && matcher.isDoubtful(found, scale)) return {};
  std::sort(found.begin(), found.end(), [&](const LineMatch& a, const LineMatch& b) {
    return known[static_cast<std::size_t>(a.known)].energy < known[static_cast<std::size_t>(b.known)].energy;
  });
  return found;
}

}  // namespace anautils
