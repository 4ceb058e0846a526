// import, export, info.
#include <algorithm>
#include <numeric>

#include "command_runner.h"

namespace orbtest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class SpectrumTest : public CommandTest {
 protected:
  /// Imports and gives what was said on standard error.
  static std::string import(const std::string& source, const std::string& file, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"import", source, file};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Result result = orb(arguments);
    EXPECT_EQ(result.status, 0) << source << ": " << result.err;
    return result.err;
  }
  static std::string importText(const std::string& text, const std::string& file) {
    writeFile("text.spe", text);
    return import("text.spe", file, {"--detector", "hpge", "--force"});
  }
};

TEST_F(SpectrumTest, AnImportCarriesCountsTimesTextsAndCalibration) {
  importText(kSmallSpe, "a.dat");
  const auto info = json({"info", "a.dat"});
  EXPECT_EQ(info["file"], "a.dat");
  EXPECT_EQ(info["title"], "Small sample");
  EXPECT_EQ(info["channels"], 8);
  EXPECT_EQ(info["total_counts"], 36);
  EXPECT_EQ(info["live_time_s"], 600);
  EXPECT_EQ(info["real_time_s"], 605);
  EXPECT_EQ(info["start_time"], "2024-03-01T12:30:00Z");
  // 0.5 + 2 i with channels from 0 is -1.5 + 2 j with channels from 1.
  EXPECT_EQ(info["energy_calibration"]["coefficients"], (std::vector<double>{-1.5, 2}));
  EXPECT_EQ(info["energy_calibration"]["unit"], "keV");
  EXPECT_EQ(info["energy_calibration"]["default"], false);
  EXPECT_EQ(info["blocks"][0]["class"], "0x2000");
  EXPECT_EQ(info["blocks"][0]["records"], 0);
  EXPECT_THAT(good({"info", "a.dat"}), HasSubstr("-1.5 + 2 x keV (x: channel, from 1); 0.50 keV in channel 1"));
}

TEST_F(SpectrumTest, WithoutCalibrationNoneIsInvented) {
  std::string text = kSmallSpe;
  text.erase(text.find("$ENER_FIT"));
  EXPECT_THAT(importText(text, "a.dat"), HasSubstr("no energy calibration"));
  const auto info = json({"info", "a.dat"});
  EXPECT_TRUE(info["energy_calibration"].is_null());
  EXPECT_EQ(info["fwhm_calibration"]["default"], true);
  EXPECT_EQ(orb({"get", "a.dat", "ORB_D_ECALGAIN"}).status, 1);
  EXPECT_THAT(good({"get", "a.dat", "ORB_T_SCALSOURCE"}), HasSubstr("not measured"));
  EXPECT_THAT(good({"info", "a.dat"}), HasSubstr("Energy     not calibrated"));
  good({"export", "a.dat", "a.csv"});
  EXPECT_TRUE(json({"info", "a.csv"})["energy_calibration"].is_null());
  EXPECT_EQ(json({"info", "a.csv"})["has_fwhm_calibration"], false);
}

TEST_F(SpectrumTest, DefaultsOfANewFileAreNotExportedAsACalibration) {
  create("a.dat");
  EXPECT_THAT(orb({"export", "a.dat", "a.spe"}).err, HasSubstr("default of a new file"));
  EXPECT_TRUE(json({"info", "a.spe"})["energy_calibration"].is_null());
}

TEST_F(SpectrumTest, CountsOfEverySizeArriveExactly) {
  std::string text = kSmallSpe;
  text.replace(text.find("7\n8\n"), 4, "2147483647\n0\n");
  importText(text, "a.dat");
  EXPECT_EQ(json({"info", "a.dat"})["total_counts"], 2147483647LL + 21);
  text.replace(text.find("2147483647"), 10, "2147483648");
  EXPECT_THAT(importText(text, "a.dat"), HasSubstr("32-bit real numbers"));
  EXPECT_EQ(json({"info", "a.dat"})["total_counts"], 2147483648LL + 21);
  text.replace(text.find("2147483648"), 10, "2147483649");
  EXPECT_THAT(importText(text, "a.dat"), HasSubstr("1 of them are rounded"));
}

