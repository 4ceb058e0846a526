// The engine catalogue, engines through the real loader, and sequences of them.
#include <fstream>

#include "BehaviourTest.h"
#include "Library.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;
using com::norvale::datatypes::Library;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::uint32_t kStepEngine = 0x2010006D;
constexpr std::uint32_t kStepTrace = 0x2010006E;
constexpr std::uint32_t kStepOptions = 0x2010006F;
constexpr std::uint32_t kThreshold = 0x20030005;
constexpr std::uint32_t kSequenceTitle = 0x20100005;
constexpr std::uint32_t kReturnedOne = 0x2BE80001;
const std::string kLibrary = SAMPLE_ENGINES;

TEST(SplitTest, FieldsOfALine) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"a$$b", {"a", "", "b"}}, {"$a", {"", "a"}}, {"a$b$", {"a", "b"}}, {"", {}}, {"abc", {"abc"}}, {"$", {""}}};
  for (const auto& [text, fields] : cases) {
    std::vector<std::string> split = {"left over"};
    EXPECT_EQ(&Split(text, '$', split), &split);
    EXPECT_EQ(split, fields) << text;
  }
}

class SequenceTest : public BehaviourTest {
 protected:
  SequenceTest() {
    create(file_, "analysed.dat");
    create(asf_, "steps.asf");
    for (const char* const engine :
         {"Good", "ReturnsOne", "ReturnsServiceStatus", "WritesHalfAndFails", "Throws", "ReportsThreshold"}) {
      catalogue_ += std::string("Test$0$-$") + engine + "$0$" + kLibrary + "!" + engine + "\n";
    }
    catalogue_ += "Test$0$a second one of that name$Good$0$" + kLibrary + "!ReturnsOne\n";
    catalogue_ += "Test$0$-$Absent file$0$no_such_library.so!Good\n";
    catalogue_ += "Test$0$-$Absent symbol$0$" + kLibrary + "!NoSuchEntry\n";
  }

  std::string writeCatalogue(const std::string& text) {
    std::ofstream(path("engines.aef"), std::ios::binary) << text;
    return path("engines.aef");
  }

  void setSteps(const std::vector<std::string>& engines) {
    std::uint16_t record = 0;
    for (const std::string& engine : engines)
      EXPECT_EQ(asf_.setParameter(kStepEngine, Variant(engine), ++record, 0), 0u);
  }

  std::uint32_t run(bool skip_errors = false) {
    return file_.executeSequence(asf_, writeCatalogue(catalogue_), "", skip_errors);
  }

  FileAccess file_;
  FileAccess asf_;
  std::string catalogue_;
};

std::vector<std::string> inWords(const RegisteredEngines& engines) {
  std::vector<std::string> words;
  for (const EngineMetadata& e : engines)
    words.push_back(e.Category + "|" + e.Description + "|" + e.Name + "|" + e.Resource + "|" + e.Function);
  return words;
}

