// Location and decision over whole spectra: data files of a simulated detector, through the routines.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "FileAccess.h"
#include "anautils.h"
#include "measures.h"
#include "orbparams.h"
#include "simulator.h"

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;
namespace sim = orb::simulate;

namespace {

constexpr int kSpectra = 60;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(2);
}

struct FoundLine {
  double channel = 0;
};

std::vector<FoundLine> analyse(const sim::Detector& detector, const std::vector<double>& counts) {
  const std::string path = "accuracy.dat";
  std::remove(path.c_str());
  FileAccess file;
  require(file.create(path, static_cast<std::uint32_t>(counts.size()), false) == 0, "create");
  file.setParameter(ORB_D_ECALOFFSET, Variant(detector.offset_keV), 0, 0);
  file.setParameter(ORB_D_ECALGAIN, Variant(detector.gain_keV), 0, 0);
  file.setParameter(ORB_D_ECALQUAD, Variant(detector.quadratic_keV), 0, 0);
  file.setParameter(ORB_D_FWHMOFF, Variant(detector.fwhm_offset_keV), 0, 0);
  file.setParameter(ORB_D_FWHMSLOPE, Variant(detector.fwhm_slope), 0, 0);
  file.setSpectrum(std::vector<unsigned int>(counts.begin(), counts.end()), 1, 1);
  require(AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0) == ANA_OK, "AA_2nd_Diff_Peak_Loc");
  require(lPANolin(file.handle(), 0, 0, 0) == ANA_OK, "lPANolin");
  std::uint16_t n = 0;
  file.countItems(ORB_D_PKLOCATED, n, 0);
  std::vector<FoundLine> lines;
  for (std::uint16_t record = 1; record <= n; ++record) {
    Variant centroid;
    file.getParameter(ORB_D_PKCENTROID, centroid, record, 0);
    lines.push_back({centroid.toDouble()});
  }
  file.close(com::norvale::orb::DELETE);
  return lines;
}

/// A falling continuum with two Compton edges and no line below 10 times the detection limit.
std::vector<double> continuum(const sim::Detector& detector) {
  std::vector<double> expected(static_cast<std::size_t>(detector.channels));
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const double e = sim::energyAt(detector, static_cast<double>(i + 1));
    expected[i] = 250 * std::exp(-e / 350) + 25 * std::exp(-e / 1500) + 1;
    expected[i] += 30 * 0.5 * std::erfc((e - 477) / 2) + 15 * 0.5 * std::erfc((e - 1118) / 2.5);
  }
  for (const double energy : {661.657, 1332.492}) sim::addLine(detector, energy, 20000, expected);
  return expected;
}

/// Currie's detection limit with paired counting, in the window that a new file has for limits: 2.5 FWHM, which hold
/// 99.7 % of the line.
double detectionLimit(const sim::Detector& detector, const std::vector<double>& expected, double energy) {
  const auto channel = static_cast<std::size_t>(sim::channelAt(detector, energy));
  const double background = expected[channel] * 2.5 * sim::fwhmAt(detector, energy) / detector.gain_keV;
  return (2.71 + 4.65 * std::sqrt(background)) / 0.997;
}

/// Lines farther than 8 keV from those that are there.
int falseLines(const sim::Detector& detector, const std::vector<double>& counts, const std::vector<double>& energies) {
  int n = 0;
  for (const FoundLine& line : analyse(detector, counts)) {
    const double e = sim::energyAt(detector, line.channel);
    n += std::none_of(energies.begin(), energies.end(), [&](double line_keV) { return std::abs(e - line_keV) < 8; });
  }
  return n;
}

/// Sources as `orb simulate` makes them: Compton edges as sharp as the resolution, tails and steps, half a count a
/// channel at the end.
Measure falseLinesOfSources() {
  constexpr int kMany = 300;
  const sim::Detector detector = sim::detectorOfKind("hpge");
  const std::vector<sim::Line> lines = {{"", 661.657, 426}, {"", 1173.228, 500}, {"", 1332.492, 500}};
  double n = 0;
  for (int s = 0; s < kMany; ++s) {
    const sim::Spectrum spectrum = sim::simulate(detector, lines, 3600, 20, 9000 + static_cast<std::uint64_t>(s));
    n += falseLines(detector, spectrum.counts, {661.657, 1173.228, 1332.492});
  }
  return {
      "the same in spectra of Cs-137 and Co-60, three Compton edges as sharp as the resolution, half a count a channel "
      "at the end, " +
          std::to_string(kMany) + " spectra",
      "at most 0.1", fixed(n / kMany, 2), n / kMany <= 0.1};
}

struct Bin {
  double low, high, goal;
  int placed = 0;
  int found = 0;
};

}  // namespace

std::vector<Measure> measureDecisions() {
  sim::Detector detector = sim::detectorOfKind("hpge");
  detector.tail_fraction = 0;  // weak lines: the tail is not seen
  const std::vector<double> base = continuum(detector);
  Bin bins[] = {{0.75, 1, 0.55}, {1, 1.5, 0.88}, {1.5, 2, 0.99}};
  double false_lines = 0;
  for (int s = 0; s < kSpectra; ++s) {
    const auto counts = sim::drawCounts(base, 1000 + static_cast<std::uint64_t>(s));
    false_lines += falseLines(detector, counts, {661.657, 1332.492});
    std::vector<double> expected = base;
    std::vector<std::pair<double, Bin*>> placed;
    int n = s;
    for (double energy = 80; energy < 2900; energy += 41.3, ++n) {
      if (std::abs(energy - 661.657) < 20 || std::abs(energy - 1332.492) < 20) continue;
      Bin& bin = bins[n % 3];
      const double share = bin.low + (bin.high - bin.low) * ((n * 7919) % 100) / 100.0;
      sim::addLine(detector, energy, share * detectionLimit(detector, base, energy), expected);
      placed.emplace_back(energy, &bin);
    }
    const auto lines = analyse(detector, sim::drawCounts(expected, 5000 + static_cast<std::uint64_t>(s)));
    for (const auto& [energy, bin] : placed) {
      ++bin->placed;
      for (const FoundLine& line : lines)
        if (std::abs(sim::energyAt(detector, line.channel) - energy) < 0.6 * sim::fwhmAt(detector, energy)) {
          ++bin->found;
          break;
        }
    }
  }
  std::vector<Measure> rows;
  for (const Bin& bin : bins) {
    const double recall = static_cast<double>(bin.found) / bin.placed;
    rows.push_back({"location and decision: recall at " + fixed(bin.low, 2) + " to " + fixed(bin.high, 2) +
                        " of Currie's detection limit (paired, window 2.5 FWHM), " + std::to_string(bin.placed) +
                        " lines",
                    fixed(100 * bin.goal, 0) + " %", fixed(100 * recall, 1) + " %", recall >= bin.goal});
  }
  rows.push_back(
      {"false lines in a spectrum of 8192 channels without weak lines (two strong lines, two Compton edges), " +
           std::to_string(kSpectra) + " spectra",
       "at most 0.1", fixed(false_lines / kSpectra, 2), false_lines / kSpectra <= 0.1});
  rows.push_back(falseLinesOfSources());
  return rows;
}