TEST_F(SpectrumTest, WidthsThatFollowOurEquationAreFoundAgain) {
  importText(kSmallSpe, "a.dat");
  // 1.2 + 0.04 sqrt(E), as somebody might set it by hand.
  good({"set", "a.dat", "ORB_D_FWHMOFF", "1.2"});
  good({"set", "a.dat", "ORB_D_FWHMSLOPE", "0.04"});
  good({"set", "a.dat", "ORB_T_SCALSOURCE", "by hand"});
  for (const char* ending : {"n42", "csv"}) {
    const std::string out = std::string("a.") + ending;
    ASSERT_EQ(orb({"export", "a.dat", out}).status, 0);
    import(out, "b.dat", {"--detector", "nai", "--force"});
    EXPECT_NEAR(std::stod(good({"get", "b.dat", "ORB_D_FWHMOFF"})), 1.2, 1e-9) << ending;
    EXPECT_NEAR(std::stod(good({"get", "b.dat", "ORB_D_FWHMSLOPE"})), 0.04, 1e-9) << ending;
  }
}

TEST_F(SpectrumTest, ForeignWidthsComeBackAsTheyWereUntilSomebodyChangesThem) {
  const std::string shape = "$SHAPE_CAL:\n3\n2.09 0.001 -4.1E-8\n";
  EXPECT_THAT(importText(kSmallSpe + shape, "a.dat"), HasSubstr("was fitted to it"));
  good({"export", "a.dat", "a.spe"});
  EXPECT_THAT(readFile("a.spe"), HasSubstr("2.09 0.001 -4.1e-08"));
  good({"set", "a.dat", "ORB_D_FWHMOFF", "3"});
  EXPECT_THAT(orb({"export", "a.dat", "a.spe", "--force"}).err, HasSubstr("quadratic"));
  EXPECT_THAT(readFile("a.spe"), Not(HasSubstr("2.09 ")));
}

