#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sample_spectra.h"

namespace orb::plot {
namespace {

std::size_t times(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

class Html : public testing::Test {
 protected:
  void SetUp() override {
    if (!htmlAvailable()) GTEST_SKIP() << "this build makes no HTML pages";
  }
};

TEST(HtmlOrNot, ABuildMakesPagesOrSaysThatItDoesNot) {
  if (htmlAvailable()) {
    EXPECT_THAT(htmlPage(samples::twoPeaks(), {}), testing::StartsWith("<!DOCTYPE html>"));
  } else {
    EXPECT_THROW(htmlPage(samples::twoPeaks(), {}), std::runtime_error);
  }
}

TEST_F(Html, TextsStayInTheirPlaces) {
  Spectrum spectrum = samples::twoPeaks();
  spectrum.title = spectrum.file_name = spectrum.energy_unit = samples::kHostileText;
  spectrum.subtitle = {samples::kHostileText};
  spectrum.peaks = {{300, samples::kHostileText}};
  const std::string page = htmlPage(spectrum, {});
  EXPECT_EQ(times(page, "<script"), 3u) << "the data, the chart library and our own";
  EXPECT_EQ(times(page, "</script"), 3u);
  EXPECT_EQ(times(page, "<img"), 0u);
  EXPECT_EQ(times(page, "<!--"), 1u) << "the licence";
}

TEST_F(Html, ThePageCarriesTheLicenceAndLoadsNothing) {
  const std::string page = htmlPage(samples::twoPeaks(), {});
  EXPECT_THAT(page, testing::HasSubstr("Permission is hereby granted, free of charge"));
  EXPECT_THAT(page, testing::HasSubstr("default-src 'none'"));
  for (const char* part : {" src=", "href=", "@import", "url("}) EXPECT_EQ(times(page, part), 0u) << part;
}

TEST_F(Html, CountsAreStoredCompactly) {
  const std::size_t empty = htmlPage(samples::flat(1), {}).size();
  const struct {
    const char* name;
    std::size_t channels;
    double count;
    std::size_t limit_bytes;
  } cases[] = {{"nothing", 1u << 20, 0, 100}, {"one height", 16384, 1e6, 100}, {"fractions", 1000, 0.5, 11000}};
  for (const auto& c : cases) {
    EXPECT_LT(htmlPage(samples::flat(c.channels, c.count), {}).size(), empty + c.limit_bytes) << c.name;
  }
  Spectrum noise = samples::flat(16384);
  for (std::size_t i = 0; i < noise.counts.size(); ++i) noise.counts[i] = static_cast<double>(i * 7919 % 50);
  EXPECT_LT(htmlPage(noise, {}).size(), empty + 2 * noise.counts.size()) << "under two characters for a channel";
}

TEST_F(Html, WhatCannotBeDrawnIsRefused) {
  EXPECT_THROW(htmlPage(samples::flat(0), {}), std::invalid_argument);
  Options options;
  options.range = Range{5000, 6000};
  EXPECT_THROW(htmlPage(samples::twoPeaks(), options), std::invalid_argument);
}

}  // namespace
}  // namespace orb::plot
