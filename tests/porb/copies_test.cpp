// Copies of blocks, records and files keep everything, also what the dictionary does not know.
#include "typed_values.h"

using namespace porbtest;

namespace {

TEST_F(ServiceTest, ValueThatTheDictionaryDoesNotKnowSurvivesCopies) {
  const std::vector<ParameterLine> all = {{0x20060001, AIO_IN_RECORD, AIO_T_INT32},
                                          {0x20060002, AIO_IN_ENTRY, AIO_T_TEXT, 40},
                                          {0x20080001, AIO_IN_HEADER, AIO_T_DOUBLE}};
  const std::string text = "longer than what fits into a cell";
  useDictionary(all);
  File file = File::create(path("a.orb"));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060001, 1, 0, LONG{42}));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060002, 1, 1, text));
  ASSERT_STATUS(AIO_OK, put(file, 0x20080001, 0, 0, 1.5));
  ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));

  useDictionary({{0x20060001, AIO_IN_RECORD, AIO_T_INT32}});
  file = File::open(path("a.orb"));
  File copy = File::create(path("b.orb"));
  ASSERT_STATUS(AIO_OK, AioDupFile(file, copy));
  ASSERT_STATUS(AIO_OK, AioMoveRecord(0x2006, file, 1, copy, 2));
  AioKeptBlock_T* kept = nullptr;
  ASSERT_STATUS(AIO_OK, AioKeepBlock(copy, 0x2006, &kept));
  ASSERT_STATUS(AIO_OK, AioDeleteBlock(copy, 0x2006));
  EXPECT_STATUS(AIO_OK, AioRestoreBlock(copy, kept));
  AioFreeKeptBlock(kept);
  AioValueInfo_T listed[4];
  ULONG n = 0;
  ASSERT_STATUS(AIO_OK, AioListValues(copy, 0x2006, 2, listed, 4, &n));
  ASSERT_EQ(n, 2u);
  EXPECT_EQ(listed[1].ulCode, 0x20060002u);
  EXPECT_EQ(listed[1].usEntry, 1);
  EXPECT_EQ(listed[1].usSize, text.size());
  EXPECT_EQ(listed[1].lType, AIO_T_TEXT);
  ASSERT_STATUS(AIO_OK, copy.close(AIO_CLOSE_FLUSH));

  useDictionary(all);
  copy = File::open(path("b.orb"));
  EXPECT_EQ(got<std::string>(copy, 0x20060002, 1, 1), text);
  EXPECT_EQ(got<std::string>(copy, 0x20060002, 2, 1), text);
  EXPECT_EQ(got<double>(copy, 0x20080001), 1.5);
  EXPECT_STATUS(AIO_OK, AioCheck(copy, nullptr, nullptr));
}

TEST_F(ServiceTest, KeptBlockComesBackAsItWas) {
  useDictionary({{0x20060001, AIO_IN_RECORD, AIO_T_INT32}, {0x20080001, AIO_IN_HEADER, AIO_T_DOUBLE}});
  File file = File::create(path("a.orb"));
  ASSERT_STATUS(AIO_OK, AioCreateBlock(file, 0x2006, 7));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060001, 1, 0, LONG{42}));
  ASSERT_STATUS(AIO_OK, AioInsertRecord(file, 0x2006, 1));  // stays empty
  ASSERT_STATUS(AIO_OK, AioCreatePHA(file, 1, 4, 1));
  const LONG counts[4] = {1, 2, 3, 4};
  ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file, counts, AIO_FORMAT_LONG, 4, 1, 1, 1));
  constexpr USHORT kClasses[] = {0x2006, ORB_CLS_SPECTRUM, 0x2008};  // the last one is not there
  AioKeptBlock_T* kept[3] = {};
  for (int i = 0; i < 3; ++i) ASSERT_STATUS(AIO_OK, AioKeepBlock(file, kClasses[i], &kept[i]));

  ASSERT_STATUS(AIO_OK, put(file, 0x20060001, 3, 0, LONG{43}));
  ASSERT_STATUS(AIO_OK, AioDeleteBlock(file, ORB_CLS_SPECTRUM));
  ASSERT_STATUS(AIO_OK, AioCreateBlock(file, 0x2008, 0));
  ASSERT_STATUS(AIO_OK, AioFlush(file));
  for (AioKeptBlock_T* block : kept) EXPECT_STATUS(AIO_OK, AioRestoreBlock(file, block));
  ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));

  file = File::open(path("a.orb"));
  AioBlockInfo_T blocks[4];
  ULONG n = 0;
  ASSERT_STATUS(AIO_OK, AioListBlocks(file, blocks, 4, &n));
  ASSERT_EQ(n, 2u);
  EXPECT_EQ(blocks[1].usRecords, 2);
  EXPECT_EQ(blocks[1].ulSize, 7u);
  EXPECT_EQ(got<LONG>(file, 0x20060001, 1), 42);
  LONG read[4] = {};
  ASSERT_STATUS(AIO_OK, AioReadSpectrum2(file, read, AIO_FORMAT_LONG, 4, 1, 1, 1));
  EXPECT_EQ(read[3], 4);
  EXPECT_STATUS(AIO_BADARG, AioRestoreBlock(file, nullptr));
  EXPECT_STATUS(AIO_BADARG, AioKeepBlock(file, 0x2006, nullptr));
  ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));
  file = File::open(path("a.orb"), AIO_READ_ONLY);
  EXPECT_STATUS(AIO_READONLY, AioRestoreBlock(file, kept[0]));
  for (AioKeptBlock_T* block : kept) AioFreeKeptBlock(block);
}

}  // namespace
