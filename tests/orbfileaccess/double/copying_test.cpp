// Operations on two files.
#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

struct Copy {
  const char* name;
  std::function<std::uint32_t(FileAccess&, FileAccess&)> run;
  const char* service_operation;
  const char* call;
  const char* locks;  ///< source, destination
  std::vector<const char*> refusals = {"Source file is not open", "Destination file is not open"};
  std::uint32_t not_open = 0xEBE81389;
};

void PrintTo(const Copy& copy, std::ostream* out) {
  *out << copy.name;
}

class CopyTest : public DoubleTest, public ::testing::WithParamInterface<Copy> {
 protected:
  std::string line(const std::string& text, std::uint32_t code) const {
    const std::string name = GetParam().name;
    char digits[16];
    std::snprintf(digits, sizeof digits, " (0x%08X)", static_cast<unsigned>(code));
    return "FileAccess::" + name.substr(0, name.find('_')) + ": File: " + text + digits;
  }

  FileAccess source_;
  FileAccess dest_;
};

TEST_P(CopyTest, PassesBothFilesAndMarksTheDestinationFirst) {
  open(source_, "a.dat", kA);
  open(dest_, "b.dat", kB);
  service().watched = {&source_, &dest_};
  EXPECT_EQ(GetParam().run(source_, dest_), 0u);
  EXPECT_EQ(service().texts(), Lines{GetParam().call});
  EXPECT_EQ(service().last().locks, GetParam().locks);
  EXPECT_EQ(service().last().modified, "-M");
  EXPECT_FALSE(source_.hasBeenModified());
}

TEST_P(CopyTest, RefusalOfTheServiceIsNotLoggedAndMarksTheDestination) {
  open(source_, "a.dat", kA);
  open(dest_, "b.dat", kB);
  service().refuse(GetParam().service_operation);
  EXPECT_EQ(GetParam().run(source_, dest_), kRefusedCode);
  EXPECT_TRUE(dest_.hasBeenModified());
  EXPECT_EQ(log, Lines{});
}

