#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "sample_spectra.h"
#include "text.h"

namespace orb::plot {
namespace {

using testing::HasSubstr;

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find('\n', begin);
    if (end == std::string::npos) {
      ADD_FAILURE() << "the last line has no end";
      break;
    }
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

TEST(Terminal, ThePictureFitsAnySize) {
  Spectrum spectrum = samples::twoPeaks();
  spectrum.title = samples::kHostileText;
  spectrum.subtitle = {"測定測定測定測定測定測定測定", "second line"};
  for (const int width : {kMinTerminalWidth, 21, 79, 80, 133, 1000}) {
    for (const int height : {kMinTerminalHeight, 9, 10, 11, 12, 24, 100}) {
      for (const bool log : {false, true}) {
        for (const bool use_unicode : {false, true}) {
          Options options;
          options.log_scale = log;
          const std::string text = terminal(spectrum, options, width, height, use_unicode);
          const auto lines = linesOf(text);
          EXPECT_EQ(lines.size(), static_cast<std::size_t>(height));
          for (const auto& line : lines) EXPECT_LE(displayWidth(line), static_cast<std::size_t>(width)) << line;
          EXPECT_EQ(cleanText(lines[0]), lines[0]);
          if (!use_unicode) {
            EXPECT_TRUE(
                std::all_of(text.begin(), text.end(), [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }));
          }
        }
      }
    }
  }
}

TEST(Terminal, BarsStandAtTheHeightOfTheirCounts) {
  Spectrum spectrum;
  spectrum.counts = {0, 12, 8, 4, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 6};
  // 18 columns of 4 rows with 3 steps each: every channel has a column, every count a step.
  const std::vector<std::string> expected = {
      "10+ |", "  | |:", "  | ||.             |", " 0+ |||:|           |", "  +---------+--------", "           10",
  };
  EXPECT_EQ(linesOf(terminal(spectrum, {}, 21, 6, false)), expected);
}

TEST(Terminal, DotsJoinNeighbouringCounts) {
  Spectrum spectrum = samples::flat(36, 0);
  spectrum.counts[17] = spectrum.counts[35] = 15;
  // 18 characters of 2 x 4 dots in 4 rows: a dot for every channel and count. The way up to channel 18 is drawn in its
  // own column, the way down in the next one.
  const std::vector<std::string> expected = {"  │        ⢸⡇       ⢸", "10┤        ⢸⡇       ⢸", "  │        ⢸⡇       ⢸",
                                             " 0┤⣀⣀⣀⣀⣀⣀⣀⣀⣸⣇⣀⣀⣀⣀⣀⣀⣀⣸", "  └─────────┬────────", "           20"};
  EXPECT_EQ(linesOf(terminal(spectrum, {}, 21, 6, true)), expected);
}

TEST(Terminal, TextsTellTheAxes) {
  const std::string text = terminal(samples::twoPeaks(), {}, 80, 24, true);
  for (const char* part : {"Two peaks", "Energy (keV), channels 1 to 1000", "counts per channel", "1500", "10000"}) {
    EXPECT_THAT(text, HasSubstr(part));
  }
  Options options;
  options.log_scale = true;
  EXPECT_THAT(terminal(samples::flat(100), options, 80, 24, false), HasSubstr("Channel; counts per channel, log"));
}

TEST(Terminal, OddSpectraAndSizes) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto& counts : {std::vector<double>{0}, {nan}, {-3, nan, 3}, {1e308, 1}}) {
    Spectrum spectrum;
    spectrum.counts = counts;
    for (const bool use_unicode : {false, true}) {
      EXPECT_EQ(linesOf(terminal(spectrum, {}, 40, 12, use_unicode)).size(), 12u);
    }
  }
  for (const auto& [width, height] : {std::pair{19, 24}, {80, 5}, {-1, -1}, {kMaxTerminalSize + 1, 24}}) {
    EXPECT_THROW(terminal(samples::flat(5), {}, width, height, true), std::invalid_argument) << width;
  }
}

}  // namespace
}  // namespace orb::plot
