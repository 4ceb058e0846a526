// The search in a nuclide library.
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "typed_values.h"

using namespace porbtest;
using testing::ElementsAre;

namespace {

class SearchTest : public ServiceTest {
 protected:
  void SetUp() override {
    environment_.set("ORBDB", PORB_SHIPPED_DICTIONARY);
    file_ = File::create(path());
    const ULONG name = code("ORB_T_NLNAME"), energy = code("ORB_D_NLENERGY");
    struct Line {
      const char* nuclide;
      double energy_keV;
    };
    constexpr Line kLines[] = {{"Co-60", 1173.228}, {"Co-60", 1332.492}, {"Cs-137", 661.657}, {"Ag-110m", 657.76},
                               {nullptr, 0},        {"Na-22", 511.0},    {"Am 241", 59.5409}};
    ASSERT_STATUS(AIO_OK, AioCreateBlock(file_, ORB_CLS_NUCLIB, 0));
    USHORT record = 0;
    for (const Line& line : kLines) {
      ++record;
      ASSERT_STATUS(AIO_OK, AioInsertRecord(file_, ORB_CLS_NUCLIB, 65535));
      if (line.nuclide == nullptr) continue;  // a record without values matches nothing
      ASSERT_STATUS(AIO_OK, put(file_, name, record, 0, line.nuclide));
      ASSERT_STATUS(AIO_OK, put(file_, energy, record, 0, line.energy_keV));
    }
  }
  static ULONG code(const char* name) {
    char full_name[AIO_DESCRIPTION_LENGTH];
    ULONG code = 0;
    EXPECT_STATUS(AIO_OK, AioUtilPname2Code(name, full_name, &code)) << name;
    return code;
  }
  ULONG find(ULONG kind, const void* key, USHORT start, USHORT& record) {
    record = 0x5A5A;
    return AioFindRecord(file_, ORB_CLS_NUCLIB, kind, key, &record, start);
  }
  File file_;
};

TEST_F(SearchTest, NameIsFoundWithoutRegardToCaseBlanksAndHyphens) {
  struct Case {
    const char* key;
    USHORT start;
    USHORT found;  // 0: not found
  };
  constexpr Case kCases[] = {{"Co-60", 0, 1},  {"Co-60", 1, 1},       {"Co-60", 2, 2}, {"Co-60", 3, 0},
                             {"CO60", 0, 1},   {" c o - 6 0 ", 0, 1}, {"cs137", 0, 3}, {"CS-137", 3, 3},
                             {"ag110M", 0, 4}, {"Ag-110", 0, 0},      {"AM241", 0, 7}, {"am-241", 7, 7},
                             {"Cs-13", 0, 0},  {"Cs-1377", 0, 0},     {"", 0, 0},      {"-", 0, 0}};
  for (const Case& c : kCases) {
    USHORT record = 0;
    EXPECT_STATUS(c.found != 0 ? AIO_OK : AIO_NOTFOUND, find(AIO_FIND_NAME, c.key, c.start, record)) << c.key;
    EXPECT_EQ(record, c.found) << c.key << " from " << c.start;
  }
}

TEST_F(SearchTest, EnergyIsFoundWithinTheTolerance) {
  struct Case {
    REAL energy_keV, tolerance_keV;
    USHORT start;
    USHORT found;
  };
  constexpr Case kCases[] = {{661.657F, 0, 0, 3}, {661.657F, 0, 4, 0},  {511, 0, 0, 6},       {511.0001F, 0, 0, 0},
                             {512, 1, 0, 6},      {510, 1, 0, 6},       {512.01F, 1, 0, 0},   {659, 3, 0, 3},
                             {659, 3, 4, 4},      {659, 3, 5, 0},       {1250, 1000, 2, 2},   {0, 0, 0, 0},
                             {59.5409F, 0, 7, 7}, {-59.5409F, 0, 0, 0}, {1e30F, 1e30F, 0, 1}, {0, 59, 0, 0}};
  for (const Case& c : kCases) {
    const OjEnergy_T key{c.energy_keV, c.tolerance_keV};
    USHORT record = 0;
    EXPECT_STATUS(c.found != 0 ? AIO_OK : AIO_NOTFOUND, find(AIO_FIND_ENERGY, &key, c.start, record))
        << c.energy_keV << " +- " << c.tolerance_keV;
    EXPECT_EQ(record, c.found) << c.energy_keV << " +- " << c.tolerance_keV << " from " << c.start;
  }
}

TEST_F(SearchTest, BadArgumentsFindNothing) {
  const REAL nan = std::nanf("");
  USHORT record = 0;
  for (const OjEnergy_T& key : {OjEnergy_T{nan, 1}, OjEnergy_T{661, nan}, OjEnergy_T{661, -1}}) {
    EXPECT_STATUS(AIO_BADARG, find(AIO_FIND_ENERGY, &key, 0, record));
    EXPECT_EQ(record, 0);
  }
  const OjEnergy_T key{661.657F, 1};
  for (const ULONG kind : {0u, 1u, 3u, 5u, 0xFFFFFFFFu}) EXPECT_STATUS(AIO_BADARG, find(kind, &key, 0, record)) << kind;
  EXPECT_STATUS(AIO_BADARG, find(AIO_FIND_ENERGY, nullptr, 0, record));
  EXPECT_STATUS(AIO_BADARG, AioFindRecord(file_, ORB_CLS_NUCLIB, AIO_FIND_ENERGY, &key, nullptr, 0));
  EXPECT_STATUS(AIO_BADARG, AioFindRecord(file_, ORB_CLS_PEAKS, AIO_FIND_ENERGY, &key, &record, 0));
  EXPECT_STATUS(AIO_OK, find(AIO_FIND_ENERGY, &key, 3, record));
  EXPECT_STATUS(AIO_BADRECORD, find(AIO_FIND_ENERGY, &key, 8, record));
  EXPECT_EQ(record, 0);
  ASSERT_STATUS(AIO_OK, AioDeleteBlock(file_, ORB_CLS_NUCLIB));
  EXPECT_STATUS(AIO_NOBLOCK, find(AIO_FIND_ENERGY, &key, 0, record));
}

}  // namespace
