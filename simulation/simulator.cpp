#include "simulator.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <stdexcept>

namespace orb::simulate {

namespace {

constexpr double kElectronMass = 510.99895;  // keV
constexpr double kFwhmPerSigma = 2.3548200450309493;

/// Density of a line: a Gaussian, of which a share is convolved with an exponential towards low energies.
double density(double x, double sigma, double tail_fraction, double tail_length) {
  const double z = x / sigma;
  const double gaussian = std::exp(-z * z / 2) / (sigma * std::sqrt(2 * M_PI));
  if (tail_fraction <= 0 || tail_length <= 0) return gaussian;
  const double r = sigma / tail_length;
  const double argument = (z + r) / std::sqrt(2.0);
  // exp(x / length + r^2 / 2) erfc(argument) without overflow: far out the Gaussian alone is left.
  const double exponent = x / tail_length + r * r / 2;
  const double tail = exponent > 600 ? gaussian : std::exp(exponent) * std::erfc(argument) / (2 * tail_length);
  return (1 - tail_fraction) * gaussian + tail_fraction * tail;
}

/// The density's integral over one channel by Gauss-Legendre quadrature with eight points.
double channelShare(double low, double high, double sigma, const Detector& detector, double tail_length) {
  static constexpr double kNodes[] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267, 0.9602898564975363};
  static constexpr double kWeights[] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745, 0.1012285362903763};
  const double middle = (low + high) / 2;
  const double half = (high - low) / 2;
  double sum = 0;
  for (int k = 0; k < 4; ++k)
    sum += kWeights[k] * (density(middle - half * kNodes[k], sigma, detector.tail_fraction, tail_length) +
                          density(middle + half * kNodes[k], sigma, detector.tail_fraction, tail_length));
  return sum * half;
}

/// Counts below a line that photons leave which escape after scattering: flat up to the edge, with a rise towards it,
/// and washed out there by the resolution.
void addCompton(const Detector& detector, double energy, double counts, std::vector<double>& expected) {
  const double edge = energy / (1 + kElectronMass / (2 * energy));
  const double blur = fwhmAt(detector, edge);
  std::vector<double> shape(expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const double e = energyAt(detector, static_cast<double>(i + 1));
    if (e <= 0) continue;
    const double rise = 1 + 0.6 * std::pow(std::min(e, edge) / edge, 6);
    shape[i] = rise * 0.5 * std::erfc((e - edge) / blur);
  }
  const double total = std::accumulate(shape.begin(), shape.end(), 0.0);
  if (!(total > 0)) return;
  for (std::size_t i = 0; i < expected.size(); ++i) expected[i] += counts * shape[i] / total;
}

void addBackground(const Detector& detector, double counts, std::vector<double>& expected) {
  std::vector<double> shape(expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const double e = std::max(energyAt(detector, static_cast<double>(i + 1)), 1.0);
    // A falling continuum below which the discriminator cuts.
    shape[i] = (std::exp(-e / 180) + 0.12 * std::exp(-e / 900)) / (1 + std::exp((25 - e) / 4));
  }
  const double total = std::accumulate(shape.begin(), shape.end(), 0.0);
  for (std::size_t i = 0; i < expected.size(); ++i) expected[i] += counts * shape[i] / total;
}

}  // namespace

Detector detectorOfKind(const std::string& kind) {
  Detector detector;
  detector.kind = kind;
  if (kind == "hpge") {
    detector.gain_keV = 0.3662;
    detector.offset_keV = 0.3;
    detector.quadratic_keV = 1.5e-8;
    detector.fwhm_offset_keV = 0.75;
    detector.fwhm_slope = 0.031;
    detector.tail_fraction = 0.03;
    detector.tail_length_fwhm = 0.6;
    detector.step = 0.003;
    return detector;
  }
  detector.channels = 1024;
  detector.gain_keV = 2.95;
  detector.step = 0.01;
  detector.peak_to_total = 0.35;
  detector.efficiency = 0.05;
  if (kind == "nai") {
    detector.fwhm_offset_keV = -7;
    detector.fwhm_slope = 2.1;
  } else if (kind == "labr") {
    detector.fwhm_offset_keV = -1;
    detector.fwhm_slope = 0.8;
    detector.channels = 2048;
    detector.gain_keV = 1.47;
  } else if (kind == "csi") {
    detector.fwhm_offset_keV = -5;
    detector.fwhm_slope = 2.0;
  } else if (kind == "czt") {
    detector.fwhm_offset_keV = 2;
    detector.fwhm_slope = 0.4;
    detector.tail_fraction = 0.15;
    detector.tail_length_fwhm = 0.8;
    detector.channels = 4096;
    detector.gain_keV = 0.74;
    detector.efficiency = 0.004;
  } else {
    throw std::invalid_argument("no detector kind '" + kind + "'; there are hpge, nai, labr, csi and czt");
  }
  return detector;
}

