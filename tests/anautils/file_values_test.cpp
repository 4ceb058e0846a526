// Typed values of an open file: every type converts, missing ones have a fallback, writes belong together.
#include "file_values.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "analysis_file.h"

using namespace anautils;

namespace {

class FileValues : public AnalysisFile {};

}  // namespace

TEST_F(FileValues, NumbersOfEveryTypeAndTextsComeBack) {
  PendingWrites writes;
  writes.set(0x20000021, 0.25);                       // double
  writes.set(0x20020011, 0.5);                        // float
  writes.set(0x20000007, 8192);                       // int32
  writes.set(0x2000000A, 9007199254740992.0);         // int64
  writes.set(0x200D000A, 2.6, 1);                     // int32 of a record: to the nearest
  writes.set(0x20020028, std::string("DUAL"), 1, 1);  // a header value wherever it is put
  writes.commit(file_);
  EXPECT_EQ(readDouble(file_, 0x20000021, -1), 0.25);
  EXPECT_EQ(readDouble(file_, 0x20020011, -1), 0.5);
  EXPECT_EQ(readInt(file_, 0x20000007, -1), 8192);
  EXPECT_EQ(readDouble(file_, 0x2000000A, -1), 9007199254740992.0);
  EXPECT_EQ(readInt(file_, 0x2000000A, -1), std::numeric_limits<int>::max());
  EXPECT_EQ(readInt(file_, 0x200D000A, -1, 1), 3);
  EXPECT_EQ(readText(file_, 0x20020028, "none"), "DUAL");
  EXPECT_EQ(countRecords(file_, 0x200D), 1);

  EXPECT_EQ(readDouble(file_, 0x20000022, -1), -1);
  EXPECT_EQ(readInt(file_, 0x200D000A, -1, 2), -1);
  EXPECT_EQ(readText(file_, 0x20000061, "POLY"), "POLY");
  EXPECT_EQ(findNumber(file_, 0x20020028), std::nullopt);  // a text
  EXPECT_EQ(countRecords(file_, 0x2013), 0);
  EXPECT_EQ(countChannels(file_), 0u);
  EXPECT_ANA(AIO_UNKNOWNPARAM, failureOf([&] { readDouble(file_, 0x2000FFFF, 0); }));
}

TEST_F(FileValues, WritesBelongTogether) {
  put(0x20000021, 0.25);
  PendingWrites writes;
  writes.set(0x20000021, 0.5);
  writes.set(0x20000061, std::string(100, 'x'));  // eight are allowed
  EXPECT_ANA(AIO_TOOLONG, failureOf([&] { writes.commit(file_); }));
  EXPECT_EQ(number(0x20000021), 0.25);
  PendingWrites huge;
  huge.set(0x20000061, std::string(65537, 'x'));
  EXPECT_ANA(AIO_TOOLONG, failureOf([&] { huge.commit(file_); }));
}

TEST_F(FileValues, SpectraAreReadExactlyOrRefused) {
  EXPECT_ANA(ANA_NOSPECTRUM, failureOf([&] { readSpectrum(file_); }));
  ASSERT_STATUS(AIO_OK, AioCreatePHA(file_, 2, 3, 1));
  EXPECT_EQ(readSpectrum(file_), (std::vector<double>{0, 0, 0}));
  const LONG counts[] = {0, 16777217, 2147483647};  // more than a float can hold
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, counts, AIO_FORMAT_LONG, 3, 1, 1, 1));
  EXPECT_EQ(readSpectrum(file_), (std::vector<double>{0, 16777217, 2147483647}));
  const REAL halves[] = {0.5f, 1.5f, 1e9f};
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, halves, AIO_FORMAT_FLOAT, 3, 1, 1, 2));
  EXPECT_EQ(readSpectrum(file_, 2), (std::vector<double>{0.5, 1.5, 1e9}));
  for (const REAL bad : {-1.0f, std::numeric_limits<REAL>::quiet_NaN(), std::numeric_limits<REAL>::infinity()}) {
    const REAL spectrum[] = {1, bad, 1};
    ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, spectrum, AIO_FORMAT_FLOAT, 3, 1, 1, 1));
    EXPECT_ANA(ANA_BADCOUNTS, failureOf([&] { readSpectrum(file_); })) << bad;
  }
}
