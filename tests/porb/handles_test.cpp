// Whatever value is passed as a handle, every operation answers; only handles of open files reach a file.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <functional>
#include <random>

#include "service_fixture.h"

using namespace porbtest;

namespace {

constexpr ULONG kCode = 0x20060001;

/// Memory for every output of an operation, so that one comparison shows what was written.
struct Outputs {
  char text[512];
  char more[512];
  LONG numbers[8];
  ULONG count;
  AioBlockInfo_T blocks[2];
  AioValueInfo_T values[2];
  AioSpectrumInfo_T spectra[2];
  AioParamInfo_T parameter;
  USHORT size;
  USHORT number;
  USHORT flags;
  FLAG writable;
};

struct Operation {
  const char* name;
  ULONG (*call)(void* handle, void* good, Outputs& out);
  bool clears_number = false;  // sets Outputs::number to 0 on failure
  bool takes_null = false;     // a null handle means the dictionary in force
};

const OjEnergy_T kKey{661, 1};
const LONG kValue = 1;
const USHORT kSize = sizeof kValue;

const Operation kOperations[] = {
    {"AioClose2 flush", [](void* h, void*, Outputs&) { return AioClose2(h, AIO_CLOSE_FLUSH); }},
    {"AioClose2 noflush", [](void* h, void*, Outputs&) { return AioClose2(h, AIO_CLOSE_NOFLUSH); }},
    {"AioClose2 delete", [](void* h, void*, Outputs&) { return AioClose2(h, AIO_CLOSE_DELETE); }},
    {"AioClose2 with a wrong option", [](void* h, void*, Outputs&) { return AioClose2(h, 3); }},
    {"AioFlush", [](void* h, void*, Outputs&) { return AioFlush(h); }},
    {"AioMakeDraft", [](void* h, void*, Outputs&) { return AioMakeDraft(h); }},
    {"AioCreateBlock", [](void* h, void*, Outputs&) { return AioCreateBlock(h, 0x2006, 0); }},
    {"AioCreatePHA", [](void* h, void*, Outputs&) { return AioCreatePHA(h, 1, 1, 1); }},
    {"AioDeleteBlock", [](void* h, void*, Outputs&) { return AioDeleteBlock(h, 0x2006); }},
    {"AioDeleteLevel", [](void* h, void*, Outputs&) { return AioDeleteLevel(h, AIO_LEVEL_PEAKS); }},
    {"AioInsertRecord", [](void* h, void*, Outputs&) { return AioInsertRecord(h, 0x2006, 0); }},
    {"AioInsertEntry", [](void* h, void*, Outputs&) { return AioInsertEntry(h, 0x2006, 0, 0); }},
    {"AioDelete", [](void* h, void*, Outputs&) { return AioDelete(h, 0x2006, 1, 0); }},
    {"AioCount", [](void* h, void*, Outputs& o) { return AioCount(h, 0x2006, 0, 0, &o.number); }, true},
    {"AioCopy from", [](void* h, void* good, Outputs&) { return AioCopy(h, good, 0x2006); }},
    {"AioCopy to", [](void* h, void* good, Outputs&) { return AioCopy(good, h, 0x2006); }},
    {"AioCopy within", [](void* h, void*, Outputs&) { return AioCopy(h, h, 0x2006); }},
    {"AioRestoreBlock", [](void* h, void*, Outputs&) { return AioRestoreBlock(h, nullptr); }},
    {"AioDupFile from", [](void* h, void* good, Outputs&) { return AioDupFile(h, good); }},
    {"AioDupFile to", [](void* h, void* good, Outputs&) { return AioDupFile(good, h); }},
    {"AioDupFile within", [](void* h, void*, Outputs&) { return AioDupFile(h, h); }},
    {"AioMoveRecord from", [](void* h, void* good, Outputs&) { return AioMoveRecord(0x2006, h, 1, good, 1); }},
    {"AioMoveRecord to", [](void* h, void* good, Outputs&) { return AioMoveRecord(0x2006, good, 1, h, 1); }},
    {"AioMoveRecord within", [](void* h, void*, Outputs&) { return AioMoveRecord(0x2006, h, 1, h, 1); }},
    {"AioReadSpectrum2", [](void* h, void*, Outputs& o) { return AioReadSpectrum2(h, o.numbers, 0, 1, 1, 1, 1); }},
    {"AioWriteSpectrum2", [](void* h, void*, Outputs&) { return AioWriteSpectrum2(h, &kValue, 0, 1, 1, 1, 1); }},
    {"AioGetParam", [](void* h, void*, Outputs& o) { return AioGetParam(h, kCode, 1, 0, o.text, &o.size); }},
    {"AioGetNumbers",
     [](void* h, void*, Outputs& o) {
       DOUBLE value;
       return AioGetNumbers(h, kCode, 1, 0, 1, &value, &o.count);
     }},
    {"AioPutParam", [](void* h, void*, Outputs&) { return AioPutParam(h, kCode, 1, 0, &kValue, &kSize); }},
    {"AioFindRecord",
     [](void* h, void*, Outputs& o) { return AioFindRecord(h, 0x2007, AIO_FIND_ENERGY, &kKey, &o.number, 0); }, true},
    {"AioListBlocks", [](void* h, void*, Outputs& o) { return AioListBlocks(h, o.blocks, 2, &o.count); }},
    {"AioListValues", [](void* h, void*, Outputs& o) { return AioListValues(h, 0x2006, 1, o.values, 2, &o.count); }},
    {"AioListSpectra", [](void* h, void*, Outputs& o) { return AioListSpectra(h, o.spectra, 2, &o.count); }},
    {"AioCheck",
     [](void* h, void*, Outputs& o) {
       return AioCheck(
           h, [](void* to, USHORT, ULONG, const char*) { *static_cast<ULONG*>(to) = 0; }, &o.count);
     }},
    {"AioFileInfo", [](void* h, void*, Outputs& o) { return AioFileInfo(h, o.text, sizeof o.text, &o.writable); }},
    {"AioUtilGetPInfo",
     [](void* h, void*, Outputs& o) {
       LONG* n = o.numbers;
       return AioUtilGetPInfo(h, kCode, o.text, o.more, &o.flags, n, n + 1, n + 2, n + 3, n + 4, n + 5);
     },
     false, true},
    {"AioUtilParamInfo", [](void* h, void*, Outputs& o) { return AioUtilParamInfo(h, kCode, &o.parameter); }, false,
     true},
    {"AioUtilNextParam", [](void* h, void*, Outputs& o) { return AioUtilNextParam(h, 0, &o.count); }, false, true},
};

class HandlesTest : public ServiceTest {
 protected:
  void SetUp() override {
    useDictionary({{kCode, AIO_IN_RECORD, AIO_T_INT32}, {0x20070001, AIO_IN_RECORD, AIO_T_NAME, 16}});
    good_ = File::create(path("good.orb"));
    for (const LONG value : {1, 2}) ASSERT_STATUS(AIO_OK, put(good_, kCode, static_cast<USHORT>(value), 0, value));
    ASSERT_STATUS(AIO_OK, AioFlush(good_));
  }

