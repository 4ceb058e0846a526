// create, get, set, dump, params, explain.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

#include "command_runner.h"

namespace orbtest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct SetCase {
  const char* parameter;
  const char* value;
  const char* printed;
};

TEST_F(CommandTest, ValuesComeBackAsTheTypeOfTheirParameter) {
  create("a.dat");
  for (const SetCase& c : std::initializer_list<SetCase>{
           {"ORB_D_LIVETIME", "0.1", "0.1"},                                       // double, shortest digits
           {"orb_d_livetime", "+1e3", "1000"},                                     // name in lower case
           {"0x20000020", "-0.35", "-0.35"},                                       // code; a negative number
           {"ORB_F_QUANTITY", "0.1", "0.1"},                                       // float: no digits of a double
           {"ORB_L_LOCFIRST", "-1", "-1"},                                         // 32 bits with sign
           {"ORB_L_LOCFIRST", "0x7fffffff", "2147483647"},                         //
           {"ORB_L_TOTALCOUNTS", "9223372036854775807", "9223372036854775807"},    // 64 bits
           {"ORB_L_TOTALCOUNTS", "-9223372036854775808", "-9223372036854775808"},  //
           {"ORB_B_DSPFIT", "yes", "true"},
           {"ORB_B_DSPFIT", "0", "false"},
           {"ORB_X_ACQSTART", "2024-03-01T12:30:00Z", "2024-03-01T12:30:00Z"},
           {"ORB_X_ACQSTART", "2024-03-01 12:30:00+02:00", "2024-03-01T10:30:00Z"},
           {"ORB_T_CTITLE", "Grüße", "Grüße"},
           {"ORB_T_CTITLE", "", ""},
       }) {
    good({"set", "a.dat", c.parameter, c.value});
    EXPECT_EQ(good({"get", "a.dat", c.parameter}), std::string(c.printed) + "\n") << c.parameter << " " << c.value;
  }
}

TEST_F(CommandTest, AValueThatDoesNotFitIsRefusedAndNothingIsStored) {
  create("a.dat");
  good({"set", "a.dat", "ORB_D_LIVETIME", "5"});
  const std::string before = readFile("a.dat");
  struct Refusal {
    const char* parameter;
    std::string value;
    const char* why;
  };
  for (const Refusal& c : std::initializer_list<Refusal>{
           {"ORB_D_LIVETIME", "abc", "is not a number"},
           {"ORB_D_LIVETIME", "5 s", "is not a number"},
           {"ORB_D_LIVETIME", "", "is not a number"},
           {"ORB_D_LIVETIME", "nan", "is not a finite number"},
           {"ORB_D_LIVETIME", "1e400", "0xE06100EA"},
           {"ORB_F_QUANTITY", "1e39", "0xE06100EA"},
           {"ORB_L_LOCFIRST", "1.5", "is not a whole number"},
           {"ORB_L_LOCFIRST", "2147483648", "0xE06100EA"},
           {"ORB_L_LOCFIRST", "-2147483649", "0xE06100EA"},
           {"ORB_L_TOTALCOUNTS", "99999999999999999999", "0xE06100EA"},
           {"ORB_L_NLLINE", "32768", "0xE06100EA"},
           {"ORB_B_DSPFIT", "2", "neither true nor false"},
           {"ORB_X_ACQSTART", "2024-02-30", "is not a time"},
           {"ORB_X_ACQSTART", "yesterday", "is not a time"},
           {"ORB_T_CTITLE", std::string(129, 'x'), "0xE06100E2"},
           {"ORB_D_PKENERGY", "1", "0xE0610102"},  // record 5 of a table without records
       }) {
    const Result result = orb({"set", "a.dat", c.parameter, c.value, "--record", "5"});
    EXPECT_EQ(result.status, 1) << c.parameter << " " << c.value;
    EXPECT_THAT(result.err, StartsWith("orb: a.dat: ")) << c.value;
    EXPECT_THAT(result.err, HasSubstr(c.why)) << c.value;
    EXPECT_THAT(result.err, HasSubstr("(0x")) << c.value;
    EXPECT_TRUE(readFile("a.dat") == before) << c.parameter << " " << c.value;
  }
}

