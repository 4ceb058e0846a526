/// The part of a spectrum that is drawn, and where its channels and counts lie in the picture.
#pragma once
#include <cstddef>
#include <span>

#include "plot.h"
#include "ticks.h"

namespace orb::plot {

/// A count as it is drawn: NaN where there is none, held inside limits that leave room for arithmetic.
double drawnCount(double count);

/// The channels of a picture. Its x axis is linear in energy where the spectrum is calibrated, else in channels.
class View {
 public:
  /// Keeps a reference to the spectrum. @throws std::invalid_argument
  View(const Spectrum& spectrum, const Options& options);

  bool calibrated() const { return !spectrum_.energy_coefficients.empty(); }
  double firstChannel() const { return channelAt(begin_); }
  double lastChannel() const { return channelAt(end_ - 1); }
  std::span<const double> counts() const { return std::span(spectrum_.counts).subspan(begin_, end_ - begin_); }
  bool holds(double channel) const { return channel >= firstChannel() - 0.5 && channel <= lastChannel() + 0.5; }

  /// Energy of a channel, or the channel itself.
  double axisValue(double channel) const;
  double axisMin() const { return axis_min_; }
  double axisMax() const { return axis_max_; }
  /// 0 at the left border of the picture, 1 at the right one.
  double placeOfChannel(double channel) const { return placeOfValue(axisValue(channel)); }
  double placeOfValue(double axis_value) const { return (axis_value - axis_min_) / (axis_max_ - axis_min_); }

 private:
  double channelAt(std::size_t index) const;
  void applyRange(const Range& range);
  std::size_t indexOfChannel(double channel) const;
  std::size_t indexOfEnergy(double energy) const;

  const Spectrum& spectrum_;
  std::size_t begin_ = 0;
  std::size_t end_;
  double axis_min_ = 0;
  double axis_max_ = 1;
};

/// What one column of pixels shows.
struct Column {
  double lo;    ///< smallest and
  double hi;    ///< largest count of its channels; NaN where there is none
  double last;  ///< count of its last channel, from where the curve goes on
};

/// Spreads the channels of a view over columns. No count is lost from sight: a column reaches from the smallest to the
/// largest count of its channels. With fewer channels than columns, a channel fills several.
std::vector<Column> columnsOf(const View& view, std::size_t n_columns);

/// The axis of the counts.
struct CountScale {
  bool log = false;
  bool whole = true;  ///< all counts are whole numbers
  double lo = 0;
  double hi = 1;

  /// 0 at the lower border, 1 at the upper one; counts beyond a border are set on it.
  double place(double count) const;
  /// Where the area under the curve ends: at 0 counts.
  double basePlace() const { return place(0); }
  Ticks ticks(int max_major) const;
};

/// @param headroom  part of the height that stays free above the largest count, 0 to 0.5.
CountScale countScaleFor(std::span<const double> counts, bool log, double headroom);

}  // namespace orb::plot
