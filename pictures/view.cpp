#include "view.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "polynomial.h"
#include "text.h"

namespace orb::plot {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargestCount = 1e300;

std::string rangeText(const Range& range, std::string_view unit) {
  return number(range.from) + ":" + number(range.to) + (range.in_energy ? " " + cleanText(unit) : " (channels)");
}

[[noreturn]] void refuseRange(const Range& range, std::string_view unit, const std::string& why) {
  throw std::invalid_argument("range " + rangeText(range, unit) + ": " + why);
}

}  // namespace

double drawnCount(double count) {
  return std::isfinite(count) ? std::clamp(count, -kLargestCount, kLargestCount) : kNaN;
}

std::string calibrationProblem(const Spectrum& spectrum) {
  const std::vector<double>& coefficients = spectrum.energy_coefficients;
  if (coefficients.empty()) return {};
  for (const double c : coefficients) {
    if (!std::isfinite(c)) return "the energy calibration has a coefficient that is not a number";
  }
  const auto first = static_cast<double>(spectrum.first_channel);
  double previous = polynomial(coefficients, first - 0.5);
  for (std::size_t i = 0; i < spectrum.counts.size(); ++i) {
    const double channel = first + static_cast<double>(i);
    const double edge = polynomial(coefficients, channel + 0.5);
    if (!(edge > previous) || !std::isfinite(edge)) {
      return "the energy calibration does not rise at channel " + number(channel);
    }
    previous = edge;
  }
  return {};
}

View::View(const Spectrum& spectrum, const Options& options) : spectrum_(spectrum), end_(spectrum.counts.size()) {
  if (spectrum.counts.empty()) throw std::invalid_argument("the spectrum has no channels");
  if (const std::string problem = calibrationProblem(spectrum); !problem.empty()) throw std::invalid_argument(problem);
  if (options.range) applyRange(*options.range);
  axis_min_ = axisValue(firstChannel() - 0.5);
  axis_max_ = axisValue(lastChannel() + 0.5);
}

double View::channelAt(std::size_t index) const {
  return static_cast<double>(spectrum_.first_channel) + static_cast<double>(index);
}

double View::axisValue(double channel) const {
  return calibrated() ? polynomial(spectrum_.energy_coefficients, channel) : channel;
}

void View::applyRange(const Range& range) {
  const std::string_view unit = spectrum_.energy_unit;
  if (!(range.from <= range.to)) refuseRange(range, unit, "the first end must not be above the second");
  if (range.in_energy && !calibrated()) refuseRange(range, unit, "the spectrum has no energy calibration");
  const double first = axisValue(channelAt(0) - 0.5);
  const double last = axisValue(channelAt(end_ - 1) + 0.5);
  const double lower = range.in_energy ? first : channelAt(0);
  const double upper = range.in_energy ? last : channelAt(end_ - 1);
  if (range.to < lower || range.from > upper) {
    refuseRange(range, unit, "the spectrum reaches from " + number(lower) + " to " + number(upper));
  }
  const std::size_t n = end_;
  begin_ = range.in_energy ? indexOfEnergy(range.from) : indexOfChannel(std::ceil(range.from));
  end_ = (range.in_energy ? indexOfEnergy(range.to) : indexOfChannel(std::floor(range.to))) + 1;
  begin_ = std::min(begin_, n - 1);
  end_ = std::clamp(end_, begin_ + 1, n);
}

std::size_t View::indexOfChannel(double channel) const {
  const double index = channel - static_cast<double>(spectrum_.first_channel);
  return static_cast<std::size_t>(std::clamp(index, 0.0, static_cast<double>(spectrum_.counts.size() - 1)));
}

/// The channel in which an energy lies; energies rise with the channels.
std::size_t View::indexOfEnergy(double energy) const {
  std::size_t lo = 0;
  std::size_t hi = spectrum_.counts.size() - 1;
  while (lo < hi) {
    const std::size_t middle = lo + (hi - lo) / 2;
    if (axisValue(channelAt(middle) + 0.5) <= energy) {
      lo = middle + 1;
    } else {
      hi = middle;
    }
  }
  return lo;
}

