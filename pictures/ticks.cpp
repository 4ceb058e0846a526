#include "ticks.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "text.h"

namespace orb::plot {
namespace {

/// Forgives the rounding of a quotient that should be whole.
constexpr double kTolerance = 1e-9;

/// With one step, an axis may come to lie between two marks and have none.
constexpr int kFewestSteps = 2;

/// mantissa * 10^exponent, with a mantissa of 1, 2 or 5.
struct Step {
  int mantissa = 1;
  int exponent = 0;

  /// Dividing by a power of ten rounds once; multiplying by 0.1 would give 0.30000000000000004.
  double times(double k) const {
    const double power = std::pow(10.0, std::abs(exponent));
    return exponent < 0 ? k * mantissa / power : k * mantissa * power;
  }
  double value() const { return times(1); }
};

Step stepFor(double span, int max_major) {
  const double raw = span / std::max(max_major, kFewestSteps);
  Step step{1, static_cast<int>(std::floor(std::log10(raw)))};
  const double relative = raw / step.value();
  for (const int mantissa : {1, 2, 5}) {
    step.mantissa = mantissa;
    if (relative <= mantissa * (1 + kTolerance)) return step;
  }
  return {1, step.exponent + 1};
}

std::vector<double> multiples(double lo, double hi, Step step) {
  std::vector<double> values;
  const double first = std::ceil(lo / step.value() - kTolerance);
  const double last = std::floor(hi / step.value() + kTolerance);
  for (double k = first; k <= last; k += 1) {
    values.push_back(step.times(k) + 0.0);  // no -0
    if (k + 1 == k) break;                  // beyond the whole numbers of a double
  }
  return values;
}

/// A fifth of 1 or 5, a quarter of 2.
Step minorStep(Step step) {
  switch (step.mantissa) {
    case 1:
      return {2, step.exponent - 1};
    case 2:
      return {5, step.exponent - 1};
    default:
      return {1, step.exponent};
  }
}

struct Magnitude {
  double factor;
  int exponent;
  std::string_view suffix;
};

/// Numbers of up to five digits are written out.
Magnitude magnitudeFor(double largest) {
  if (largest < 1e5) return {1, 0, ""};
  if (largest < 1e6) return {1e3, 3, "k"};
  if (largest < 1e9) return {1e6, 6, "M"};
  return {1e9, 9, "G"};
}

bool needsExponent(double largest) {
  return largest >= 1e13 || (largest > 0 && largest < 1e-4);
}

/// One suffix and one number of decimals for all labels of an axis.
std::vector<std::string> linearLabels(const std::vector<double>& values, int step_exponent) {
  double largest = 0;
  for (const double value : values) largest = std::max(largest, std::abs(value));
  const Magnitude magnitude = magnitudeFor(largest);
  const int decimals = std::clamp(magnitude.exponent - step_exponent, 0, 15);
  std::vector<std::string> labels;
  for (const double value : values) {
    if (value == 0 || needsExponent(largest)) {
      labels.push_back(number(value));
    } else {
      labels.push_back(fixed(value / magnitude.factor, decimals) + std::string(magnitude.suffix));
    }
  }
  return labels;
}

std::string logLabel(double value) {
  if (value >= 1e13 || value < 1e-3) return number(value);
  const Magnitude magnitude = value < 1e4   ? Magnitude{1, 0, ""}
                              : value < 1e6 ? Magnitude{1e3, 3, "k"}
                                            : magnitudeFor(value);
  return number(value / magnitude.factor) + std::string(magnitude.suffix);
}

void removeMajor(Ticks& ticks) {
  std::erase_if(ticks.minor,
                [&](double value) { return std::binary_search(ticks.major.begin(), ticks.major.end(), value); });
}

/// Multiples of powers of ten inside the limits.
std::vector<double> inDecades(double lo, double hi, std::initializer_list<int> mantissas) {
  std::vector<double> values;
  const int last = static_cast<int>(std::floor(std::log10(hi) + kTolerance));
  for (int exponent = static_cast<int>(std::floor(std::log10(lo) - kTolerance)); exponent <= last; ++exponent) {
    for (const int mantissa : mantissas) {
      const double value = Step{1, exponent}.times(mantissa);
      if (value >= lo * (1 - kTolerance) && value <= hi * (1 + kTolerance)) values.push_back(value);
    }
  }
  return values;
}

/// Every n-th decade, so that not more than `max_major` are left.
std::vector<double> thinned(const std::vector<double>& decades, int max_major) {
  const auto room = static_cast<std::size_t>(std::max(max_major, 1));
  const std::size_t stride = (decades.size() + room - 1) / room;
  std::vector<double> values;
  for (std::size_t i = 0; i < decades.size(); i += stride) values.push_back(decades[i]);
  return values;
}

}  // namespace

Ticks linearTicks(double lo, double hi, int max_major, bool whole) {
  Ticks ticks;
  if (!(hi > lo)) return ticks;
  Step step = stepFor(hi - lo, max_major);
  if (whole && step.exponent < 0) step = {1, 0};
  ticks.major = multiples(lo, hi, step);
  ticks.labels = linearLabels(ticks.major, step.exponent);
  const Step minor = minorStep(step);
  if (!whole || minor.exponent >= 0) ticks.minor = multiples(lo, hi, minor);
  removeMajor(ticks);
  return ticks;
}

Ticks logTicks(double lo, double hi, int max_major) {
  Ticks ticks;
  if (!(lo > 0) || !(hi > lo)) return ticks;
  const std::vector<double> decades = inDecades(lo, hi, {1});
  ticks.major = decades.size() >= 2 ? thinned(decades, max_major) : inDecades(lo, hi, {1, 2, 5});
  if (ticks.major.size() < 2) return linearTicks(lo, hi, max_major, false);
  const bool crowded = ticks.major.size() < decades.size();
  ticks.minor = crowded ? decades : inDecades(lo, hi, {2, 3, 4, 5, 6, 7, 8, 9});
  removeMajor(ticks);
  for (const double value : ticks.major) ticks.labels.push_back(logLabel(value));
  return ticks;
}

}  // namespace orb::plot
