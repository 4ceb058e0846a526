#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "sample_spectra.h"

namespace orb::plot {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string curveOf(const std::string& picture) {
  const std::size_t curve = picture.find("class=\"curve\"");
  const std::size_t begin = picture.find(" d=\"", curve) + 4;
  return picture.substr(begin, picture.find('"', begin) - begin);
}

/// The heights to which a path goes; y grows downwards.
std::vector<double> heightsOf(const std::string& path) {
  std::vector<double> heights;
  for (std::size_t i = path.find('V'); i != std::string::npos; i = path.find('V', i + 1)) {
    heights.push_back(std::stod(path.substr(i + 1)));
  }
  return heights;
}

double topOf(const Spectrum& spectrum, const Options& options = {}) {
  const std::vector<double> heights = heightsOf(curveOf(svg(spectrum, options)));
  return *std::min_element(heights.begin(), heights.end());
}

TEST(Svg, APeakOfOneChannelStandsAtFullHeightInAnySpectrum) {
  Spectrum small = samples::flat(16, 3);
  small.counts[8] = 1000;
  for (const std::size_t n : {999u, 16384u, 1u << 20}) {
    for (const bool log : {false, true}) {
      Options options;
      options.log_scale = log;
      Spectrum spectrum = samples::flat(n, 3);
      spectrum.counts[n / 3] = 1000;
      EXPECT_EQ(topOf(spectrum, options), topOf(small, options)) << n << " channels";
    }
  }
}

TEST(Svg, AFewChannelsAreStepsAtTheirPlaces) {
  Spectrum spectrum = samples::flat(4, 0);
  spectrum.counts = {0, 100, 100, 50};
  const std::string picture = svg(spectrum, {});
  const std::vector<double> heights = heightsOf(curveOf(picture));
  // Up to 100, down to 50, down to the base line: two channels of one height make one step.
  ASSERT_EQ(heights.size(), 3u) << curveOf(picture);
  EXPECT_NEAR((heights[2] - heights[1]) / (heights[2] - heights[0]), 0.5, 0.001);
}

TEST(Svg, ItsSizeDependsOnThePictureNotOnTheSpectrum) {
  Spectrum spectrum;
  spectrum.counts.resize(std::size_t{1} << 24);
  std::uint32_t state = 1;
  for (double& count : spectrum.counts) count = static_cast<double>((state = state * 1664525u + 1013904223u) >> 22);
  EXPECT_LT(svg(spectrum, {}).size(), 100'000u);
}

TEST(Svg, AxesNameWhatTheyShow) {
  Spectrum spectrum = samples::twoPeaks();
  const std::string calibrated = svg(spectrum, {});
  for (const char* text : {">Energy (keV)<", ">Channel<", ">Counts per channel<", ">Two peaks<", ">2000<", ">10000<"}) {
    EXPECT_THAT(calibrated, HasSubstr(text));
  }
  spectrum.energy_coefficients.clear();
  const std::string plain = svg(spectrum, {});
  EXPECT_THAT(plain, HasSubstr(">Channel<"));
  EXPECT_THAT(plain, Not(HasSubstr("Energy")));
}

TEST(Svg, PeaksInViewAreMarkedAndCrowdedLabelsGiveWayToTheHigherPeak) {
  Spectrum spectrum = samples::twoPeaks();
  spectrum.peaks = {{700, "small"}, {300, "big", 900}, {302, "beside", 80}, {5000, "outside"}, {kNaN, "nowhere"}};
  const std::string picture = svg(spectrum, {});
  EXPECT_THAT(picture, HasSubstr(">big<"));
  EXPECT_THAT(picture, HasSubstr(">small<"));
  for (const char* text : {"beside", "outside", "nowhere"}) EXPECT_THAT(picture, Not(HasSubstr(text)));
}

TEST(Svg, OddSpectraGiveFinitePictures) {
  const double tiny = std::numeric_limits<double>::denorm_min();
  const double huge = std::numeric_limits<double>::max();
  const std::vector<double> odd[] = {{0},
                                     {1},
                                     {0, 0, 0},
                                     {kNaN},
                                     {kNaN, 1, kNaN},
                                     {-1, -2},
                                     {-5, 0, 5},
                                     {huge, -huge},
                                     {tiny, huge},
                                     {1e-300, 1e-299},
                                     {0.25, 0.5},
                                     {std::numeric_limits<double>::infinity(), 3}};
  for (const auto& counts : odd) {
    for (const bool log : {false, true}) {
      for (const auto& calibration : {std::vector<double>{}, std::vector<double>{-10, 2.5}}) {
        Spectrum spectrum;
        spectrum.counts = counts;
        spectrum.energy_coefficients = calibration;
        spectrum.peaks = {{1, "first"}};
        Options options;
        options.log_scale = log;
        const std::string picture = svg(spectrum, options);
        const std::string path = curveOf(picture);
        EXPECT_EQ(path.find_first_not_of("MHV0123456789. "), std::string::npos) << path;
        EXPECT_THAT(picture, Not(testing::AnyOf(HasSubstr("\"nan"), HasSubstr("\"-nan"), HasSubstr("\"inf"))));
      }
    }
  }
}

TEST(Svg, MissingCountsInterruptTheCurve) {
  Spectrum spectrum = samples::flat(9, 5);
  spectrum.counts[4] = kNaN;
  const std::string path = curveOf(svg(spectrum, {}));
  EXPECT_EQ(std::count(path.begin(), path.end(), 'M'), 2) << path;
}

TEST(Svg, ImpossibleSizesAreRefused) {
  const struct {
    int width, height;
    bool possible;
  } cases[] = {{kMinWidth_px, kMinHeight_px, true},
               {kMinWidth_px - 1, 600, false},
               {600, kMinHeight_px - 1, false},
               {0, 0, false},
               {-5, 400, false},
               {kMaxSize_px + 1, 400, false},
               {1920, 1080, true}};
  for (const auto& c : cases) {
    Options options;
    options.width_px = c.width;
    options.height_px = c.height;
    if (c.possible) {
      EXPECT_NO_THROW(svg(samples::twoPeaks(), options)) << c.width << " x " << c.height;
    } else {
      EXPECT_THROW(svg(samples::twoPeaks(), options), std::invalid_argument) << c.width << " x " << c.height;
    }
  }
  Spectrum wordy = samples::flat(10);
  wordy.subtitle.assign(50, "a line");
  EXPECT_THROW(svg(wordy, {}), std::invalid_argument);
}

}  // namespace
}  // namespace orb::plot
