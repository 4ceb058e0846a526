// Writes pictures for the tests that look at them from outside: plot_samples FOLDER. Ends with 77 (skipped) when this
// build makes no HTML pages, after the SVG pictures are written.
#include <fstream>
#include <iostream>
#include <limits>
#include <string>

#include "sample_spectra.h"

namespace {

using orb::plot::Options;
using orb::plot::Range;
using orb::plot::Spectrum;

constexpr int kSkipped = 77;

Spectrum hostile() {
  Spectrum spectrum = orb::plot::samples::twoPeaks();
  spectrum.title = spectrum.file_name = spectrum.energy_unit = orb::plot::samples::kHostileText;
  spectrum.subtitle = {orb::plot::samples::kHostileText,
                       std::string("\0\x01\x1B[31m\x7F\xFF\xC0\xAF\xED\xA0\x80 end", 19)};
  spectrum.peaks = {{300, orb::plot::samples::kHostileText}};
  return spectrum;
}

/// Not calibrated, with what a difference of spectra may hold.
Spectrum odd() {
  Spectrum spectrum = orb::plot::samples::flat(50, -2.5);
  spectrum.title = "Odd counts";
  spectrum.counts[10] = std::numeric_limits<double>::quiet_NaN();
  spectrum.counts[11] = std::numeric_limits<double>::infinity();
  spectrum.counts[20] = 7.25;
  spectrum.counts[30] = 0;
  return spectrum;
}

/// Many channels for each pixel; three of them stand out.
Spectrum crowded() {
  Spectrum spectrum = orb::plot::samples::flat(20000, 3);
  for (const std::size_t channel : {5000u, 9999u, 15007u}) spectrum.counts[channel - 1] = 1000;
  return spectrum;
}

class Folder {
 public:
  explicit Folder(std::string path) : path_(std::move(path)) {}

  void write(const std::string& name, const Spectrum& spectrum, const Options& options) const {
    put(name + ".svg", orb::plot::svg(spectrum, options));
    if (orb::plot::htmlAvailable()) put(name + ".html", orb::plot::htmlPage(spectrum, options));
  }

 private:
  void put(const std::string& name, const std::string& text) const {
    std::ofstream file(path_ + "/" + name, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file << text;
    file.close();
  }
  std::string path_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: plot_samples FOLDER\n";
    return 2;
  }
  const Folder folder(argv[1]);
  Spectrum peaks = orb::plot::samples::twoPeaks();
  peaks.peaks = {{300, "600 keV"}};
  Options ranged;
  ranged.log_scale = true;
  ranged.range = Range{400, 800, true};
  folder.write("peaks", peaks, {});
  folder.write("ranged", orb::plot::samples::twoPeaks(), ranged);
  folder.write("odd", odd(), {});
  folder.write("crowded", crowded(), {});
  folder.write("hostile", hostile(), {});
  folder.write("one", orb::plot::samples::flat(1), {});
  return orb::plot::htmlAvailable() ? 0 : kSkipped;
}