double energyAt(const Detector& detector, double channel) {
  return detector.offset_keV + channel * (detector.gain_keV + channel * detector.quadratic_keV);
}

constexpr double kMostCounts = 2e9;  // of a channel; counts have 32 bits in a data file

double channelAt(const Detector& detector, double energy) {
  const double q = detector.quadratic_keV;
  const double c = energy - detector.offset_keV;
  if (q == 0) return c / detector.gain_keV;
  const double root = detector.gain_keV * detector.gain_keV + 4 * q * c;
  return root > 0 ? 2 * c / (detector.gain_keV + std::sqrt(root)) : c / detector.gain_keV;
}

double fwhmAt(const Detector& detector, double energy) {
  return std::max(0.2, detector.fwhm_offset_keV + detector.fwhm_slope * std::sqrt(std::max(energy, 10.0)));
}

double efficiencyAt(const Detector& detector, double energy) {
  // A knee at about 120 keV and a power law above it.
  const double knee = 1 / (1 + std::pow(95 / std::max(energy, 1.0), 3));
  return detector.efficiency * knee * std::pow(200 / std::max(energy, 1.0), 0.85) / (1 / (1 + std::pow(95.0 / 200, 3)));
}

void addLine(const Detector& detector, double energy_keV, double area, std::vector<double>& expected) {
  const double fwhm = fwhmAt(detector, energy_keV);
  const double sigma = fwhm / kFwhmPerSigma;
  const double tail_length = detector.tail_length_fwhm * fwhm;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const double channel = static_cast<double>(i + 1);
    const double low = energyAt(detector, channel - 0.5) - energy_keV;
    const double high = energyAt(detector, channel + 0.5) - energy_keV;
    // The step is what is lost on the way out of the crystal: the cumulated line from above.
    if (high < 6 * sigma)
      expected[i] +=
          area * detector.step / fwhm * 0.5 * std::erfc((low + high) / 2 / (sigma * std::sqrt(2.0))) * (high - low);
    if (low > 9 * sigma || high < -9 * sigma - 40 * tail_length) continue;
    expected[i] += area * channelShare(low, high, sigma, detector, tail_length);
  }
}

std::vector<double> drawCounts(const std::vector<double>& expected, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  std::vector<double> counts(expected.size());
  for (std::size_t i = 0; i < counts.size(); ++i)
    counts[i] = expected[i] > 0 ? static_cast<double>(std::poisson_distribution<long long>(expected[i])(random)) : 0.0;
  return counts;
}

Spectrum simulate(const Detector& detector, const std::vector<Line>& lines, double live_s, double background_cps,
                  std::uint64_t seed) {
  Spectrum spectrum;
  spectrum.expected.assign(static_cast<std::size_t>(detector.channels), 0.0);
  for (const Line& line : lines) {
    const double area = line.emission * live_s * efficiencyAt(detector, line.energy_keV);
    const double channel = channelAt(detector, line.energy_keV);
    const double ratio = std::min(0.9, detector.peak_to_total * std::pow(662 / line.energy_keV, 0.6));
    addCompton(detector, line.energy_keV, area * (1 / ratio - 1), spectrum.expected);
    if (channel < 1 || channel > detector.channels) continue;
    addLine(detector, line.energy_keV, area, spectrum.expected);
    spectrum.lines.push_back({line.nuclide, line.energy_keV, channel, fwhmAt(detector, line.energy_keV), area});
  }
  addBackground(detector, background_cps * live_s, spectrum.expected);
  const auto fullest = std::max_element(spectrum.expected.begin(), spectrum.expected.end());
  if (fullest != spectrum.expected.end() && !(*fullest < kMostCounts))
    throw std::range_error("a channel would hold more than 2 000 000 000 counts; ask for less activity or time");
  std::sort(spectrum.lines.begin(), spectrum.lines.end(),
            [](const TrueLine& a, const TrueLine& b) { return a.energy_keV < b.energy_keV; });
  spectrum.counts = drawCounts(spectrum.expected, seed);
  return spectrum;
}

}  // namespace orb::simulate
