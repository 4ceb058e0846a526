#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "sample_spectra.h"
#include "view.h"

namespace orb::plot {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Range, TextsAreReadAsChannelsOrEnergies) {
  const struct {
    const char* text;
    double from, to;
    bool in_energy;
  } cases[] = {
      {"100:200", 100, 200, false},
      {"7:7", 7, 7, false},
      {"100:", 100, kInf, false},
      {":200", -kInf, 200, false},
      {"600:700keV", 600, 700, true},
      {"600keV:700 kev", 600, 700, true},
      {" 5.95e1 : +62.5 keV ", 59.5, 62.5, true},
      {"-5:20", -5, 20, false},
  };
  for (const auto& c : cases) {
    const Range range = parseRange(c.text, "keV");
    EXPECT_EQ(range.from, c.from) << c.text;
    EXPECT_EQ(range.to, c.to) << c.text;
    EXPECT_EQ(range.in_energy, c.in_energy) << c.text;
  }
}

TEST(Range, OtherTextsAreRefusedWithTheTextInTheMessage) {
  for (const char* text :
       {"", ":", "100", "a:b", "1:2MeV", "1:2:3", "nan:5", "1:inf", "1 2:3", "200:100", "1:2keVkeV"}) {
    try {
      parseRange(text, "keV");
      ADD_FAILURE() << text << " was taken";
    } catch (const std::invalid_argument& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr("\"" + std::string(text) + "\""));
    }
  }
}

TEST(Calibration, OnlyRisingEnergiesMakeAnAxis) {
  const struct {
    std::vector<double> coefficients;
    const char* problem;  // part of the message
  } cases[] = {
      {{}, ""},
      {{5, 0.5}, ""},
      {{0, 1, -0.00049}, ""},  // turns back above channel 1000
      {{0, 1, -0.001}, "channel 500"},
      {{0, 0, 0}, "channel 1"},
      {{3000, -1}, "channel 1"},
      {{0, kNaN}, "not a number"},
      {{kInf, 1}, "not a number"},
      {{0, 1e308, 1e308}, "channel 1"},
  };
  for (const auto& c : cases) {
    Spectrum spectrum = samples::flat(1000);
    spectrum.energy_coefficients = c.coefficients;
    const std::string problem = calibrationProblem(spectrum);
    EXPECT_EQ(problem.empty(), std::string_view(c.problem).empty()) << problem;
    EXPECT_THAT(problem, testing::HasSubstr(c.problem));
    if (!problem.empty()) {
      EXPECT_THROW(View(spectrum, {}), std::invalid_argument);
    }
  }
}

struct RangeCase {
  Range range;
  double first, last;  // channels shown
};

TEST(View, RangesPickTheChannelsThatTheyTouch) {
  const Spectrum spectrum = samples::twoPeaks();  // channel n reaches from 2n - 1 to 2n + 1 keV
  const RangeCase cases[] = {
      {{100, 200}, 100, 200},
      {{100, 100}, 100, 100},
      {{99.5, 200.5}, 100, 200},
      {{-50, 3}, 1, 3},
      {{990, 99999}, 990, 1000},
      {{-kInf, kInf}, 1, 1000},
      {{600, 800, true}, 300, 400},
      {{598.5, 601.5, true}, 299, 301},
      {{600, 600, true}, 300, 300},
      {{-100, 4.5, true}, 1, 2},
      {{1999.5, 1e9, true}, 1000, 1000},
      {{-kInf, 20, true}, 1, 10},
  };
  for (const RangeCase& c : cases) {
    Options options;
    options.range = c.range;
    const View view(spectrum, options);
    EXPECT_EQ(view.firstChannel(), c.first) << c.range.from << ":" << c.range.to;
    EXPECT_EQ(view.lastChannel(), c.last) << c.range.from << ":" << c.range.to;
  }
}

TEST(View, WhatCannotBeDrawnIsRefusedWithItsReason) {
  const Spectrum calibrated = samples::twoPeaks();
  const struct {
    Spectrum spectrum;
    Range range;
    const char* reason;
  } cases[] = {
      {samples::flat(0), {1, 2}, "no channels"},
      {calibrated, {200, 100}, "must not be above"},
      {calibrated, {kNaN, 100}, "must not be above"},
      {calibrated, {1001, 2000}, "reaches from 1 to 1000"},
      {calibrated, {-5, 0.5}, "reaches from 1 to 1000"},
      {calibrated, {2001.5, 3000, true}, "reaches from 1 to 2001"},
      {samples::flat(10), {1, 5, true}, "no energy calibration"},
  };
  for (const auto& c : cases) {
    Options options;
    options.range = c.range;
    try {
      View(c.spectrum, options);
      ADD_FAILURE() << c.reason;
    } catch (const std::invalid_argument& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(c.reason));
    }
  }
}

}  // namespace
}  // namespace orb::plot
