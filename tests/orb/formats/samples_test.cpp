// Real spectra: what is known about each of them, and the way through every writer and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>

#include "channel_shift.h"
#include "spectrum_data.h"

namespace orb::formats {
namespace {

constexpr double kNone = -1;

struct Sample {
  const char* file;
  std::size_t n_channels;
  double total;  ///< over all spectra
  double live_s;
  double real_s;
  const char* start;
  std::vector<double> coefficients;  ///< to five digits
  std::size_t n_spectra = 1;
};

const char* const kNoStart = "";

const Sample kSamples[] = {
    {"hpge_16k_leadcave_background.spe",
     16384,
     1052900,
     437817,
     437903,
     "2017-04-26T11:05:11Z",
     {-0.035087, 0.1828, -6.8661e-10}},
    {"hpge_16k_naa_pottery.spe", 16384, 304706, 16543, 16557, "2017-04-25T12:54:27Z", {-0.035087, 0.1828, -6.8661e-10}},
    {"hpge_8k_field_alcatraz.spe", 8192, 132978, 900, 905.41998, "2012-09-17T13:41:07Z", {0.5783, 0.37444, 2.9859e-07}},
    {"hpge_8k_field_alcatraz.n42",
     8192,
     132978,
     900,
     905.42,
     "2012-09-17T13:41:07Z",
     {0.57833, 0.37444, 2.9859e-07, 0, 0}},
    {"hpge_8k_field_alcatraz.csv", 8192, 132978, kNone, kNone, kNoStart, {0.57833, 0.37444, 2.9859e-07}},
    {"hpge_1k_mixed_gamma.spe", 1024, 256038, 199, 209, "2014-08-01T11:43:41Z", {1.5996, 1.3729, 6.5649e-06}},
    {"hpge_1k_mixed_gamma_report.txt",
     1024,
     256038,
     199.800003,
     209.100006,
     "2014-08-01T11:43:41Z",
     {1.5996, 1.3729, 6.5649e-06}},
    {"hpge_8k_eu152.Spe", 8192, 79129, 65, 70, "2020-09-16T12:00:48Z", {16.228, 0.36553, -4.8236e-08}},
    {"hpge_8k_brazil_nuts.Spe", 8192, 3031944, 161643, 161780, "2014-03-13T14:11:49Z", {0.20004, 0.37807, 1.5965e-08}},
    {"hpge_8k_coal.Spe", 8192, 2667556, 80000, 80113, "2014-05-20T13:14:13Z", {-18.882, 0.39009, -1.0466e-06}},
    {"hpge_8k_coal_recal.Spe", 8192, 2667556, 80000, 80113, "2014-05-20T13:14:13Z", {-18.882, 0.39009, -1.0466e-06}},
    {"hpge_8k_soil_cs137.Spe", 8192, 1867797, 80000, 80081, "2014-04-24T13:06:44Z", {-0.62818, 0.38005, -1.0244e-08}},
    {"hpge_8k_bananas.Spe", 8192, 281390, 94327, 94348, "2014-03-20T12:27:26Z", {0.20004, 0.37807, 1.5965e-08}},
    {"csi_4k_ba133_cs137_uncal.spe", 4094, 166239, 300, 300, "2018-07-11T00:00:00Z", {}},
    {"csi_4k_ba133_cs137_uncal.csv", 4094, 166239, kNone, kNone, kNoStart, {}},
    {"nai_1k_zero_calibration.spe", 1024, 892301, 296, 300, "2018-02-09T10:03:36Z", {}},
    {"nai_1001ch_background_uncal.spe", 1001, 398163, 3600, 3600, "2018-03-26T00:00:00Z", {}},
    {"nai_1k_field_kut_calibration.spe", 1024, 3670244, 10000, 10014, "2017-04-26T12:04:52Z", {-9.9828, 3.0946, 0}},
    {"nai_1k_loess_profile_1.spe", 1024, 764745, 3600, 3602, "2016-05-18T11:55:14Z", {-11.426, 3.1695, 0}},
    {"scint_1k_handheld_5s.spe", 1024, 973, 5, 6, "2019-10-16T15:32:30Z", {0, 3.0968}},
    {"scint_1k_handheld_5s_nodate.spe", 1024, 973, 5, 6, "2019-10-16T15:32:30Z", {0, 3.0968}},
    {"csi_1k_am241.n42", 1024, 306058, 613, 613, "2023-06-07T05:52:00Z", {-6.2832, 2.4383, 0.0003818}},
    {"hpge_16k_portal_multi_2006.n42",
     16384,
     325261,
     0.18,
     0.24,
     "2010-01-24T00:08:44.078Z",
     {0.14015, 0.18742, -2.0773e-09},
     160},
    {"hpge_8k_co60.csv", 8192, 193202, kNone, kNone, kNoStart, {0.083339, 0.20349, -2.4342e-08}},
    {"hpge_8k_cs137.csv", 8192, 305513, kNone, kNone, kNoStart, {-0.073748, 0.22965}},
    {"hpge_8k_i131.csv", 8192, 671878, kNone, kNone, kNoStart, {0.083339, 0.20349, -2.4342e-08}},
    {"hpge_8k_ra226.csv", 8192, 819554, kNone, kNone, kNoStart, {0.083339, 0.20349, -2.4342e-08}},
    {"hpge_8k_lu177.csv", 8192, 76585, kNone, kNone, kNoStart, {0.083339, 0.20349, -2.4342e-08}},
};

std::filesystem::path folder() {
  const char* const data = std::getenv("ORB_TEST_DATA");
  return data == nullptr ? std::filesystem::path() : std::filesystem::path(data) / "spectra";
}

class Samples : public testing::TestWithParam<Sample> {
 protected:
  void SetUp() override {
    if (folder().empty()) GTEST_SKIP() << "ORB_TEST_DATA is not set";
    const auto path = folder() / GetParam().file;
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << path;
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    spectra_ = readSpectra(bytes, GetParam().file);
  }