TEST_F(SequenceTest, CatalogueIsReadToItsFirstEmptyLine) {
  const std::string peaks = "Peaks$1$Second-difference peak search$PEAKS$0$libpeaks.so!RunPeaks";
  const std::string read = "Peaks|Second-difference peak search|PEAKS|libpeaks.so|RunPeaks";
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {peaks, {read}},
      {peaks + "\n" + peaks + "\n", {read, read}},
      {"\n" + peaks + "\n", {}},
      {peaks + "\n\n" + peaks, {read}},
      {peaks + "\r\n", {read + "\r"}},
      {"a!$$d!$n!$$r!f!g$seventh!$eighth", {"a!|d!|n!|r|f"}},
      // Lines that are not complete are skipped, wherever they stand.
      {"# comment\n" + peaks + "\na$b$c$d$e\na$b$c$d$e$no_mark\na$b$c$d$e$only!\n" + peaks, {read, read}},
      {" $ $ $ $ $ ! ", {" | | | | "}}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(inWords(parseAEF(writeCatalogue(text))), expected) << text;
  EXPECT_THAT(parseAEF(path("none.aef")), IsEmpty());
  EXPECT_THAT(parseAEF(path("")), IsEmpty()) << "a folder";
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(SequenceTest, EngineRunsOnTheOpenFile) {
  file_.setModified(false);
  EXPECT_EQ(file_.execute("Good", kLibrary, 1), 0u);
  EXPECT_EQ(get(file_, kStepTrace, 1), Variant("good"));
  EXPECT_TRUE(file_.hasBeenModified());
  struct Case {
    const char* entry;
    std::uint32_t result;
  };
  for (const Case& c : {Case{"ReturnsOne", kReturnedOne}, Case{"ReturnsServiceStatus", convertReturnCode(AIO_DISKFULL)},
                        Case{"Throws", 0xEBE8200A}}) {
    file_.setModified(false);
    EXPECT_EQ(file_.execute(c.entry, kLibrary, 1), c.result) << c.entry;
    EXPECT_TRUE(file_.hasBeenModified()) << c.entry;
  }
  EXPECT_THAT(log, IsEmpty()) << "what an engine answers is its caller's to log";
}

TEST_F(SequenceTest, EngineThatCannotBeHadIsLogged) {
  file_.setModified(false);
  EXPECT_EQ(file_.execute("Good", "/nowhere/none.so", 1), Library::kNotLoaded);
  EXPECT_EQ(file_.execute("NoSuchEntry", kLibrary, 1), 0x80004005u);
  EXPECT_FALSE(file_.hasBeenModified());
  FileAccess closed;
  EXPECT_EQ(closed.execute("Good", "/nowhere/none.so", 1), kFileNotOpen);
  const std::string prefix = "FileAccess::execute: File: " + file_.name() + ". ";
  EXPECT_THAT(log,
              ElementsAre(HasSubstr("Library::open"), HasSubstr(prefix + "Failed to find engine resource"),
                          HasSubstr("Library::procAddress"), HasSubstr(prefix + "Failed to find engine entry point"),
                          HasSubstr("File: (unknown). File to analyze is not open")));
}

TEST_F(SequenceTest, FailingEngineLeavesItsBlocksAsTheyWere) {
  ASSERT_EQ(file_.setParameter(0x2006000C, Variant(5.0), 1, 0), 0u);
  ASSERT_EQ(file_.setParameter(0x20060057, Variant("Cs-137"), 1, 0), 0u);
  ASSERT_EQ(file_.setParameter(0x2006000C, Variant(6.0), 2, 0), 0u);
  ASSERT_EQ(file_.setParameter(0x20060071, Variant(0.5), 2, 1), 0u);
  ASSERT_EQ(file_.setParameter(0x20060060, Variant(2), 0, 0), 0u);
  EXPECT_EQ(file_.execute("WritesHalfAndFails", kLibrary, 0), convertReturnCode(AIO_UNKNOWNPARAM));
  EXPECT_EQ(count(file_, 0x2006), 2);
  EXPECT_EQ(get(file_, 0x2006000C, 1), Variant(5.0));
  EXPECT_EQ(get(file_, 0x20060057, 1), Variant("Cs-137"));
  EXPECT_EQ(get(file_, 0x20060071, 2, 1), Variant(0.5));
  EXPECT_EQ(get(file_, 0x20060060).toDouble(), 2);
  std::uint16_t n = 0;
  EXPECT_EQ(file_.countItems(0x2008, n, 0), kNoBlock) << "it was not there before";
}

/// Steps, whether errors are passed over, the result, and how many steps ran.
struct SequenceCase {
  std::vector<std::string> steps;
  bool skip_errors;
  std::uint32_t result;
  std::size_t n_run;
};

TEST_F(SequenceTest, RulesOfASequence) {
  const std::uint32_t disk_full = convertReturnCode(AIO_DISKFULL);
  const SequenceCase cases[] = {{{"Good", "Good"}, false, 0, 2},
                                {{"Good", "ReturnsOne", "Good"}, false, kReturnedOne, 2},
                                {{"ReturnsOne", "ReturnsServiceStatus", "Good"}, true, 0, 3},
                                {{"Good", "ReturnsOne", "ReturnsServiceStatus"}, true, disk_full, 3},
                                {{"Absent file", "Good"}, false, Library::kNotLoaded, 1},
                                {{"Absent file", "Absent symbol"}, true, 0x80004005u, 2},
                                {{"Good", "Unheard of", "Good"}, true, 0xEBE88F82u, 1},
                                {{"good"}, true, 0xEBE88F82u, 0}};
  for (const SequenceCase& c : cases) {
    setSteps(c.steps);
    std::vector<std::string> run_steps;
    file_.observeSteps([&](const StepReport& report) {
      run_steps.push_back(report.engine);
      EXPECT_EQ(report.step, run_steps.size());
    });
    log.clear();
    EXPECT_EQ(run(c.skip_errors), c.result) << c.steps.front();
    EXPECT_EQ(run_steps.size(), c.n_run) << c.steps.front();
    ASSERT_EQ(asf_.deleteBlock(0x2010), 0u);
    ASSERT_EQ(asf_.createBlock(0x2010, 0, 1, 1), 0u);
  }
  EXPECT_THAT(log.back(),
              HasSubstr("FileAccess::executeSequence: File: " + file_.name() + ". Engine good not found in AEF"));
}

TEST_F(SequenceTest, WithoutStepsTheSettingsAreCopiedAllTheSame) {
  ASSERT_EQ(asf_.setParameter(kThreshold, Variant(6.5), 0, 0), 0u);
  file_.setModified(false);
  EXPECT_EQ(file_.executeSequence(asf_, "/no/such/catalogue", "", false), 0u);
  EXPECT_TRUE(file_.hasBeenModified());
  EXPECT_EQ(get(file_, kThreshold).toDouble(), 6.5);
}

TEST_F(SequenceTest, RefusalsNameTheAnalysedFile) {
  FileAccess closed;
  EXPECT_EQ(file_.executeSequence(closed, "", "", false), kFileNotOpen);
  EXPECT_EQ(closed.executeSequence(asf_, "", "", false), kFileNotOpen);
  ASSERT_EQ(asf_.deleteBlock(0x2010), 0u);
  EXPECT_EQ(run(), kNoBlock);
  const std::string where = "FileAccess::executeSequence: File: ";
  EXPECT_THAT(log, ElementsAre(HasSubstr(where + file_.name() + ". ASF is not open"),
                               HasSubstr(where + "(unknown). File to analyze is not open"),
                               HasSubstr(where + file_.name() + ". Error counting steps")));
}

TEST_F(SequenceTest, StepWithoutANameEndsTheSequence) {
  setSteps({"Good"});
  ASSERT_EQ(asf_.insertItem(0x2010, 1, 0), 0u);
  EXPECT_EQ(run(true), kNoValue);
  EXPECT_THAT(log.back(), HasSubstr("Error getting parameter ORB_T_ACENGNAME"));
}

TEST_F(SequenceTest, SequenceInTheFileItselfIsNotCopied) {
  ASSERT_EQ(file_.setParameter(kStepEngine, Variant("Good"), 1, 0), 0u);
  const std::string catalogue = writeCatalogue(catalogue_);
  EXPECT_EQ(file_.executeSequence(file_, catalogue, "", false), 0u);
  FileAccess second(file_.handle());
  EXPECT_EQ(second.executeSequence(file_, catalogue, "", false), 0u);
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(SequenceTest, CatalogueMayBeNamedByTheEnvironmentAndTheFolderIsAPrefix) {
  setSteps({"Good"});
  const std::string name = std::filesystem::path(kLibrary).filename().string();
  writeCatalogue("Test$0$-$Good$0$" + name + "!Good\n");
  ::setenv("ORB_TEST_CATALOGUE", path("engines.aef").c_str(), 1);
  const std::string folder = std::filesystem::path(kLibrary).parent_path().string();
  EXPECT_EQ(file_.executeSequence(asf_, "ORB_TEST_CATALOGUE", folder + "/", false), 0u);
  EXPECT_EQ(file_.executeSequence(asf_, "ORB_TEST_CATALOGUE", folder, false), Library::kNotLoaded);
  ::unsetenv("ORB_TEST_CATALOGUE");
  EXPECT_EQ(file_.executeSequence(asf_, "ORB_TEST_CATALOGUE", folder + "/", false), 0xEBE88F82u);
}

TEST_F(SequenceTest, OptionsOfAStepHoldForThatStepAlone) {
  ASSERT_EQ(asf_.setParameter(kThreshold, Variant(2.0), 0, 0), 0u);
  setSteps({"ReportsThreshold"});
  ASSERT_EQ(asf_.setParameter(kStepOptions, Variant(" ORB_F_LOCTHRESH=7.5  ORB_T_CONTTYPE=LIN"), 1, 0), 0u);
  EXPECT_EQ(run(), 0u);
  EXPECT_EQ(get(file_, kSequenceTitle), Variant("7.500000"));
  EXPECT_EQ(get(file_, kThreshold).toDouble(), 2.0);
  for (const char* const wrong : {"ORB_F_LOCTHRESH", "ORB_F_LOCTHRESH=much", "ORB_NONE=1", "ORB_D_LIVETIME=5",
                                  "ORB_T_CONTTYPE=STEP ORB_F_LOCTHRESH=1x"}) {
    ASSERT_EQ(asf_.setParameter(kStepOptions, Variant(wrong), 1, 0), 0u);
    EXPECT_EQ(run(), 0xEBE8201Au) << wrong;
    EXPECT_EQ(get(file_, kThreshold).toDouble(), 2.0) << wrong;
  }
}

TEST_F(SequenceTest, CopyKeepsWhatBelongsToTheMeasurement) {
  const std::uint32_t kept[] = {0x20100075, 0x20100076, 0x20030015};
  for (const std::uint32_t code : kept) {
    ASSERT_EQ(file_.setParameter(code, Variant(3), 0, 0), 0u);
    ASSERT_EQ(asf_.setParameter(code, Variant(9), 0, 0), 0u);
  }
  ASSERT_EQ(file_.setParameter(0x20030053, Variant("IRRAD"), 0, 0), 0u);
  ASSERT_EQ(asf_.setParameter(0x20030053, Variant("NONE"), 0, 0), 0u);
  ASSERT_EQ(asf_.setParameter(0x20020028, Variant("EMP"), 0, 0), 0u);
  ASSERT_EQ(file_.setParameter(0x20020083, Variant("own.geo"), 0, 0), 0u);
  ASSERT_EQ(file_.deleteBlock(0x2010), 0u);
  ASSERT_EQ(file_.createBlock(0x2010, 0, 1, 1), 0u);
  ASSERT_EQ(file_.setParameter(0x20100076, Variant(3), 0, 0), 0u);
  setSteps({"Good"});

  EXPECT_EQ(asf_.copySequenceTo(file_), 0u);
  EXPECT_EQ(get(file_, kStepEngine, 1), Variant("Good"));
  EXPECT_EQ(get(file_, 0x20100075).toDouble(), 9) << "had no value of its own";
  EXPECT_EQ(get(file_, 0x20100076).toDouble(), 3);
  EXPECT_EQ(get(file_, 0x20030015).toDouble(), 3);
  EXPECT_EQ(get(file_, 0x20030053), Variant("IRRAD"));
  EXPECT_EQ(get(file_, 0x20020028), Variant("EMP"));
  EXPECT_EQ(get(file_, 0x20020083), Variant("own.geo"));
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(SequenceTest, CopyMakesMissingBlocksAndRefusesItself) {
  ASSERT_EQ(file_.deleteBlock(0x2010), 0u);
  setSteps({"Good"});
  EXPECT_EQ(asf_.copySequenceTo(file_), 0u);
  EXPECT_EQ(count(file_, 0x2010), 1);
  FileAccess closed;
  EXPECT_EQ(asf_.copySequenceTo(closed), kFileNotOpen);
  FileAccess other_closed;  // the same pair in both directions would lock in both orders
  EXPECT_EQ(other_closed.copySequenceTo(asf_), kFileNotOpen);
  EXPECT_EQ(asf_.copySequenceTo(asf_), kBadArgument);
  EXPECT_THAT(
      log, ElementsAre(HasSubstr(asf_.name() + ". Destination is not open"), HasSubstr("(unknown). Source is not open"),
                       HasSubstr("The source and destination cannot be the same")));
}

TEST_F(SequenceTest, TitleOfTheSequence) {
  struct Case {
    const char* title;
    const char* sequence_title;
    const char* copied;
  };
  for (const Case& c : {Case{"only this", "", "only this"}, Case{"", "only that", "only that"},
                        Case{"title", "sequence", "sequence"}}) {
    FileAccess source;
    const std::string name = path(std::string("title") + c.copied);
    ASSERT_EQ(source.open(name, CREATE), 0u);
    ASSERT_EQ(source.createBlock(0x2010, 0, 1, 1), 0u);
    const auto put = [&](std::uint32_t code, const char* text) {
      if (*text != '\0') {
        EXPECT_EQ(source.setParameter(code, Variant(text), 0, 0), 0u);
      }
    };
    put(0x20000002, c.title);
    put(kSequenceTitle, c.sequence_title);
    EXPECT_EQ(source.copySequenceTo(file_), 0u);
    EXPECT_EQ(get(file_, kSequenceTitle), Variant(c.copied));
  }
}

}  // namespace
}  // namespace orbtest
