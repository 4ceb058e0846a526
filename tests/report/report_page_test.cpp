// Numbers as reports print them, and texts that stay in their places.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "growth.h"
#include "markup.h"
#include "numbers.h"
#include "report.h"

namespace orb::report {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Numbers, UncertaintiesHaveTwoSignificantDigits) {
  const struct {
    Quantity quantity;
    const char* words;
  } cases[] = {
      {{661.6571, 0.01234}, "661.657 ± 0.012"},
      {{123456, 1234}, "123500 ± 1200"},
      {{123456, 99.6}, "123460 ± 100"},  // 99.6 is 100 to two digits
      {{12.3, 9.96}, "12 ± 10"},
      {{-3.2, 15}, "-3 ± 15"},
      {{0, 0.5}, "0.00 ± 0.50"},
      {{1.2347e-9, 1.2e-11}, "(1.235 ± 0.012)×10⁻⁹"},
      {{3.7e12, 4.1e10}, "(3.700 ± 0.041)×10¹²"},
      {{41.23456, 0}, "41.23"},
      {{kNaN, 1}, "–"},
      {{5, kNaN}, "5.000"},
  };
  for (const auto& c : cases) EXPECT_EQ(withUncertainty(c.quantity), c.words);
}

TEST(Numbers, RoundedAndDurations) {
  EXPECT_EQ(rounded(0.00012345, 3), "0.000123");
  EXPECT_EQ(rounded(9.996, 3), "10.0");
  EXPECT_EQ(rounded(-1.5e-12, 2), "-1.5×10⁻¹²");
  EXPECT_EQ(rounded(0, 3), "0");
  EXPECT_EQ(duration(9.4867e8), "30.06 y");
  EXPECT_EQ(duration(5400), "1.500 h");
  EXPECT_EQ(duration(0.2), "0.2000 s");
}

// A column without any value is left out, which is known only when all rows have come.
TEST(Table, WorkGrowsWithTheRows) {
  const auto table = [](std::size_t n) {
    Table made("t", "T", {{"Name", Column::kText}, {"Full", Column::kNumber}, {"Empty", Column::kNumber}});
    for (std::size_t i = 0; i < n; ++i) made.row({text("x"), number(1.0, 3), Markup()});
    return made;
  };
  EXPECT_EQ(table(1).html().find("Empty"), std::string::npos);
  EXPECT_LT(orbtest::growth(2048, 16, table, [](const Table& made) { return made.html(); }), 48);
}

std::size_t times(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

class Page : public testing::Test {
 protected:
  void SetUp() override {
    if (!plot::htmlAvailable()) GTEST_SKIP() << "this build makes no HTML pages";
  }
};

/// A report with this text wherever a text can stand.
Report reportOf(const std::string& text) {
  Report report;
  report.spectrum.title = report.spectrum.file_name = report.spectrum.energy_unit = text;
  report.spectrum.subtitle = {text};
  report.spectrum.counts.assign(10, 3.0);
  report.spectrum.energy_coefficients = {0, 1};
  report.spectrum.peaks = {{3, text}};
  report.facts = report.nuclide_facts = report.origin = {{text, text}};
  report.has_peak_table = report.has_nuclide_table = report.has_limit_table = true;
  Peak peak;
  peak.nuclide = peak.remarks = text;
  report.peaks = {peak};
  Nuclide nuclide;
  nuclide.name = nuclide.lines_found = nuclide.remarks = text;
  nuclide.lines.resize(1);
  nuclide.lines[0].remarks = text;
  report.nuclides = {nuclide};
  Limit limit;
  limit.name = limit.method = limit.remarks = text;
  report.limits = {limit};
  report.activity_unit = report.specific_unit = text;
  Calibration calibration;
  calibration.name = calibration.x_label = calibration.y_label = calibration.residual_label = text;
  calibration.facts = {{text, text}};
  calibration.points = {{1, {1, 0.1}, 0.5, text, true}};
  report.calibrations = {calibration};
  report.settings = report.steps = {{text, text, text}};
  report.provenance = {{text, text, text, text, text}};
  report.made = text;
  return report;
}

TEST_F(Page, TextsOfTheFileStayInTheirPlaces) {
  const std::string plain = htmlPage(reportOf("word"));
  const std::string page = htmlPage(reportOf(
      "</script></title></td><script>hacked()</script><img src=x onerror=\"hacked()\"><!-- & 'q' \x1B[31m\xFF\n"));
  for (const char* markup : {"<script", "</script", "<img", "<td", "</td", "<!--", "</title"})
    EXPECT_EQ(times(page, markup), times(plain, markup)) << markup;
  EXPECT_EQ(times(page, " onerror=\""), 0u);
  EXPECT_EQ(times(page, "\x1B"), 0u);
  EXPECT_EQ(times(page, "\xFF"), 0u);
}

TEST_F(Page, SaysWhatThereIsNotAndLeavesOutTheRest) {
  const std::string page = htmlPage({});
  for (const char* words : {"has no spectrum", "No peaks have been searched", "No identification has been made",
                            "No detection limits", "has no calibrations"})
    EXPECT_THAT(page, testing::HasSubstr(words));
  EXPECT_EQ(times(page, "<table"), 0u);
  EXPECT_EQ(times(page, ">Settings<"), 0u);
}

TEST_F(Page, NothingIsLoadedFromAnywhere) {
  const std::string page = htmlPage(reportOf("word"));
  EXPECT_THAT(page, testing::HasSubstr("default-src 'none'"));
  for (const char* reference : {" src=", "<link", "@import", "url("})
    EXPECT_EQ(times(page, reference), 0u) << reference;
}

}  // namespace
}  // namespace orb::report
