// Spectra: shapes, limits, conversion between integers and reals.
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "typed_values.h"

using namespace porbtest;
using testing::ElementsAre;

namespace {

TEST_F(ValuesTest, SpectralBlockHasTheShapeThatWasAskedForOrIsRefused) {
  struct Case {
    ULONG groups, channels, rows;
    ULONG status;
  };
  constexpr Case kCases[] = {{0, 0, 0, AIO_OK},
                             {1, 1, 1, AIO_OK},
                             {65535, 16384, 65535, AIO_OK},
                             {1, 16777216, 1, AIO_OK},
                             {1, 16777217, 1, AIO_BADCHANNELS},
                             {1, 0xFFFFFFFF, 1, AIO_BADCHANNELS},
                             {65536, 16, 1, AIO_BADSPECTRUM},
                             {1, 16, 65536, AIO_BADSPECTRUM},
                             {0xFFFFFFFF, 16, 1, AIO_BADSPECTRUM}};
  for (const Case& c : kCases) {
    EXPECT_STATUS(c.status, AioCreatePHA(file_, c.groups, c.channels, c.rows)) << c.groups << " " << c.channels;
    AioBlockInfo_T info{};
    ULONG n = 0;
    ASSERT_STATUS(AIO_OK, AioListBlocks(file_, &info, 1, &n));
    ASSERT_EQ(n, c.status == AIO_OK ? 1u : 0u);
    if (n == 0) continue;
    EXPECT_EQ(info.ulGroups, std::max(c.groups, 1u));
    EXPECT_EQ(info.ulRows, std::max(c.rows, 1u));
    EXPECT_EQ(info.ulChannels, c.channels);
    ASSERT_STATUS(AIO_OK, AioDeleteBlock(file_, 0x2005));
  }
}

TEST_F(ValuesTest, LargestSpectrumGoesToDiskAndBack) {
  std::vector<LONG> given(AIO_MAX_CHANNELS);
  std::iota(given.begin(), given.end(), -8000000);
  ASSERT_STATUS(AIO_OK, AioCreatePHA(file_, 1, AIO_MAX_CHANNELS, 1));
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, given.data(), AIO_FORMAT_LONG, AIO_MAX_CHANNELS, 1, 1, 1));
  ASSERT_STATUS(AIO_OK, file_.close(AIO_CLOSE_FLUSH));
  file_ = File::open(path());
  std::vector<LONG> found(AIO_MAX_CHANNELS);
  ASSERT_STATUS(AIO_OK, AioReadSpectrum2(file_, found.data(), AIO_FORMAT_LONG, AIO_MAX_CHANNELS, 1, 1, 1));
  EXPECT_TRUE(found == given);
}

TEST_F(ValuesTest, SpectrumOutsideTheBlockIsRefusedAndLeavesFileAndBufferUntouched) {
  EXPECT_STATUS(AIO_NOBLOCK, AioReadSpectrum2(file_, nullptr, 0, 0, 1, 1, 1));
  ASSERT_STATUS(AIO_OK, AioCreatePHA(file_, 2, 4, 3));
  const LONG given[5] = {1, 2, 3, 4, 5};
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, given, AIO_FORMAT_LONG, 4, 1, 1, 1));
  struct Case {
    LONG format;
    ULONG channels, first, row, group;
    ULONG status;
  };
  constexpr Case kCases[] = {{0, 4, 1, 1, 1, AIO_OK},
                             {1, 4, 0, 3, 2, AIO_OK},
                             {0, 1, 4, 0, 0, AIO_OK},
                             {0, 0, 5, 1, 1, AIO_OK},
                             {0, 5, 1, 1, 1, AIO_BADCHANNELS},
                             {0, 4, 2, 1, 1, AIO_BADCHANNELS},
                             {0, 1, 5, 1, 1, AIO_BADCHANNELS},
                             {0, 0, 6, 1, 1, AIO_BADCHANNELS},
                             {0, 2, 0xFFFFFFFF, 1, 1, AIO_BADCHANNELS},
                             {0, 0xFFFFFFFF, 2, 1, 1, AIO_BADCHANNELS},
                             {0, 4, 1, 4, 1, AIO_BADSPECTRUM},
                             {0, 4, 1, 1, 3, AIO_BADSPECTRUM},
                             {2, 4, 1, 1, 1, AIO_BADFORMAT},
                             {-1, 4, 1, 1, 1, AIO_BADFORMAT}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.format << " " << c.channels << " from " << c.first << " at " << c.row << ","
                                    << c.group);
    LONG buffer[5] = {77, 77, 77, 77, 77};
    EXPECT_STATUS(c.status, AioReadSpectrum2(file_, buffer, c.format, c.channels, c.first, c.row, c.group));
    if (c.status == AIO_OK) continue;
    EXPECT_THAT(buffer, testing::Each(77));
    EXPECT_STATUS(c.status, AioWriteSpectrum2(file_, buffer, c.format, c.channels, c.first, c.row, c.group));
  }
  EXPECT_STATUS(AIO_BADARG, AioReadSpectrum2(file_, nullptr, 0, 4, 1, 1, 1));
  EXPECT_STATUS(AIO_BADARG, AioWriteSpectrum2(file_, nullptr, 0, 4, 1, 1, 1));
  LONG found[4] = {};
  ASSERT_STATUS(AIO_OK, AioReadSpectrum2(file_, found, AIO_FORMAT_LONG, 4, 1, 1, 1));
  EXPECT_THAT(found, ElementsAre(1, 2, 3, 4));
  ULONG n = 0;
  EXPECT_STATUS(AIO_OK, AioListSpectra(file_, nullptr, 0, &n));
  EXPECT_EQ(n, 1u) << "reading and refused writing make no spectra";
}

