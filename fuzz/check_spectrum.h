#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <string_view>
#include <vector>

#include "fuzz_support.h"
#include "spectrum_data.h"

// What holds for every spectrum that a reader gives back, whatever the bytes were. Ends the program when it does not.
namespace fuzz {

using orb::formats::CalibrationPoint;
using orb::formats::FormatError;
using orb::formats::SpectrumData;

inline void checkCurve(const std::vector<double>& coefficients, const std::vector<CalibrationPoint>& points) {
  require(coefficients.empty() || points.empty());
  require(coefficients.size() <= orb::formats::kMaxCoefficients);
  for (std::size_t i = 1; i < points.size(); ++i) require(points[i - 1].x < points[i].x);
}

inline void checkSpectrum(const SpectrumData& spectrum) {
  require(!spectrum.counts.empty() && spectrum.counts.size() <= orb::formats::kMaxChannels);
  bool whole = true;
  for (const double count : spectrum.counts) {
    require(count >= 0 && std::isfinite(count));
    whole = whole && count == std::floor(count);
  }
  require(whole == spectrum.whole_counts);
  require(spectrum.live_s.value_or(0) >= 0 && spectrum.real_s.value_or(0) >= 0);
  checkCurve(spectrum.energy.coefficients, spectrum.energy.points);
  checkCurve(spectrum.fwhm.coefficients, spectrum.fwhm.points);
}

/// What was read, written and read again is the same.
inline void requireSame(const SpectrumData& a, const SpectrumData& b) {
  require(a.counts == b.counts);
  require(a.live_s == b.live_s);
  require(a.title == b.title);
  // Points for every channel become an axis, which may turn out to be a polynomial.
  require(a.energy.coefficients.empty() || a.energy.coefficients == b.energy.coefficients);
}

template <typename Read, typename Write>
int run(const std::uint8_t* data, std::size_t size, Read read, Write write) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::vector<SpectrumData> spectra;
  try {
    spectra = read(bytes, "fuzz");
  } catch (const FormatError& error) {
    require(std::string_view(error.what()).starts_with("fuzz: "));
    return 0;
  }
  require(!spectra.empty());
  std::for_each(spectra.begin(), spectra.end(), checkSpectrum);
  if (spectra.front().counts.size() > 4096) return 0;             // keeps the runs short
  const auto again = read(write(spectra.front()).text, "again");  // a FormatError here is a fault
  requireSame(spectra.front(), again.front());
  return 0;
}

}  // namespace fuzz
