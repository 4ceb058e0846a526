#include "broken_input.h"
#include "growth.h"

namespace orb::formats {
namespace {

using testing::ElementsAre;

SpectrumData readOne(const std::string& text) {
  return readSpectra(text, "file").at(0);
}

const std::string kPlain =
    "$SPEC_ID:\nA sample\n$DATE_MEA:\n04/26/2017 11:05:11\n$MEAS_TIM:\n9 10.5\n$DATA:\n0 3\n"
    "       1\n       2\n       0\n       4\n";

std::string withEnd(std::string text, const std::string& line_end) {
  for (std::size_t p = text.find('\n'); p != std::string::npos; p = text.find('\n', p + line_end.size())) {
    text.replace(p, 1, line_end);
  }
  return text;
}

TEST(Spe, EveryLineEndGivesTheSameSpectrum) {
  for (const char* line_end : {"\n", "\r\n", "\r\r\n", "\r", " \n", "\n\n"}) {
    SCOPED_TRACE(testing::PrintToString(line_end));
    const SpectrumData spectrum = readOne(withEnd(kPlain, line_end));
    EXPECT_EQ(spectrum.title, "A sample");
    EXPECT_EQ(spectrum.start->toString(), "2017-04-26T11:05:11Z");
    EXPECT_EQ(spectrum.live_s, 9);
    EXPECT_EQ(spectrum.real_s, 10.5);
    EXPECT_THAT(spectrum.counts, ElementsAre(1, 2, 0, 4));
    EXPECT_TRUE(spectrum.warnings.empty());
  }
}

TEST(Spe, CountsComeInManyForms) {
  const SpectrumData spectrum = readOne("\xEF\xBB\xBF$DATA:\n10 15\n1 2.5\n\n 1.05562e+06\t+3\n1E-400\n007");
  EXPECT_THAT(spectrum.counts, ElementsAre(1, 2.5, 1055620, 3, 0, 7));
  EXPECT_EQ(spectrum.first_channel, 10U);
  EXPECT_FALSE(spectrum.whole_counts);
  EXPECT_FALSE(spectrum.start || spectrum.live_s || spectrum.real_s);
  EXPECT_TRUE(spectrum.energy.empty());
}

TEST(Spe, RemarksNameDetectorAndProgram) {
  const SpectrumData spectrum = readOne(
      "$SPEC_ID:\n \n$SPEC_REM:\nDET# 1\n\nDETDESC# coax\xE4l \nAP# prog 2\nprice $5\n $indented:\n$DATA:\n0 0\n5\n");
  EXPECT_EQ(spectrum.title, "");
  EXPECT_EQ(spectrum.detector, "coax\xC3\xA4l");  // the Latin-1 letter as UTF-8
  EXPECT_EQ(spectrum.instrument, "prog 2");
  EXPECT_THAT(spectrum.remarks, ElementsAre("DET# 1", "price $5", "$indented:"));
}

TEST(Spe, ADateThatLostItsHeaderIsFoundAmongTheRemarks) {
  const SpectrumData spectrum = readOne("$SPEC_REM:\nno date 1/2\n10/16/2019 15:32:30\n$DATA:\n0 0\n5\n");
  EXPECT_EQ(spectrum.start->toString(), "2019-10-16T15:32:30Z");
  EXPECT_THAT(spectrum.remarks, ElementsAre("no date 1/2"));
  EXPECT_TRUE(warns(spectrum, "start time taken from $SPEC_REM"));
}

TEST(Spe, ADateThatIsNotUnderstoodIsNamedAndLeftOut) {
  const SpectrumData spectrum = readOne("$DATE_MEA:\nlast Monday\n$DATA:\n0 0\n5\n");
  EXPECT_FALSE(spectrum.start);
  EXPECT_TRUE(warns(spectrum, "line 2: date 'last Monday'"));
}

TEST(Spe, WhatIsNotCarriedIsNamedUnlessItIsEmpty) {
  const SpectrumData spectrum =
      readOne("$DATA:\n0 0\n5\n$ROI:\n0\n$GPS:\nLon= 5\n$EMPTY:\n \n$PRESETS:\nNone\n$ENDRECORD:\n$DATA:\n0 0\n6\n");
  EXPECT_THAT(spectrum.counts, ElementsAre(5));
  EXPECT_THAT(spectrum.warnings,
              ElementsAre("section $DATA appears again and is not carried", "sections not carried: $GPS, $PRESETS"));
}

// Two channels; E = c0 + c1 at the second.
const struct {
  const char* what;
  const char* sections;
  std::vector<double> coefficients;
  std::vector<CalibrationPoint> points;
  const char* warning;
} kCalibrations[] = {
    {"fit alone", "$ENER_FIT:\n-1.5 2\n", {-1.5, 2}, {}, ""},
    {"fit with three terms", "$ENER_FIT:\n-1.5 2 1e-007\n", {-1.5, 2, 1e-7}, {}, ""},
    {"the longer one wins", "$ENER_FIT:\n1 2\n$MCA_CAL:\n3\n1 2 3E-1 keV\n", {1, 2, 0.3}, {}, ""},
    {"contradiction", "$ENER_FIT:\n5 2\n$MCA_CAL:\n2\n1 2\n", {1, 2}, {}, "contradict each other: $MCA_CAL"},
    {"MeV", "$MCA_CAL:\n2\n0.0012 0.0003828 MeV\n", {1.2, 0.3828}, {}, "converted from MeV"},
    {"all zero", "$ENER_FIT:\n0.0 0\n$MCA_CAL:\n3\n0 0 0\n", {}, {}, "all-zero calibration ignored: $MCA_CAL"},
    {"zero beside a good one", "$ENER_FIT:\n0 0\n$MCA_CAL:\n2\n1 2\n", {1, 2}, {}, "ignored: $ENER_FIT"},
    {"constant", "$ENER_FIT:\n7 0\n", {}, {}, "the same energy, ignored"},
    {"table alone", "$ENER_TABLE:\n2\n0 1.5\n1 3\n", {}, {{0, 1.5}, {1, 3}}, ""},
    {"table contradicts", "$ENER_FIT:\n0 2\n$ENER_TABLE:\n2\n0 9\n1 12\n", {0, 2}, {}, "$ENER_FIT and $ENER_TABLE"},
    {"empty section", "$MCA_CAL:\n$ENER_FIT:\n1 2\n", {1, 2}, {}, ""},
};

TEST(Spe, WorkGrowsWithTheSections) {
  const auto sections = [](std::size_t n) {
    std::string text = kPlain;
    for (std::size_t i = 0; i < n; ++i) text += "$S" + std::to_string(i) + ":\nx\n";
    return text;
  };
  EXPECT_LT(orbtest::growth(4096, 16, sections, [](const std::string& text) { readOne(text); }), 48);
}

TEST(Spe, CalibrationSectionsAreWeighedAgainstEachOther) {
  for (const auto& test : kCalibrations) {
    SCOPED_TRACE(test.what);
    const SpectrumData spectrum = readOne(std::string("$DATA:\n0 1\n5\n6\n") + test.sections);
    EXPECT_EQ(spectrum.energy.coefficients, test.coefficients);
    EXPECT_EQ(spectrum.energy.points, test.points);
    EXPECT_EQ(spectrum.energy.unit, "keV");
    const bool quiet = *test.warning == '\0';
    EXPECT_TRUE(quiet ? spectrum.warnings.empty() : warns(spectrum, test.warning))
        << testing::PrintToString(spectrum.warnings);
  }
}

TEST(Spe, BrokenTextsAreRefusedWithTheirLine) {
  const std::string data = "$DATA:\n0 2\n";
  const BrokenInput broken[] = {
      {"empty", "", 0, "the file is empty"},
      {"blank", " \r\n", 0, "the file is empty"},
      {"no counts", "$SPEC_ID:\nx\n", 0, "no $DATA section"},
      {"no range", "$DATA:\n", 2, "first and the last channel"},
      {"half a range", "$DATA:\n0 x\n", 2, "first and the last channel"},
      {"range turned round", "$DATA:\n5 2\n1\n", 2, "before the first"},
      {"too many channels", "$DATA:\n0 16777216\n1\n", 2, "16777217 channels"},
      {"empty promise", "$DATA:\n0 1000000\n1\n", 2, "the counts end early"},
      {"early end", data + "1\n2\n", 4, "the counts end after 2 of 3"},
      {"early next section", data + "1\n2\n\n$ROI:\n0\n", 4, "the counts end after 2 of 3"},
      {"too many counts", data + "1\n2\n3\n4\n", 6, "more counts than the 3 channels"},
      {"negative", data + "1\n-2\n3\n", 4, "count -2 is negative"},
      {"not a number", data + "1\nNaN\n3\n", 4, "(NaN)"},
      {"infinite", data + "1\n1e999\n3\n", 4, "infinite"},
      {"text", data + "1\n2\nthree\n", 5, "'three' is no count"},
      {"glued text", data + "1\n2,3\n4\n", 4, "'2,3' is no count"},
      {"CR CR LF counts once", withEnd(data + "1\nx\n3\n", "\r\r\n"), 4, "'x' is no count"},
      {"times", "$MEAS_TIM:\nsoon\n$DATA:\n0 0\n1\n", 2, "$MEAS_TIM wants"},
      {"negative time", "$MEAS_TIM:\n5 -1\n$DATA:\n0 0\n1\n", 2, "negative time"},
      {"short calibration", data + "1\n2\n3\n$MCA_CAL:\n3\n1 2\n", 7, "announces 3 coefficients and holds 2"},
      {"long calibration", data + "1\n2\n3\n$MCA_CAL:\n17\n1 2\n", 7, "number of its entries"},
      {"no calibration", data + "1\n2\n3\n$ENER_FIT:\nkeV\n", 7, "does not begin with a number"},
      {"short table", data + "1\n2\n3\n$ENER_TABLE:\n2\n0 1\n", 7, "announces 2 rows and holds 1"},
      {"no unit", data + "1\n2\n3\n$ENER_FIT:\n1 2 keV\n$MCA_CAL:\n2\n1 2 3keV\n", 10, "neither a coefficient nor"},
      {"falling table", data + "1\n2\n3\n$ENER_TABLE:\n2\n1 1\n0 2\n", 7, "do not rise in row 2"},
  };
  for (const BrokenInput& input : broken) expectRefused(input);
}

TEST(Spe, TextBeyondTheLimitIsRefused) {
  expectRefused({"65 MiB", std::string((std::size_t{65} << 20), ' '), 0, "at most 67108864 are read"});
}

TEST(Spe, WritingTellsWhatItCannotCarry) {
  SpectrumData spectrum = readOne(kPlain);
  spectrum.title = "$not a section";
  spectrum.first_channel = 7;
  spectrum.fwhm.position = spectrum.fwhm.width = Quantity::kEnergy;
  spectrum.fwhm.points = {{100, 1}, {1000, 2}};
  const Written spe = writeSpe(spectrum);
  EXPECT_THAT(spe.not_carried, ElementsAre(testing::HasSubstr("FWHM")));
  const SpectrumData again = readOne(spe.text);
  EXPECT_EQ(again.title, spectrum.title);
  EXPECT_EQ(again.first_channel, 7U);
  EXPECT_THAT(writeN42({&spectrum, 1}).not_carried, ElementsAre(testing::HasSubstr("first channel 7")));
  EXPECT_TRUE(writeCsv(spectrum).not_carried.empty());
}

}  // namespace
}  // namespace orb::formats
