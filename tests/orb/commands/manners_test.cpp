// What holds for all commands: help, usage, overwriting, output that cannot be written.
#include <sys/file.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <sstream>

#include "command_runner.h"

namespace orbtest {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const char* const kCommands[] = {"create",    "info",  "get",  "set",   "dump",    "params",   "import",
                                 "export",    "copy",  "diff", "check", "explain", "plot",     "library",
                                 "calibrate", "peaks", "fit",  "eval",  "region",  "simulate", "report"};

std::vector<std::string> words(const char* call) {
  std::istringstream in(call);
  return {std::istream_iterator<std::string>(in), {}};
}

TEST_F(CommandTest, EveryCommandHelpsWithAnExample) {
  const std::string help = good({"--help"});
  for (const std::string command : kCommands) {
    EXPECT_THAT(help, HasSubstr("\n  " + command + " "));
    const std::string text = good({command, "--help"});
    EXPECT_THAT(text, HasSubstr("Usage: orb " + command)) << command;
    EXPECT_THAT(text, HasSubstr("\n  orb " + command + " ")) << command;  // the example
  }
  EXPECT_THAT(good({"--version"}), ::testing::MatchesRegex("orb [0-9.]+\n"));
}

TEST_F(CommandTest, WrongUsageIsToldInOneLineAndExitsWith2) {
  create("a.dat");
  const std::vector<const char*> calls[] = {
      {"", "nonsense", "--nonsense", "get", "get a.dat", "get a.dat ORB_L_CHANNELS more"},
      {"get a.dat ORB_L_CHANNELS --record 65536", "get a.dat ORB_L_CHANNELS --record -1"},
      {"get a.dat ORB_L_CHANNELS --record x", "set a.dat ORB_L_CHANNELS", "create b.dat"},
      {"create b.dat --channels 0", "create b.dat --channels 16777217"},
      {"create b.dat --channels 8 --detector geiger", "copy a.dat b.dat"},
      {"copy a.dat b.dat --all --class 0x2000", "copy a.dat b.dat --class 0x12345", "diff a.dat"},
      {"import a.spe", "import a.spe b.dat --spectrum 0", "export a.dat", "info", "check a.dat b.dat"},
      {"plot a.dat -o a.png", "plot a.dat --range 9:8", "plot a.dat --range 5000:6000"},
      {"peaks a.dat --range 9:8", "calibrate a.dat", "calibrate a.dat --energy 1:x", "eval a.dat energy"},
      {"eval a.dat fwhm 1 --model dual", "region a.dat", "simulate s.dat", "simulate s.dat --nuclides Cs-137:x"},
      {"report a.dat", "report a.dat -o a.txt"}};
  for (const auto& group : calls) {
    for (const char* const call : group) {
      const Result result = orb(words(call));
      EXPECT_EQ(result.status, 2) << call;
      EXPECT_EQ(result.out, "") << call;
      EXPECT_THAT(result.err, StartsWith("orb: ")) << call;
      EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
  }
  EXPECT_THAT(folder(), ElementsAre("a.dat"));
}

TEST_F(CommandTest, AnExistingFileIsReplacedWithForceOnly) {
  create("a.dat");
  writeFile("a.spe", kSmallSpe);
  ASSERT_EQ(orb({"import", "a.spe", "b.dat", "--detector", "hpge"}).status, 0);
  for (const auto& arguments : std::vector<std::vector<std::string>>{{"create", "mine", "--channels", "8"},
                                                                     {"import", "a.spe", "mine", "--detector", "nai"},
                                                                     {"export", "b.dat", "mine", "--format", "spe"},
                                                                     {"copy", "a.dat", "mine", "--all"}}) {
    // Only a text takes the place of a text.
    if (arguments[0] == "export") {
      writeFile("mine", "something of mine");
    } else {
      good({"create", "mine", "--channels", "16", "--force"});
    }
    const std::string mine = readFile("mine");
    const Result refused = orb(arguments);
    EXPECT_EQ(refused.status, 1) << arguments[0];
    EXPECT_THAT(refused.err, HasSubstr("not overwritten without --force")) << arguments[0];
    EXPECT_EQ(readFile("mine"), mine) << arguments[0];
    auto forced = arguments;
    forced.emplace_back("--force");
    EXPECT_EQ(orb(forced).status, 0) << arguments[0];
    EXPECT_NE(readFile("mine"), mine) << arguments[0];
    EXPECT_THAT(folder(), ElementsAre("a.dat", "a.spe", "b.dat", "mine")) << arguments[0];
    std::filesystem::remove("mine");
  }
}

TEST_F(CommandTest, ForceDoesNotReplaceWhatIsNoFileOrIsInUse) {
  create("a.dat");
  std::filesystem::create_directory("folder");
  EXPECT_THAT(orb({"create", "folder", "--channels", "8", "--force"}).err, HasSubstr("0xE0610042"));
  EXPECT_THAT(orb({"create", "missing/a.dat", "--channels", "8"}).err, HasSubstr("0xE0610032"));
  EXPECT_THAT(orb({"export", "a.dat", "a.dat", "--format", "spe", "--force"}).err, HasSubstr("same file"));

  writeFile("a.dat-lock", "");
  std::FILE* const writer = std::fopen("a.dat-lock", "r");
  ASSERT_NE(writer, nullptr);
  ASSERT_EQ(flock(fileno(writer), LOCK_EX), 0);
  const std::string before = readFile("a.dat");
  EXPECT_THAT(orb({"create", "a.dat", "--channels", "8", "--force"}).err, HasSubstr("0xE0610052"));
  EXPECT_THAT(orb({"set", "a.dat", "ORB_D_LIVETIME", "1"}).err, HasSubstr("0xE0610052"));
  EXPECT_TRUE(readFile("a.dat") == before);
  std::fclose(writer);
  std::filesystem::remove("a.dat-lock");

  // The journal of a file that is gone would undo parts of a new file of that name.
  writeFile("b.dat-journal", "left over");
  EXPECT_THAT(orb({"create", "b.dat", "--channels", "8"}).err, HasSubstr("journal"));
  EXPECT_FALSE(std::filesystem::exists("b.dat"));
}

TEST_F(CommandTest, NothingButADataFileIsReplacedByADataFile) {
  writeFile("a.spe", kSmallSpe);
  std::filesystem::create_symlink("a.spe", "link.dat");
  writeFile("t.csv", "nuclide,energy\n");
  for (const auto& arguments :
       std::vector<std::vector<std::string>>{{"import", "a.spe", "a.spe", "--force"},
                                             {"import", "a.spe", "link.dat", "--force"},
                                             {"create", "a.spe", "--channels", "8", "--force"},
                                             {"simulate", "a.spe", "--nuclides", "K-40", "--force"},
                                             {"library", "t.csv", "t.csv", "--force"}}) {
    EXPECT_EQ(orb(arguments).status, 1) << ::testing::PrintToString(arguments);
    EXPECT_EQ(readFile("a.spe"), kSmallSpe) << ::testing::PrintToString(arguments);
  }
}

TEST_F(CommandTest, AReportAppearsWholeAndReplacesNoDataFile) {
  create("a.dat");
  const Result first = orb({"report", "a.dat", "-o", "a.html"});
  if (first.status == 2) {
    EXPECT_THAT(first.err, HasSubstr("built without HTML pages"));
    GTEST_SKIP() << "this build makes no HTML pages";
  }
  ASSERT_EQ(first.status, 0) << first.err;
  create("b.html");  // a data file, whatever its name
  writeFile("a.spe", kSmallSpe);
  const std::string page = readFile("a.html");
  const std::string data = readFile("b.html");
  EXPECT_THAT(orb({"report", "a.dat", "-o", "a.html"}).err, HasSubstr("not overwritten without --force"));
  EXPECT_EQ(orb({"report", "missing.dat", "-o", "a.html", "--force"}).status, 1);
  EXPECT_EQ(orb({"report", "a.spe", "-o", "a.html", "--force"}).status, 1);
  EXPECT_TRUE(readFile("a.html") == page);
  EXPECT_EQ(orb({"report", "a.dat", "-o", "b.html", "--force"}).status, 1);
  EXPECT_TRUE(readFile("b.html") == data);
  good({"report", "a.dat", "-o", "a.html", "--force"});
  EXPECT_THAT(folder(), ElementsAre("a.dat", "a.html", "a.spe", "b.html"));
}

TEST_F(CommandTest, ALinkStaysALinkWhenItsFileIsReplaced) {
  create("a.dat");
  std::filesystem::create_symlink("a.dat", "link.dat");
  good({"create", "link.dat", "--channels", "8", "--force"});
  EXPECT_TRUE(std::filesystem::is_symlink("link.dat"));
  EXPECT_EQ(good({"get", "a.dat", "ORB_L_CHANNELS"}), "8\n");
}

TEST_F(CommandTest, OutputThatCannotBeWrittenIsAFailure) {
  create("a.dat");
  create("b.dat");
  good({"set", "b.dat", "ORB_D_LIVETIME", "1"});
  const std::vector<const char*> calls[] = {{"--help", "--version", "info a.dat", "info a.dat --json"},
                                            {"get a.dat ORB_L_CHANNELS", "dump a.dat", "dump a.dat --json"},
                                            {"params", "export a.dat - --format csv", "diff a.dat b.dat"},
                                            {"check a.dat", "explain 0", "plot a.dat"}};
  for (const auto& group : calls) {
    for (const char* const call : group) {
      const Result full = orb(words(call), Output::kFullDisk);
      const int failed = words(call)[0] == "diff" ? 2 : 1;  // 1 says that files differ
      EXPECT_EQ(full.status, failed) << call;
      EXPECT_THAT(full.err, HasSubstr("standard output: cannot write: the disk is full (0xE061006A)")) << call;
      const Result closed = orb(words(call), Output::kClosedPipe);
      EXPECT_EQ(closed.status, failed) << call;
      EXPECT_THAT(closed.err, ::testing::Not(HasSubstr("cannot write"))) << call;
    }
  }
}

TEST_F(CommandTest, TheLogOfTheLibrariesIsShownOnRequestOnly) {
  EXPECT_THAT(orb({"get", "missing", "ORB_L_CHANNELS"}).err, Not(HasSubstr("FileAccess::open")));
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"--verbose", "get", "missing", "ORB_L_CHANNELS"}, {"get", "missing", "ORB_L_CHANNELS", "--verbose"}}) {
    EXPECT_THAT(orb(arguments).err, HasSubstr("FileAccess::open: Failed to open: missing"));
  }
}

