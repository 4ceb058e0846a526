#include "kernel/peak_search.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "kernel/peak_shape.h"
#include "kernel/spectrum_levels.h"

namespace anautils {

namespace {

constexpr double kLadderStep = 1.12;
constexpr int kMixed = 256;  // elements whose filters are mixed at a time

/// Significance and second difference along the spectrum for a filter whose width follows the lines.
struct Trace {
  int first = 0;
  std::vector<Response> responses;  ///< of the elements from `first` on

  int size() const { return static_cast<int>(responses.size()); }
  const Response& at(int i) const { return responses[static_cast<std::size_t>(i - first)]; }
  bool covers(int i) const { return i >= first && i < first + size(); }
};

int smoothingBox(double fwhm, int longest) {
  return std::max(1, std::min(longest, static_cast<int>(fwhm))) | 1;
}

/// The filters of the widths that occur, in steps of 12 %; every element mixes the two between which its width lies.
class Ladder {
 public:
  Ladder(SpectrumLevels& spectrum, double least_sigma, double greatest_sigma, double scale,
         const SearchSettings& settings) {
    const int rungs = static_cast<int>(std::ceil(std::log(greatest_sigma / least_sigma) / std::log(kLadderStep))) + 2;
    for (int k = 0; k < rungs; ++k) {
      const double sigma = least_sigma * std::pow(kLadderStep, k);
      const int box = smoothingBox(sigma / scale * kFwhmPerSigma, settings.longest_smoothing);
      rungs_.emplace_back(spectrum, sigma, settings.cut, box);
    }
  }

  /// The responses of the elements from first to last, both included; sigmaOf(i) is the width of the filter at i.
  template <typename SigmaOf>
  std::vector<Response> respondAll(int first, int last, const SigmaOf& sigmaOf) const {
    std::vector<Response> responses(static_cast<std::size_t>(last - first + 1));
    for (int from = first; from <= last;) {
      const std::size_t rung = rungBelow(sigmaOf(from));
      int to = from + 1;
      while (to <= last && to - from < kMixed && rungBelow(sigmaOf(to), rung) == rung) ++to;
      mix(rung, from, to, sigmaOf, &responses[static_cast<std::size_t>(from - first)]);
      from = to;
    }
    return responses;
  }

 private:
  /// The last but one at most, so that there is one above.
  std::size_t rungBelow(double sigma, std::size_t guess = 0) const {
    std::size_t rung = guess;
    while (rung > 0 && sigma < rungs_[rung].sigma()) --rung;
    while (rung + 2 < rungs_.size() && sigma >= rungs_[rung + 1].sigma()) ++rung;
    return rung;
  }

  /// The responses of the elements from `from` up to but not including `to`, kMixed at most.
  template <typename SigmaOf>
  void mix(std::size_t rung, int from, int to, const SigmaOf& sigmaOf, Response* low) const {
    Response high[kMixed];
    const LevelFilter& below = rungs_[rung];
    const LevelFilter& above = rungs_[rung + 1];
    below.respond(from, to, low);
    above.respond(from, to, high);
    const double part = 1 / (above.sigma() - below.sigma());
    for (int i = 0; i < to - from; ++i) {
      const double share = std::clamp((sigmaOf(from + i) - below.sigma()) * part, 0.0, 1.0);
      low[i].difference += share * (high[i].difference - low[i].difference);
      low[i].significance += share * (high[i].significance - low[i].significance);
    }
  }

