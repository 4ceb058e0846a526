// Widths of lines from the counts alone: the second difference S of a line, over the root of the filter's sum of
// squares, is greatest when the filter's standard deviation f is sqrt(5) times the line's, s. It goes as f^(5/2) / (s^2
// + f^2)^(3/2). That is the significance on a continuum many times as high as the line. The true one, which decides
// whether there is a line, would not do: the counts of a strong line are its own noise, and the widest filter the most
// significant.
#include <algorithm>
#include <cmath>

#include "kernel/median.h"
#include "kernel/peak_search.h"
#include "kernel/peak_shape.h"
#include "kernel/spectrum_levels.h"

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
  double contrast = 0;  // -S over the root of the filter's sum of squares: what widths are compared by
  double fwhm = 0;
};

bool isMaximum(const std::vector<Response>& values, std::size_t i) {
  const double here = values[i].significance;
  return (i == 0 || values[i - 1].significance < here) &&
         (i + 1 == values.size() || values[i + 1].significance <= here);
}

using Maxima = std::vector<Blob>;  // of one filter width, in order of position

/// The maximum nearest to a place, as far as one width away; null when there is none.
const Blob* nearestIn(const Maxima& maxima, const Blob& blob) {
  const auto above =
      std::lower_bound(maxima.begin(), maxima.end(), blob.at, [](const Blob& other, int at) { return other.at < at; });
  const auto distance = [&](Maxima::const_iterator other) { return std::abs(other->at - blob.at); };
  auto nearest = above;
  if (above == maxima.end() || (above != maxima.begin() && distance(above - 1) <= distance(above))) {
    if (above == maxima.begin()) return nullptr;
    nearest = above - 1;
  }
  return distance(nearest) <= nearest->fwhm ? &*nearest : nullptr;
}

/// Whether one of the places, which are in order, is nearer than that.
bool isNear(const std::vector<int>& places, int at, double distance) {
  const auto above = std::lower_bound(places.begin(), places.end(), at);
  return (above != places.end() && *above - at < distance) || (above != places.begin() && at - *(above - 1) < distance);
}

std::vector<Maxima> maximaByWidth(const std::vector<double>& counts) {
  SpectrumLevels levels(counts);
  std::vector<Maxima> all;
  const double widest = static_cast<double>(counts.size()) / 12;
  std::vector<Response> values;
  for (double fwhm = kNarrowest; fwhm <= widest; fwhm *= kScaleStep) {
    const LevelFilter filter(levels, kBestRatio * fwhm / kFwhmPerSigma, 3.5, static_cast<int>(fwhm));
    const double norm = filter.norm();
    values.resize(static_cast<std::size_t>(filter.bins()));
    filter.respondInBins(0, filter.bins(), values.data());
    Maxima& maxima = all.emplace_back();
    for (std::size_t i = 0; i < values.size(); ++i)
      if (values[i].significance > kThreshold && isMaximum(values, i))
        maxima.push_back(
            {filter.channelOf(static_cast<int>(i)), values[i].significance, -values[i].difference / norm, fwhm});
  }
  return all;
}

/// Maxima in position and in width, strongest first. The response to a line changes little from one width to the next;
/// a maximum that is gone at the next one is a ripple of the noise on the top of a broader line. A broad maximum that
/// has a narrower one inside, as the edge of a Compton continuum has below its line, is left out.
std::vector<Blob> blobs(const std::vector<double>& counts) {
  const std::vector<Maxima> all = maximaByWidth(counts);
  std::vector<Blob> kept;
  std::vector<int> places;  // of those kept, in order
  for (std::size_t k = 0; k + 1 < all.size(); ++k) {
    std::vector<int> here;
    for (const Blob& blob : all[k]) {
      const Blob* const wider = nearestIn(all[k + 1], blob);
      const Blob* const narrower = k > 0 ? nearestIn(all[k - 1], blob) : nullptr;
      if (wider == nullptr || wider->contrast > blob.contrast) continue;
      if (narrower != nullptr && narrower->contrast >= blob.contrast) continue;
      const double reach = 1.5 * blob.fwhm;
      if (isNear(places, blob.at, reach) || isNear(here, blob.at, reach)) continue;
      kept.push_back(blob);
      here.push_back(blob.at);
    }
    const auto n_before = static_cast<std::ptrdiff_t>(places.size());
    places.insert(places.end(), here.begin(), here.end());
    std::inplace_merge(places.begin(), places.begin() + n_before, places.end());
  }
  std::stable_sort(kept.begin(), kept.end(),
                   [](const Blob& a, const Blob& b) { return a.significance > b.significance; });
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

std::vector<double> estimatedWidths(const std::vector<double>& counts) {
  std::vector<Blob> strongest = blobs(counts);
  if (strongest.empty()) return {};
  strongest.resize(std::min(strongest.size(), 2 * kStrongest));
  // The median of the slopes between all pairs, then of what is left over (Theil 1950): false maxima do little harm.
  std::vector<double> slopes;
  for (std::size_t i = 0; i < strongest.size(); ++i)
    for (std::size_t j = i + 1; j < strongest.size(); ++j) {
      const double distance = strongest[j].at - strongest[i].at;
      const double difference = strongest[j].fwhm * strongest[j].fwhm - strongest[i].fwhm * strongest[i].fwhm;
      if (distance != 0) slopes.push_back(difference / distance);
    }
  double slope = strongest.size() < 4 ? 0 : std::max(0.0, medianOf(slopes));
  std::vector<double> rest;
  std::vector<double> ratios;
  for (const Blob& blob : strongest) {
    rest.push_back(blob.fwhm * blob.fwhm - slope * blob.at);
    ratios.push_back(blob.fwhm * blob.fwhm / std::max(1, blob.at));
  }
  double offset = medianOf(rest);
  if (offset < 0) {  // no line has a square below 0: through the origin
    offset = 0;
    slope = medianOf(ratios);
  }
  std::vector<double> widths(counts.size());
  for (std::size_t i = 0; i < widths.size(); ++i)
    widths[i] = std::sqrt(std::max(kNarrowest * kNarrowest, offset + slope * static_cast<double>(i)));
  return widths;
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
