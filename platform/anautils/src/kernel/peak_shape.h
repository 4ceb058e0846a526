// The shape of a gamma line: a Gaussian, or a Gaussian joined to an exponential on its low side
// (Routti and Prussin, Nucl. Instrum. Methods 72 (1969) 125), of area 1, and the step of the continuum under it.
// Everything is integrated over channels: channel i covers [i - 1/2, i + 1/2].
#pragma once

namespace anautils {

inline constexpr double kFwhmPerSigma = 2.3548200450309493;
/// Junction distances beyond this many sigma leave 3e-5 of the area to the tail: the line counts as a Gaussian.
inline constexpr double kLongestTail = 4.0;
/// Junction distances below this many sigma give a shape that no detector has and whose area runs away.
inline constexpr double kShortestTail = 0.3;

/// All in channels. `tail` is the distance of the junction below the centroid, 0 for a Gaussian.
struct PeakShape {
  double centroid = 0;
  double sigma = 1;
  double tail = 0;
};

/// What a line of area 1 and a step of height 1 put into a channel, with their derivatives.
/// The step is erfc((x - centroid) / (sqrt(2) sigma)) / 2: 1 far below the line, 0 far above.
struct ChannelShare {
  double area = 0;
  double area_by_centroid = 0;
  double area_by_sigma = 0;
  double area_by_tail = 0;
  double step = 0;
  double step_by_centroid = 0;
  double step_by_sigma = 0;
};

/// The shares of the n channels from `first_channel` on. One error function is evaluated for each channel edge.
void channelShares(const PeakShape& shape, double first_channel, int n, ChannelShare* shares);
/// Of them the areas alone.
void channelAreas(const PeakShape& shape, double first_channel, int n, double* areas);

/// The part of the area in one channel.
double channelArea(const PeakShape& shape, double channel);

/// The part of the area below x.
double areaBelow(const PeakShape& shape, double x);

/// The shape with the junction brought into the range in which it is used: 0, or kShortestTail to kLongestTail sigma.
PeakShape withUsableTail(PeakShape shape);

}  // namespace anautils