TEST_F(CommandTest, RecordsAndEntriesAreAddressedByNumber) {
  create("a.dat");
  good({"set", "a.dat", "ORB_D_PKENERGY", "661.66", "--record", "1"});
  good({"set", "a.dat", "ORB_D_PKENERGY", "1460.8", "--record", "2"});
  good({"set", "a.dat", "ORB_D_PKCOVAREA", "-3.5", "--record", "2", "--entry", "1"});
  EXPECT_EQ(good({"get", "a.dat", "ORB_D_PKENERGY", "--record", "2"}), "1460.8\n");
  EXPECT_EQ(good({"get", "a.dat", "ORB_D_PKCOVAREA", "--record", "2", "--entry", "1"}), "-3.5\n");
  const Result missing = orb({"get", "a.dat", "ORB_D_PKENERGY", "--record", "3"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_THAT(missing.err, HasSubstr("ORB_D_PKENERGY, record 3: the parameter has no value there (0xEBE8805A)"));
  EXPECT_THAT(orb({"get", "a.dat", "ORB_L_CHANNELS", "--record", "3"}).err, HasSubstr("--record is not used"));
}

TEST_F(CommandTest, AnUnknownNameSuggestsNearOnes) {
  create("a.dat");
  const Result typo = orb({"get", "a.dat", "ORB_D_LIVETIM"});
  EXPECT_EQ(typo.status, 1);
  EXPECT_THAT(typo.err, HasSubstr("(0xE06100C2); near: ORB_D_LIVETIME"));
  EXPECT_THAT(orb({"get", "a.dat", "livetime"}).err, HasSubstr("near: ORB_D_LIVETIME"));
  EXPECT_THAT(orb({"get", "a.dat", "qqqqqqqqqq"}).err, Not(HasSubstr("near")));
  EXPECT_THAT(orb({"get", "a.dat", std::string(100000, 'q')}).err, Not(HasSubstr("near")));
  EXPECT_THAT(orb({"get", "a.dat", "0x20009999"}).err, HasSubstr("no parameter '0x20009999'"));
}

TEST_F(CommandTest, CreateMakesTheDefaultsOfTheDetector) {
  good({"create", "ge.dat", "--channels", "16384"});
  good({"create", "nai.dat", "--channels", "512", "--detector", "nai"});
  EXPECT_EQ(good({"get", "ge.dat", "ORB_D_FWHMSLOPE"}), "0.03\n");
  EXPECT_EQ(good({"get", "nai.dat", "ORB_D_FWHMSLOPE"}), "2\n");
  EXPECT_EQ(good({"get", "nai.dat", "ORB_D_ECALGAIN"}), "4\n");  // 2048 keV over 512 channels
  EXPECT_THAT(folder(), ElementsAre("ge.dat", "nai.dat"));
  const auto info = json({"info", "ge.dat"});
  EXPECT_EQ(info["channels"], 16384);
  EXPECT_EQ(info["total_counts"], 0);
  EXPECT_TRUE(info["start_time"].is_null());
  EXPECT_EQ(info["energy_calibration"]["default"], true);
}

TEST_F(CommandTest, DumpShowsEveryValueWithItsPlace) {
  create("a.dat");
  good({"set", "a.dat", "ORB_D_PKENERGY", "661.66", "--record", "1"});
  good({"set", "a.dat", "ORB_D_PKCOVAREA", "2", "--record", "1", "--entry", "1"});
  good({"set", "a.dat", "ORB_T_REMARKS", "one\ntwo\x1B[2J"});
  EXPECT_EQ(good({"dump", "a.dat", "--class", "0x2006"}),
            "0x2006 Peak results, 1 record\n"
            "  record 1\n"
            "    0x20060007 ORB_D_PKENERGY       661.66 keV\n"
            "    entry 1\n"
            "      0x20060071 ORB_D_PKCOVAREA      2 counts^2\n");
  const std::string all = good({"dump", "a.dat"});
  EXPECT_THAT(all, HasSubstr("one\\ntwo\\x1B[2J"));
  EXPECT_THAT(all, HasSubstr("0x2005 Spectral data\n"));
  const auto document = json({"dump", "a.dat", "--class", "0x2006"});
  const auto& record = document["blocks"][0]["records"][0];
  EXPECT_EQ(record["record"], 1);
  EXPECT_EQ(record["values"][0]["name"], "ORB_D_PKENERGY");
  EXPECT_EQ(record["values"][0]["value"], 661.66);
  EXPECT_EQ(record["values"][1]["entry"], 1);
  EXPECT_EQ(orb({"dump", "a.dat", "--class", "0x2007"}).status, 1);
  EXPECT_EQ(orb({"dump", "a.dat", "--class", "peaks"}).status, 2);
}

TEST_F(CommandTest, ADumpHoldsAsManyValuesAsTheDatabase) {
  create("a.dat");
  std::size_t n_values = 0;
  const auto document = json({"dump", "a.dat"});
  for (const auto& block : document["blocks"]) {
    if (!block.contains("records")) continue;
    for (const auto& record : block["records"]) n_values += record["values"].size();
  }
  const Result rows = runProgram("sqlite3", {"a.dat", "SELECT count(*) FROM value"});
  if (rows.status == 127) GTEST_SKIP() << "sqlite3 is not installed";
  EXPECT_EQ(std::to_string(n_values) + "\n", rows.out);
}

TEST_F(CommandTest, ParamsSearchesNamesCodesAndDescriptions) {
  EXPECT_THAT(good({"params", "livetime"}), StartsWith("0x20000005  ORB_D_LIVETIME"));
  EXPECT_THAT(good({"params", "0x20000005"}), HasSubstr("ORB_D_LIVETIME"));
  EXPECT_THAT(good({"params", "TRAPEZOIDAL"}), HasSubstr("ORB_D_SPRISETIME"));
  EXPECT_EQ(good({"params", "ORB_D_LIVETIME", "--names"}), "ORB_D_LIVETIME\n");
  const auto found = json({"params", "ORB_D_LIVETIME"});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0]["unit"], "s");
  EXPECT_EQ(found[0]["type"], "double");
  EXPECT_EQ(found[0]["level"], "header");
  const Result none = orb({"params", "no such thing"});
  EXPECT_EQ(none.status, 1);
  EXPECT_THAT(none.err, HasSubstr("no parameter matches"));
  EXPECT_TRUE(json({"params", "no such thing"}).empty());
}

