// Whole measurements as a program sees them: through the public header and the shared library alone.
#include "measurement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "scratch_folder.h"

using namespace com::norvale::measurement;
namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;

namespace {

/// A germanium spectrum of half a keV a channel with lines of Cs-137 and Co-60.
std::string spectrumText() {
  std::ostringstream text;
  text << "$SPEC_ID:\nfield\n$MEAS_TIM:\n1000 1010\n$DATE_MEA:\n03/01/2024 12:00:00\n$DATA:\n0 4095\n";
  for (int channel = 0; channel < 4096; ++channel) {
    double counts = 40;
    for (const auto& [energy, area] : {std::pair{661.66, 20000.0}, {1173.23, 9000.0}, {1332.49, 8000.0}}) {
      const double sigma = (0.7 + 0.03 * std::sqrt(energy)) / 2.3548;
      counts +=
          area * 0.5 / (sigma * std::sqrt(6.2832)) * std::exp(-0.5 * std::pow((0.5 * channel - energy) / sigma, 2));
    }
    text << std::lround(counts + 3 * std::sin(1.7 * channel)) << "\n";
  }
  text << "$ENER_FIT:\n0.0 0.5\n$ENDRECORD:\n";
  return text.str();
}

std::vector<std::string> namesOf(const std::vector<Nuclide>& nuclides) {
  std::vector<std::string> names;
  for (const Nuclide& nuclide : nuclides) names.push_back(nuclide.name);
  return names;
}

class WholeMeasurement : public testing::Test {
 protected:
  orbtest::ScratchFolder folder_;
};

TEST_F(WholeMeasurement, ATextBecomesNuclidesAndADataFile) {
  const std::string path = folder_ / "field.spe";
  std::ofstream(path) << spectrumText();
  auto m = Measurement::open(path);
  EXPECT_EQ(m.counts().size(), 4096u);
  EXPECT_EQ(m.acquisition().live_s, 1000);
  EXPECT_TRUE(m.peaks().empty());
  m.analyse();
  EXPECT_THAT(namesOf(m.nuclides()), Contains("Cs-137"));
  EXPECT_THAT(namesOf(m.nuclides()), Contains("Co-60"));
  EXPECT_FALSE(m.limits().empty());

  const std::string saved = folder_ / "field.dat";
  m.save(saved);
  EXPECT_THROW(m.save(saved), Failure);
  m.save(saved, true);
  const auto again = Measurement::open(saved);
  ASSERT_EQ(again.peaks().size(), m.peaks().size());
  for (std::size_t i = 0; i < again.peaks().size(); ++i) EXPECT_EQ(again.peaks()[i].area, m.peaks()[i].area);
  EXPECT_EQ(namesOf(again.nuclides()), namesOf(m.nuclides()));
  EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(saved).parent_path()), {}), 2);
}

TEST_F(WholeMeasurement, MemoryAndStreamsGiveWhatTheFileGives) {
  const std::string text = spectrumText();
  std::istringstream stream(text);
  auto from_memory = Measurement::read(text, "sent");
  const auto from_stream = Measurement::read(stream, "sent");
  EXPECT_EQ(from_memory.counts(), from_stream.counts());
  EXPECT_EQ(from_memory.name(), "sent");
  const auto back = Measurement::read(from_memory.text(ExportFormat::kN42), "back");
  EXPECT_EQ(back.counts(), from_memory.counts());
  EXPECT_NEAR(back.energyCalibration()->energy_keV(1324), 661.5, 1e-9);
}

// Neither the data file that was opened nor what was known before is lost by an analysis that fails.
TEST_F(WholeMeasurement, AnAnalysisThatFailsLeavesTheMeasurementAsItWas) {
  const std::string saved = folder_ / "field.dat";
  auto first = Measurement::read(spectrumText(), "field");
  first.analyse();
  first.save(saved);
  auto m = Measurement::open(saved);
  const std::size_t n_peaks = m.peaks().size();
  ASSERT_GT(n_peaks, 2u);
  AnalysisOptions options;
  options.library = folder_ / "none.nlb";
  EXPECT_THROW(m.analyse(options), Failure);
  EXPECT_EQ(m.peaks().size(), n_peaks);
  EXPECT_EQ(Measurement::open(saved).peaks().size(), n_peaks);
}

TEST_F(WholeMeasurement, FailuresNameWhatAndWhere) {
  try {
    Measurement::open(folder_ / "none.spe");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.where(), folder_ / "none.spe");
    EXPECT_EQ(failure.code(), 0xE0610032u);
    EXPECT_THAT(failure.meaning(), HasSubstr("exist"));
    EXPECT_THAT(failure.what(), HasSubstr(failure.tried()));
  }
  try {
    Measurement::read("$DATA:\n0 3\n1\nx\n", "sent");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("sent: line 4"));
  }
}

}  // namespace
