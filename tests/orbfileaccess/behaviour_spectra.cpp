#include <limits>
#include <numeric>

#include "BehaviourTest.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

using SpectraTest = BehaviourTest;

TEST_F(SpectraTest, EachVectorTypeComesBackAfterReopening) {
  FileAccess file;
  create(file, "a.dat");
  std::vector<int> counts(4096);
  std::iota(counts.begin(), counts.end(), -2000);
  counts.back() = std::numeric_limits<int>::min();
  ASSERT_EQ(file.setSpectrum(counts, 1, 1), 0u);
  reopen(file);
  std::vector<int> read;
  ASSERT_EQ(file.getSpectrum(read, 1, 1), 0u);
  EXPECT_EQ(read, counts);

  ASSERT_EQ(file.close(NOFLUSH), 0u);
  ASSERT_EQ(file.open(path("a.dat"), READWRITE), 0u);
  std::vector<unsigned int> large(4096, 0xFFFFFFFF);
  large[1] = 0x80000000;
  ASSERT_EQ(file.setSpectrum(large, 1, 1), 0u);
  reopen(file);
  std::vector<unsigned int> read_large;
  ASSERT_EQ(file.getSpectrum(read_large, 1, 1), 0u);
  EXPECT_EQ(read_large, large);

  ASSERT_EQ(file.close(NOFLUSH), 0u);
  ASSERT_EQ(file.open(path("a.dat"), READWRITE), 0u);
  std::vector<float> rates(4096, 0.1f);
  rates[0] = std::numeric_limits<float>::max();
  ASSERT_EQ(file.setSpectrum(rates, 1, 1), 0u);
  reopen(file);
  std::vector<float> read_rates;
  ASSERT_EQ(file.getSpectrum(read_rates, 1, 1), 0u);
  EXPECT_EQ(read_rates, rates);
}

TEST_F(SpectraTest, FormatsConvertToTheNearest) {
  FileAccess file;
  create(file, "a.dat");
  std::vector<float> rates(4096, 2.6f);
  rates[1] = -2.6f;
  rates[2] = std::numeric_limits<float>::quiet_NaN();
  rates[3] = 1e20f;
  ASSERT_EQ(file.setSpectrum(rates, 1, 1), 0u);
  std::vector<int> counts;
  ASSERT_EQ(file.getSpectrum(counts, 1, 1), 0u);
  EXPECT_EQ(std::vector<int>(counts.begin(), counts.begin() + 5),
            (std::vector<int>{3, -3, 0, std::numeric_limits<int>::max(), 3}));
}

TEST_F(SpectraTest, SpectrumOfAnotherSizeRebuildsTheBlock) {
  FileAccess file;
  create(file, "a.dat");
  for (const std::size_t n : {8192u, 16u, 1u, 0u, 16384u}) {
    std::vector<int> counts(n);
    std::iota(counts.begin(), counts.end(), 5);
    ASSERT_EQ(file.setSpectrum(counts, 1, 1), 0u) << n;
    EXPECT_EQ(get(file, kChannels).toUInt32(), n);
    std::vector<int> read(3, 9);
    ASSERT_EQ(file.getSpectrum(read, 1, 1), 0u) << n;
    EXPECT_EQ(read, counts);
  }
  EXPECT_TRUE(log.empty()) << log[0];
}

TEST_F(SpectraTest, GroupsAndRowsAreApart) {
  FileAccess file;
  create(file, "a.dat");
  ASSERT_EQ(file.deleteBlock(0x2005), 0u);
  ASSERT_EQ(file.createBlock(0x2005, 16, 2, 3), 0u);
  for (std::uint32_t group = 1; group <= 2; ++group) {
    for (std::uint32_t row = 1; row <= 3; ++row) {
      ASSERT_EQ(file.setSpectrum(std::vector<int>(16, static_cast<int>(10 * group + row)), group, row), 0u);
    }
  }
  std::vector<int> counts;
  ASSERT_EQ(file.getSpectrum(counts, 2, 3), 0u);
  EXPECT_EQ(counts, std::vector<int>(16, 23));
  ASSERT_EQ(file.getSpectrum(counts, 1, 2), 0u);
  EXPECT_EQ(counts, std::vector<int>(16, 12));
  EXPECT_EQ(file.getSpectrum(counts, 3, 1), convertReturnCode(AIO_BADSPECTRUM));
}

TEST_F(SpectraTest, WrongChannelCountIsAFailureNotAFault) {
  FileAccess file;
  create(file, "a.dat");
  const std::vector<int> before{1, 2};
  std::vector<int> counts = before;
  ASSERT_EQ(file.setParameter(kChannels, Variant(4097), 0, 0), 0u);
  EXPECT_EQ(file.getSpectrum(counts, 1, 1), convertReturnCode(AIO_BADCHANNELS));
  for (const int n : {-1, std::numeric_limits<int>::max(), 0x40000000}) {
    ASSERT_EQ(file.setParameter(kChannels, Variant(n), 0, 0), 0u);
    EXPECT_EQ(file.getSpectrum(counts, 1, 1), kOutOfMemory) << n;
  }
  EXPECT_EQ(counts, before);
}

}  // namespace
}  // namespace orbtest