TEST_F(CommandTest, ExplainKnowsCodesInEveryForm) {
  // A status of the service by its own number, as a result code, in decimal, and as a signed number.
  for (const char* code : {"0xE0610032", "0x00610032", "6357042", "3764453426", "-530513870"}) {
    EXPECT_THAT(good({"explain", code}), HasSubstr("the file does not exist")) << code;
  }
  EXPECT_THAT(good({"explain", "0xEBE8805A"}), HasSubstr("AIO_NOVALUE"));
  EXPECT_THAT(good({"explain", "0x805A"}), HasSubstr("result code 0xEBE8805A"));
  for (const char* code : {"0xEBE81389", "0xEBE8138D", "0xECE99D7D", "0xECE99F6D", "0x8007000E", "0x80070057", "0"}) {
    EXPECT_NE(json({"explain", code})["text"], "") << code;
    EXPECT_EQ(json({"explain", code})["known"], true) << code;
  }
  EXPECT_EQ(orb({"explain", "0x12345678"}).status, 1);
  EXPECT_EQ(json({"explain", "0x12345678"})["known"], false);
  for (const char* nonsense : {"hello", "0x", "0x-5", "4294967296", "1.5", ""}) {
    EXPECT_EQ(orb({"explain", nonsense}).status, 2) << nonsense;
  }
}

}  // namespace
/// What `orb info --watch` prints while others write the file.
class WatchedFile : public CommandTest {
 protected:
  void start(const std::string& name) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    child_ = fork();
    if (child_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      execl(ORB_TOOL, ORB_TOOL, "info", name.c_str(), "--watch", "--json", nullptr);
      _exit(127);
    }
    close(ends[1]);
    lines_ = fdopen(ends[0], "r");
  }
  nlohmann::json next() {
    char* line = nullptr;
    std::size_t room = 0;
    const bool is_read = getline(&line, &room, lines_) > 0;
    const auto state = nlohmann::json::parse(is_read ? line : "", nullptr, false);
    std::free(line);
    return state;
  }
  int interrupt() {
    kill(child_, SIGINT);
    int status = -1;
    waitpid(child_, &status, 0);
    std::fclose(lines_);
    return status;
  }

 private:
  pid_t child_ = -1;
  std::FILE* lines_ = nullptr;
};

TEST_F(WatchedFile, EveryFlushShowsAlsoOfAFileThatTookItsPlace) {
  create("a.dat");
  start("a.dat");
  EXPECT_EQ(next()["channels"], 1024);
  for (const int live_s : {5, 7}) {
    good({"set", "a.dat", "ORB_D_LIVETIME", std::to_string(live_s)});
    EXPECT_EQ(next()["live_time_s"], live_s);
  }
  good({"create", "a.dat", "--channels", "8", "--force"});
  EXPECT_EQ(next()["channels"], 8);
  EXPECT_EQ(interrupt(), 0);
}

}  // namespace orbtest
