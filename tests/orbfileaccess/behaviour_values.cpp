// Values, records, entries and blocks of a real file.
#include <fstream>
#include <limits>

#include "BehaviourTest.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

constexpr std::uint32_t kPeakCovLine = 0x20060070;  // in the entries of a peak record
constexpr std::uint32_t kPeakAdded = 0x20060048;    // in the peak record

using ValuesTest = BehaviourTest;

xtime_t at(std::int64_t seconds) {
  xtime_t time;
  time.dateTime = seconds;
  return time;
}

/// A dictionary with one parameter of each type, at the given level of the block.
std::string schemaOfAllTypes(const std::string& level) {
  const char* const types[] = {"B_BOOL|bool|1",     "L_SHORT|int16|2", "B_FLAG|flag|1",  "L_WORD|uint16|2",
                               "L_LONG|int32|4",    "L_HUGE|int64|8",  "F_REAL|float|4", "T_TEXT|text|5",
                               "D_DOUBLE|double|8", "X_TIME|time|8",   "T_NAME|name|5",  "D_RESULT|real8|8"};
  std::string schema = "orbdb 1\nclass 0x2006 All types\n";
  int code = 0x20060000;
  for (const std::string type : types) {
    const std::size_t bar = type.find('|');
    const std::string storage = type.substr(bar + 1);
    char digits[16];
    std::snprintf(digits, sizeof digits, "0x%08X", code++);
    schema += std::string(digits) + "|ORB_" + type.substr(0, bar) + "|" + level + "|" + storage + "|" + storage +
              "|-|-|One of each.\n";
  }
  return schema;
}

struct Place {
  const char* level;
  std::uint16_t record;
  std::uint16_t entry;
};

void PrintTo(const Place& place, std::ostream* out) {
  *out << place.level << place.record;
}

class PlaceTest : public BehaviourTest, public ::testing::WithParamInterface<Place> {};

TEST_P(PlaceTest, EveryTypeSurvivesReopeningAtItsExtremes) {
  const struct {
    Variant written, read;
  } values[][12] = {
      {{Variant(7), Variant(true)},
       {Variant(-2), Variant(std::uint16_t{65534})},
       {Variant(false), Variant(false)},
       {Variant(99999), Variant(std::uint16_t{32767})},
       {Variant(-1), Variant(std::uint32_t{4294967295u})},
       {Variant(std::numeric_limits<std::int64_t>::min()), Variant(std::numeric_limits<std::int64_t>::min())},
       {Variant(0.1), Variant(0.1f)},
       {Variant("longer than five"), Variant("longe")},
       {Variant(0.1), Variant(0.1)},
       {Variant(at(1700000000)), Variant(at(1700000000))},
       {Variant(""), Variant("")},
       {Variant(-0.0), Variant(-0.0)}},
      {{Variant(0), Variant(false)},
       {Variant(32767), Variant(std::uint16_t{32767})},
       {Variant(true), Variant(true)},
       {Variant(0), Variant(std::uint16_t{0})},
       {Variant(4294967295.0), Variant(std::uint32_t{2147483647})},
       {Variant(1), Variant(std::int64_t{1})},
       {Variant(3e39), Variant(std::numeric_limits<float>::max())},
       {Variant(12.5), Variant("12.5")},
       {Variant(std::numeric_limits<double>::denorm_min()), Variant(std::numeric_limits<double>::denorm_min())},
       {Variant(at(-3506716800)), Variant(at(-3506716800))},
       {Variant("a b"), Variant("a b")},
       {Variant(std::numeric_limits<double>::infinity()), Variant(std::numeric_limits<double>::infinity())}}};
  const Place& place = GetParam();
  std::ofstream(path("types.dat")) << schemaOfAllTypes(place.level);
  FileAccess file;
  ASSERT_EQ(file.setSchema(path("types.dat")), 0u);
  for (const auto& set : values) {
    std::filesystem::remove(path("a.dat"));
    ASSERT_EQ(file.open(path("a.dat"), CREATE), 0u);
    for (std::uint32_t i = 0; i < 12; ++i) {
      EXPECT_EQ(file.setParameter(0x20060000 + i, set[i].written, place.record, place.entry), 0u) << i;
    }
    reopen(file);
    for (std::uint32_t i = 0; i < 12; ++i) {
      EXPECT_EQ(get(file, 0x20060000 + i, place.record, place.entry), set[i].read) << i;
    }
    ASSERT_EQ(file.close(NOFLUSH), 0u);
  }
  EXPECT_TRUE(log.empty()) << log[0];
}

