// check, and what the other commands make of broken files.
#include <unistd.h>

#include "command_runner.h"

namespace orbtest {
namespace {

using ::testing::HasSubstr;

constexpr const char* kMark = "A title that is easy to find";

/// Changes a byte inside a stored title, as a failing disk would.
void damageTitle(const std::string& name) {
  std::string bytes = readFile(name);
  const auto place = bytes.find(kMark);
  ASSERT_NE(place, std::string::npos);
  bytes[place] = 'B';
  writeFile(name, bytes);
}

TEST_F(CommandTest, CheckTellsBrokenBlocksFromWholeOnes) {
  create("a.dat");
  EXPECT_THAT(good({"check", "a.dat"}), HasSubstr("a.dat: whole\n"));
  EXPECT_EQ(json({"check", "a.dat"})["whole"], true);
  good({"set", "a.dat", "ORB_T_CTITLE", kMark});
  damageTitle("a.dat");
  const Result result = orb({"check", "a.dat"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("broken  0x2000"));
  EXPECT_THAT(result.out, HasSubstr("whole   0x2003"));
  EXPECT_THAT(result.err, HasSubstr("0xE06100AA"));
  const auto document = json({"check", "a.dat"});
  EXPECT_EQ(document["whole"], false);
  EXPECT_EQ(document["opens"], true);
  EXPECT_EQ(document["code"], "0xE06100AA");
}

TEST_F(CommandTest, ADumpOfADamagedFileShowsWhatIsWhole) {
  create("a.dat");
  good({"set", "a.dat", "ORB_T_CTITLE", kMark});
  damageTitle("a.dat");
  const Result result = orb({"dump", "a.dat"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("0xE06100AA"));
  EXPECT_THAT(result.out, HasSubstr("ORB_F_ACTFACTOR"));
  EXPECT_EQ(orb({"get", "a.dat", "ORB_D_LIVETIME"}).status, 1);
  EXPECT_EQ(json({"dump", "a.dat"})["blocks"].size(), 7u);
}

struct Unusable {
  const char* name;
  const char* file;
  const char* code;
};

class UnusableFile : public CommandTest, public ::testing::WithParamInterface<Unusable> {
 protected:
  UnusableFile() {
    std::filesystem::create_directory("folder");
    writeFile("empty", "");
    writeFile("garbage", std::string(3000, '\x07'));
    create("whole.dat");
    const std::string whole = readFile("whole.dat");
    writeFile("cut", whole.substr(0, whole.size() / 2));
  }
};

TEST_P(UnusableFile, IsRefusedWithFileCodeAndMeaning) {
  const Unusable& c = GetParam();
  const std::vector<std::vector<std::string>> commands = {{"get", c.file, "ORB_L_CHANNELS"},
                                                          {"set", c.file, "ORB_D_LIVETIME", "1"},
                                                          {"dump", c.file},
                                                          {"check", c.file},
                                                          {"diff", c.file, "whole.dat"},
                                                          {"diff", "whole.dat", c.file},
                                                          {"export", c.file, "out.spe"},
                                                          {"copy", c.file, "whole.dat", "--class", "0x2000"}};
  for (const auto& command : commands) {
    const Result result = orb(command);
    EXPECT_EQ(result.status, command[0] == "diff" ? 2 : 1) << command[0];
    EXPECT_EQ(result.out, "") << command[0];
    EXPECT_THAT(result.err, HasSubstr("orb: " + std::string(c.file) + ": ")) << command[0];
    EXPECT_THAT(result.err, HasSubstr(c.code)) << command[0];
  }
  const auto checked = json({"check", c.file});
  EXPECT_EQ(checked["opens"], false);
  EXPECT_EQ(checked["code"], c.code);
  EXPECT_FALSE(std::filesystem::exists("out.spe"));
}

INSTANTIATE_TEST_SUITE_P(Files, UnusableFile,
                         ::testing::Values(Unusable{"missing", "missing", "0xE0610032"},
                                           Unusable{"directory", "folder", "0xE0610042"},
                                           Unusable{"empty", "empty", "0xE061007A"},
                                           Unusable{"garbage", "garbage", "0xE061008A"},
                                           Unusable{"cut", "cut", "0xE0610082"}),
                         [](const auto& c) { return c.param.name; });

TEST_F(CommandTest, AFileWithoutPermissionIsNotChanged) {
  if (::geteuid() == 0) GTEST_SKIP() << "the superuser may write everywhere";
  create("a.dat");
  std::filesystem::permissions("a.dat", std::filesystem::perms::owner_read);
  EXPECT_EQ(good({"get", "a.dat", "ORB_L_CHANNELS"}), "1024\n");
  EXPECT_THAT(orb({"set", "a.dat", "ORB_D_LIVETIME", "1"}).err, HasSubstr("0xE061004A"));
  EXPECT_THAT(orb({"create", "a.dat", "--channels", "8", "--force"}).err, HasSubstr("0xE061004A"));
}

}  // namespace
}  // namespace orbtest
