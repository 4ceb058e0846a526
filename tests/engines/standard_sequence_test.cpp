// All engines in a row, on files of two threads at once.
#include <cmath>
#include <random>
#include <thread>

#include "engine_file.h"

namespace orbtest {
namespace {

constexpr int kChannels = 4096;
constexpr int kRuns = 4;

class StandardSequenceTest : public EngineFileTest {
 protected:
  void SetUp() override {
    EngineFileTest::SetUp();
    makeLibrary({{"Cs-137", 661.66, 85.1, true},
                 {"Co-60", 1173.23, 99.85, true},
                 {"Co-60", 1332.49, 99.98, true},
                 {"Mn-54", 834.85, 99.98, true}});
  }

  /// A caesium and two cobalt lines on a flat continuum, 0.5 keV a channel, with the steps of a sequence.
  /// For one thread only: the standard library's Poisson numbers leave a sign in a variable of the whole process.
  void prepare(FileAccess& file, const std::string& name) const {
    ASSERT_EQ(file.create(folder_ / name, kChannels, false), 0u);
    std::mt19937_64 random(3);
    std::vector<int> counts(kChannels);
    for (int channel = 1; channel <= kChannels; ++channel) {
      double expected = 20;
      for (const double energy : {661.66, 1173.23, 1332.49}) {
        const double sigma = (1 + 0.03 * std::sqrt(energy)) / 0.5 / 2.3548;
        const double z = (channel - energy / 0.5) / sigma;
        expected += 4000 / (sigma * std::sqrt(2 * M_PI)) * std::exp(-z * z / 2);
      }
      counts[static_cast<std::size_t>(channel - 1)] = std::poisson_distribution<int>(expected)(random);
    }
    file.setSpectrum(counts, 1, 1);
    file.setParameter(0x20000005, Variant(1000.0), 0, 0);
    file.setParameter(0x2010004A, Variant("test.lib"), 0, 0);
    file.setParameter(0x20100072, Variant("test.lib"), 0, 0);
    std::uint16_t step = 0;
    for (const char* const engine : {"energy and shape check", "calibration adjustment", "peak location", "peak area",
                                     "efficiency correction", "nuclide identification", "detection limits"})
      file.setParameter(0x2010006D, Variant(engine), ++step, 0);
  }

  /// Nuclides and the exact area of the first line.
  static std::string resultsOf(const FileAccess& file) {
    std::string words;
    std::uint16_t count = 0;
    file.countItems(0x20080001, count, 0);
    Variant value;
    for (std::uint16_t record = 1; record <= count; ++record) {
      file.getParameter(0x20080001, value, record, 0);
      words += value.toString() + " ";
    }
    file.getParameter(0x2006000C, value, 1, 0);
    words += value.toString();
    file.getParameter(0x20090001, value, 1, 0);
    return words + " not " + value.toString();
  }

  static std::string analyse(FileAccess& file) {
    std::string results;
    for (int run = 0; run < kRuns; ++run) {
      const std::uint32_t status = file.executeSequence(file, ENGINES_FOLDER "/engines.aef", ENGINES_FOLDER "/", false);
      if (status != 0) return "failed with " + std::to_string(status);
      results = resultsOf(file);
    }
    return results;
  }
};

TEST_F(StandardSequenceTest, TwoThreadsOnTwoFilesGetWhatOneGets) {
  FileAccess single, first, second;
  prepare(single, "alone.dat");
  prepare(first, "first.dat");
  prepare(second, "second.dat");
  const std::string alone = analyse(single);
  EXPECT_EQ(alone.substr(0, 5), "Co-60") << alone;
  EXPECT_NE(alone.find("Cs-137"), std::string::npos) << alone;
  EXPECT_NE(alone.find("not Mn-54"), std::string::npos) << alone;
  std::string results[2];
  std::thread other([&] { results[0] = analyse(first); });
  results[1] = analyse(second);
  other.join();
  EXPECT_EQ(results[0], alone);
  EXPECT_EQ(results[1], alone);
}

}  // namespace
}  // namespace orbtest