INSTANTIATE_TEST_SUITE_P(All, PlaceTest,
                         ::testing::Values(Place{"header", 0, 0}, Place{"record", 0, 0}, Place{"record", 1, 0},
                                           Place{"entry", 1, 1}),
                         [](const auto& test) { return test.param.level + std::to_string(test.param.record); });

TEST_F(ValuesTest, RecordsAndEntriesKeepTheirOrderThroughInsertAndDelete) {
  FileAccess file;
  create(file, "a.dat");
  const auto added = [&](std::uint16_t record) { return get(file, kPeakAdded, record).toBool(); };
  ASSERT_EQ(file.createBlock(kPeakAdded, 0, 1, 1), 0u);
  for (std::uint16_t record = 1; record <= 3; ++record) {
    ASSERT_EQ(file.setParameter(kPeakAdded, Variant(record == 2), record, 0), 0u);
  }
  EXPECT_EQ(file.setParameter(kPeakAdded, Variant(true), 5, 0), convertReturnCode(AIO_BADRECORD)) << "a gap";
  ASSERT_EQ(file.insertItem(0x2006, 0, 0), 0u);
  EXPECT_EQ(count(file, kPeakAdded), 4);
  EXPECT_EQ(count(file, 0x2006, 65535), 4);
  Variant value;
  EXPECT_EQ(file.getParameter(kPeakAdded, value, 1, 0), kNoValue) << "the new record is empty";
  EXPECT_TRUE(added(3));
  ASSERT_EQ(file.deleteItem(0x2006, 1, 0), 0u);
  EXPECT_TRUE(added(2));

  for (std::uint16_t entry = 1; entry <= 2; ++entry) {
    ASSERT_EQ(file.setParameter(kPeakCovLine, Variant(entry), 3, entry), 0u);
  }
  ASSERT_EQ(file.insertItem(kPeakCovLine, 3, 1), 0u);
  EXPECT_EQ(count(file, kPeakCovLine, 3), 3);
  EXPECT_EQ(get(file, kPeakCovLine, 3, 3), Variant(2u));
  ASSERT_EQ(file.deleteItem(kPeakCovLine, 3, 2), 0u);
  EXPECT_EQ(get(file, kPeakCovLine, 3, 2), Variant(2u));
  EXPECT_EQ(count(file, kPeakCovLine, 1), 0);

  ASSERT_EQ(file.deleteLevel(20), 0u);
  std::uint16_t n = 0;
  EXPECT_EQ(file.countItems(0x2006, n, 0), kNoBlock);
}

TEST_F(ValuesTest, HeaderValueIsTheSameWhereverItIsAskedFor) {
  FileAccess file;
  create(file, "a.dat");
  EXPECT_EQ(get(file, 0x20020028, 1, 1), Variant("DUA"));
  ASSERT_EQ(file.setParameter(0x20020028, Variant("SPLINE"), 7, 2), 0u);
  EXPECT_EQ(get(file, 0x20020028), Variant("SPLINE"));
}

TEST_F(ValuesTest, MapsCarryManyValuesAndTellAbsentOnes) {
  FileAccess file;
  create(file, "a.dat");
  ASSERT_EQ(file.setParameters({{kLiveTime, Variant(60)}, {kEnergySlope, Variant(0.25)}}, 0, 0, false), 0u);
  ParameterMap map{{kLiveTime, Variant()}, {0x20000002, Variant("old")}, {kEnergySlope, Variant()}};
  EXPECT_EQ(file.getParameters(map, 0, 0, false), kNoValue);
  EXPECT_FALSE(map[0x20000002].hasValue());
  EXPECT_FALSE(map[kLiveTime].hasValue()) << "behind the absent one";
  EXPECT_EQ(file.getParameters(map, 0, 0, true), 0u);
  EXPECT_EQ(map[kLiveTime], Variant(60.0));
  EXPECT_EQ(map[kEnergySlope], Variant(0.25));
  EXPECT_TRUE(log.empty()) << log[0];
}

}  // namespace
}  // namespace orbtest