  std::vector<SpectrumData> spectra_;
};

TEST_P(Samples, HoldWhatIsKnownAboutThem) {
  const Sample& sample = GetParam();
  ASSERT_EQ(spectra_.size(), sample.n_spectra);
  const SpectrumData& first = spectra_.front();
  double total = 0;
  for (const SpectrumData& spectrum : spectra_) {
    EXPECT_EQ(spectrum.counts.size(), sample.n_channels);
    EXPECT_EQ(spectrum.first_channel, 0U);
    EXPECT_TRUE(spectrum.whole_counts);
    total = std::accumulate(spectrum.counts.begin(), spectrum.counts.end(), total);
  }
  EXPECT_EQ(total, sample.total);
  EXPECT_EQ(first.live_s.value_or(kNone), sample.live_s);
  EXPECT_EQ(first.real_s.value_or(kNone), sample.real_s);
  EXPECT_EQ(first.start ? first.start->toString() : kNoStart, sample.start);
  ASSERT_EQ(first.energy.coefficients.size(), sample.coefficients.size());
  for (std::size_t k = 0; k < sample.coefficients.size(); ++k) {
    EXPECT_NEAR(first.energy.coefficients[k], sample.coefficients[k], 5.1e-5 * std::fabs(sample.coefficients[k])) << k;
  }
}

void expectSame(const SpectrumData& again, const SpectrumData& spectrum) {
  EXPECT_EQ(again.counts, spectrum.counts);
  EXPECT_EQ(again.title, spectrum.title);
  if (!spectrum.name.empty()) {
    EXPECT_EQ(again.name, spectrum.name);
  }
  EXPECT_EQ(again.detector, spectrum.detector);
  EXPECT_EQ(again.instrument, spectrum.instrument);
  EXPECT_EQ(again.remarks, spectrum.remarks);
  EXPECT_EQ(again.start, spectrum.start);
  EXPECT_EQ(again.live_s, spectrum.live_s);
  EXPECT_EQ(again.real_s, spectrum.real_s);
  EXPECT_EQ(again.energy, spectrum.energy);
  EXPECT_EQ(again.fwhm, spectrum.fwhm);
}

TEST_P(Samples, ComeBackTheSameFromEveryFormat) {
  for (const SpectrumData& spectrum : spectra_) {
    for (const Written& written : {writeSpe(spectrum), writeCsv(spectrum), writeN42({&spectrum, 1})}) {
      SCOPED_TRACE(spectrum.name + " " + written.text.substr(0, 40));
      EXPECT_THAT(written.not_carried, testing::IsEmpty());
      const auto again = readSpectra(written.text, "again");
      ASSERT_EQ(again.size(), 1U);
      expectSame(again.front(), spectrum);
    }
  }
}

TEST_P(Samples, AreWhatTheJsonSays) {
  const SpectrumData& spectrum = spectra_.front();
  const auto json = nlohmann::json::parse(writeJson(spectrum).text);
  EXPECT_EQ(json["counts"].get<std::vector<double>>(), spectrum.counts);
  EXPECT_EQ(json["title"], spectrum.title);
  EXPECT_EQ(json.value("live_time_s", kNone), spectrum.live_s.value_or(kNone));
  EXPECT_EQ(json.value("real_time_s", kNone), spectrum.real_s.value_or(kNone));
  EXPECT_EQ(json.value("start_time", kNoStart), GetParam().start);
  if (spectrum.energy.empty()) {
    EXPECT_FALSE(json.contains("energy_calibration"));
  } else {
    EXPECT_EQ(json["energy_calibration"]["coefficients"].get<std::vector<double>>(), spectrum.energy.coefficients);
  }
}

TEST_P(Samples, KeepTheirCoefficientsOnTheWayToChannelsFromOne) {
  for (const SpectrumData& spectrum : spectra_) {
    for (const auto& given : {spectrum.energy.coefficients, spectrum.fwhm.coefficients}) {
      // Coefficients that were fitted to an axis have no printed digits to keep.
      if (std::string_view(GetParam().file).ends_with(".csv")) continue;
      EXPECT_EQ(toChannelsFromZero(toChannelsFromOne(given)), given);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Samples, testing::ValuesIn(kSamples), [](const auto& sample) {
  std::string name = sample.param.file;
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
  }
  return name;
});

TEST(SampleWarnings, NameZeroAndContradictingCalibrations) {
  if (folder().empty()) GTEST_SKIP() << "ORB_TEST_DATA is not set";
  const std::pair<const char*, const char*> expected[] = {
      {"nai_1k_zero_calibration.spe", "all-zero calibration ignored"},
      {"hpge_8k_coal_recal.Spe", "calibrations contradict each other: $MCA_CAL and $ENER_FIT"},
      {"scint_1k_handheld_5s_nodate.spe", "start time taken from $SPEC_REM"},
      {"hpge_16k_naa_pottery.spe", "sections not carried: $ROI, $PRESETS"},
  };
  for (const auto& [file, warning] : expected) {
    std::ifstream in(folder() / file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    EXPECT_THAT(readSpectra(bytes, file).front().warnings, testing::Contains(testing::HasSubstr(warning))) << file;
  }
}

}  // namespace
}  // namespace orb::formats
