#include "kernel/line_matching.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numeric>

namespace anautils {

namespace {

constexpr std::size_t kStrongLines = 9;
constexpr std::size_t kStrongPeaks = 16;
constexpr double kLowestSeen = 60;  // keV: a line below may be absorbed
constexpr double kMissingWeight = 0.7;
constexpr double kUnexplainedWeight = 0.35;

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
  Matcher(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known, int channels)
      : peaks_(peaks), known_(known), channels_(channels) {
    for (const KnownLine& line : known) greatest_intensity_ = std::max(greatest_intensity_, line.intensity);
    for (const MatchPeak& peak : peaks) greatest_area_ = std::max(greatest_area_, peak.area);
    strong_peaks_ = strongest(peaks, kStrongPeaks, [](const MatchPeak& p) { return p.area; });
  }

  /// Each known line with the nearest peak within some widths and a share of its energy; a peak belongs to one line.
  std::vector<LineMatch> matches(const Scale& scale, double widths, double share) const {
    std::vector<LineMatch> found;
    for (std::size_t k = 0; k < known_.size(); ++k) {
      int best = -1;
      double least = 0;
      for (std::size_t p = 0; p < peaks_.size(); ++p) {
        const MatchPeak& peak = peaks_[p];
        const double reach = widths * peak.fwhm * std::abs(scale.slope(peak.position)) + share * known_[k].energy;
        const double distance = std::abs(scale.energy(peak.position) - known_[k].energy);
        if (distance > reach || (best >= 0 && distance >= least)) continue;
        best = static_cast<int>(p);
        least = distance;
      }
      if (best >= 0) addUnique(found, {static_cast<int>(k), best});
    }
    return found;
  }

  double score(const Scale& scale) const {
    if (!isPossible(scale)) return -HUGE_VAL;
    const auto found = matches(scale, 0.8, 0.004);
    double sum = 0;
    std::vector<bool> has_line(peaks_.size(), false);
    std::vector<bool> has_peak(known_.size(), false);
    for (const LineMatch& match : found) {
      has_line[static_cast<std::size_t>(match.peak)] = has_peak[static_cast<std::size_t>(match.known)] = true;
      sum += weightOf(known_[static_cast<std::size_t>(match.known)]);
    }
    const double last = scale.energy(channels_);
    for (std::size_t k = 0; k < known_.size(); ++k)
      if (!has_peak[k] && known_[k].energy > kLowestSeen && known_[k].energy < last)
        sum -= kMissingWeight * weightOf(known_[k]);
    for (const int p : strong_peaks_)
      if (!has_line[static_cast<std::size_t>(p)])
        sum -= kUnexplainedWeight * std::sqrt(peaks_[static_cast<std::size_t>(p)].area / greatest_area_);
    const double shift = scale.offset / (0.02 * last + 5);
    return sum - 0.2 * shift * shift;
  }

  /// Whether the strongest of the lines that the spectrum should show is among the matches.
  bool hasStrongest(const std::vector<LineMatch>& found, const Scale& scale) const {
    int strongest_line = -1;
    const double last = scale.energy(channels_);
    for (std::size_t k = 0; k < known_.size(); ++k) {
      const bool can_be_seen = known_[k].energy > kLowestSeen && known_[k].energy < last;
      const bool is_stronger =
          strongest_line < 0 || known_[k].intensity > known_[static_cast<std::size_t>(strongest_line)].intensity;
      if (can_be_seen && is_stronger) strongest_line = static_cast<int>(k);
    }
    const auto is_it = [&](const LineMatch& match) { return match.known == strongest_line; };
    return strongest_line < 0 || std::any_of(found.begin(), found.end(), is_it);
  }

