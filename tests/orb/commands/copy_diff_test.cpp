// copy and diff.
#include "command_runner.h"

namespace orbtest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST_F(CommandTest, DiffNamesWhatDiffers) {
  create("a.dat");
  std::filesystem::copy("a.dat", "b.dat");
  EXPECT_EQ(good({"diff", "a.dat", "b.dat"}), "");
  good({"set", "a.dat", "ORB_D_LIVETIME", "900"});
  good({"set", "b.dat", "ORB_D_LIVETIME", "901"});
  good({"set", "b.dat", "ORB_T_CTITLE", "B"});
  good({"set", "b.dat", "ORB_D_PKENERGY", "661.66", "--record", "1"});
  const Result result = orb({"diff", "a.dat", "b.dat"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "0x20000005 ORB_D_LIVETIME: 900 s | 901 s\n"
            "0x20000002 ORB_T_CTITLE: no value | B\n"
            "block 0x2006 Peak results: only in B\n");
  const auto document = json({"diff", "a.dat", "b.dat"});
  EXPECT_EQ(document["equal"], false);
  ASSERT_EQ(document["differences"].size(), 3u);
  EXPECT_EQ(document["differences"][0]["name"], "ORB_D_LIVETIME");
  EXPECT_EQ(document["differences"][0]["b"], 901);
  EXPECT_EQ(json({"diff", "a.dat", "a.dat"})["equal"], true);
}

TEST_F(CommandTest, DiffComparesRecordsAndCounts) {
  writeFile("a.spe", kSmallSpe);
  std::string changed = kSmallSpe;
  changed.replace(changed.find("3\n4\n5\n"), 6, "3\n9\n9\n");
  writeFile("b.spe", changed);
  for (const char* name : {"a", "b"}) {
    ASSERT_EQ(orb({"import", std::string(name) + ".spe", std::string(name) + ".dat", "--detector", "hpge"}).status, 0);
    good({"set", std::string(name) + ".dat", "ORB_D_PKENERGY", "1", "--record", "1"});
  }
  good({"set", "b.dat", "ORB_D_PKENERGY", "2", "--record", "2"});
  const std::string text = orb({"diff", "a.dat", "b.dat"}).out;
  EXPECT_THAT(text, HasSubstr("block 0x2006 Peak results: 1 records | 2 records\n"));
  EXPECT_THAT(text, HasSubstr("ORB_D_PKENERGY, record 2: no value | 2 keV\n"));
  EXPECT_THAT(text, HasSubstr("2 channels differ, the first is channel 4: 4 | 9; in all 36 | 45 counts\n"));
}

TEST_F(CommandTest, CopyMakesAMissingBlockAndReplacesAnExistingOne) {
  create("a.dat");
  create("b.dat");
  good({"set", "a.dat", "ORB_D_PKENERGY", "661.66", "--record", "1"});
  good({"copy", "a.dat", "b.dat", "--class", "0x2006"});
  EXPECT_EQ(good({"diff", "a.dat", "b.dat"}), "");
  good({"set", "a.dat", "ORB_D_PKENERGY", "662", "--record", "1"});
  good({"copy", "a.dat", "b.dat", "--class", "0x2006"});
  EXPECT_EQ(good({"get", "b.dat", "ORB_D_PKENERGY", "--record", "1"}), "662\n");
  const Result missing = orb({"copy", "a.dat", "b.dat", "--class", "0x2007"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_THAT(missing.err, HasSubstr("0xEBE88102"));
}

TEST_F(CommandTest, ACopiedSpectrumTakesItsChannelCountAlong) {
  writeFile("small.spe", kSmallSpe);
  ASSERT_EQ(orb({"import", "small.spe", "a.dat", "--detector", "hpge"}).status, 0);
  create("b.dat");
  EXPECT_THAT(orb({"copy", "a.dat", "b.dat", "--class", "0x2005"}).err, HasSubstr("ORB_L_CHANNELS is now 8"));
  const auto info = json({"info", "b.dat"});
  EXPECT_EQ(info["channels"], 8);
  EXPECT_EQ(info["total_counts"], 36);
}

TEST_F(CommandTest, CalibrationsAreCopiedByKind) {
  create("a.dat");
  create("b.dat");
  good({"set", "a.dat", "ORB_D_ECALGAIN", "0.25"});
  good({"set", "a.dat", "ORB_D_FWHMSLOPE", "0.05"});
  good({"set", "a.dat", "ORB_T_EFFTITLE", "Point source"});
  EXPECT_EQ(orb({"copy", "a.dat", "b.dat", "--calibrations", "energy"}).status, 0);
  EXPECT_EQ(good({"get", "b.dat", "ORB_D_ECALGAIN"}), "0.25\n");
  EXPECT_EQ(good({"get", "b.dat", "ORB_D_FWHMSLOPE"}), "0.03\n");
  EXPECT_EQ(orb({"copy", "a.dat", "b.dat", "--calibrations", "shape,efficiency"}).status, 0);
  EXPECT_EQ(good({"get", "b.dat", "ORB_D_FWHMSLOPE"}), "0.05\n");
  EXPECT_EQ(good({"get", "b.dat", "ORB_T_EFFTITLE"}), "Point source\n");
  EXPECT_EQ(orb({"copy", "a.dat", "b.dat", "--calibrations", "energy,colour"}).status, 2);
}

TEST_F(CommandTest, CopyAllMakesANewFileAndReplacesWithForceOnly) {
  create("a.dat");
  good({"set", "a.dat", "ORB_T_CTITLE", "whole"});
  good({"copy", "a.dat", "b.dat", "--all"});
  EXPECT_EQ(good({"diff", "a.dat", "b.dat"}), "");
  good({"set", "b.dat", "ORB_T_CTITLE", "mine"});
  EXPECT_EQ(orb({"copy", "a.dat", "b.dat", "--all"}).status, 1);
  EXPECT_EQ(good({"get", "b.dat", "ORB_T_CTITLE"}), "mine\n");
  good({"copy", "a.dat", "b.dat", "--all", "--force"});
  EXPECT_EQ(good({"get", "b.dat", "ORB_T_CTITLE"}), "whole\n");
  EXPECT_THAT(folder(), ElementsAre("a.dat", "b.dat"));
}

TEST_F(CommandTest, AFileIsNotCopiedOntoItself) {
  create("a.dat");
  std::filesystem::create_symlink("a.dat", "link.dat");
  for (const char* what : {"--all", "--class=0x2000", "--calibrations=all"}) {
    const Result result = orb({"copy", "a.dat", "./link.dat", what});
    EXPECT_EQ(result.status, 1) << what;
    EXPECT_THAT(result.err, HasSubstr("same file")) << what;
  }
}

}  // namespace
}  // namespace orbtest