namespace {

void add(Column& column, double count) {
  if (std::isnan(count)) return;
  column.lo = std::isnan(column.lo) ? count : std::min(column.lo, count);
  column.hi = std::isnan(column.hi) ? count : std::max(column.hi, count);
  column.last = count;
}

}  // namespace

std::vector<Column> columnsOf(const View& view, std::size_t n_columns) {
  std::vector<Column> columns(n_columns, Column{kNaN, kNaN, kNaN});
  const auto counts = view.counts();
  const auto n = static_cast<double>(n_columns);
  const auto columnAt = [&](double channel) {
    return static_cast<std::size_t>(std::clamp(view.placeOfChannel(channel) * n, 0.0, n - 1));
  };
  double left_edge = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const double channel = view.firstChannel() + static_cast<double>(i);
    const double right_edge = view.placeOfChannel(channel + 0.5) * n;
    const double count = drawnCount(counts[i]);
    const std::size_t own = columnAt(channel);
    add(columns[own], count);
    // Further columns belong to a channel when their middle lies in it.
    for (double c = std::ceil(left_edge - 0.5); c + 0.5 < right_edge && c < n; c += 1) {
      if (c >= 0 && static_cast<std::size_t>(c) != own) add(columns[static_cast<std::size_t>(c)], count);
    }
    left_edge = right_edge;
  }
  return columns;
}

namespace {

/// Below that, a curve that falls to tiny fractions would press all of interest against the upper border.
constexpr double kMaxDecades = 12;

struct Extent {
  double lo = 0;
  double hi = 0;
  double least_positive = 0;
  bool whole = true;
};

Extent extentOf(std::span<const double> counts) {
  Extent extent;
  for (const double raw : counts) {
    const double count = drawnCount(raw);
    if (std::isnan(count)) continue;
    extent.lo = std::min(extent.lo, count);
    extent.hi = std::max(extent.hi, count);
    if (count > 0 && (extent.least_positive == 0 || count < extent.least_positive)) extent.least_positive = count;
    if (count != std::floor(count)) extent.whole = false;
  }
  return extent;
}

CountScale logScale(const Extent& extent, double headroom) {
  CountScale scale{true, extent.whole, 0.5, 10};
  if (!(extent.hi > 0)) return scale;
  const double decade = std::pow(10.0, std::floor(std::log10(extent.least_positive)));
  // A count on the floor could not be told from none.
  scale.lo = extent.least_positive > decade ? decade : decade / 2;
  scale.lo = std::max(scale.lo, extent.hi / std::pow(10.0, kMaxDecades));
  scale.hi = std::max(extent.hi, scale.lo * 10);
  scale.hi *= std::pow(scale.hi / scale.lo, headroom / (1 - headroom));
  return scale;
}

}  // namespace

CountScale countScaleFor(std::span<const double> counts, bool log, double headroom) {
  const Extent extent = extentOf(counts);
  if (log) return logScale(extent, headroom);
  CountScale scale{false, extent.whole, extent.lo, extent.hi};
  if (scale.hi == scale.lo) scale.hi = scale.lo + 1;
  const double span = scale.hi - scale.lo;
  if (extent.hi > 0) scale.hi += span * headroom / (1 - headroom);
  if (extent.lo < 0) scale.lo -= span * 0.05;
  return scale;
}

double CountScale::place(double count) const {
  const double held = std::clamp(count, lo, hi);
  return log ? std::log(held / lo) / std::log(hi / lo) : (held - lo) / (hi - lo);
}

Ticks CountScale::ticks(int max_major) const {
  return log ? logTicks(lo, hi, max_major) : linearTicks(lo, hi, max_major, whole);
}

}  // namespace orb::plot
