// simulate, calibrate, peaks, fit, eval, region: spectra with known truth, and measured ones with known sources.
#include <cmath>

#include "command_runner.h"

namespace orbtest {
namespace {

using ::testing::HasSubstr;

class AnalysisCommandTest : public CommandTest {
 protected:
  /// A germanium spectrum, its truth in s.dat.json.
  static void simulate(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"simulate", "s.dat", "--nuclides", "Eu-152:3000,K-40:300", "--force"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    good(arguments);
  }
};

const nlohmann::json* nearestPeak(const nlohmann::json& peaks, double energy) {
  const nlohmann::json* nearest = nullptr;
  for (const auto& peak : peaks)
    if (nearest == nullptr ||
        std::abs(peak["energy_keV"].get<double>() - energy) < std::abs((*nearest)["energy_keV"].get<double>() - energy))
      nearest = &peak;
  return nearest;
}

/// True area of a line with those that no detector tells from it.
double areaAt(const nlohmann::json& truth, const nlohmann::json& line) {
  double area = 0;
  for (const auto& other : truth)
    if (std::abs(other["energy_keV"].get<double>() - line["energy_keV"].get<double>()) <
        0.5 * line["fwhm_keV"].get<double>())
      area += other["expected_area"].get<double>();
  return area;
}

TEST_F(AnalysisCommandTest, LinesAreFoundToTheEndOfALongSpectrum) {
  std::string spe = "$DATA:\n0 69999\n";
  for (int i = 0; i < 70000; ++i)
    spe += std::to_string(std::lround(20 + 1e4 * std::exp(-std::pow((i - 69000) / 40.0, 2)))) + "\n";
  writeFile("long.spe", spe + "$MCA_CAL:\n3\n0 0.04 0 keV\n");
  ASSERT_EQ(orb({"import", "long.spe", "long.dat"}).status, 0);
  for (const char* const command : {"peaks", "analyze"}) {
    const auto peaks = json({command, "long.dat"})["peaks"];
    ASSERT_EQ(peaks.size(), 1u) << command;
    EXPECT_NEAR(peaks[0]["centroid_channel"], 69001, 1) << command;
  }
}

TEST_F(AnalysisCommandTest, LinesOfASimulatedSpectrumAreFoundWithTheirTrueAreas) {
  simulate();
  const auto truth = nlohmann::json::parse(readFile("s.dat.json"))["lines"];
  const auto peaks = json({"peaks", "s.dat"})["peaks"];
  int n = 0;
  double squares = 0;
  for (const auto& line : truth) {
    if (line["expected_area"] < 300) continue;
    const auto* const peak = nearestPeak(peaks, line["energy_keV"]);
    ASSERT_NE(peak, nullptr);
    EXPECT_NEAR((*peak)["energy_keV"], line["energy_keV"], 0.3 * line["fwhm_keV"].get<double>());
    const double pull = ((*peak)["area"].get<double>() - areaAt(truth, line)) / (*peak)["area_unc"].get<double>();
    EXPECT_LT(std::abs(pull), 5) << line;  // tails and steps of the simulation are not those of the fit
    squares += pull * pull;
    ++n;
  }
  EXPECT_GE(n, 14);
  EXPECT_LT(squares / n, 3);
  EXPECT_LE(peaks.size(), truth.size() + 1);  // noise may bring one in ten spectra
  EXPECT_THAT(good({"peaks", "s.dat"}), HasSubstr("Energy [keV]"));
  EXPECT_THAT(good({"plot", "s.dat", "--log"}), HasSubstr("keV"));
}

TEST_F(AnalysisCommandTest, EqualSeedsGiveEqualSpectra) {
  simulate({"--seed", "7"});
  const std::string first = orb({"export", "s.dat", "-", "--format", "csv"}).out;
  simulate({"--seed", "7"});
  EXPECT_EQ(orb({"export", "s.dat", "-", "--format", "csv"}).out, first);
  simulate({"--seed", "8"});
  EXPECT_NE(orb({"export", "s.dat", "-", "--format", "csv"}).out, first);
  EXPECT_EQ(orb({"simulate", "s.dat", "--nuclides", "Cs-137"}).status, 1);  // not without --force
  EXPECT_THAT(orb({"simulate", "t.dat", "--nuclides", "Xx-1"}).err, HasSubstr("no lines of 'Xx-1'"));
}

TEST_F(AnalysisCommandTest, PointsGiveTheEquationsThatWentIn) {
  create("a.dat");
  const auto fit = json({"calibrate", "a.dat", "--energy", "100:51.5", "--energy", "500:251.5", "--energy", "900:451.5",
                         "--fwhm", "100:1.3", "--fwhm", "400:1.6", "--terms", "2"});
  EXPECT_NEAR(fit["energy"]["coefficients"][0], 1.5, 1e-4);
  EXPECT_NEAR(fit["energy"]["coefficients"][1], 0.5, 1e-6);
  EXPECT_NEAR(fit["fwhm"]["coefficients"][0], 1.0, 1e-5);
  EXPECT_NEAR(fit["fwhm"]["coefficients"][1], 0.03, 1e-6);
  EXPECT_NEAR(json({"eval", "a.dat", "energy", "300"})["value"], 151.5, 1e-4);
  EXPECT_NEAR(json({"eval", "a.dat", "channel", "151.5"})["value"], 300, 1e-3);
  EXPECT_NEAR(json({"eval", "a.dat", "fwhm", "225"})["value"], 1.45, 1e-5);
  EXPECT_EQ(good({"region", "a.dat", "--channel", "500"}), "491 509\n");
  EXPECT_EQ(good({"region", "a.dat", "--energy", "251.5"}), "491 509\n");
}

TEST_F(AnalysisCommandTest, EfficiencyPointsGiveACurveWithUncertainty) {
  create("a.dat");
  writeFile(
      "points.csv",
      "kind,x,value,uncertainty\nefficiency,100,0.05,0.001\nefficiency,300,0.03,0.0006\nefficiency,600,0.017,0.0004\n"
      "efficiency,1000,0.011,0.0003\nefficiency,1400,0.0083,0.0003\n");
  good({"calibrate", "a.dat", "--points", "points.csv"});
  for (const char* model : {"interpolated", "dual"}) {
    const auto result = json({"eval", "a.dat", "efficiency", "600", "--model", model});
    EXPECT_NEAR(result["value"], 0.017, 0.001) << model;
    EXPECT_GT(result["uncertainty"], 0) << model;
  }
  writeFile("points.csv", "efficiency,100,x,1\n");
  EXPECT_THAT(orb({"calibrate", "a.dat", "--points", "points.csv"}).err, HasSubstr("line 1"));
}

TEST_F(AnalysisCommandTest, WhatCannotBeAnalysedIsTold) {
  create("a.dat");  // all channels are 0
  EXPECT_EQ(good({"peaks", "a.dat"}), "no lines\n");
  EXPECT_THAT(orb({"calibrate", "a.dat", "--auto", "Eu-152"}).err, HasSubstr("no peak"));
  EXPECT_THAT(orb({"eval", "a.dat", "tail", "100"}).err, HasSubstr("no low-tail calibration (0x00620062)"));
  EXPECT_THAT(orb({"eval", "a.dat", "efficiency", "100"}).err, HasSubstr("no efficiency calibration"));
  EXPECT_THAT(orb({"fit", "a.dat", "--start", "20", "--end", "10"}).err, HasSubstr("the region is empty"));
  EXPECT_THAT(orb({"fit", "a.dat", "--start", "2000", "--end", "2010"}).err, HasSubstr("outside the spectrum"));
  EXPECT_THAT(orb({"calibrate", "a.dat", "--energy", "5:10", "--energy", "5:20"}).err,
              HasSubstr("different positions"));
  EXPECT_THAT(orb({"region", "a.dat", "--channel", "2000"}).err, HasSubstr("no region"));
  for (const std::vector<std::string>& refused : {std::vector<std::string>{"peaks", "a.dat", "--threshold", "nan"},
                                                  {"fit", "a.dat", "--start", "1", "--end", "9", "--free-fwhm", "nan"},
                                                  {"calibrate", "a.dat", "--efficiency", "100:-0.1"},
                                                  {"calibrate", "a.dat", "--energy", "0:100"},
                                                  {"calibrate", "a.dat", "--fwhm", "100:0"}})
    EXPECT_EQ(orb(refused).status, 2) << refused.back();
}

struct Source {
  const char* file;
  const char* nuclides;
  std::vector<double> lines;  // keV, strong ones that must be there
};

void PrintTo(const Source& source, std::ostream* out) {
  *out << source.file;
}

class MeasuredSource : public AnalysisCommandTest, public ::testing::WithParamInterface<Source> {};

TEST_P(MeasuredSource, IsCalibratedByItselfAndItsLinesAreFound) {
  const std::string source = measured(GetParam().file);
  if (source.empty()) GTEST_SKIP() << "no measured spectra (ORB_TEST_DATA)";
  ASSERT_EQ(orb({"import", source, "a.dat"}).status, 0);
  const auto points = json({"calibrate", "a.dat", "--auto", GetParam().nuclides})["points"];
  EXPECT_GE(points.size(), GetParam().lines.size());
  const auto peaks = json({"peaks", "a.dat"})["peaks"];
  for (const double energy : GetParam().lines) {
    const auto* const peak = nearestPeak(peaks, energy);
    ASSERT_NE(peak, nullptr);
    // Within 2 standard uncertainties, or 0.05 keV where the energy equation, not counting, limits.
    EXPECT_NEAR((*peak)["energy_keV"], energy, std::max(0.05, 2 * (*peak)["energy_unc_keV"].get<double>()));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Sources, MeasuredSource,
    ::testing::Values(
        Source{"hpge_8k_eu152.Spe", "Eu-152", {121.7817, 244.6974, 344.2785, 778.9045, 964.057, 1112.076, 1408.013}},
        Source{"hpge_8k_co60.csv", "Co-60", {1173.228, 1332.492}},
        Source{"hpge_8k_i131.csv", "I-131", {284.305, 364.489, 636.989}},
        Source{"hpge_8k_cs137.csv", "Cs-137", {661.657}},
        Source{"hpge_8k_cs137.csv", "Cs-137,Bi-207", {569.698, 661.657, 1063.656}},
        Source{"hpge_8k_ra226.csv", "Ra-226,Pb-214,Bi-214", {186.211, 295.224, 351.932, 609.321, 1120.294}}),
    [](const auto& c) {
      std::string name = c.param.nuclides;
      std::replace_if(
          name.begin(), name.end(), [](char x) { return !std::isalnum(static_cast<unsigned char>(x)); }, '_');
      return name;
    });

TEST_F(AnalysisCommandTest, ScintillatorsAreCalibratedByTheirSourcesOrRefused) {
  if (measured("csi_4k_ba133_cs137_uncal.spe").empty()) GTEST_SKIP() << "no measured spectra (ORB_TEST_DATA)";
  const struct {
    const char *file, *nuclides;
    double energy, channel, within;  ///< [keV], [channel] where the line was seen by eye; 0: to be refused
  } cases[] = {{"csi_4k_ba133_cs137_uncal.spe", "Ba-133,Cs-137", 661.66, 1093, 10},
               {"nai_1001ch_background_uncal.spe", "K-40,Tl-208,Bi-214", 1460.8, 722, 20},
               {"nai_1001ch_background_uncal.spe", "K-40,Tl-208,Bi-214", 609.3, 317.5, 20},
               {"nai_1k_field_kut_calibration.spe", "K-40,Tl-208,Bi-214", 1460.8, 477.5, 20},
               {"nai_1k_loess_profile_1.spe", "K-40,Tl-208,Bi-214", 2614.5, 799.6, 20},
               {"csi_1k_am241.n42", "Am-241", 59.54, 28.6, 2},
               {"hpge_8k_i131.csv", "Cs-137,Co-60", 0, 0, 0},
               {"hpge_8k_eu152.Spe", "Co-60", 0, 0, 0}};
  for (const auto& c : cases) {
    ASSERT_EQ(orb({"import", measured(c.file), "a.dat", "--force"}).status, 0) << c.file;
    const auto done = orb({"calibrate", "a.dat", "--auto", c.nuclides, "--json"});
    EXPECT_EQ(done.status, c.energy > 0 ? 0 : 1) << c.file << done.err;
    if (c.energy == 0) continue;
    const auto energy = orb({"eval", "a.dat", "energy", std::to_string(c.channel)});
    EXPECT_NEAR(std::stod(energy.out), c.energy, c.within) << c.file << energy.err;
  }
}

TEST_F(AnalysisCommandTest, TheWidthOfOneLineScalesTheWidthsOfTheFile) {
  const std::string spectrum = measured("csi_1k_am241.n42");
  if (spectrum.empty()) GTEST_SKIP() << "no measured spectra (ORB_TEST_DATA)";
  ASSERT_EQ(orb({"import", spectrum, "a.dat"}).status, 0);
  EXPECT_THAT(orb({"calibrate", "a.dat", "--auto", "Am-241"}).err, HasSubstr("the widths were scaled"));
  const auto peaks = json({"peaks", "a.dat"})["peaks"];
  ASSERT_EQ(peaks.size(), 1u) << "widths that are too small make two lines of one";
  EXPECT_NEAR(peaks[0]["energy_keV"], 59.54, 0.5);
  EXPECT_NEAR(peaks[0]["fwhm_keV"], 16.5, 1);
}

TEST_F(AnalysisCommandTest, ComptonEdgesAndNoiseMakeNoLines) {
  constexpr int kSpectra = 12;
  int false_lines = 0;
  for (int seed = 1; seed <= kSpectra; ++seed) {
    ASSERT_EQ(orb({"simulate", "a.dat", "--nuclides", "Cs-137:500,Co-60:500", "--live-time", "3600", "--seed",
                   std::to_string(seed), "--force"})
                  .status,
              0);
    false_lines += static_cast<int>(json({"peaks", "a.dat"})["peaks"].size()) - 3;
  }
  EXPECT_LE(false_lines, 4) << "0.08 are expected in a spectrum";
}

TEST_F(AnalysisCommandTest, ALookAtARegionLeavesItsLinesAndNoSettings) {
  ASSERT_EQ(orb({"simulate", "a.dat", "--nuclides", "Cs-137:500,Co-60:500", "--seed", "3"}).status, 0);
  const auto all = json({"peaks", "a.dat"})["peaks"].size();
  const std::vector<std::vector<std::string>> looks = {
      {"peaks", "b.dat", "--range", "600:700keV", "--threshold", "8"},
      {"fit", "b.dat", "--start", "100", "--end", "160", "--continuum", "none", "--free-fwhm", "3"},
      {"fit", "b.dat", "--start", "1780", "--end", "1840", "--free-channels", "4"},
      {"region", "b.dat", "--channel", "1805"},
      {"eval", "b.dat", "efficiency", "661.66", "--model", "interpolated"}};
  for (const auto& look : looks) {
    ASSERT_EQ(orb({"copy", "a.dat", "b.dat", "--all", "--force"}).status, 0);
    ASSERT_EQ(orb(look).status, 0) << look[0];
    for (const char* cls : {"0x2000", "0x2002", "0x2003", "0x2010"})
      EXPECT_EQ(orb({"dump", "b.dat", "--class", cls}).out, orb({"dump", "a.dat", "--class", cls}).out) << look[0];
    EXPECT_EQ(json({"analyze", "b.dat"})["peaks"].size(), all) << look[0];
    EXPECT_NE(orb({"get", "b.dat", "ORB_L_PKSCOPE"}).out, "1\n") << look[0];
  }
}

}  // namespace
}  // namespace orbtest
