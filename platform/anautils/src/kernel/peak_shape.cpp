#include "kernel/peak_shape.h"

#include <algorithm>
#include <cmath>

namespace anautils {
namespace {

constexpr double kSqrtHalf = 0.70710678118654752;
constexpr double kInverseSqrtTwoPi = 0.39894228040143268;
/// Beyond this many sigma the Gaussian leaves less than 1e-17 of its area.
constexpr double kReach = 8.6;

/// The integrals of a shape and its step from far below up to an edge. With z = (x - centroid) / sigma, t = tail /
/// sigma and the upper normal tail Q, the share below x is
///   1 - k Q(z)                       for z >= -t
///   k phi(t) exp(t (z + t)) / t      for z < -t,     k = 1 / (Phi(t) + phi(t) / t),
/// and k = 1 without a tail. The integral of the step is (x - centroid) Q(z) - sigma phi(z).
class ShapeIntegral {
 public:
  explicit ShapeIntegral(const PeakShape& shape) : shape_(shape), t_(shape.tail / shape.sigma) {
    if (t_ <= 0) return;
    const double phi = kInverseSqrtTwoPi * std::exp(-0.5 * t_ * t_);
    k_ = 1 / (0.5 * std::erfc(-t_ * kSqrtHalf) + phi / t_);
    k_by_t_ = k_ * k_ * phi / (t_ * t_);
    junction_ = k_ * phi / t_;
  }

  ChannelShare upTo(double x) const {
    const double z = (x - shape_.centroid) / shape_.sigma;
    const bool inside = std::abs(z) < kReach;
    const double phi = inside ? kInverseSqrtTwoPi * std::exp(-0.5 * z * z) : 0.0;
    const double above = inside ? 0.5 * std::erfc(z * kSqrtHalf) : (z > 0 ? 0.0 : 1.0);
    ChannelShare e;
    if (t_ > 0 && z < -t_)
      fillTail(z, e);
    else
      fillArea(z, 1 - k_ * above, k_ * phi, -k_by_t_ * above, e);
    e.step = (x - shape_.centroid) * above - shape_.sigma * phi;
    e.step_by_centroid = -above;
    e.step_by_sigma = -phi;
    return e;
  }

 private:
  void fillTail(double z, ChannelShare& e) const {
    const double below = junction_ * std::exp(t_ * (z + t_));
    fillArea(z, below, t_ * below, below * (k_by_t_ / k_ + z + t_ - 1 / t_), e);
  }

  void fillArea(double z, double below, double by_z, double by_t, ChannelShare& e) const {
    e.area = below;
    e.area_by_centroid = -by_z / shape_.sigma;
    e.area_by_sigma = -(z * by_z + t_ * by_t) / shape_.sigma;
    e.area_by_tail = by_t / shape_.sigma;
  }

  PeakShape shape_;
  double t_;
  double k_ = 1;
  double k_by_t_ = 0;
  double junction_ = 0;
};

}  // namespace

void channelShares(const PeakShape& shape, double first_channel, int n, ChannelShare* shares) {
  const ShapeIntegral integral(shape);
  ChannelShare low = integral.upTo(first_channel - 0.5);
  for (int i = 0; i < n; ++i) {
    const ChannelShare high = integral.upTo(first_channel + i + 0.5);
    shares[i] = {high.area - low.area,
                 high.area_by_centroid - low.area_by_centroid,
                 high.area_by_sigma - low.area_by_sigma,
                 high.area_by_tail - low.area_by_tail,
                 high.step - low.step,
                 high.step_by_centroid - low.step_by_centroid,
                 high.step_by_sigma - low.step_by_sigma};
    low = high;
  }
}

void channelAreas(const PeakShape& shape, double first_channel, int n, double* areas) {
  const ShapeIntegral integral(shape);
  double low = integral.upTo(first_channel - 0.5).area;
  for (int i = 0; i < n; ++i) {
    const double high = integral.upTo(first_channel + i + 0.5).area;
    areas[i] = high - low;
    low = high;
  }
}

double channelArea(const PeakShape& shape, double channel) {
  const ShapeIntegral integral(shape);
  return integral.upTo(channel + 0.5).area - integral.upTo(channel - 0.5).area;
}

double areaBelow(const PeakShape& shape, double x) {
  return ShapeIntegral(shape).upTo(x).area;
}

PeakShape withUsableTail(PeakShape shape) {
  if (shape.tail <= 0 || shape.tail > kLongestTail * shape.sigma)
    shape.tail = 0;
  else
    shape.tail = std::max(shape.tail, kShortestTail * shape.sigma);
  return shape;
}

}  // namespace anautils