  /// Every operation refuses the handle, leaves its outputs alone and does nothing to the other file.
  void expectBad(void* handle) {
    EXPECT_EQ(AioIsOpen(handle), 0);
    for (const Operation& operation : kOperations) {
      if (handle == nullptr && operation.takes_null) continue;
      Outputs out, wanted;
      std::memset(&out, 0x5A, sizeof out);
      std::memset(&wanted, 0x5A, sizeof wanted);
      if (operation.clears_number) wanted.number = 0;
      EXPECT_STATUS(AIO_BADHANDLE, operation.call(handle, good_, out)) << operation.name << " of " << handle;
      EXPECT_EQ(std::memcmp(&out, &wanted, sizeof out), 0) << operation.name << " wrote to its outputs";
    }
  }
  void expectGoodUntouched() {
    ASSERT_EQ(AioIsOpen(good_), 1);
    ASSERT_EQ(countOf(good_, 0x2006), 2);
    EXPECT_EQ(got<LONG>(good_, kCode, 1), 1);
    EXPECT_EQ(got<LONG>(good_, kCode, 2), 2);
  }

  File good_;
};

void* handleOf(std::uintptr_t number) {
  return reinterpret_cast<void*>(number);
}
std::uintptr_t numberOf(const void* handle) {
  return reinterpret_cast<std::uintptr_t>(handle);
}

TEST_F(HandlesTest, NullAndMadeUpHandlesAreRefusedByEveryOperation) {
  std::vector<void*> bad = {nullptr, &good_, handleOf(1), handleOf(4095), handleOf(4096), handleOf(~std::uintptr_t{0})};
  const std::uintptr_t open = numberOf(good_);
  for (unsigned bit = 0; bit < 8 * sizeof open; ++bit) bad.push_back(handleOf(open ^ std::uintptr_t{1} << bit));
  for (const std::uintptr_t other : {open - 1, open + 1, open - 4096, open + 4096, ~open})
    bad.push_back(handleOf(other));
  std::mt19937_64 random(1);
  while (bad.size() < 1000) bad.push_back(handleOf(static_cast<std::uintptr_t>(random())));
  for (void* handle : bad)
    if (numberOf(handle) != open) expectBad(handle);
  expectGoodUntouched();
}

TEST_F(HandlesTest, EveryWayToEndAHandleEndsIt) {
  struct Case {
    ULONG option;
    bool writer;
    ULONG status;
    LONG kept;  // value in the file afterwards; 0: no file
  };
  constexpr Case kCases[] = {{AIO_CLOSE_FLUSH, true, AIO_OK, 2},         {AIO_CLOSE_NOFLUSH, true, AIO_OK, 1},
                             {AIO_CLOSE_DELETE, true, AIO_OK, 0},        {AIO_CLOSE_FLUSH, false, AIO_OK, 1},
                             {AIO_CLOSE_DELETE, false, AIO_READONLY, 1}, {3, true, AIO_BADARG, 2},
                             {0xFFFFFFFF, true, AIO_BADARG, 2}};
  int number = 0;
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << "option " << c.option << (c.writer ? " of a writer" : " of a reader"));
    const std::string name = path("end" + std::to_string(++number));
    File file = File::create(name);
    ASSERT_STATUS(AIO_OK, put(file, kCode, 1, 0, LONG{1}));
    ASSERT_STATUS(AIO_OK, AioFlush(file));
    if (c.writer)
      ASSERT_STATUS(AIO_OK, put(file, kCode, 1, 0, LONG{2}));
    else
      file = File::open(name, AIO_READ_ONLY);
    void* handle = file;
    EXPECT_STATUS(c.status, AioClose2(handle, c.option));
    EXPECT_EQ(AioIsOpen(handle), 0);
    EXPECT_STATUS(AIO_BADHANDLE, AioClose2(handle, AIO_CLOSE_FLUSH));
    EXPECT_EQ(std::filesystem::exists(name), c.kept != 0);
    if (c.kept != 0) {
      EXPECT_EQ(got<LONG>(File::open(name), kCode, 1), c.kept);
    }
  }
}

