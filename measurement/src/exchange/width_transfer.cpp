#include "width_transfer.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "channel_shift.h"
#include "polynomial_fit.h"
#include "text_stream.h"
#include "value_text.h"

namespace com::norvale::measurement {

namespace {

using formats::CalibrationPoint;
using formats::polynomial;
using formats::Quantity;

constexpr std::size_t kSamples = 64;
constexpr double kFirstSample = 0.03;  // of the range: widths below it are extrapolations of no use
constexpr std::size_t kPoints = 16;
constexpr std::size_t kFewest = 2;

double gain(std::span<const double> energy, double channel) {
  return polynomial(energy, channel + 0.5) - polynomial(energy, channel - 0.5);
}

/// Channels spread evenly over the part of a spectrum where lines are.
std::vector<double> sampleChannels(std::size_t n_channels) {
  std::vector<double> channels(kSamples);
  const double last = static_cast<double>(n_channels - 1);
  for (std::size_t i = 0; i < kSamples; ++i) {
    const double part = static_cast<double>(i) / static_cast<double>(kSamples - 1);
    channels[i] = last * (kFirstSample + (1 - kFirstSample) * part);
  }
  return channels;
}

/// The channel of an energy, for equations that rise.
double channelOf(std::span<const double> energy, double wanted_keV, std::size_t n_channels) {
  double low = 0;
  double high = static_cast<double>(n_channels);
  for (int i = 0; i < 60; ++i) {
    const double middle = (low + high) / 2;
    (polynomial(energy, middle) < wanted_keV ? low : high) = middle;
  }
  return low;
}

/// The original as (energy, width in keV); pairs that are not positive are left out.
std::vector<CalibrationPoint> sample(const formats::FwhmCalibration& original, std::span<const double> energy,
                                     std::size_t n_channels) {
  const bool over_channels = original.position == Quantity::kChannel;
  const bool needs_energy = over_channels || original.width == Quantity::kChannel || original.points.empty();
  if (needs_energy && energy.size() < 2) return {};
  std::vector<CalibrationPoint> pairs = original.points;
  if (pairs.empty()) {
    for (const double channel : sampleChannels(n_channels)) {
      const double x = over_channels ? channel : polynomial(energy, channel);
      pairs.push_back({x, polynomial(original.coefficients, x)});
    }
  }
  std::vector<CalibrationPoint> samples;
  for (const auto& [x, y] : pairs) {
    const double e = over_channels ? polynomial(energy, x) : x;
    const auto channel = [&] { return over_channels ? x : channelOf(energy, x, n_channels); };
    const double width = original.width == Quantity::kEnergy ? y : y * gain(energy, channel());
    if (e > 0 && width > 0 && std::isfinite(e) && std::isfinite(width)) samples.push_back({e, width});
  }
  return samples;
}

/// A quadratic bends down again behind the points that it was made of: only its rising part means something.
void keepRisingPart(std::vector<CalibrationPoint>& samples) {
  const auto lower = [](const CalibrationPoint& a, const CalibrationPoint& b) { return a.y < b.y; };
  const auto highest = std::max_element(samples.begin(), samples.end(), lower);
  if (highest != samples.end()) samples.erase(highest + 1, samples.end());
}

void append(std::string& out, const std::string& name, const std::vector<double>& numbers) {
  if (numbers.empty()) return;
  out += name + "=";
  for (std::size_t i = 0; i < numbers.size(); ++i) out += (i == 0 ? "" : " ") + numberText(numbers[i]);
  out += "\n";
}

std::vector<double> numbersOf(const std::string& text) {
  std::vector<double> numbers;
  TextStream words(text);
  for (std::string word; words >> word;) {
    double number = 0;
    if (std::from_chars(word.data(), word.data() + word.size(), number).ec == std::errc()) numbers.push_back(number);
  }
  return numbers;
}

constexpr const char* kForm = "form";
constexpr const char* kOverEnergy = "over energy";
constexpr const char* kInKeV = "in keV";

}  // namespace

/// Minimises the squares of the relative deviations, because widths differ by factors over a spectrum.
std::optional<WidthFit> fitWidth(const formats::FwhmCalibration& original, std::span<const double> energy,
                                 std::size_t n_channels) {
  if (n_channels < 2) return std::nullopt;
  std::vector<CalibrationPoint> samples = sample(original, energy, n_channels);
  if (original.points.empty()) keepRisingPart(samples);
  double s00 = 0;
  double s01 = 0;
  double s11 = 0;
  double t0 = 0;
  double t1 = 0;
  for (const auto& [e, width] : samples) {
    const double u = 1 / width;
    const double v = std::sqrt(e) / width;
    s00 += u * u;
    s01 += u * v;
    s11 += v * v;
    t0 += u;
    t1 += v;
  }
  const double determinant = s00 * s11 - s01 * s01;
  if (samples.size() < kFewest || !(determinant > 0)) return std::nullopt;
  WidthFit fit{(t0 * s11 - t1 * s01) / determinant, (t1 * s00 - t0 * s01) / determinant, 0};
  if (!(fit.slope > 0)) return std::nullopt;
  for (const auto& [e, width] : samples) {
    fit.worst = std::max(fit.worst, std::fabs((fit.offset + fit.slope * std::sqrt(e)) / width - 1));
  }
  return fit;
}

std::string widthRecord(const formats::FwhmCalibration& original, const WidthFit& fit) {
  std::string text = std::string(kForm) + "=" + (original.width == Quantity::kEnergy ? kInKeV : "in channels") + " " +
                     (original.position == Quantity::kEnergy ? kOverEnergy : "over channel, channels from 0") + "\n";
  append(text, "coefficients", original.coefficients);
  std::vector<double> x;
  std::vector<double> y;
  for (const auto& point : original.points) {
    x.push_back(point.x);
    y.push_back(point.y);
  }
  append(text, "positions", x);
  append(text, "widths", y);
  append(text, "fitted", {fit.offset, fit.slope});
  return text;
}

std::optional<formats::FwhmCalibration> originalWidth(const std::string& record, const FwhmCalibration& in_force) {
  formats::FwhmCalibration original;
  std::vector<double> x;
  std::vector<double> y;
  std::vector<double> fitted;
  TextStream lines(record);
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find('=');
    if (equals == std::string::npos) continue;
    const std::string name = line.substr(0, equals);
    const std::string value = line.substr(equals + 1);
    if (name == kForm) {
      if (value.find(kOverEnergy) != std::string::npos) original.position = Quantity::kEnergy;
      if (value.find(kInKeV) != std::string::npos) original.width = Quantity::kEnergy;
    } else if (name == "coefficients") {
      original.coefficients = numbersOf(value);
    } else if (name == "positions") {
      x = numbersOf(value);
    } else if (name == "widths") {
      y = numbersOf(value);
    } else if (name == "fitted") {
      fitted = numbersOf(value);
    }
  }
  for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i) original.points.push_back({x[i], y[i]});
  const bool belongs = fitted == std::vector<double>{in_force.offset, in_force.slope};
  return belongs && !original.empty() ? std::optional(original) : std::nullopt;
}