  Scale best(const StartingScale& start) const {
    Scale best_scale;
    double best_score = -HUGE_VAL;
    const auto tryScale = [&](const Scale& scale, double bonus) {
      const double value = score(scale) + bonus;
      if (value <= best_score) return;
      best_score = value;
      best_scale = scale;
    };
    if (start.gain > 0) tryScale({start.offset, start.gain, 0}, 0.5);
    const auto lines = strongest(known_, kStrongLines, [](const KnownLine& k) { return k.intensity; });
    for (std::size_t i = 0; i < lines.size(); ++i)
      for (std::size_t j = i + 1; j < lines.size(); ++j) tryPeakPairs(lines[i], lines[j], tryScale);
    return best_scale;
  }

  /// A parabola (a straight line through two) by least squares through the matches.
  Scale through(const std::vector<LineMatch>& found, const Scale& before) const {
    const std::size_t n = found.size();
    if (n < 2) return before;
    const Eigen::Index terms = n > 3 ? 3 : 2;
    Eigen::MatrixXd a(static_cast<Eigen::Index>(n), terms);
    Eigen::VectorXd y(static_cast<Eigen::Index>(n));
    for (std::size_t i = 0; i < n; ++i) {
      const double x = peaks_[static_cast<std::size_t>(found[i].peak)].position / channels_;
      const auto row = static_cast<Eigen::Index>(i);
      for (Eigen::Index k = 0; k < terms; ++k) a(row, k) = std::pow(x, static_cast<double>(k));
      y(row) = known_[static_cast<std::size_t>(found[i].known)].energy;
    }
    const Eigen::VectorXd c = a.colPivHouseholderQr().solve(y);
    Scale scale{c(0), c(1) / channels_, terms > 2 ? c(2) / channels_ / channels_ : 0};
    return scale.slope(1) > 0 && scale.slope(channels_) > 0 ? scale : before;
  }

 private:
  double weightOf(const KnownLine& line) const { return std::sqrt(line.intensity / greatest_intensity_); }

  bool isPossible(const Scale& scale) const {
    const double last = scale.energy(channels_);
    return scale.gain > 0 && last > 100 && last < 20000 && std::abs(scale.offset) < 0.03 * last + 20;
  }

  /// The nearer of two lines keeps the peak.
  void addUnique(std::vector<LineMatch>& found, LineMatch match) const {
    for (LineMatch& other : found) {
      if (other.peak != match.peak) continue;
      const bool is_stronger = known_[static_cast<std::size_t>(match.known)].intensity >
                               known_[static_cast<std::size_t>(other.known)].intensity;
      if (is_stronger) other = match;
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
  int channels_;
  double greatest_intensity_ = 0;
  double greatest_area_ = 0;
  std::vector<int> strong_peaks_;
};

}  // namespace

std::vector<LineMatch> matchLines(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known,
                                  const StartingScale& start, int channels) {
  if (peaks.empty() || known.empty()) return {};
  const Matcher matcher(peaks, known, channels);
  if (known.size() == 1 && !(start.gain > 0)) {
    const auto top = std::max_element(peaks.begin(), peaks.end(),
                                      [](const MatchPeak& a, const MatchPeak& b) { return a.area < b.area; });
    return {{0, static_cast<int>(top - peaks.begin())}};
  }
  Scale scale = matcher.best(start);
  if (!(scale.gain > 0)) return {};
  for (int round = 0; round < 4; ++round)
    scale = matcher.through(matcher.matches(scale, 0.8, round == 0 ? 0.004 : 0.0005), scale);
  std::vector<LineMatch> found = matcher.matches(scale, 0.5, 0);
  // Where more speaks against a pattern than for it, no calibration is better than one that looks like one.
  const bool is_doubtful = !(matcher.score(scale) > 0) || !matcher.hasStrongest(found, scale);
  if (known.size() > 1 && is_doubtful) return {};
  std::sort(found.begin(), found.end(), [&](const LineMatch& a, const LineMatch& b) {
    return known[static_cast<std::size_t>(a.known)].energy < known[static_cast<std::size_t>(b.known)].energy;
  });
  return found;
}

}  // namespace anautils