TEST_F(CommandTest, ControlCharactersOfAFileDoNotReachTheTerminal) {
  create("a.dat");
  good({"set", "a.dat", "ORB_T_CTITLE", "\x1B]0;owned\x07 \xC2\x9B end \xFF \xE2\x80\xAE"});
  for (const char* command : {"info", "dump"}) {
    const std::string text = good({command, "a.dat"});
    EXPECT_THAT(text, HasSubstr("\\x1B]0;owned\\x07 \\x9B end \\xFF \\u202E")) << command;
  }
  const std::string name = "no\x1B[31mred";
  EXPECT_THAT(orb({"info", name}).err, HasSubstr("no\\x1B[31mred"));
  EXPECT_THAT(orb({"get", "a.dat", name}).err, HasSubstr("no\\x1B[31mred"));
}

TEST_F(CommandTest, WhatAViewerWouldObeyIsInNoFileThatIsWritten) {
  const std::string evil = "C1 \xC2\x9B[2J turn \xE2\x80\xAE hide \xE2\x80\x8B\xEF\xBB\xBF del \x7F end";
  create("a.dat");
  good({"set", "a.dat", "ORB_T_CTITLE", evil});
  std::map<std::string, std::string> written;
  for (const char* const name : {"a.spe", "a.csv", "a.n42", "a.json"}) {
    EXPECT_EQ(orb({"export", "a.dat", name}).status, 0) << name;
    written[name] = readFile(name);
  }
  EXPECT_EQ(orb({"plot", "a.dat", "-o", "a.svg"}).status, 0);
  written["a.svg"] = readFile("a.svg");
  if (orb({"report", "a.dat", "-o", "a.html"}).status == 0) written["a.html"] = readFile("a.html");
  written["info --json"] = good({"info", "a.dat", "--json"});
  written["dump --json"] = good({"dump", "a.dat", "--json"});
  for (const auto& [name, text] : written) {
    EXPECT_THAT(text, HasSubstr("turn ")) << name;
    for (const char* const mark : {"\xC2\x9B", "\xE2\x80\xAE", "\xE2\x80\x8B", "\xEF\xBB\xBF", "\x7F"})
      EXPECT_THAT(text, Not(HasSubstr(mark))) << name;
  }
  EXPECT_EQ(json({"info", "a.dat"})["title"], evil) << "JSON says what the file says";
  EXPECT_EQ(nlohmann::json::parse(written["a.json"])["title"], evil);
}