TEST_F(HandlesTest, OpenWithBadArgumentsGivesANullHandle) {
  const std::string name = path("good.orb"), other = path("other.orb");
  int mark = 0;
  struct Case {
    const char* what;
    std::function<ULONG(void**)> call;
    ULONG status;
  };
  const Case cases[] = {
      {"null path", [](void** h) { return AioOpen2(h, nullptr, AIO_READ_ONLY, 0, 0); }, AIO_BADARG},
      {"empty path", [](void** h) { return AioOpen2(h, "", AIO_READ_ONLY, 0, 0); }, AIO_BADARG},
      {"access", [&](void** h) { return AioOpen2(h, name.c_str(), 2, 0, 0); }, AIO_BADARG},
      {"share", [&](void** h) { return AioOpen2(h, name.c_str(), AIO_READ_ONLY, 1, 0); }, AIO_BADARG},
      {"flags", [&](void** h) { return AioOpen2(h, name.c_str(), AIO_READ_ONLY, 0, 1); }, AIO_BADARG},
      {"missing", [&](void** h) { return AioOpen2(h, other.c_str(), AIO_READ_ONLY, 0, 0); }, AIO_NOFILE},
      {"no folder", [&](void** h) { return AioOpen2(h, (other + "/x").c_str(), AIO_READ_ONLY, 0, 0); }, AIO_NOFILE},
      {"create null", [](void** h) { return AioCreate(h, nullptr, 0, nullptr, nullptr, nullptr); }, AIO_BADARG},
      {"create size", [&](void** h) { return AioCreate(h, other.c_str(), 1, nullptr, nullptr, nullptr); }, AIO_BADARG},
      {"create 1", [&](void** h) { return AioCreate(h, other.c_str(), 0, &mark, nullptr, nullptr); }, AIO_BADARG},
      {"create 2", [&](void** h) { return AioCreate(h, other.c_str(), 0, nullptr, &mark, nullptr); }, AIO_BADARG},
      {"create 3", [&](void** h) { return AioCreate(h, other.c_str(), 0, nullptr, nullptr, &mark); }, AIO_BADARG},
      {"create there", [&](void** h) { return AioCreate(h, name.c_str(), 0, nullptr, nullptr, nullptr); },
       AIO_FILEEXISTS},
      {"create nowhere", [&](void** h) { return AioCreate(h, (other + "/x").c_str(), 0, nullptr, nullptr, nullptr); },
       AIO_NOFILE}};
  for (const Case& c : cases) {
    void* handle = &mark;
    EXPECT_STATUS(c.status, c.call(&handle)) << c.what;
    EXPECT_EQ(handle, nullptr) << c.what;
    EXPECT_FALSE(std::filesystem::exists(other)) << c.what;
  }
  EXPECT_STATUS(AIO_BADARG, AioOpen2(nullptr, name.c_str(), AIO_READ_ONLY, 0, 0));
  EXPECT_STATUS(AIO_BADARG, AioCreate(nullptr, other.c_str(), 0, nullptr, nullptr, nullptr));
  EXPECT_FALSE(std::filesystem::exists(other));
  expectGoodUntouched();
}