TEST_P(CopyTest, ChecksSourceThenDestinationThenThatTheyDiffer) {
  const std::uint32_t not_open = GetParam().not_open;
  EXPECT_EQ(GetParam().run(source_, dest_), not_open);
  open(source_, "a.dat", kA);
  EXPECT_EQ(GetParam().run(source_, dest_), not_open);
  EXPECT_EQ(GetParam().run(source_, source_), 0xECE99D7Du);
  EXPECT_EQ(log, (Lines{line(std::string("(unknown). ") + GetParam().refusals[0], not_open),
                        line(std::string("a.dat. ") + GetParam().refusals[1], not_open),
                        line("a.dat. The source and destination cannot be the same", 0xECE99D7D)}));
  EXPECT_FALSE(dest_.hasBeenModified() || source_.hasBeenModified());
  EXPECT_EQ(service().texts(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(
    All, CopyTest,
    ::testing::Values(Copy{"copyTo_code", [](FileAccess& s, FileAccess& d) { return s.copyTo(d, 0x20000007); },
                           "AioCopy", "AioCopy(A, B, 2000)", "LL"},
                      Copy{"copyTo_class", [](FileAccess& s, FileAccess& d) { return s.copyTo(d, 0x2005); }, "AioCopy",
                           "AioCopy(A, B, 2005)", "LL"},
                      Copy{"copyTo_zero", [](FileAccess& s, FileAccess& d) { return s.copyTo(d, 0); }, "AioCopy",
                           "AioCopy(A, B, 0)", "LL"},
                      Copy{"copyTo_everything", [](FileAccess& s, FileAccess& d) { return s.copyTo(d, 0xFFFFFFFF); },
                           "AioDupFile", "AioDupFile(A, B)", "LL"},
                      Copy{"duplicateTo",
                           [](FileAccess& s, FileAccess& d) { return s.duplicateTo(d); },
                           "AioDupFile",
                           "AioDupFile(A, B)",
                           "--",
                           {"File is not open", "Destination is not open"},
                           0xEBE8138D},
                      Copy{"moveTo", [](FileAccess& s, FileAccess& d) { return s.moveTo(d, 0x2006, 3, 65535); },
                           "AioMoveRecord", "AioMoveRecord(2006, A, 3, B, 65535)", "L-"}),
    [](const auto& test) { return std::string(test.param.name); });

// ---- Calibrations -----------------------------------------------------------------------------------------

class CalibrationCopyTest : public DoubleTest {
 protected:
  CalibrationCopyTest() {
    service().others = Parameter{"", 27, 8, 8};
    open(source_, "a.dat", kA);
    open(dest_, "b.dat", kB);
  }

  std::uint32_t copy(int options) {
    return source_.copyCalibrationsTo(dest_, static_cast<CopyCalibrationOptions>(options));
  }

  /// Codes of the reads of one kind of calibration, in order, from the calls made.
  Lines codesRead() const {
    Lines codes;
    for (const std::string& text : service().textsOfWork()) {
      if (text.rfind("AioGetParam(A, ", 0) == 0) codes.push_back(text.substr(15, 8));
    }
    return codes;
  }

  static bool has(const Lines& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  FileAccess source_;
  FileAccess dest_;
};

const Lines kShapeList{"20000064", "2000006B", "20000048", "20000049", "2000001A", "2000006D", "2000006E",
                       "2000006F", "20000076", "20000065", "20000066", "20000067", "20000068", "20000069",
                       "2000006A", "20000070", "20000071", "20000072", "20000073", "20000074", "20000075"};
const Lines kEnergyList{"20000046", "20000061", "2000006C", "20000020", "20000021", "20000022", "20000023",
                        "20000024", "20000025", "20000019", "20000026", "20000047", "2000001F"};
const Lines kSettingsList{"20000249", "2000024A", "2000024B", "2000024C", "2000024E", "2000024F"};

TEST_F(CalibrationCopyTest, EachKindCopiesItsBlockAndReadsItsListUnderBothLocks) {
  service().watched = {&source_, &dest_};
  Lines all = kShapeList;
  all.insert(all.end(), kEnergyList.begin(), kEnergyList.end());
  all.insert(all.end(), kSettingsList.begin(), kSettingsList.end());
  const struct {
    int option;
    Lines blocks, list;
  } kinds[] = {{SHAPE, {"AioCopy(A, B, 2013)"}, kShapeList},
               {ENERGY, {"AioCopy(A, B, 200D)"}, kEnergyList},
               {EFFICIENCY, {"AioCopy(A, B, 2002)"}, {}},
               {PEAK2TOTAL, {"AioCopy(A, B, 2029)"}, {}},
               {TOJO, {}, kSettingsList},
               {ALL, {"AioCopy(A, B, 2013)", "AioCopy(A, B, 200D)", "AioCopy(A, B, 2002)", "AioCopy(A, B, 2029)"}, all},
               {0, {}, {}}};
  for (const auto& kind : kinds) {
    service().calls.clear();
    EXPECT_EQ(copy(kind.option), 0u);
    EXPECT_EQ(codesRead(), kind.list) << kind.option;
    Lines blocks;
    for (const Call& call : service().calls) {
      EXPECT_EQ(call.locks, "LL");
      if (call.text.rfind("AioCopy", 0) == 0) blocks.push_back(call.text);
    }
    EXPECT_EQ(blocks, kind.blocks) << kind.option;
  }
}

TEST_F(CalibrationCopyTest, MissingBlockIsCreatedAndTheCopyTriedAgain) {
  service().refuse("AioCopy", AIO_NOBLOCK);
  service().refuse("AioCreateBlock");  // whatever it answers
  EXPECT_EQ(copy(EFFICIENCY), 0u);
  EXPECT_EQ(service().texts(), (Lines{"AioCopy(A, B, 2002)", "AioCreateBlock(B, 2002, 0)", "AioCopy(A, B, 2002)"}));
  EXPECT_EQ(log, Lines{});
}

TEST_F(CalibrationCopyTest, BlockMissingInTheSourceIsPassedOver) {
  service().refuse("AioCopy", AIO_NOBLOCK);
  service().refuse("AioCopy", AIO_NOBLOCK);
  EXPECT_EQ(copy(EFFICIENCY | PEAK2TOTAL), 0u);
  EXPECT_EQ(service().last().text, "AioCopy(A, B, 2029)");
  EXPECT_EQ(log, Lines{});
}

TEST_F(CalibrationCopyTest, FailedBlockEndsTheCopyUnderItsOwnName) {
  const struct {
    int option;
    const char* name;
  } kinds[] = {{SHAPE, "SHAPECALRES"}, {ENERGY, "CALRESULTS"}, {EFFICIENCY, "GEOM"}, {PEAK2TOTAL, "PTCALIB"}};
  for (const auto& kind : kinds) {
    log.clear();
    service().calls.clear();
    service().refuse("AioCopy");
    EXPECT_EQ(copy(kind.option | TOJO), kRefusedCode);
    EXPECT_EQ(log, Lines{std::string("FileAccess::copyCalibrationsTo: File: a.dat. Failed to copy ORB_CLS_") +
                         kind.name + " (0xEBE81232)"});
    EXPECT_EQ(service().texts().size(), 1u) << "nothing after it";
  }
  service().refuse("AioCopy", AIO_NOBLOCK);
  service().refuse("AioCopy");
  EXPECT_EQ(copy(SHAPE), kRefusedCode) << "also at the second try";
}

TEST_F(CalibrationCopyTest, ValuesAreCarriedOverAndTheirFailuresPassedOver) {
  service().values[0x20000021] = bytesOf(0.5);
  service().values[0x20000047] = bytesOf(1.0);
  service().refuse("AioPutParam");
  EXPECT_EQ(copy(ENERGY), 0u);
  Lines puts;
  for (const std::string& text : service().textsOfWork()) {
    if (text.rfind("AioPutParam", 0) == 0) puts.push_back(text);
  }
  EXPECT_EQ(puts, (Lines{"AioPutParam(B, 20000021, 0, 0, 000000000000E03F)",
                         "AioPutParam(B, 20000047, 0, 0, 000000000000F03F)"}))
      << "what has no value in the source is not written";
  const std::string prefix = "FileAccess::copyCalibrationsTo: File: a.dat. ";
  EXPECT_TRUE(has(log, prefix + "Failed to get parameter: P20000046 (0xEBE8805A)"));
  EXPECT_TRUE(has(log, prefix + "Failed to set parameter: P20000021 (0xEBE81232)"));
  EXPECT_EQ(log.size(), 13u) << "11 without a value; for the refused one also setParameter's own line";
}

TEST_F(CalibrationCopyTest, SettingsAreWrittenWhenTheSourceHasAny) {
  service().values[0x2000024C] = bytesOf(2.0);
  EXPECT_EQ(copy(TOJO), 0u);
  const Lines work = service().textsOfWork();
  ASSERT_EQ(work.size(), 12u);
  EXPECT_EQ(work[9], "AioPutParam(B, 2000024C, 0, 0, 0000000000000040)");
  EXPECT_EQ(work[10], "AioPutParam(B, 2000024E, 0, 0, 0000000000000000)") << "an empty value is written as 0";
  EXPECT_EQ(log, Lines{});
}

TEST_F(CalibrationCopyTest, SettingsThatCannotBeReadOrWrittenAreLoggedAndPassedOver) {
  const std::string line = "FileAccess::copyCalibrationsTo: File: a.dat. Failed to get Tojo settings (0x";
  EXPECT_EQ(copy(TOJO), 0u);
  EXPECT_EQ(log, Lines{line + "EBE8805A)"}) << "no value at all: the status of the last read";
  EXPECT_EQ(codesRead().size(), service().textsOfWork().size()) << "nothing written";

  log.clear();
  service().values[0x20000249] = bytesOf(2.0);
  service().refuse("AioPutParam");
  EXPECT_EQ(copy(TOJO), 0u);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[1], line + "EBE81232)") << "the same text for the writing";
}

TEST_F(CalibrationCopyTest, ExceptionInTheSettingsStepIsCaughtUnderItsOwnName) {
  service().values[0x20000249] = bytesOf(2.0);
  service().onNext("AioPutParam", [] { throw std::runtime_error("torn"); });
  EXPECT_EQ(copy(TOJO), 0u);
  service().onNext("AioGetParam", [] { throw 5; });
  EXPECT_EQ(copy(TOJO), 0u);
  const std::string where = "FileAccess::copyCalibrationsTo : TOJO: File: a.dat. ";
  EXPECT_EQ(log, (Lines{where + "torn (0xECE99F6D)", where + "Exception (0xECE99F6D)"}));
}

TEST_F(CalibrationCopyTest, ChecksDestinationThenSourceThenThatTheyDiffer) {
  FileAccess empty;
  EXPECT_EQ(empty.copyCalibrationsTo(empty, ALL), 0xEBE81389u);
  EXPECT_EQ(empty.copyCalibrationsTo(dest_, ALL), 0xEBE81389u);
  EXPECT_EQ(source_.copyCalibrationsTo(source_, ALL), 0xECE99D7Du);
  const std::string where = "FileAccess::copyCalibrationsTo: File: ";
  EXPECT_EQ(log, (Lines{where + "(unknown). Destination is not open (0xEBE81389)",
                        where + "(unknown). Source is not open (0xEBE81389)",
                        where + "a.dat. The source and destination cannot be the same (0xECE99D7D)"}));
}

}  // namespace
}  // namespace orbtest
