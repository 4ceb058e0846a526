// library: nuclide libraries made from tables, and the table that comes with the project.
#include <cmath>
#include <map>
#include <sstream>

#include "command_runner.h"

namespace orbtest {
namespace {

using ::testing::HasSubstr;

const char* const kHead =
    "nuclide,half_life,parent,energy_keV,energy_unc_keV,probability_percent,probability_unc,type,key,reference\n";

TEST_F(CommandTest, ALibraryHoldsTheTable) {
  writeFile("t.csv", std::string("# remark\n") + kHead +
                         "Cs-137,30.05 y,,661.657,0.003,85.1,0.2,gamma,yes,\"A, B\"\r\n"
                         "Ba-133,10.5 y,,356.0,,62,,gamma,yes,\nBa-133,10.5 y,Xx-1,81,,33,,gamma,no,C\n");
  EXPECT_EQ(orb({"library", "t.csv", "t.nlb", "--title", "Mine"}).status, 0);
  EXPECT_EQ(good({"get", "t.nlb", "ORB_T_NLTITLE"}), "Mine\n");
  EXPECT_EQ(good({"get", "t.nlb", "ORB_L_NLNUCLIDES"}), "2\n");
  EXPECT_EQ(good({"get", "t.nlb", "ORB_T_NLREFERENCE", "--record", "1"}), "A, B\n");
  EXPECT_NEAR(std::stod(good({"get", "t.nlb", "ORB_D_NLHALFLIFE", "--record", "1"})), 30.05 * 365.2422 * 86400, 1);
  EXPECT_NE(orb({"get", "t.nlb", "ORB_D_NLENERGYUNC", "--record", "2"}).status, 0) << "what is not known is not there";
  EXPECT_EQ(good({"get", "t.nlb", "ORB_L_NLLINE", "--record", "3"}), "2\n");
  EXPECT_EQ(good({"get", "t.nlb", "ORB_T_NLPARENT", "--record", "3"}), "Xx-1\n");
}

TEST_F(CommandTest, ABrokenTableIsRefusedWithItsLine) {
  const std::pair<const char*, const char*> rows[] = {
      {"Cs-137,30 y,,661.657,,85.1,,gamma,yes", "line 2: 9 fields"},
      {"Cs-137,30,,661.657,,85.1,,gamma,yes,", "line 2: the half-life '30'"},
      {"Cs-137,-3 y,,661.657,,85.1,,gamma,yes,", "'-3' is not a number above 0"},
      {"Cs-137,30 y,,nan,,85.1,,gamma,yes,", "'nan' is not a number above 0"},
      {"Cs-137,30 y,,661.657,-1,85.1,,gamma,yes,", "'-1' is not a number of 0 or more"},
      {"Cs-137,30 y,,661.657,,0,,gamma,yes,", "'0' is not a number above 0"},
      {"Cs-137,30 y,,661.657,,85.1,,beta,yes,", "none of gamma"},
      {"Cs-137,30 y,,661.657,,85.1,,gamma,x\x1B,", "'x\\x1B' is neither yes nor no"},
      {"\"Cs-137,30 y,,661.657,,85.1,,gamma,yes,", "quote"},
      {",30 y,,661.657,,85.1,,gamma,yes,", "no name"},
      {"Caesium-one-hundred-37,30 y,,661.657,,85.1,,gamma,yes,", "longer than 16"},
      {"", "no lines of nuclides"},
  };
  for (const auto& [row, message] : rows) {
    writeFile("t.csv", std::string(kHead) + row + "\n");
    const Result result = orb({"library", "t.csv", "t.nlb"});
    EXPECT_EQ(result.status, 1) << row;
    EXPECT_THAT(result.err, HasSubstr(message));
    EXPECT_THAT(folder(), ::testing::ElementsAre("t.csv"));
  }
  writeFile("t.csv", "nuclide,energy\n");
  EXPECT_THAT(orb({"library", "t.csv", "t.nlb"}).err, HasSubstr("line 1: the columns are not"));
}

/// The rows of a table by nuclide, energy and probability.
std::map<std::string, std::vector<std::string>> linesOf(const std::string& text, std::size_t energy,
                                                        std::size_t probability) {
  std::map<std::string, std::vector<std::string>> lines;
  std::istringstream in(text);
  for (std::string row; std::getline(in, row);) {
    if (row.empty() || row[0] == '#' || row.starts_with("nuclide")) continue;
    std::vector<std::string> fields;
    std::istringstream cells(row);
    for (std::string cell; std::getline(cells, cell, ',');) fields.push_back(cell);
    lines[fields[0] + " " + fields[energy] + " " + fields[probability]] = fields;
  }
  return lines;
}

double inSeconds(const std::string& half_life) {
  const std::map<char, double> units = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'y', 365.2422 * 86400}};
  return std::stod(half_life) * units.at(half_life.back());
}

TEST(NuclideTable, AgreesWithTheEvaluationsLineByLine) {
  const char* const folder = std::getenv("ORB_TEST_DATA");
  if (folder == nullptr) GTEST_SKIP() << "no evaluated data (ORB_TEST_DATA)";
  const auto ours = linesOf(readFile(ORB_NUCLIDE_TABLE), 3, 5);
  auto evaluated = linesOf(readFile(std::string(folder) + "/nuclides/gamma_lines.csv"), 2, 4);
  for (auto& [line, fields] : linesOf(readFile(std::string(folder) + "/nuclides/xray_lines.csv"), 2, 4)) {
    fields[6] = "xray";
    if (std::stod(fields[2]) >= 10) evaluated.emplace(line, fields);
  }
  std::map<std::string, int> keys;
  for (const auto& [line, fields] : ours) {
    ASSERT_TRUE(evaluated.contains(line)) << line;
    const auto& other = evaluated.at(line);
    EXPECT_EQ(fields[4], other[3]) << line;
    EXPECT_EQ(fields[6], other[5]) << line;
    EXPECT_EQ(fields[7], other[6]) << line;
    if (fields[2].empty() && fields[7] != "xray") {  // X-rays come from another evaluation, with its half-life
      EXPECT_NEAR(inSeconds(fields[1]) / std::stod(other[1]), 1, 1e-5) << line;
    }
    keys[fields[0]] += fields[8] == "yes";
  }
  EXPECT_GE(keys.size(), 80u);
  for (const auto& [nuclide, n] : keys) EXPECT_EQ(n, 1) << nuclide;
  for (const auto& [line, fields] : evaluated) {
    const bool is_wanted = keys.contains(fields[0]) && std::stod(fields[4]) >= 0.5;
    const bool emits_no_photon = line.starts_with("Bi-214 1415.");  // an E0 transition
    EXPECT_TRUE(!is_wanted || ours.contains(line) || emits_no_photon) << line;
  }
}

}  // namespace
}  // namespace orbtest
