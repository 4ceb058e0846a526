// The shift of a spectrum's energies from lines whose pattern is known.
#include "kernel/energy_shift.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>

using namespace orbengine;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::vector<double> kPattern = {238.6, 295.2, 351.9, 583.2, 609.3, 911.2, 969.0, 1120.3, 1460.8, 1764.5, 2614.5};

/// The lines of the pattern as a calibration that is off shows them, and as many others.
std::vector<ShiftPeak> spectrum(const std::function<double(double)>& read, double fwhm_at_0 = 1.5) {
  std::vector<ShiftPeak> peaks;
  for (const double energy : kPattern) peaks.push_back({read(energy), fwhm_at_0 + 0.0005 * energy, 50});
  for (const double energy : {186.2, 338.3, 727.3, 860.6, 1238.1, 1377.7, 1729.6, 2204.2})
    peaks.push_back({read(energy), fwhm_at_0 + 0.0005 * energy, 15});
  return peaks;
}

TEST(EnergyShiftTest, WhatADriftDidIsFoundLineByLine) {
  const std::function<double(double)> drifts[] = {[](double e) { return e + 8; },
                                                  [](double e) { return 0.996 * e - 2; },
                                                  [](double e) { return e - 12 + 0.012 * e - 3e-6 * e * e; }};
  for (const auto& read : drifts) {
    const auto peaks = spectrum(read);
    const EnergyShift shift = findEnergyShift(peaks, kPattern);
    ASSERT_THAT(shift.matches, SizeIs(kPattern.size())) << read(1000);
    for (std::size_t i = 0; i < kPattern.size(); ++i) {
      EXPECT_EQ(shift.matches[i].peak, i) << read(1000);
      EXPECT_EQ(shift.matches[i].energy, kPattern[i]);
    }
    EXPECT_GT(shift.mean_fwhm, 1);
  }
}

TEST(EnergyShiftTest, ASpectrumInPlaceIsLeftThere) {
  const EnergyShift shift = findEnergyShift(spectrum([](double e) { return e + 0.05; }), kPattern);
  EXPECT_EQ(shift.matches_before, kPattern.size());
  EXPECT_LT(shift.mean_fwhm, 0.05);
}

TEST(EnergyShiftTest, SixLinesAreNoPatternAndADriftTooFarIsNone) {
  auto peaks = spectrum([](double e) { return e + 8; });
  peaks.erase(peaks.begin(), peaks.begin() + 5);
  EXPECT_THAT(findEnergyShift(peaks, kPattern).matches, IsEmpty());
  EXPECT_THAT(findEnergyShift(spectrum([](double e) { return e + 60; }), kPattern).matches, IsEmpty());
}

TEST(EnergyShiftTest, AWidePeakIsOneLineOfThePattern) {
  // A scintillator shows 583 and 609 keV as one peak.
  const double kInfinity = std::numeric_limits<double>::infinity();
  std::vector<ShiftPeak> peaks;
  for (const double energy : {238.6, 295.2, 351.9, 596.0, 1120.3, 1460.8, 1764.5, 2614.5})
    peaks.push_back({energy + 3, 70, 50});
  peaks.push_back({std::nan(""), 1, 90});
  peaks.push_back({700, 0, 90});
  peaks.push_back({800, 1, std::nan("")});
  peaks.push_back({kInfinity, kInfinity, kInfinity});
  const EnergyShift shift = findEnergyShift(peaks, kPattern);
  EXPECT_THAT(shift.matches, SizeIs(8));
  for (std::size_t i = 1; i < shift.matches.size(); ++i) EXPECT_NE(shift.matches[i].peak, shift.matches[i - 1].peak);
  EXPECT_THAT(findEnergyShift({}, kPattern).matches, IsEmpty());
  EXPECT_THAT(findEnergyShift(peaks, {}).matches, IsEmpty());
}

}  // namespace
