#include "detector_guess.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "channel_shift.h"
#include "neighbours.h"
#include "value_text.h"
#include "words.h"

namespace com::norvale::measurement {

namespace {

constexpr double kFwhmOfSigma = 2.3548;
constexpr double kFewCounts = 100;  // at the top of a line; below it three channels are averaged
constexpr double kMinSignificance = 8;
constexpr double kScales[] = {1.2, 1.7};  // sigma in bins; with the halving of the bins, steps of a root of 2
constexpr std::size_t kMinBins = 64;
constexpr std::size_t kMaxLines = 12;
constexpr std::size_t kEnoughNarrow = 3;
constexpr double kReference_keV = 661.7;
constexpr double kLowest_keV = 30;              // below it thresholds and X-rays tell nothing
constexpr double kAssumedFullScale_keV = 2500;  // without a calibration
/// Germanium has 1 to 4 keV at 661.7 keV (8 with very coarse channels), the best scintillators 18.
constexpr double kNarrowest_keV = 12;
constexpr std::size_t kChannelsOfGermanium = 8192;

struct Line {
  double channel;
  double sigma_ch;  // of the filter, wider than the line where it is strong
  double significance;
  double fwhm_ch = 0;
};

/// Second derivative of a Gaussian, made free of area, so that a straight continuum gives nothing (Mariscotti 1967).
std::vector<double> makeFilter(double sigma) {
  const int half = static_cast<int>(std::ceil(4 * sigma));
  std::vector<double> filter;
  double sum = 0;
  for (int j = -half; j <= half; ++j) {
    const double u = j * j / (sigma * sigma);
    filter.push_back((1 - u) * std::exp(-u / 2));
    sum += filter.back();
  }
  for (double& f : filter) f -= sum / static_cast<double>(filter.size());
  return filter;
}

/// Adds the maxima of the filtered spectrum that counting statistics do not explain.
void search(const std::vector<double>& bins, double sigma, double bin_width, std::vector<Line>& lines) {
  const std::vector<double> filter = makeFilter(sigma);
  if (bins.size() < filter.size() + 2) return;
  std::vector<double> significance(bins.size() - filter.size() + 1);
  for (std::size_t i = 0; i < significance.size(); ++i) {
    double sum = 0;
    double variance = 0;
    for (std::size_t j = 0; j < filter.size(); ++j) {
      sum += filter[j] * bins[i + j];
      variance += filter[j] * filter[j] * bins[i + j];
    }
    significance[i] = sum / std::sqrt(std::max(variance, 1.0));
  }
  const double middle = static_cast<double>(filter.size()) / 2;
  for (std::size_t i = 1; i + 1 < significance.size(); ++i) {
    const double s = significance[i];
    if (s < kMinSignificance || s < significance[i - 1] || s <= significance[i + 1]) continue;
    lines.push_back({(static_cast<double>(i) + middle) * bin_width + 0.5, sigma * bin_width, s});
  }
}

std::vector<double> halve(const std::vector<double>& bins) {
  std::vector<double> half(bins.size() / 2);
  for (std::size_t i = 0; i < half.size(); ++i) half[i] = bins[2 * i] + bins[2 * i + 1];
  return half;
}

/// Finds the width at half the height above the level of the surroundings.
void measureWidth(std::span<const double> counts, Line& line) {
  const auto n = static_cast<std::ptrdiff_t>(counts.size());
  const auto reach = static_cast<std::ptrdiff_t>(std::ceil(3 * line.sigma_ch));
  const auto middle = static_cast<std::ptrdiff_t>(std::lround(line.channel)) - 1;
  const std::ptrdiff_t first = std::max<std::ptrdiff_t>(1, middle - reach);
  const std::ptrdiff_t last = std::min(n - 2, middle + reach);
  line.fwhm_ch = line.sigma_ch * kFwhmOfSigma;  // holds where nothing better is found
  if (last - first < 3) return;
  const auto raw = [&](std::ptrdiff_t i) { return counts[static_cast<std::size_t>(i)]; };
  const bool few = raw(middle) < kFewCounts;
  const auto level = [&](std::ptrdiff_t i) { return few ? (raw(i - 1) + raw(i) + raw(i + 1)) / 3 : raw(i); };
  std::ptrdiff_t top = first;
  for (std::ptrdiff_t i = first; i <= last; ++i) top = level(i) > level(top) ? i : top;
  const double half = (level(top) + (level(first) + level(last)) / 2) / 2;
  const auto crossing = [&](std::ptrdiff_t step) {
    std::ptrdiff_t i = top;
    while (i > first && i < last && level(i + step) > half) i += step;
    if (i <= first || i >= last) return 0.0;
    const double fraction = (level(i) - half) / (level(i) - level(i + step));
    return std::fabs(static_cast<double>(i - top)) + fraction;
  };
  const double left = crossing(-1);
  const double right = crossing(1);
  if (left > 0 && right > 0) line.fwhm_ch = left + right;
}

/// The most significant lines, each at the scale at which it stands out most.
std::vector<Line> findLines(std::span<const double> counts) {
  std::vector<Line> all;
  std::vector<double> bins(counts.begin(), counts.end());
  for (double width = 1; bins.size() >= kMinBins; width *= 2, bins = halve(bins)) {
    for (const double sigma : kScales) search(bins, sigma, width, all);
  }
  std::sort(all.begin(), all.end(), [](const Line& a, const Line& b) { return a.significance > b.significance; });
  std::vector<Line> lines;
  for (const Line& line : all) {
    const bool covered = std::any_of(lines.begin(), lines.end(), [&](const Line& other) {
      return std::fabs(line.channel - other.channel) < 2 * std::max(line.sigma_ch, other.sigma_ch);
    });
    if (!covered) lines.push_back(line);
    if (lines.size() == kMaxLines) break;
  }
  for (Line& line : lines) measureWidth(counts, line);
  return lines;
}

/// Energies for the comparison of widths.
class Scale {
 public:
  Scale(std::span<const double> coefficients, std::size_t n_channels)
      : coefficients_(coefficients.begin(), coefficients.end()) {
    is_calibrated_ = coefficients_.size() > 1;
    if (!is_calibrated_) coefficients_ = {0, kAssumedFullScale_keV / static_cast<double>(n_channels)};
  }
  double energy(double channel) const { return formats::polynomial(coefficients_, channel); }
  double fwhm_keV(const Line& line) const {
    const double half = line.fwhm_ch / 2;
    return std::fabs(energy(line.channel + half) - energy(line.channel - half));
  }
  /// Widths grow as the root of the energy, so lines of all energies can be compared at one.
  double widthAtReference(const Line& line) const {
    return fwhm_keV(line) * std::sqrt(kReference_keV / energy(line.channel));
  }
  DetectorGuess guess(bool is_NaI, const char* what, const Line& clearest, const Line& narrowest) const {
    DetectorGuess guess{is_NaI, what + words(clearest), 0, 0};
    if (is_calibrated_) guess.energy_keV = energy(narrowest.channel);
    if (is_calibrated_) guess.fwhm_keV = fwhm_keV(narrowest);
    return guess;
  }
  std::string words(const Line& line) const {
    if (is_calibrated_) {
      return "about " + roundedText(fwhm_keV(line), 2) + " keV wide at " + roundedText(energy(line.channel), 4) +
             " keV";
    }
    return "about " + roundedText(line.fwhm_ch, 2) + " channels wide in channel " +
           roundedText(std::round(line.channel), 8);
  }

