#include "analysed_spectrum.h"

#include <cmath>

#include "orbparams.h"
#include "sample_files.h"
#include "simulator.h"

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;
namespace sim = orb::simulate;

namespace {

sim::Detector detector() {
  sim::Detector made = sim::detectorOfKind("hpge");
  made.channels = kAnalysedChannels;
  made.gain_keV = 0.18;
  made.offset_keV = 0;
  made.quadratic_keV = 0;
  return made;
}

double energyOfLine(int i) {
  return 120 + 46.0 * i;
}

}  // namespace

int channelOfLine(int i) {
  return static_cast<int>(std::lround(energyOfLine(i) / detector().gain_keV));
}

const std::vector<double>& analysedCounts() {
  static const std::vector<double> drawn = [] {
    const sim::Detector d = detector();
    std::vector<double> expected(kAnalysedChannels);
    for (int i = 0; i < kAnalysedChannels; ++i) expected[static_cast<std::size_t>(i)] = 5 + 200 * std::exp(-i / 3000.0);
    for (int i = 0; i < kAnalysedLines; ++i)
      sim::addLine(d, energyOfLine(i), 500 * std::pow(120, (i % 7) / 6.0), expected);
    return sim::drawCounts(expected, 3);
  }();
  return drawn;
}

void createAnalysedSpectrum(FileAccess& file, const std::string& path) {
  require(file.create(path, kAnalysedChannels, false), "create");
  const sim::Detector d = detector();
  file.setParameter(ORB_D_LIVETIME, Variant(3600.0), 0, 0);
  file.setParameter(ORB_D_ECALOFFSET, Variant(d.offset_keV), 0, 0);
  file.setParameter(ORB_D_ECALGAIN, Variant(d.gain_keV), 0, 0);
  file.setParameter(ORB_D_FWHMOFF, Variant(d.fwhm_offset_keV), 0, 0);
  file.setParameter(ORB_D_FWHMSLOPE, Variant(d.fwhm_slope), 0, 0);
  file.setSpectrum(std::vector<unsigned int>(analysedCounts().begin(), analysedCounts().end()), 1, 1);
}

void writeAnalysedSpectrum(const std::string& path) {
  FileAccess file;
  createAnalysedSpectrum(file, path);
  require(file.close(com::norvale::orb::FLUSH), "close");
}