TEST_F(HandlesTest, FileInfoIsCutToTheRoomThatThereIs) {
  const std::string name = path("good.orb");
  const File reader = File::open(name, AIO_READ_ONLY);
  for (const std::size_t room : {std::size_t{0}, std::size_t{1}, name.size(), name.size() + 1, std::size_t{500}}) {
    char text[512];
    std::memset(text, 0x5A, sizeof text);
    FLAG writable = 7;
    EXPECT_STATUS(AIO_OK, AioFileInfo(reader, text, static_cast<ULONG>(room), &writable));
    EXPECT_EQ(writable, 0);
    if (room != 0) {
      EXPECT_EQ(text, name.substr(0, room - 1));
    }
    EXPECT_EQ(text[room], 0x5A);
  }
  FLAG writable = 7;
  EXPECT_STATUS(AIO_OK, AioFileInfo(good_, nullptr, 0, &writable));
  EXPECT_EQ(writable, 1);
  EXPECT_STATUS(AIO_BADARG, AioFileInfo(good_, nullptr, 1, &writable));
}

/// Raises the limit of open descriptors of this process as far as it may.
bool mayOpen(rlim_t n) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  return setrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur >= n;
}

TEST_F(HandlesTest, FourThousandFilesMayBeOpenAndHandlesOfReusedPlacesStayApart) {
  constexpr std::size_t kMost = 4096;
  if (!mayOpen(kMost + 50)) GTEST_SKIP() << "this process may not open " << kMost << " files";
  std::vector<void*> stale;
  for (int i = 0; i < 20; ++i) {
    File file = File::open(path("good.orb"), AIO_READ_ONLY);
    stale.push_back(file);
  }
  std::vector<File> files;
  for (std::size_t n = 1; n < kMost; ++n) {  // good_ is one more
    void* handle = nullptr;
    files.push_back(File::open(path("good.orb"), AIO_READ_ONLY));
    handle = files.back();
    ASSERT_NE(handle, nullptr) << n;
  }
  const std::string other = path("other.orb");
  EXPECT_STATUS(AIO_TOOMANYFILES, File::tryOpen(path("good.orb"), AIO_READ_ONLY));
  void* handle = &files;
  EXPECT_STATUS(AIO_TOOMANYFILES, AioCreate(&handle, other.c_str(), 0, nullptr, nullptr, nullptr));
  EXPECT_EQ(handle, nullptr);
  EXPECT_FALSE(std::filesystem::exists(other)) << "a file that could not be opened was left behind";
  // Every place is taken now, also those that the stale handles had.
  for (void* bad : stale) expectBad(bad);
  EXPECT_EQ(got<LONG>(files.front(), kCode, 1), 1);
  EXPECT_EQ(got<LONG>(files.back(), kCode, 2), 2);
  void* last = files.back();
  ASSERT_STATUS(AIO_OK, files.back().close());
  files.back() = File::open(path("good.orb"), AIO_READ_ONLY);
  EXPECT_NE(static_cast<void*>(files.back()), last);
  expectBad(last);
  expectGoodUntouched();
}

}  // namespace