 private:
  std::vector<double> coefficients_;
  bool is_calibrated_;
};

/// For its energy: humps are broader than lines.
Line narrowestOf(const std::vector<Line>& lines, const Scale& scale) {
  return *std::min_element(lines.begin(), lines.end(), [&](const Line& a, const Line& b) {
    return scale.widthAtReference(a) < scale.widthAtReference(b);
  });
}

bool contains(const std::string& text, std::initializer_list<const char*> words) {
  const std::string lower = toLower(text);
  return std::any_of(words.begin(), words.end(),
                     [&](const char* word) { return lower.find(word) != std::string::npos; });
}

DetectorGuess guessWithoutLines(std::size_t n_channels, const std::string& named) {
  if (contains(named, {"hpge", "germanium", "ge(li)"})) return {false, "the file names its detector so", 0, 0};
  if (contains(named, {"nai", "csi", "labr", "cebr", "scintill"}))
    return {true, "the file names its detector so", 0, 0};
  return {n_channels < kChannelsOfGermanium,
          "no line stands out; guessed from the number of channels, " + std::to_string(n_channels), 0, 0};
}

}  // namespace

DetectorGuess guessDetector(std::span<const double> counts, std::span<const double> coefficients,
                            const std::string& named) {
  const Scale scale(coefficients, counts.size());
  std::vector<Line> narrow;
  std::vector<Line> broad;
  for (const Line& line : findLines(counts)) {
    if (!(scale.energy(line.channel) > kLowest_keV)) continue;
    (scale.widthAtReference(line) < kNarrowest_keV ? narrow : broad).push_back(line);
  }
  // Both lists are sorted. A continuum has broad humps with germanium too; narrow lines exist with germanium only.
  const bool narrow_rules = !narrow.empty() && (broad.empty() || narrow.size() >= kEnoughNarrow ||
                                                narrow[0].significance > broad[0].significance / 3);
  if (narrow_rules) return scale.guess(false, "a line is ", narrow[0], narrow[0]);
  if (!broad.empty()) return scale.guess(true, "the clearest line is ", broad[0], narrowestOf(broad, scale));
  return guessWithoutLines(counts.size(), named);
}

}  // namespace com::norvale::measurement
