#include "kernel/line_pattern.h"

#include <cmath>

#include "kernel/median.h"

namespace anautils {

namespace {

constexpr std::size_t kStrongPeaks = 16;
constexpr double kLowestSeen = 100;  // keV: a line below may be absorbed
constexpr double kMissingWeight = 0.7;
constexpr double kUnexplainedWeight = 0.35;
constexpr double kAreaFactor = 3;       // between areas of a group that go together
constexpr double kBroadAreaFactor = 8;  // the same in a scintillator, small ones lose high energies
constexpr double kLeastAgreement = 0.2;
constexpr double kGreatestDrift = 0.4;           // of the gain, from that of a scale to begin with
constexpr double kNarrowLine = 0.02;             // FWHM over position in the middle: a semiconductor stays far below
constexpr double kNarrowLine_keV = 6;            // the same where there is a scale to begin with
constexpr double kGreatestResidual_fwhm = 0.25;  // root mean square, of narrow lines
constexpr double kUsualEnd_keV = 2500;  // of a spectrum, without a scale to begin with; a factor of e costs this:
constexpr double kUnusualEnd = 0.5;
constexpr double kWeakOfBroad = 0.1;      // of the strongest line of its group: a scintillator hides it under others
constexpr double kWorstResolution = 0.2;  // FWHM over energy, above the energy after it
constexpr double kResolutionHolds_keV = 150;
constexpr double kGoodStart = 0.6;      // share of the lines that a starting scale has to explain
constexpr double kUnresolved_fwhm = 1;  // a line so near to a found one is not missed

/// Counts of a line in a usual detector, in any unit.
double brightness(const KnownLine& line) {
  return line.intensity / (1 + line.energy / 150);
}

}  // namespace

LinePattern::LinePattern(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known,
                         const StartingScale& start, int channels)
    : peaks_(peaks), known_(known), start_(start), channels_(channels) {
  for (const KnownLine& line : known) greatest_intensity_ = std::max(greatest_intensity_, line.intensity);
  for (const MatchPeak& peak : peaks) greatest_area_ = std::max(greatest_area_, peak.area);
  std::vector<double> widths;
  for (const MatchPeak& peak : peaks) widths.push_back(peak.fwhm);
  median_fwhm_ = medianOf(widths);
  is_narrow_ = start.gain > 0 ? median_fwhm_ * start.gain < kNarrowLine_keV : median_fwhm_ < kNarrowLine * channels / 2;
  for (const KnownLine& line : known) is_hidden_.push_back(isHiddenByNature(line));
  strong_peaks_ = strongest(peaks, kStrongPeaks, [](const MatchPeak& p) { return p.area; });
}

bool LinePattern::isHiddenByNature(const KnownLine& line) const {
  return !is_narrow_ && std::any_of(known_.begin(), known_.end(), [&](const KnownLine& other) {
    return other.group == line.group && brightness(line) < kWeakOfBroad * brightness(other);
  });
}

// ---- Matches --------------------------------------------------------------------------------------------------

std::vector<LineMatch> LinePattern::matches(const Scale& scale, const Reach& reach) const {
  std::vector<LineMatch> found;
  for (std::size_t k = 0; k < known_.size(); ++k) {
    const int peak = is_hidden_[k] ? -1 : nearestPeak(known_[k], scale, reach);
    if (peak >= 0) addUnique(found, {static_cast<int>(k), peak}, scale);
  }
  return found;
}

int LinePattern::nearestPeak(const KnownLine& line, const Scale& scale, const Reach& reach) const {
  int nearest = -1;
  double least = 0;
  for (std::size_t p = 0; p < peaks_.size(); ++p) {
    const MatchPeak& peak = peaks_[p];
    const double farthest = reach.widths * peak.fwhm * std::abs(scale.slope(peak.position)) + reach.share * line.energy;
    const double distance = std::abs(scale.energy(peak.position) - line.energy);
    if (distance > farthest || (nearest >= 0 && distance >= least) || isTooBroad(peak, line, scale)) continue;
    nearest = static_cast<int>(p);
    least = distance;
  }
  return nearest;
}

/// Of two lines at a peak the stronger keeps it, or the nearer when they are of two groups: their intensities cannot
/// be compared.
void LinePattern::addUnique(std::vector<LineMatch>& found, LineMatch match, const Scale& scale) const {
  const KnownLine& line = lineOf(match);
  const double energy = scale.energy(peakOf(match).position);
  for (LineMatch& other : found) {
    if (other.peak != match.peak) continue;
    const KnownLine& before = lineOf(other);
    const bool keeps_it = line.group == before.group
                              ? line.intensity > before.intensity
                              : std::abs(line.energy - energy) < std::abs(before.energy - energy);
    if (keeps_it) other = match;
    return;
  }
  found.push_back(match);
}

std::vector<LineMatch> LinePattern::consistent(const std::vector<LineMatch>& found) const {
  std::vector<LineMatch> kept;
  for (const LineMatch& match : found)
    if (areaAgreement(match, found) > kLeastAgreement) kept.push_back(match);
  return kept;
}

bool LinePattern::isTooBroad(const MatchPeak& peak, const KnownLine& line, const Scale& scale) {
  return line.energy > kResolutionHolds_keV &&
         peak.fwhm * std::abs(scale.slope(peak.position)) > kWorstResolution * line.energy;
}

// ---- Areas ----------------------------------------------------------------------------------------------------

/// Logarithm of a match's area over what the line's intensity makes expect, with the efficiency of a usual detector.
double LinePattern::areaRatio(const LineMatch& match) const {
  return std::log(peakOf(match).area / brightness(lineOf(match)));
}

/// 1 when the area of a match goes with those of the other lines of its group, less the less it does.
double LinePattern::areaAgreement(const LineMatch& match, const std::vector<LineMatch>& found) const {
  std::vector<double> ratios;
  for (const LineMatch& other : found)
    if (lineOf(other).group == lineOf(match).group) ratios.push_back(areaRatio(other));
  const double factor = is_narrow_ ? kAreaFactor : kBroadAreaFactor;
  const double distance = (areaRatio(match) - medianOf(std::move(ratios))) / std::log(factor);
  return 1 / (1 + distance * distance);
}

double LinePattern::weightOf(const KnownLine& line) const {
  return std::sqrt(line.intensity / greatest_intensity_);
}

// ---- What speaks for a scale, and what against it ---------------------------------------------------------------

double LinePattern::score(const Scale& scale) const {
  if (!isPossible(scale)) return -HUGE_VAL;
  const auto found = matches(scale, {0.8, 0.004});
  double sum = -unexplained(found);
  for (const LineMatch& match : found) sum += weightOf(lineOf(match)) * areaAgreement(match, found);
  for (std::size_t k = 0; k < known_.size(); ++k)
    if (!is_hidden_[k] && isMissed(k, found, scale)) sum -= kMissingWeight * weightOf(known_[k]);
  const double last = scale.energy(channels_);
  const double shift = scale.offset / (0.02 * last + 5);
  const double end = start_.gain > 0 ? 0 : std::log(last / kUsualEnd_keV);
  return sum - 0.2 * shift * shift - kUnusualEnd * end * end;
}

/// What the strong peaks without a line count.
double LinePattern::unexplained(const std::vector<LineMatch>& found) const {
  std::vector<bool> has_line(peaks_.size(), false);
  for (const LineMatch& match : found) has_line[static_cast<std::size_t>(match.peak)] = true;
  double sum = 0;
  for (const int p : strong_peaks_)
    if (!has_line[static_cast<std::size_t>(p)])
      sum += kUnexplainedWeight * std::sqrt(peaks_[static_cast<std::size_t>(p)].area / greatest_area_);
  return sum;
}

bool LinePattern::isPossible(const Scale& scale) const {
  const double last = scale.energy(channels_);
  const bool is_near_start = !(start_.gain > 0) || std::abs(scale.gain / start_.gain - 1) < kGreatestDrift;
  return scale.gain > 0 && last > 100 && last < 20000 && std::abs(scale.offset) < 0.03 * last + 20 && is_near_start;
}

bool LinePattern::canBeSeen(const KnownLine& line, const Scale& scale) const {
  return line.energy > kLowestSeen && line.energy < scale.energy(channels_);
}

/// Whether a line should be seen, has no peak, and does not hide in one that was found.
bool LinePattern::isMissed(std::size_t k, const std::vector<LineMatch>& found, const Scale& scale) const {
  if (!canBeSeen(known_[k], scale)) return false;
  return std::none_of(found.begin(), found.end(), [&](const LineMatch& match) {
    const MatchPeak& peak = peakOf(match);
    const double reach = kUnresolved_fwhm * peak.fwhm * std::abs(scale.slope(peak.position));
    return match.known == static_cast<int>(k) || std::abs(scale.energy(peak.position) - known_[k].energy) < reach;
  });
}

/// Whether the strongest of the lines that the spectrum should show is among the matches, or hides in one.
bool LinePattern::hasStrongest(const std::vector<LineMatch>& found, const Scale& scale) const {
  int strongest_line = -1;
  for (std::size_t k = 0; k < known_.size(); ++k) {
    const bool is_stronger =
        strongest_line < 0 || known_[k].intensity > known_[static_cast<std::size_t>(strongest_line)].intensity;
    if (canBeSeen(known_[k], scale) && is_stronger) strongest_line = static_cast<int>(k);
  }
  return strongest_line < 0 || !isMissed(static_cast<std::size_t>(strongest_line), found, scale);
}

bool LinePattern::explainsMost(const Scale& scale) const {
  if (!isPossible(scale)) return false;
  const auto found = matches(scale, {0.5, 0});
  double expected = 0;
  double explained = 0;
  for (const KnownLine& line : known_)
    if (canBeSeen(line, scale)) expected += weightOf(line);
  for (const LineMatch& match : found) explained += weightOf(lineOf(match)) * areaAgreement(match, found);
  return found.size() > 1 && explained > kGoodStart * expected && hasStrongest(found, scale);
}

bool LinePattern::isDoubtful(const std::vector<LineMatch>& found, const Scale& scale) const {
  constexpr std::size_t kMany = 4;  // lines at their places: then some may hide
  constexpr double kLeastOfMany = -0.5;
  if (!(score(scale) > (found.size() >= kMany ? kLeastOfMany : 0))) return true;
  if (!hasStrongest(found, scale)) return true;
  double sum = 0;
  for (const LineMatch& match : found) {
    const MatchPeak& peak = peakOf(match);
    const double off = scale.energy(peak.position) - lineOf(match).energy;
    sum += std::pow(off / (peak.fwhm * scale.slope(peak.position)), 2);
  }
  return is_narrow_ && sum > kGreatestResidual_fwhm * kGreatestResidual_fwhm * static_cast<double>(found.size());
}

}  // namespace anautils