TEST_F(ValuesTest, SpectraConvertToTheNearestSaturatingWithNotANumberAsZero) {
  struct ToLong {
    float given;
    LONG wanted;
  };
  constexpr float kInf = std::numeric_limits<float>::infinity();
  const ToLong to_long[] = {{0.0F, 0},
                            {-0.0F, 0},
                            {0.49F, 0},
                            {0.51F, 1},
                            {-0.51F, -1},
                            {2.75F, 3},
                            {-2.75F, -3},
                            {8388607.0F, 8388607},
                            {16777216.0F, 16777216},
                            {2147483520.0F, 2147483520},
                            {2147483648.0F, 2147483647},
                            {-2147483648.0F, std::numeric_limits<LONG>::min()},
                            {-2147483904.0F, std::numeric_limits<LONG>::min()},
                            {3e38F, 2147483647},
                            {kInf, 2147483647},
                            {-kInf, std::numeric_limits<LONG>::min()},
                            {1e-42F, 0},
                            {std::nanf(""), 0},
                            {-std::nanf("0x123"), 0}};
  struct ToFloat {
    LONG given;
    float wanted;
  };
  constexpr ToFloat kToFloat[] = {{0, 0.0F},
                                  {-1, -1.0F},
                                  {16777216, 16777216.0F},
                                  {16777217, 16777216.0F},
                                  {16777219, 16777220.0F},
                                  {2147483647, 2147483648.0F},
                                  {std::numeric_limits<LONG>::min(), -2147483648.0F}};
  constexpr ULONG kN = std::size(to_long), kM = std::size(kToFloat);
  ASSERT_STATUS(AIO_OK, AioCreatePHA(file_, 4, kN, 1));
  std::vector<float> reals;
  for (const ToLong& c : to_long) reals.push_back(c.given);
  std::vector<LONG> numbers(kN, 0);
  // Group 1 holds floats and is read as integers; into group 2, which holds integers, floats are written in part.
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, reals.data(), AIO_FORMAT_FLOAT, kN, 1, 1, 1));
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, numbers.data(), AIO_FORMAT_LONG, kN, 1, 1, 2));
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, reals.data(), AIO_FORMAT_FLOAT, kN - 1, 1, 1, 2));
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, &reals[kN - 1], AIO_FORMAT_FLOAT, 1, kN, 1, 2));
  for (const ULONG group : {1u, 2u}) {
    ASSERT_STATUS(AIO_OK, AioReadSpectrum2(file_, numbers.data(), AIO_FORMAT_LONG, kN, 1, 1, group));
    for (ULONG i = 0; i < kN; ++i) EXPECT_EQ(numbers[i], to_long[i].wanted) << to_long[i].given << ", group " << group;
  }
  std::vector<float> back(kN);
  ASSERT_STATUS(AIO_OK, AioReadSpectrum2(file_, back.data(), AIO_FORMAT_FLOAT, kN, 1, 1, 1));
  EXPECT_EQ(std::memcmp(back.data(), reals.data(), kN * 4), 0) << "the bits of floats are kept";

  std::vector<LONG> given(kN, 0);
  for (ULONG i = 0; i < kM; ++i) given[i] = kToFloat[i].given;
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, given.data(), AIO_FORMAT_LONG, kN, 1, 1, 3));
  ASSERT_STATUS(AIO_OK, AioReadSpectrum2(file_, back.data(), AIO_FORMAT_FLOAT, kM, 1, 1, 3));
  for (ULONG i = 0; i < kM; ++i) EXPECT_EQ(back[i], kToFloat[i].wanted) << kToFloat[i].given;

  // A write of all channels decides the form, one of a part does not.
  AioSpectrumInfo_T listed[4];
  ULONG n = 0;
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, reals.data(), AIO_FORMAT_FLOAT, kN, 0, 0, 3));
  ASSERT_STATUS(AIO_OK, AioListSpectra(file_, listed, 4, &n));
  ASSERT_EQ(n, 3u);
  EXPECT_EQ(listed[0].lFormat, AIO_FORMAT_FLOAT);
  EXPECT_EQ(listed[1].lFormat, AIO_FORMAT_LONG);
  EXPECT_EQ(listed[2].lFormat, AIO_FORMAT_FLOAT);
}

}  // namespace
