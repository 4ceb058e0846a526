// One file object on a real file: what is in it afterwards.
#include <fstream>
#include <numeric>

#include "BehaviourTest.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class NewFileTest : public BehaviourTest, public ::testing::WithParamInterface<bool> {};

/// Exact: a float holds the float that is nearest to the decimal text, a double the nearest double.
void expectValue(const Variant& value, const std::string& expected, std::uint32_t code) {
  SCOPED_TRACE(::testing::Message() << std::hex << code << " should be " << expected);
  if (value.isText()) {
    EXPECT_EQ(value, Variant(expected));
  } else if (std::holds_alternative<float>(value.value())) {
    EXPECT_EQ(value, Variant(std::stof(expected)));
  } else {
    ASSERT_TRUE(value.isNumber());
    EXPECT_EQ(value.toDouble(), std::stod(expected));
  }
}

TEST_P(NewFileTest, HasEveryDefaultAfterReopening) {
  const bool is_NaI = GetParam();
  FileAccess file;
  ASSERT_EQ(file.create(path("n.dat"), 4096, is_NaI), 0u);
  EXPECT_TRUE(file.hasBeenModified());
  reopen(file);

  std::ifstream table(NEW_FILE_VALUES);
  int n_values = 0;
  for (std::string line; std::getline(table, line);) {
    if (line[0] == '#') continue;
    std::istringstream words(line);
    std::string code, for_NaI, for_others;
    words >> code >> for_NaI >> for_others;
    const auto number = static_cast<std::uint32_t>(std::stoul(code, nullptr, 16));
    expectValue(get(file, number), is_NaI ? for_NaI : for_others, number);
    ++n_values;
  }
  EXPECT_EQ(n_values, 86);

  std::vector<int> channels(1, 7);
  EXPECT_EQ(file.getSpectrum(channels, 1, 1), 0u);
  EXPECT_EQ(channels, std::vector<int>(4096, 0));
  EXPECT_TRUE(log.empty()) << log[0];
}

INSTANTIATE_TEST_SUITE_P(Detectors, NewFileTest, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "NaI" : "other"; });

using FilesTest = BehaviourTest;

TEST_F(FilesTest, ReadOnlyFileRefusesAndStaysAsItIs) {
  FileAccess file;
  create(file, "a.dat");
  reopen(file);
  EXPECT_EQ(file.setParameter(kEnergySlope, Variant(9.0), 0, 0), convertReturnCode(AIO_READONLY));
  EXPECT_TRUE(file.hasBeenModified()) << "a refused write marks the object all the same";
  EXPECT_THAT(log, ElementsAre(HasSubstr("Failed to set parameter: ORB_D_ECALGAIN Record: 0 Entry: 0")));
  EXPECT_EQ(get(file, kEnergySlope), Variant(0.5));
  EXPECT_EQ(file.deleteBlock(0x2000), convertReturnCode(AIO_READONLY));
  EXPECT_EQ(file.setSpectrum(std::vector<int>(4096), 1, 1), convertReturnCode(AIO_READONLY));
}

TEST_F(FilesTest, TwoObjectsMayShareAHandle) {
  FileAccess owner;
  create(owner, "a.dat");
  FileAccess guest(owner.handle());
  ASSERT_EQ(guest.setParameter(kLiveTime, Variant(5.0), 0, 0), 0u);
  EXPECT_EQ(get(owner, kLiveTime), Variant(5.0));
  EXPECT_EQ(guest.close(DELETE), 0u);
  EXPECT_TRUE(owner.isOpen());
  guest.attach(owner.handle());
  ASSERT_EQ(owner.close(FLUSH), 0u);
  Variant value;
  EXPECT_EQ(guest.getParameter(kLiveTime, value, 0, 0), kFileNotOpen) << "the handle is stale";
}

TEST_F(FilesTest, MapsCarryManyValuesAndTellAbsentOnes) {
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

TEST_F(FilesTest, SpectrumOfAnotherSizeRebuildsTheBlock) {
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

}  // namespace
}  // namespace orbtest