TEST_F(CommandTest, NoCellOfATableIsComputedAndTextsComeBackAsTheyWere) {
  for (const char* const title :
       {"=1+1", "a,=cmd()", "a; -2, b", "x,\"=1\"", "plain, and \"quoted\", here", "\"# x\""}) {
    create("a.dat");
    good({"set", "a.dat", "ORB_T_CTITLE", title});
    EXPECT_EQ(orb({"export", "a.dat", "a.csv", "--force"}).status, 0);
    std::istringstream lines(readFile("a.csv"));
    for (std::string line; std::getline(lines, line);) {
      const bool is_quoted = line.starts_with("\"#") && line.ends_with("\"");
      EXPECT_TRUE(is_quoted || line.find_first_of("=@") == std::string::npos || line.starts_with("# title: =")) << line;
    }
    const Result imported = orb({"import", "a.csv", "b.dat", "--detector", "hpge", "--force"});
    EXPECT_EQ(imported.status, 0) << imported.err;
    EXPECT_EQ(good({"get", "b.dat", "ORB_T_CTITLE"}), std::string(title) + "\n");
    std::filesystem::remove("a.dat");
  }
  for (const char* const name : {"=x.spe", "@x.spe", "+x.spe", "-x.spe"}) writeFile(name, "none");
  EXPECT_EQ(orb({"batch", "=x.spe", "@x.spe", "+x.spe", "./-x.spe", "-o", "out", "--csv", "r.csv"}).status, 1);
  EXPECT_THAT(readFile("r.csv"), AllOf(HasSubstr("\n\"'=x.spe\","), HasSubstr("\n\"'@x.spe\","),
                                       HasSubstr("\n\"'+x.spe\","), HasSubstr("\n\"./-x.spe\",")));
}

