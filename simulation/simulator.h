/// Spectra with known truth: lines, their Compton continua, a background, and counting statistics. The line shapes are
/// computed apart from those of the peak fit (sums of Gaussian quadrature points, convolved tails), so that a fit that
/// agrees with a simulated spectrum does not agree with itself.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace orb::simulate {

/// A detector: what it makes of a photon.
struct Detector {
  std::string kind;  ///< "hpge", "nai", "labr", ...
  int channels = 8192;
  double offset_keV = 0;       ///< energy of channel 0
  double gain_keV = 0.25;      ///< per channel
  double quadratic_keV = 0;    ///< per channel squared
  double fwhm_offset_keV = 1;  ///< FWHM = offset + slope sqrt(E)
  double fwhm_slope = 0.03;
  double tail_fraction = 0;     ///< share of the area in an exponential low tail, convolved with the Gaussian
  double tail_length_fwhm = 0;  ///< mean of the tail
  double step = 0;              ///< height of the step below a line over its area per FWHM
  double peak_to_total = 0.2;   ///< at 662 keV; falls with energy
  double efficiency = 0.02;     ///< full-energy peak, at 200 keV
};

/// "hpge", "nai", "labr", "csi", "czt". @throws std::invalid_argument for another kind
Detector detectorOfKind(const std::string& kind);

double energyAt(const Detector& detector, double channel);  ///< [keV], channels from 1
double channelAt(const Detector& detector, double energy);  ///< inverse, on the rising branch
double fwhmAt(const Detector& detector, double energy);     ///< [keV]
double efficiencyAt(const Detector& detector, double energy);

struct Line {
  std::string nuclide;
  double energy_keV = 0;
  double emission = 0;  ///< photons per second
};

/// A line as it was put into the spectrum.
struct TrueLine {
  std::string nuclide;
  double energy_keV = 0;
  double channel = 0;  ///< from 1
  double fwhm_keV = 0;
  double expected_area = 0;
};

struct Spectrum {
  std::vector<double> expected;  ///< [channels]
  std::vector<double> counts;    ///< Poisson distributed about it
  std::vector<TrueLine> lines;   ///< those within the spectrum, by energy
};

/// @param live_s          live time
/// @param background_cps  counts per second of a falling continuum over the whole spectrum
/// @param seed            equal seeds give equal spectra on one kind of machine
Spectrum simulate(const Detector& detector, const std::vector<Line>& lines, double live_s, double background_cps,
                  std::uint64_t seed);

/// Poisson distributed counts about expected ones.
std::vector<double> drawCounts(const std::vector<double>& expected, std::uint64_t seed);

/// Adds a line to expected counts; element 0 is channel 1.
void addLine(const Detector& detector, double energy_keV, double area, std::vector<double>& expected);

}  // namespace orb::simulate
