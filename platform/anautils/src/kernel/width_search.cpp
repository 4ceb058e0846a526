// Widths of lines from the counts alone: the significance of the second difference of a line on a continuum is greatest
// when the filter's standard deviation is sqrt(5) times the line's.
#include <algorithm>
#include <cmath>

#include "kernel/peak_search.h"
#include "kernel/peak_shape.h"
#include "kernel/second_difference.h"

namespace anautils {

namespace {

constexpr double kBestRatio = 2.2360679774997896;
constexpr double kNarrowest = 1.5;  // FWHM in elements
constexpr double kScaleStep = 1.2;
constexpr double kThreshold = 6;
constexpr std::size_t kStrongest = 12;

struct Blob {
  int at = 0;
  double significance = 0;
  double fwhm = 0;
};

/// Significance at all elements for lines of one width.
std::vector<double> significances(const std::vector<double>& counts, double fwhm) {
  const auto filter = secondDifferenceFilter(kBestRatio * fwhm / kFwhmPerSigma, 3.5);
  const auto smooth = smoothedCounts(counts, static_cast<int>(fwhm) | 1);
  std::vector<double> values(counts.size());
  for (std::size_t i = 0; i < counts.size(); ++i)
    values[i] = respond(counts, smooth, filter, static_cast<int>(i)).significance;
  return values;
}

bool isMaximum(const std::vector<double>& values, std::size_t i) {
  return (i == 0 || values[i - 1] < values[i]) && (i + 1 == values.size() || values[i + 1] <= values[i]);
}

/// Maxima along the spectrum at each width; of those that lie on each other the strongest is kept.
std::vector<Blob> blobs(const std::vector<double>& counts) {
  std::vector<Blob> found;
  const double widest = static_cast<double>(counts.size()) / 12;
  for (double fwhm = kNarrowest; fwhm <= widest; fwhm *= kScaleStep) {
    const auto values = significances(counts, fwhm);
    for (std::size_t i = 0; i < values.size(); ++i)
      if (values[i] > kThreshold && isMaximum(values, i)) found.push_back({static_cast<int>(i), values[i], fwhm});
  }
  std::sort(found.begin(), found.end(), [](const Blob& a, const Blob& b) { return a.significance > b.significance; });
  std::vector<Blob> kept;
  for (const Blob& blob : found) {
    const bool is_covered = std::any_of(kept.begin(), kept.end(), [&](const Blob& other) {
      return std::abs(other.at - blob.at) < 2 * std::max(other.fwhm, blob.fwhm);
    });
    if (!is_covered) kept.push_back(blob);
  }
  return kept;
}

}  // namespace

double typicalWidth(const std::vector<double>& counts) {
  std::vector<Blob> strongest = blobs(counts);
  if (strongest.empty()) return 0;
  strongest.resize(std::min(strongest.size(), kStrongest));
  std::sort(strongest.begin(), strongest.end(), [](const Blob& a, const Blob& b) { return a.fwhm < b.fwhm; });
  return strongest[strongest.size() / 2].fwhm;
}

double widthAround(const std::vector<double>& counts, int element) {
  const std::vector<Blob> found = blobs(counts);
  const auto nearest = std::min_element(found.begin(), found.end(), [&](const Blob& a, const Blob& b) {
    return std::abs(a.at - element) < std::abs(b.at - element);
  });
  if (nearest == found.end() || std::abs(nearest->at - element) > nearest->fwhm) return 0;
  return nearest->fwhm;
}

}  // namespace anautils