  std::vector<LevelFilter> rungs_;
};

double sigmaAt(const std::vector<double>& widths, int i) {
  return widths[static_cast<std::size_t>(i)] / kFwhmPerSigma;
}

/// Standard deviation of the response to a line.
double responseSigma(const std::vector<double>& widths, int i, double scale) {
  return sigmaAt(widths, i) * std::sqrt(1 + scale * scale);
}

Trace traceOf(SpectrumLevels& spectrum, const std::vector<double>& widths, int first, int last, double scale,
              const SearchSettings& settings) {
  const int margin = static_cast<int>(4 * *std::max_element(widths.begin(), widths.end()));
  Trace trace;
  trace.first = std::max(0, first - margin);
  const int end = std::min(static_cast<int>(widths.size()) - 1, last + margin);
  const auto [least, greatest] = std::minmax_element(widths.begin() + trace.first, widths.begin() + end + 1);
  const Ladder ladder(spectrum, scale * *least / kFwhmPerSigma, scale * *greatest / kFwhmPerSigma, scale, settings);
  trace.responses = ladder.respondAll(trace.first, end, [&](int i) { return scale * sigmaAt(widths, i); });
  return trace;
}

/// Elements from a maximum to where the response changes its sign, or to the valley before the next line; looked for as
/// far as a lobe of a line can reach.
double lobeEnd(const Trace& trace, int at, int direction, double farthest) {
  int valley = at;
  int i = at;
  while (trace.covers(i + direction) && trace.at(i + direction).significance > 0) {
    if (std::abs(i - at) > farthest) return std::abs(i - at);
    i += direction;
    if (trace.at(i).significance <= trace.at(valley).significance) valley = i;
    if (trace.at(i).significance > trace.at(valley).significance + 1) return std::abs(valley - at);
  }
  if (!trace.covers(i + direction)) return std::abs(i - at);
  const double inside = trace.at(i).significance;
  const double outside = trace.at(i + direction).significance;
  return std::abs(i - at) + inside / (inside - outside);
}

bool hasLobeOfALine(const Trace& trace, int at, double response_sigma) {
  constexpr double kLongest = 1.9;  // 0.6 to 1.7 for a line alone, less beside a higher one, more for a close pair
  const double farthest = 2 * kLongest * response_sigma;
  const double ends = lobeEnd(trace, at, 1, farthest) + lobeEnd(trace, at, -1, farthest);
  const double length = ends / (2 * response_sigma);
  return length > 0.4 && length < kLongest;
}

/// The deepest response of the other sign beside a maximum, in standard deviations.
double sideLobe(const Trace& trace, int at, int direction, double response_sigma) {
  double deepest = 0;
  for (double d = 1; d < 3; d += 1 / response_sigma) {
    const int i = at + direction * static_cast<int>(std::lround(d * response_sigma));
    if (trace.covers(i)) deepest = std::max(deepest, -trace.at(i).significance);
  }
  return deepest;
}

/// Whether a higher line stands beside a maximum, whose response covers the lobe on that side.
bool hasHigherNeighbour(const Trace& trace, int at, int direction, double response_sigma) {
  for (int d = 1; d <= static_cast<int>(4 * response_sigma); ++d) {
    const int i = at + direction * d;
    if (trace.covers(i) && trace.at(i).significance > trace.at(at).significance) return true;
  }
  return false;
}

/// A step answers with one lobe up and one down, as high as each other; a line has a lobe of 0.45 of its height on both
/// sides. Only a difference that counting statistics does not explain is taken for a step.
bool looksLikeAStep(const Trace& trace, int at, double response_sigma) {
  const double height = trace.at(at).significance;
  const double left = sideLobe(trace, at, -1, response_sigma);
  const double right = sideLobe(trace, at, 1, response_sigma);
  const double larger = std::max(left, right);
  const double smaller = std::min(left, right);
  if (larger < 0.75 * height || smaller > 0.2 * height || larger - smaller < 2.2) return false;
  return !hasHigherNeighbour(trace, at, left < right ? -1 : 1, response_sigma);
}

/// The maximum of the second difference between elements, by a parabola.
double refined(const Trace& trace, int at) {
  if (!trace.covers(at - 1) || !trace.covers(at + 1)) return at;
  const double left = trace.at(at - 1).difference;
  const double middle = trace.at(at).difference;
  const double right = trace.at(at + 1).difference;
  const double bend = left - 2 * middle + right;
  return bend > 0 ? at + std::clamp(0.5 * (left - right) / bend, -1.0, 1.0) : at;
}

bool isMaximum(const Trace& trace, int i) {
  const double here = trace.at(i).significance;
  return (!trace.covers(i - 1) || trace.at(i - 1).significance < here) &&
         (!trace.covers(i + 1) || trace.at(i + 1).significance <= here);
}

std::vector<FoundPeak> maxima(const Trace& trace, const std::vector<double>& widths, int first, int last, double scale,
                              const SearchSettings& settings) {
  std::vector<FoundPeak> peaks;
  for (int i = std::max(first, trace.first); i <= last && trace.covers(i); ++i) {
    if (trace.at(i).significance < settings.threshold || !isMaximum(trace, i)) continue;
    const double response_sigma = responseSigma(widths, i, scale);
    if (!hasLobeOfALine(trace, i, response_sigma) || looksLikeAStep(trace, i, response_sigma)) continue;
    peaks.push_back({refined(trace, i), trace.at(i).significance, scale == settings.wide && scale != settings.narrow});
  }
  return peaks;
}

int nearest(double position, std::size_t n) {
  return std::clamp(static_cast<int>(std::lround(position)), 0, static_cast<int>(n) - 1);
}

bool liesBelow(const FoundPeak& peak, double position) {
  return peak.position < position;
}

/// The peaks nearer to a position than a distance, among peaks in order of position.
std::span<const FoundPeak> peaksAround(const std::vector<FoundPeak>& peaks, double position, double distance) {
  auto first = std::lower_bound(peaks.begin(), peaks.end(), position - distance, liesBelow);
  auto last = std::lower_bound(first, peaks.end(), position + distance, liesBelow);
  return {first, last};
}

/// The wide filter adds what the narrow one did not see at all.
void addMissed(std::vector<FoundPeak>& peaks, const std::vector<FoundPeak>& wide, const std::vector<double>& widths) {
  std::vector<FoundPeak> missed;
  for (const FoundPeak& peak : wide) {
    const double reach = 1.5 * widths[static_cast<std::size_t>(nearest(peak.position, widths.size()))];
    if (peaksAround(peaks, peak.position, reach).empty()) missed.push_back(peak);
  }
  const auto n_narrow = static_cast<std::ptrdiff_t>(peaks.size());
  peaks.insert(peaks.end(), missed.begin(), missed.end());
  std::inplace_merge(peaks.begin(), peaks.begin() + n_narrow, peaks.end(),
                     [](const FoundPeak& a, const FoundPeak& b) { return liesBelow(a, b.position); });
}

/// The second difference at its narrowest, a measure of the height of a line.
void dropSuspects(std::vector<FoundPeak>& peaks, const Trace& trace, const std::vector<double>& widths,
                  double distance) {
  constexpr double kMuchHigher = 25;
  std::vector<FoundPeak> kept;
  for (const FoundPeak& peak : peaks) {
    const int at = nearest(peak.position, widths.size());
    const double height = -trace.at(at).difference;
    const double reach = distance * widths[static_cast<std::size_t>(at)];
    const auto beside = peaksAround(peaks, peak.position, reach);
    const bool is_suspect = std::any_of(beside.begin(), beside.end(), [&](const FoundPeak& other) {
      return -trace.at(nearest(other.position, widths.size())).difference > kMuchHigher * height;
    });
    if (!is_suspect) kept.push_back(peak);
  }
  peaks = std::move(kept);
}

}  // namespace

std::vector<FoundPeak> findPeaks(const std::vector<double>& counts, const std::vector<double>& widths, int first,
                                 int last, const SearchSettings& settings) {
  if (counts.empty() || first > last) return {};
  SpectrumLevels spectrum(counts);
  const Trace narrow = traceOf(spectrum, widths, first, last, settings.narrow, settings);
  std::vector<FoundPeak> peaks = maxima(narrow, widths, first, last, settings.narrow, settings);
  if (settings.two_filters) {
    const Trace wide = traceOf(spectrum, widths, first, last, settings.wide, settings);
    addMissed(peaks, maxima(wide, widths, first, last, settings.wide, settings), widths);
  }
  dropSuspects(peaks, narrow, widths, settings.suspect_distance);
  return peaks;
}

}  // namespace anautils
