// Creating, opening, closing: what is in the file afterwards.
#include <fstream>

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

TEST_F(FilesTest, ExistingFileIsNotCreatedOver) {
  FileAccess first;
  create(first, "a.dat");
  ASSERT_EQ(first.setParameter(kLiveTime, Variant(10.0), 0, 0), 0u);
  ASSERT_EQ(first.close(FLUSH), 0u);
  FileAccess second;
  EXPECT_EQ(second.create(path("a.dat"), 16, false), convertReturnCode(AIO_FILEEXISTS));
  EXPECT_FALSE(second.isOpen());
  ASSERT_EQ(first.open(path("a.dat"), READONLY), 0u);
  EXPECT_EQ(get(first, kLiveTime), Variant(10.0));
}

TEST_F(FilesTest, OnlyWhatWasFlushedSurvivesCloseAndDestruction) {
  {
    FileAccess file;
    create(file, "a.dat");
    ASSERT_EQ(file.setParameter(kLiveTime, Variant(1.0), 0, 0), 0u);
    ASSERT_EQ(file.flush(), 0u);
    EXPECT_FALSE(file.hasBeenModified());
    ASSERT_EQ(file.setParameter(kLiveTime, Variant(2.0), 0, 0), 0u);
  }
  FileAccess file;
  ASSERT_EQ(file.open(path("a.dat"), READWRITE), 0u);
  EXPECT_EQ(get(file, kLiveTime), Variant(1.0));
  ASSERT_EQ(file.setParameter(kLiveTime, Variant(3.0), 0, 0), 0u);
  ASSERT_EQ(file.close(NOFLUSH), 0u);
  ASSERT_EQ(file.open(path("a.dat"), READONLY), 0u);
  EXPECT_EQ(get(file, kLiveTime), Variant(1.0));
}

TEST_F(FilesTest, CloseWithDeleteRemovesTheFile) {
  FileAccess file;
  create(file, "a.dat");
  EXPECT_EQ(file.close(DELETE), 0u);
  EXPECT_FALSE(std::filesystem::exists(path("a.dat")));
  EXPECT_EQ(file.open(path("a.dat"), READONLY), convertReturnCode(AIO_NOFILE));
  EXPECT_THAT(log, ElementsAre(HasSubstr("FileAccess::open: Failed to open: " + path("a.dat"))));
}

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

TEST_F(FilesTest, ForeignFilesAreRefusedByName) {
  std::ofstream(path("text.dat")) << "this is no data file, and long enough to show it";
  std::ofstream(path("empty.dat")).close();
  for (const char* name : {"text.dat", "empty.dat", "missing.dat", "."}) {
    FileAccess file;
    EXPECT_NE(file.open(path(name), READONLY), 0u) << name;
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.name(), "");
  }
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

}  // namespace
}  // namespace orbtest