formats::FwhmCalibration widthPoints(const FwhmCalibration& calibration, std::span<const double> energy,
                                     std::size_t n_channels) {
  formats::FwhmCalibration result;
  result.position = result.width = Quantity::kEnergy;
  if (energy.size() < 2) return result;
  const double last = std::sqrt(std::max(0.0, polynomial(energy, static_cast<double>(n_channels - 1))));
  for (std::size_t i = 1; i <= kPoints; ++i) {
    const double root = std::round(last * static_cast<double>(i) / static_cast<double>(kPoints));
    const double e = root * root;  // whole numbers: exact in the file
    const double width = calibration.offset + calibration.slope * root;
    if (width > 0 && e > 0 && (result.points.empty() || e > result.points.back().x))
      result.points.push_back({e, width});
  }
  return result;
}

formats::FwhmCalibration widthQuadratic(const FwhmCalibration& calibration, std::span<const double> energy,
                                        std::size_t n_channels, double& worst) {
  formats::FwhmCalibration result;
  worst = 0;
  if (energy.size() < 2) return result;
  std::vector<CalibrationPoint> points;
  for (const double channel : sampleChannels(n_channels)) {
    const double e = polynomial(energy, channel);
    const double width = e > 0 ? calibration.fwhm_keV(e) / gain(energy, channel) : 0;
    if (width > 0 && std::isfinite(width)) points.push_back({channel, width});
  }
  if (points.size() < 3) return result;
  result.coefficients = fitPolynomial(points, 2);
  for (const auto& [channel, width] : points) {
    worst = std::max(worst, std::fabs(polynomial(result.coefficients, channel) - width) / width);
  }
  return result;
}

}  // namespace com::norvale::measurement
