/// Made-up spectra for the tests of pictures.
#pragma once
#include <cmath>
#include <cstddef>
#include <vector>

#include "plot.h"

namespace orb::plot::samples {

inline Spectrum flat(std::size_t n_channels, double count = 1) {
  Spectrum spectrum;
  spectrum.counts.assign(n_channels, count);
  return spectrum;
}

/// Channels 1 to 1000 at 2 keV each, and so 2 to 2000 keV. 4 counts everywhere but for: 10000 in channel 300, its
/// neighbours a tenth of that, 25 in channel 700, none at all from channel 900 on.
inline Spectrum twoPeaks() {
  Spectrum spectrum = flat(1000, 4);
  spectrum.title = "Two peaks";
  spectrum.counts[298] = spectrum.counts[300] = 1000;
  spectrum.counts[299] = 10000;
  spectrum.counts[699] = 25;
  for (std::size_t i = 899; i < 1000; ++i) spectrum.counts[i] = 0;
  spectrum.energy_coefficients = {0, 2};
  return spectrum;
}

/// Tries to get out of every place where a text goes.
inline constexpr const char* kHostileText =
    "</script></title><script>window.hacked=1</script><img src=x onerror=\"window.hacked=2\"><!-- ]]> & 'q' \\u003c";

}  // namespace orb::plot::samples