TEST_F(SpectrumTest, BrokenInputNamesTheLineAndLeavesNothingBehind) {
  std::string text = kSmallSpe;
  text.replace(text.find("5\n6\n"), 4, "5\nsix\n");
  writeFile("broken.spe", text);
  const Result result = orb({"import", "broken.spe", "a.dat"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("broken.spe: line 14"));
  EXPECT_THAT(folder(), ElementsAre("broken.spe"));
  EXPECT_EQ(orb({"info", "broken.spe"}).status, 1);
  EXPECT_THAT(orb({"import", "nowhere.spe", "a.dat"}).err, HasSubstr("nowhere.spe: cannot open: the file does not"));
  EXPECT_THAT(orb({"import", ".", "a.dat"}).err, HasSubstr("0xE0610042"));
}

TEST_F(SpectrumTest, TheFormatOfAnExportComesFromTheNameOrTheOption) {
  importText(kSmallSpe, "a.dat");
  EXPECT_THAT(good({"export", "a.dat", "-", "--format", "json"}), HasSubstr("Small sample"));
  EXPECT_EQ(orb({"export", "a.dat", "-"}).status, 2);
  EXPECT_EQ(orb({"export", "a.dat", "a.png"}).status, 2);
  EXPECT_EQ(orb({"export", "a.dat", "a", "--format", "png"}).status, 2);
  good({"export", "a.dat", "A.SPE"});
  EXPECT_THAT(readFile("A.SPE"), HasSubstr("$DATA"));
  good({"set", "a.dat", "ORB_D_PKENERGY", "1", "--record", "1"});
  EXPECT_THAT(orb({"export", "a.dat", "b.spe"}).err, HasSubstr("not carried: Peak results, 1 records"));
}

TEST_F(SpectrumTest, OneOfSeveralSpectraIsChosenByNumber) {
  const std::string source = measured("hpge_16k_portal_multi_2006.n42");
  if (source.empty()) GTEST_SKIP() << "no measured spectra (ORB_TEST_DATA)";
  EXPECT_EQ(json({"info", source})["spectra"].size(), 160u);
  EXPECT_THAT(import(source, "first.dat"), HasSubstr("160 spectra"));
  import(source, "second.dat", {"--spectrum", "2"});
  EXPECT_EQ(json({"info", "first.dat"})["total_counts"], 1577);
  EXPECT_EQ(json({"info", "second.dat"})["total_counts"], 2695);
  EXPECT_THAT(orb({"import", source, "x.dat", "--spectrum", "161"}).err, HasSubstr("there is no spectrum 161"));
}

/// What is known of the measured spectra from elsewhere.
struct Sample {
  const char* name;
  unsigned channels;
  unsigned counts;
  double live_s;  // 0: the file names none
  bool is_germanium;
  std::string start;                   // empty: the file names none
  double first_keV = 0, last_keV = 0;  // of the channels at both ends; both 0: not calibrated
};

const Sample kSamples[] = {
    {"hpge_16k_leadcave_background.spe", 16384, 1052900, 437817, true, "2017-04-26T11:05:11Z", -0.035087, 2994.6},
    {"hpge_16k_naa_pottery.spe", 16384, 304706, 16543, true, "2017-04-25T12:54:27Z", -0.035087, 2994.6},
    {"hpge_8k_field_alcatraz.spe", 8192, 132978, 900, true, "2012-09-17T13:41:07Z", 0.5783, 3087.6},
    {"hpge_8k_field_alcatraz.n42", 8192, 132978, 900, true, "2012-09-17T13:41:07Z", 0.57833, 3087.6},
    {"hpge_8k_field_alcatraz.csv", 8192, 132978, 0, true, "", 0.57833, 3087.6},
    {"hpge_1k_mixed_gamma.spe", 1024, 256038, 199, true, "2014-08-01T11:43:41Z", 1.5996, 1412.9},
    {"csi_4k_ba133_cs137_uncal.csv", 4094, 166239, 0, false, ""},
    {"nai_1k_zero_calibration.spe", 1024, 892301, 296, false, "2018-02-09T10:03:36Z"},
    {"nai_1001ch_background_uncal.spe", 1001, 398163, 3600, false, "2018-03-26T00:00:00Z"},
    {"nai_1k_field_kut_calibration.spe", 1024, 3670244, 10000, false, "2017-04-26T12:04:52Z", -9.9828, 3155.8},
    {"nai_1k_loess_profile_1.spe", 1024, 764745, 3600, false, "2016-05-18T11:55:14Z", -11.426, 3231},
    {"scint_1k_handheld_5s.spe", 1024, 973, 5, false, "2019-10-16T15:32:30Z", 0, 3168},
    {"csi_1k_am241.n42", 1024, 306058, 613, false, "2023-06-07T05:52:00Z", -6.2832, 2887.7},
    {"scint_1k_handheld_5s_nodate.spe", 1024, 973, 5, false, "2019-10-16T15:32:30Z", 0, 3168},
    {"csi_4k_ba133_cs137_uncal.spe", 4094, 166239, 300, false, "2018-07-11T00:00:00Z"},
    {"hpge_8k_eu152.Spe", 8192, 79129, 65, true, "2020-09-16T12:00:48Z", 16.228, 3007},
    {"hpge_8k_brazil_nuts.Spe", 8192, 3031944, 161643, true, "2014-03-13T14:11:49Z", 0.20004, 3098},
    {"hpge_8k_coal.Spe", 8192, 2667556, 80000, true, "2014-05-20T13:14:13Z", -18.882, 3106.1},
    {"hpge_8k_coal_recal.Spe", 8192, 2667556, 80000, true, "2014-05-20T13:14:13Z", -18.882, 3106.1},
    {"hpge_8k_soil_cs137.Spe", 8192, 1867797, 80000, true, "2014-04-24T13:06:44Z", -0.62818, 3111.7},
    {"hpge_8k_bananas.Spe", 8192, 281390, 94327, true, "2014-03-20T12:27:26Z", 0.20004, 3098},
    {"hpge_16k_portal_multi_2006.n42", 16384, 1577, 0.18, true, "2010-01-24T00:08:44.078Z", 0.14015, 3070.1},
    {"hpge_1k_mixed_gamma_report.txt", 1024, 256038, 199.800003, true, "2014-08-01T11:43:41Z", 1.5996, 1412.9},
    {"hpge_8k_co60.csv", 8192, 193202, 0, true, "", 0.083339, 1665.2},
    {"hpge_8k_cs137.csv", 8192, 305513, 0, true, "", -0.073748, 1881},
    {"hpge_8k_i131.csv", 8192, 671878, 0, true, "", 0.083339, 1665.2},
    {"hpge_8k_ra226.csv", 8192, 819554, 0, true, "", 0.083339, 1665.2},
    {"hpge_8k_lu177.csv", 8192, 76585, 0, true, "", 0.083339, 1665.2},
};

class MeasuredSpectrum : public SpectrumTest, public ::testing::WithParamInterface<Sample> {};

TEST_P(MeasuredSpectrum, IsImportedAsItIsKnownAndSurvivesEveryFormat) {
  const Sample& sample = GetParam();
  const std::string source = measured(sample.name);
  if (source.empty()) GTEST_SKIP() << "no measured spectra (ORB_TEST_DATA)";
  EXPECT_THAT(import(source, "a.dat"), HasSubstr(sample.is_germanium ? "germanium (hpge)" : "scintillator (nai)"));
  const auto info = json({"info", "a.dat"});
  EXPECT_EQ(info["channels"], sample.channels);
  EXPECT_EQ(info["total_counts"], sample.counts);
  EXPECT_EQ(info["live_time_s"].is_null() ? 0.0 : info["live_time_s"].get<double>(), sample.live_s);
  EXPECT_EQ(info["start_time"].is_null() ? "" : info["start_time"].get<std::string>(), sample.start);
  const bool is_calibrated = sample.last_keV != 0;
  ASSERT_EQ(info["energy_calibration"].is_object(), is_calibrated);
  const auto energy = [&](double channel) {  // counted from 1
    double sum = 0, power = 1;
    for (const double c : info["energy_calibration"]["coefficients"]) sum += c * power, power *= channel;
    return sum;
  };
  if (is_calibrated) {
    EXPECT_NEAR(energy(1), sample.first_keV, 1e-4 * sample.last_keV);
    EXPECT_NEAR(energy(sample.channels), sample.last_keV, 1e-4 * sample.last_keV);
  }
  EXPECT_EQ(json({"info", source})["total_counts"], sample.counts);

  for (const char* ending : {"spe", "n42", "csv"}) {
    const std::string out = std::string("out.") + ending;
    ASSERT_EQ(orb({"export", "a.dat", out}).status, 0);
    import(out, "b.dat", {"--force"});
    const auto again = json({"info", "b.dat"});
    for (const char* member : {"title", "live_time_s", "real_time_s", "start_time", "total_counts", "channels"}) {
      EXPECT_EQ(again[member], info[member]) << ending << " " << member;
    }
    if (is_calibrated) {
      EXPECT_EQ(again["energy_calibration"]["coefficients"], info["energy_calibration"]["coefficients"]) << ending;
    }
    EXPECT_THAT(orb({"diff", "a.dat", "b.dat"}).out, Not(HasSubstr("spectrum, group"))) << ending;
  }
  ASSERT_EQ(orb({"export", "a.dat", "out.json"}).status, 0);
  const auto document = nlohmann::json::parse(readFile("out.json"));
  const auto counts = document["counts"].get<std::vector<double>>();
  EXPECT_EQ(counts.size(), sample.channels);
  EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), 0.0), sample.counts);
  EXPECT_EQ(document.value("live_time_s", 0.0), sample.live_s);
}

INSTANTIATE_TEST_SUITE_P(Samples, MeasuredSpectrum, ::testing::ValuesIn(kSamples), [](const auto& c) {
  std::string name = c.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

TEST_F(SpectrumTest, ZeroAndContradictingCalibrationsOfMeasuredSpectraAreTold) {
  const std::pair<const char*, const char*> expected[] = {
      {"nai_1k_zero_calibration.spe", "all-zero calibration ignored"},
      {"hpge_8k_coal_recal.Spe", "calibrations contradict each other: $MCA_CAL and $ENER_FIT"},
      {"scint_1k_handheld_5s_nodate.spe", "start time taken from $SPEC_REM"},
      {"hpge_16k_naa_pottery.spe", "sections not carried: $ROI, $PRESETS"}};
  for (const auto& [file, warning] : expected) {
    if (measured(file).empty()) GTEST_SKIP() << "no measured spectra (ORB_TEST_DATA)";
    EXPECT_THAT(import(measured(file), "a.dat", {"--force"}), HasSubstr(warning)) << file;
  }
}

}  // namespace
}  // namespace orbtest
