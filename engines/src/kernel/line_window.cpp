#include "kernel/line_window.h"

#include <algorithm>
#include <cmath>

#include "normal_distribution.h"

namespace orbengine {

namespace {

using com::norvale::datatypes::normalBelow;

constexpr double kFwhmPerSigma = 2.3548200450309493;
constexpr double kLineReach_fwhm = 1.25;  // 99.7 % of a Gaussian
constexpr int kFlankReach = 3;            // widths of a flank

/// The channels whose middle lies within a distance of a position: at least the one that holds it.
ChannelSpan channelsWithin(double position, double distance) {
  const auto first = static_cast<int>(std::ceil(position - distance));
  const auto last = static_cast<int>(std::floor(position + distance));
  if (first <= last) return {first, last};
  const auto nearest = static_cast<int>(std::lround(position));
  return {nearest, nearest};
}

bool contains(const std::vector<ChannelSpan>& spans, int channel) {
  return std::any_of(spans.begin(), spans.end(),
                     [&](const ChannelSpan& s) { return s.first <= channel && channel <= s.last; });
}

/// Adds up to `n` free channels from `start` on, in one direction, and says whether there were any.
bool addFlank(std::vector<int>& flanks, int start, int direction, int n, int n_channels,
              const std::vector<ChannelSpan>& excluded) {
  const std::size_t before = flanks.size();
  for (int d = 0; d < kFlankReach * n && flanks.size() - before < static_cast<std::size_t>(n); ++d) {
    const int channel = start + direction * d;
    if (channel < 1 || channel > n_channels) continue;
    if (!contains(excluded, channel)) flanks.push_back(channel);
  }
  return flanks.size() > before;
}

double countsOf(const std::vector<float>& counts, int channel) {
  return counts[static_cast<std::size_t>(channel - 1)];
}

bool areCounts(const std::vector<float>& counts, const std::vector<int>& channels) {
  return std::all_of(channels.begin(), channels.end(), [&](int channel) {
    const double n = countsOf(counts, channel);
    return std::isfinite(n) && n >= 0;
  });
}

/// @param empty_ratio  size of the measurement where it has no counts
Background asOffMeasurement(double counts, double counts_u, double empty_ratio) {
  if (!(counts > 0)) return {0, counts_u, 0, empty_ratio};
  const double ratio = counts / (counts_u * counts_u);
  return {counts, counts_u, counts * ratio, ratio};
}

/// The straight line (or the mean) through the flanks, summed over the window.
Background continuumFrom(const std::vector<float>& counts, const std::vector<int>& flanks, ChannelSpan window,
                         bool with_slope) {
  const auto n = static_cast<double>(flanks.size());
  const double n_window = window.last - window.first + 1;
  double middle = 0;
  for (const int channel : flanks) middle += channel / n;
  double spread = 0;
  for (const int channel : flanks) spread += (channel - middle) * (channel - middle);
  const double lever = with_slope && spread > 0 ? ((window.first + window.last) / 2.0 - middle) / spread : 0;
  double sum = 0;
  double variance = 0;
  for (const int channel : flanks) {
    const double weight = n_window * (1 / n + lever * (channel - middle));
    sum += weight * countsOf(counts, channel);
    variance += weight * weight * countsOf(counts, channel);
  }
  // A slope that leaves next to nothing is noise; the plain mean knows more.
  if (lever != 0 && (sum <= 0 || sum * sum < variance)) return continuumFrom(counts, flanks, window, false);
  const double one_count = n_window / n;
  return asOffMeasurement(std::max(sum, 0.0), std::max(std::sqrt(variance), one_count), n / n_window);
}

bool isUsable(double position, double fwhm, const WindowSettings& settings) {
  constexpr double kWidest = 1e5;  // channels
  const double width = settings.width_fwhm * fwhm * std::max(settings.flank_windows, 1.0);
  return std::isfinite(position) && fwhm > 0 && fwhm < kWidest && width > 0 && width < kWidest &&
         settings.flank_windows > 0;
}

}  // namespace

double shareInside(double position, double fwhm, ChannelSpan channels) {
  const double sigma = fwhm / kFwhmPerSigma;
  return normalBelow((channels.last + 0.5 - position) / sigma) - normalBelow((channels.first - 0.5 - position) / sigma);
}

LineWindow measureWindow(const std::vector<float>& counts, double position, double fwhm, const WindowSettings& settings,
                         const std::vector<ChannelSpan>& excluded) {
  LineWindow window;
  if (!isUsable(position, fwhm, settings)) return window;
  const auto n_channels = static_cast<int>(counts.size());
  window.state = WindowState::kOutside;
  if (position < 0.5 || position >= n_channels + 0.5) return window;
  const double half = settings.width_fwhm * fwhm / 2;
  const ChannelSpan whole = channelsWithin(position, half);
  window.channels = {std::max(whole.first, 1), std::min(whole.last, n_channels)};
  window.is_cut = window.channels.first != whole.first || window.channels.last != whole.last;
  window.inside = shareInside(position, fwhm, window.channels);
  const ChannelSpan line = channelsWithin(position, kLineReach_fwhm * fwhm);
  const int n_flank =
      std::max(1, static_cast<int>(std::lround(settings.flank_windows * (whole.last - whole.first + 1))));
  std::vector<int> flanks;
  const bool below = addFlank(flanks, std::min(whole.first, line.first) - 1, -1, n_flank, n_channels, excluded);
  const bool above = addFlank(flanks, std::max(whole.last, line.last) + 1, 1, n_flank, n_channels, excluded);
  window.state = WindowState::kNoFlank;
  if (!below && !above) return window;
  window.has_one_flank = below != above;
  std::vector<int> inner;
  for (int channel = window.channels.first; channel <= window.channels.last; ++channel) inner.push_back(channel);
  window.state = WindowState::kBadCounts;
  if (!areCounts(counts, inner) || !areCounts(counts, flanks)) return window;
  for (const int channel : inner) window.gross += countsOf(counts, channel);
  window.continuum = continuumFrom(counts, flanks, window.channels, !window.has_one_flank);
  window.state = WindowState::kMeasured;
  return window;
}

Background withOtherLines(const Background& continuum, double counts, double counts_u) {
  if (!(counts > 0)) return continuum;
  const double u = std::hypot(continuum.counts_u, std::isfinite(counts_u) ? counts_u : counts);
  return asOffMeasurement(continuum.counts + counts, u, continuum.off_ratio);
}

}  // namespace orbengine
