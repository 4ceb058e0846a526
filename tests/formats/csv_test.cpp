#include "broken_input.h"

namespace orb::formats {
namespace {

using testing::ElementsAre;

SpectrumData readOne(const std::string& text) {
  return readSpectra(text, "file").at(0);
}

// Counts are 5, 6, 7.5 throughout; energies 1.5, 3.5, 5.5 where there are any.
const struct {
  const char* what;
  const char* text;
  std::size_t first_channel;
  bool has_energies;
} kLayouts[] = {
    {"counts alone", "5\n6\n7.5\n", 0, false},
    {"channels and counts", "0,5\n1,6\n2,7.5\n", 0, false},
    {"channels from 1", "1 5\n2 6\n3 7.5\n", 1, false},
    {"energies and counts", "1.5,5\n3.5,6\n5.5,7.5", 0, true},
    {"named energies", "Energy, Data  \r\n1.5, 5\r\n3.5, 6\r\n5.5, 7.5\r\n", 0, true},
    {"named and turned round", "counts\tenergy_keV\n5\t1.5\n6\t3.5\n7.5\t5.5\n", 0, true},
    {"three columns", "4,1.5,5\n5,3.5,6\n6,5.5,7.5\n", 4, true},
    {"other columns", "chan,live,counts,err\n0,9,5,1\n1,9,6,1\n2,9,7.5,1\n", 0, false},
    {"quotes", "\"channel\",\"counts\"\n\"0\",\"5\"\n\"1\",\"6\"\n\"2\",\"7.5\"\n", 0, false},
    {"decimal commas", "E;counts\n1,5;5\n3,5;6\n5,5;7,5\n", 0, true},
    {"separator at the end", "0,5,\n1,6,\n2,7.5,\n", 0, false},
    {"blank lines and CR CR LF", "\r\r\n0,5\r\r\n\r\r\n1,6\r\r\n2,7.5\r\r\n\r\r\n", 0, false},
    {"exponents", "0;5E0\n1;6.0e+00\n2;750e-2\n", 0, false},
    {"old line ends", "0 5\r1 6\r2 7.5\r", 0, false},
};

TEST(Csv, ColumnsAreToldByNameOrByContent) {
  for (const auto& layout : kLayouts) {
    SCOPED_TRACE(layout.what);
    const SpectrumData spectrum = readOne(layout.text);
    EXPECT_THAT(spectrum.counts, ElementsAre(5, 6, 7.5));
    EXPECT_FALSE(spectrum.whole_counts);
    EXPECT_EQ(spectrum.first_channel, layout.first_channel);
    EXPECT_EQ(spectrum.energy.empty(), !layout.has_energies);
    if (!layout.has_energies) continue;
    ASSERT_EQ(spectrum.energy.coefficients.size(), 2U);
    EXPECT_NEAR(spectrum.energy.coefficients[0], 1.5 - 2 * static_cast<double>(layout.first_channel), 1e-12);
    EXPECT_NEAR(spectrum.energy.coefficients[1], 2, 1e-12);
  }
}

TEST(Csv, AnAxisThatIsNoPolynomialStaysAsPoints) {
  const SpectrumData spectrum = readOne("energy,counts\n1,5\n2,6\n9,7\n10,8\n40,9\n41,1\n");
  ASSERT_EQ(spectrum.energy.points.size(), 6U);
  EXPECT_EQ(spectrum.energy.points[4], (CalibrationPoint{4, 40}));
  const SpectrumData again = readOne(writeCsv(spectrum).text);
  EXPECT_EQ(again.energy, spectrum.energy);
  EXPECT_EQ(readOne(writeSpe(spectrum).text).energy, spectrum.energy);
  EXPECT_EQ(readSpectra(writeN42({&spectrum, 1}).text, "n42")[0].energy, spectrum.energy);
}

TEST(Csv, HeaderLinesTellTimesAndTexts) {
  const SpectrumData spectrum = readOne(
      "Title: Soil\n# measured in the cellar\nLive Time (s),900.5\nReal time = 905\nStart time: 04/26/2017 11:05:11\n"
      "Detector; NaI\nchannel,counts\n0,5\n1,6\n");
  EXPECT_EQ(spectrum.title, "Soil");
  EXPECT_EQ(spectrum.detector, "NaI");
  EXPECT_EQ(spectrum.live_s, 900.5);
  EXPECT_EQ(spectrum.real_s, 905);
  EXPECT_EQ(spectrum.start->toString(), "2017-04-26T11:05:11Z");
  EXPECT_THAT(spectrum.remarks, ElementsAre("measured in the cellar"));
}

TEST(Csv, OddHeaderValuesAreWarnings) {
  const SpectrumData spectrum = readOne("Live time: long\nDate: soon\nenergy,counts\n0,5\n0,6\n");
  EXPECT_TRUE(warns(spectrum, "line 1: time 'long'"));
  EXPECT_TRUE(warns(spectrum, "date 'soon'"));
  EXPECT_TRUE(warns(spectrum, "all-zero calibration ignored: energy column"));
  EXPECT_TRUE(warns(readOne("# energy_coefficients: 50 2\nenergy,counts\n1,5\n3,6\n"), "contradict each other"));
}

const std::string kReport =
    "ACQUISITION\nSample description:   \nSpectrum name: S1.SPC\nDetector description: coax\n"
    "Real Time:  209.100006\nLive Time:  199.800003\nAcquisition start date:  01-Aug-2014\n"
    "Acquisition start time:  11:43:41\nNumber of channels:  4\nEnergy Fit:  1.5E+000  2.0E+000\n"
    "FWHM Fit:  7.5E-001  5.0E-004\nCentroid Energy\n  6.3E+001  8.8E+001\n\nSPECTRUM\n\n"
    "     0:    5.00000E+000\n     1:    6.00000E+000  7.5\n     3:    8\n\n";

TEST(Csv, AReportIsReadWithItsHeader) {
  for (const std::string& text : {kReport, kReport + "EFFICIENCY\nnone\n"}) {
    const SpectrumData spectrum = readOne(text);
    EXPECT_THAT(spectrum.counts, ElementsAre(5, 6, 7.5, 8));
    EXPECT_EQ(spectrum.title, "S1.SPC");
    EXPECT_EQ(spectrum.live_s, 199.800003);
    EXPECT_EQ(spectrum.start->toString(), "2014-08-01T11:43:41Z");
    EXPECT_THAT(spectrum.energy.coefficients, ElementsAre(1.5, 2));
    EXPECT_THAT(spectrum.fwhm.coefficients, ElementsAre(0.75, 0.0005));
  }
}

TEST(Csv, BrokenTextsAreRefusedWithTheirLine) {
  using namespace std::string_literals;
  const BrokenInput broken[] = {
      {"no numbers", "some text\nand more\n", 0, "no line consists of numbers"},
      {"zero bytes", "1\n\0\n"s, 0, "zero bytes"},
      {"text among the numbers", "0,5\n1,x\n2,7\n", 2, "'x' is not a number"},
      {"text below", "0,5\n1,6\nend\n", 3, "'end' is not a number"},
      {"a column too many", "0,5\n\n1,6,7\n", 3, "3 columns where the rows above have 2"},
      {"a column too few", "0,5\n1\n", 2, "1 columns where the rows above have 2"},
      {"an empty field", "0,5\n,6\n", 2, "'' is not a number"},
      {"four columns", "1,2,3,4\n", 1, "4 columns, and no header tells the counts"},
      {"negative", "0,5\n1,-6\n", 2, "count -6 is negative"},
      {"NaN", "0,5\n1,nan\n", 2, "(NaN)"},
      {"infinite", "5\n1e400\n", 2, "infinite"},
      {"lost channel", "channel,counts\n0,5\n2,6\n", 3, "channel 2 follows channel 0"},
      {"odd channel", "channel,counts\n0.5,5\n", 2, "0.5 is no channel number"},
      {"falling energies", "1.5,5\n3.5,6\n3.0,7\n", 3, "the energy 3 follows 3.5"},
      {"NaN energy", "energy,counts\n1,5\nnan,6\n", 3, "an energy is not a number"},
      {"report: lost channel", "0: 5\n2: 6\n", 2, "channel 2 where channel 1 is expected"},
      {"report: bad count", "0: 5\n1: 6x\n", 2, "'6x' is no count"},
      {"report: no count", "0: 5\n1:\n", 2, "channel 1 has no count"},
      {"report: broken line", "0: 5\n1 6\n", 2, "'1 6' is no line"},
      {"report: too short", "Number of channels: 3\n0: 5\n1: 6\n", 0, "announces 3 channels, 2 follow"},
  };
  for (const BrokenInput& input : broken) expectRefused(input);
}

}  // namespace
}  // namespace orb::formats