TEST(OrbDocuments, TheManPageIsCleanAndNamesEveryCommand) {
  const std::string page = readFile(ORB_MAN_PAGE);
  for (const std::string command : kCommands) EXPECT_THAT(page, HasSubstr(".SS orb " + command + " ")) << command;
  const Result result = runProgram("man", {"--warnings", "-l", ORB_MAN_PAGE});
  if (result.status == 127) GTEST_SKIP() << "man is not installed";
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

/// Presses the tab key on a command line; the words that are offered, one a line.
std::string complete(const std::string& script_tail) {
  const std::string script = std::string("PATH=\"$(dirname '") + ORB_TOOL + "'):$PATH\"; source '" + ORB_COMPLETION +
                             "'; " + script_tail + "; COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _orb; " +
                             "printf '%s\\n' \"${COMPREPLY[@]}\"";
  return runProgram("bash", {"-c", script}).out;
}

TEST(OrbDocuments, TheShellCompletesCommandsOptionsAndNames) {
  if (runProgram("bash", {"-c", "true"}).status != 0) GTEST_SKIP() << "bash is not installed";
  EXPECT_EQ(runProgram("bash", {"-n", ORB_COMPLETION}).status, 0);
  const std::string commands = complete("COMP_WORDS=(orb '')");
  for (const std::string command : kCommands) EXPECT_THAT(commands, HasSubstr(command + "\n"));
  EXPECT_EQ(complete("COMP_WORDS=(orb di)"), "diff\n");
  EXPECT_EQ(complete("COMP_WORDS=(orb get a.dat orb_d_livet)"), "ORB_D_LIVETIME\n");
  EXPECT_EQ(complete("COMP_WORDS=(orb set --record 3 a.dat ORB_D_LIVET)"), "ORB_D_LIVETIME\n");
  EXPECT_EQ(complete("COMP_WORDS=(orb import --det)"), "--detector\n");
  EXPECT_EQ(complete("COMP_WORDS=(orb import --detector n)"), "nai\n");
}

/// Every option that a command's help names is offered by the shell and described by the man page.
TEST(OrbDocuments, OptionsAreTheSameInHelpCompletionAndManPage) {
  const std::string page = readFile(ORB_MAN_PAGE);
  for (const std::string command : kCommands) {
    const std::string offered = complete("COMP_WORDS=(orb " + command + " --)");
    std::istringstream lines(runProgram(ORB_TOOL, {command, "--help"}).out);
    for (std::string word; lines >> word;) {
      if (word.substr(0, 2) != "--" || word.size() < 4 || word.find(',') != std::string::npos) continue;
      if (word.find_first_not_of("-abcdefghijklmnopqrstuvwxyz") != std::string::npos) continue;
      EXPECT_THAT(offered, HasSubstr(word + "\n")) << command;
      EXPECT_THAT(page, HasSubstr("\\-\\-" + word.substr(2))) << command;
    }
  }
}

}  // namespace
}  // namespace orbtest
