// Location and fit of lines, the fit of one region, and regions, on data files with spectra of known truth.
#include <gmock/gmock.h>

#include <functional>
#include <limits>

#include "analysis_file.h"

namespace {

const float kNan = std::numeric_limits<float>::quiet_NaN();

// Of the records of the table of lines.
constexpr ULONG kCentroid = 0x2006000A;
constexpr ULONG kCentroidU = 0x2006000B;
constexpr ULONG kArea = 0x2006000C;
constexpr ULONG kAreaU = 0x2006000D;
constexpr ULONG kFirst = 0x2006001E;
constexpr ULONG kLast = 0x2006001F;
constexpr ULONG kRegion = 0x20060021;
constexpr ULONG kMarks = 0x20060040;
// Settings.
constexpr ULONG kLocateFirst = 0x20030008;
constexpr ULONG kLocateLast = 0x20030009;
constexpr ULONG kFitFirst = 0x20030046;
constexpr ULONG kFitLast = 0x20030047;
constexpr ULONG kRegionFirst = 0x2013000C;
constexpr ULONG kRegionLast = 0x2013000D;
constexpr ULONG kThreshold = 0x20030005;

class PeakFile : public AnalysisFile {
 protected:
  void SetUp() override {
    AnalysisFile::SetUp();
    put(0x2003003F, 3.0f);  // least significance
  }
  void setCount(ULONG channel, float value) {
    ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, &value, AIO_FORMAT_FLOAT, 1, channel, 1, 1));
  }
  /// Poisson counts of lines on a falling continuum, element 0 channel 1.
  static std::vector<double> drawnLines(int n, std::vector<TrueLine> lines, unsigned seed) {
    for (TrueLine& line : lines) line.position -= 1;
    std::mt19937_64 random(seed);
    return drawnCounts(expectedCounts({n, lines, 80, 20, 0}), random);
  }
  LONG locate() { return AA_2nd_Diff_Peak_Loc(file_, 0, 0, 0); }
  LONG fit() { return lPANolin(file_, 0, 0, 0); }
  int lines() { return countOf(file_, ORB_CLS_PEAKS); }
};

struct Truth {
  double position, area;
  int region;
};

/// Lines alone, two multiplets, and lines at both ends.
const std::vector<Truth> kTruth = {{8.3, 3000, 1},   {150.6, 800, 2}, {300, 20000, 3},  {303.2, 8000, 3},
                                   {500.4, 400, 4},  {700, 5000, 5},  {704.5, 5000, 5}, {709, 5000, 5},
                                   {900.25, 1e6, 6}, {1019, 4000, 7}};

std::vector<TrueLine> trueLines(double (*width)(double)) {
  std::vector<TrueLine> lines;
  for (const Truth& t : kTruth) lines.push_back({t.position, width(t.position), t.area, 0});
  return lines;
}

TEST_F(PeakFile, EveryLineIsLocatedAndFitted) {
  calibrate();
  setCounts(drawnLines(1024, trueLines(widthAt), 4));
  ASSERT_ANA(ANA_OK, locate());
  EXPECT_THAT(lines(), testing::AllOf(testing::Ge(7), testing::Le(12)));  // multiplets show in the fit alone
  ASSERT_ANA(ANA_OK, fit());
  ASSERT_EQ(lines(), static_cast<int>(kTruth.size()));
  EXPECT_EQ(whole(0x20060060), lines());
  EXPECT_EQ(whole(0x20060061), 7);
  for (int record = 1; record <= lines(); ++record) {
    const Truth& truth = kTruth[static_cast<std::size_t>(record - 1)];
    SCOPED_TRACE(truth.position);
    EXPECT_EQ(whole(kRegion, record), truth.region);
    EXPECT_NEAR(number(kCentroid, record), truth.position, 4 * number(kCentroidU, record));
    EXPECT_NEAR(number(kArea, record), truth.area, 4 * number(kAreaU, record));
    EXPECT_LT(number(kAreaU, record), 0.15 * truth.area);
    EXPECT_NEAR(number(0x20060007, record), 0.5 * number(kCentroid, record), 1e-3);
    EXPECT_NEAR(number(0x20060024, record) / (0.5 * widthAt(truth.position)), 1, 0.1);
    EXPECT_LT(whole(kFirst, record), truth.position);
    EXPECT_GT(whole(kLast, record), truth.position);
    const bool is_cut = whole(kFirst, record) == 1 || whole(kLast, record) == 1024;
    EXPECT_EQ((whole(kMarks, record) & 8) != 0, is_cut);
  }
  // A second run from the table of the first changes next to nothing.
  const double before = number(kArea, 4);
  ASSERT_ANA(ANA_OK, fit());
  ASSERT_EQ(lines(), static_cast<int>(kTruth.size()));
  EXPECT_NEAR(number(kArea, 4), before, 0.1 * number(kAreaU, 4));
}

TEST_F(PeakFile, WithoutCalibrationWidthsComeFromTheCounts) {
  const auto six = [](double) { return 6.0; };
  std::vector<TrueLine> lines_put;
  for (const double position : {150.0, 300.0, 420.0, 434.0, 800.0}) lines_put.push_back({position, six(0), 20000, 0});
  setCounts(drawnLines(1024, lines_put, 6));
  ASSERT_ANA(ANA_OK, locate());
  ASSERT_ANA(ANA_OK, fit());
  ASSERT_EQ(lines(), 5);
  for (int record = 1; record <= 5; ++record) {
    const double truth = lines_put[static_cast<std::size_t>(record - 1)].position;
    EXPECT_NEAR(number(kCentroid, record), truth, 4 * number(kCentroidU, record)) << truth;
    EXPECT_NEAR(number(kArea, record), 20000, 4 * number(kAreaU, record)) << truth;
  }
}

TEST_F(PeakFile, SpectraWithoutLinesHaveAnEmptyTable) {
  const struct {
    int channels;
    double level;
    LONG when_calibrated;  // a line must be narrower than the spectrum
  } cases[] = {{1024, 0, ANA_OK},  {1024, 100, ANA_OK},  {9, 1000, ANA_OK},
               {1, 0, ANA_BADCAL}, {1, 1e6, ANA_BADCAL}, {2, 1e6, ANA_BADCAL}};
  for (const bool is_calibrated : {false, true}) {
    if (is_calibrated) calibrate();
    for (const auto& c : cases) {
      SCOPED_TRACE(std::to_string(c.channels) + " channels of " + std::to_string(c.level));
      setCounts(std::vector<double>(static_cast<std::size_t>(c.channels), c.level));
      EXPECT_ANA(is_calibrated ? c.when_calibrated : ANA_OK, locate());
      EXPECT_EQ(lines(), 0);
      EXPECT_ANA(is_calibrated ? c.when_calibrated : ANA_OK, fit());
      EXPECT_EQ(lines(), 0);
    }
  }
}

TEST_F(PeakFile, OnlyTheChannelsThatAreAskedForAreSearchedAndFitted) {
  calibrate();
  setCounts(drawnLines(1024, trueLines(widthAt), 4));
  put(kLocateFirst, 250);
  put(kLocateLast, 5000);  // the last there is
  ASSERT_ANA(ANA_OK, locate());
  ASSERT_GE(lines(), 5);
  for (int record = 1; record <= lines(); ++record) EXPECT_GE(number(0x20060006, record), 249.5);
  put(kFitFirst, 600);
  put(kFitLast, 706);  // through the triplet
  ASSERT_ANA(ANA_OK, fit());
  ASSERT_GE(lines(), 2);
  for (int record = 1; record <= lines(); ++record) {
    EXPECT_GE(whole(kFirst, record), 600);
    EXPECT_LE(whole(kLast, record), 706);
  }
}

TEST_F(PeakFile, FailuresHaveAStatusAndLeaveTheTableAlone) {
  calibrate();
  setCounts(drawnLines(1024, trueLines(widthAt), 4));
  ASSERT_ANA(ANA_NOPEAKTABLE, fit());
  ASSERT_ANA(ANA_OK, locate());
  ASSERT_ANA(ANA_OK, fit());
  const auto former = contentOf(ORB_CLS_PEAKS);
  const auto locating = [&] { return locate(); };
  const auto fitting = [&] { return fit(); };
  const struct {
    const char* name;
    std::function<LONG()> run;
    LONG status;
    std::function<void()> spoil, mend;
  } cases[] = {
      {"search inverted", locating, ANA_EMPTYREGION, [&] { put(kLocateFirst, 500), put(kLocateLast, 499); },
       [&] { put(kLocateFirst, 1), put(kLocateLast, 1024); }},
      {"search behind the end", locating, ANA_OUTSIDE, [&] { put(kLocateFirst, 1025), put(kLocateLast, 2000); },
       [&] { put(kLocateFirst, 1), put(kLocateLast, 1024); }},
      {"search before the beginning", locating, ANA_OUTSIDE, [&] { put(kLocateFirst, -5), put(kLocateLast, 0); },
       [&] { put(kLocateFirst, 1), put(kLocateLast, 1024); }},
      {"threshold", locating, ANA_BADSETTING, [&] { put(kThreshold, 0.0f); }, [&] { put(kThreshold, 3.0f); }},
      {"threshold NaN", locating, ANA_BADSETTING, [&] { put(kThreshold, kNan); }, [&] { put(kThreshold, 3.0f); }},
      {"search, NaN", locating, ANA_BADCOUNTS, [&] { setCount(1024, kNan); }, [&] { setCount(1024, 20); }},
      {"search, negative", locating, ANA_BADCOUNTS, [&] { setCount(1, -1); }, [&] { setCount(1, 80); }},
      {"fit inverted", fitting, ANA_EMPTYREGION, [&] { put(kFitFirst, 500), put(kFitLast, 499); },
       [&] { put(kFitFirst, 1), put(kFitLast, 1024); }},
      {"fit behind the end", fitting, ANA_OUTSIDE, [&] { put(kFitFirst, 1025), put(kFitLast, 2000); },
       [&] { put(kFitFirst, 1), put(kFitLast, 1024); }},
      {"continuum", fitting, ANA_BADSETTING, [&] { put(0x20030028, "CURVED"); }, [&] { put(0x20030028, "STEP"); }},
      {"fit, NaN", fitting, ANA_BADCOUNTS, [&] { setCount(512, kNan); }, [&] { setCount(512, 50); }},
      {"width falls", fitting, ANA_BADCAL, [&] { put(0x20000049, -0.1); }, [&] { put(0x20000049, 0.05); }},
      {"gain NaN", locating, ANA_BADCAL, [&] { put(0x20000021, static_cast<double>(kNan)); },
       [&] { put(0x20000021, 0.5); }},
      {"no spectrum", locating, ANA_NOSPECTRUM, [&] { AioDeleteBlock(file_, ORB_CLS_SPECTRUM); }, [] {}},
      {"fit, no spectrum", fitting, ANA_NOSPECTRUM, [] {}, [] {}},
      {"search, reserved", [&] { return AA_2nd_Diff_Peak_Loc(file_, 0, 1, 0); }, ANA_BADARG, [] {}, [] {}},
      {"fit, reserved", [&] { return lPANolin(file_, 0, 0, 1); }, ANA_BADARG, [] {}, [] {}},
      {"no file", [] { return lPANolin(nullptr, 0, 0, 0); }, AIO_BADHANDLE, [] {}, [] {}},
  };
  for (const auto& c : cases) {
    c.spoil();
    EXPECT_ANA(c.status, c.run()) << c.name;
    EXPECT_TRUE(contentOf(ORB_CLS_PEAKS) == former) << c.name;
    c.mend();
  }
}

TEST_F(PeakFile, ReadOnlyFileKeepsItsTable) {
  calibrate();
  setCounts(drawnLines(1024, trueLines(widthAt), 4));
  ASSERT_ANA(ANA_OK, locate());
  ASSERT_STATUS(AIO_OK, AioFlush(file_));
  file_.close();
  file_ = File::open(path(), AIO_READ_ONLY);
  const auto former = contentOf(ORB_CLS_PEAKS);
  EXPECT_ANA(AIO_READONLY, locate());
  EXPECT_ANA(AIO_READONLY, fit());
  EXPECT_TRUE(contentOf(ORB_CLS_PEAKS) == former);
}

// ---- One region

class RegionFile : public PeakFile {
 protected:
  void SetUp() override {
    PeakFile::SetUp();
    calibrate();
    setCounts(drawnLines(1024, {{800.4, 4, 20000, 0}, {1021, 4.5, 9000, 0}}, 8));
  }
  void region(int first, int last) {
    put(kRegionFirst, first);
    put(kRegionLast, last);
  }
  LONG run(SHORT set = 1) { return lEncal1(file_, set, 0, 0); }
};

TEST_F(RegionFile, OneLineIsFitted) {
  region(788, 813);
  ASSERT_ANA(ANA_OK, run());
  EXPECT_NEAR(number(0x200D0002), 800.4, 4 * number(0x200D0005));
  EXPECT_LT(number(0x200D0005), 0.05);
  EXPECT_NEAR(number(0x200D0004), 20000, 4 * number(0x200D0008));
  EXPECT_NEAR(number(0x20130005), 2, 4 * number(0x20130006));  // [keV]
  EXPECT_NEAR(number(0x20130004), 400.2, 0.05);
  EXPECT_EQ(whole(0x2013000B), 0);
}

TEST_F(RegionFile, ChannelsPastTheEndAreLeftOutAndMarked) {
  region(1008, 1040);
  ASSERT_ANA(ANA_OK, run());
  EXPECT_EQ(whole(kRegionLast), 1024);
  EXPECT_EQ(whole(0x2013000B) & 8, 8);
  EXPECT_NEAR(number(0x200D0002), 1021, 4 * number(0x200D0005));
}

TEST_F(RegionFile, FailuresHaveAStatusAndLeaveTheFormerPoint) {
  region(788, 813);
  ASSERT_ANA(ANA_OK, run());
  const auto former = contentOf(0x200D);
  const double width = number(0x20130005);
  const struct {
    const char* name;
    int first, last;
    LONG status;
    std::vector<std::pair<ULONG, float>> counts;  // put there before
  } cases[] = {
      {"inverted", 813, 788, ANA_EMPTYREGION, {}},         {"outside", 1025, 1030, ANA_OUTSIDE, {}},
      {"one channel", 800, 800, ANA_TOONARROW, {}},        {"three channels", 799, 801, ANA_TOONARROW, {}},
      {"nothing there", 300, 330, ANA_NOPEAK, {}},         {"NaN elsewhere", 788, 813, ANA_BADCOUNTS, {{5, kNan}}},
      {"negative", 788, 813, ANA_BADCOUNTS, {{5, -3.0f}}},
  };
  for (const auto& c : cases) {
    region(c.first, c.last);
    for (const auto& [channel, count] : c.counts) setCount(channel, count);
    EXPECT_ANA(c.status, run()) << c.name;
    EXPECT_TRUE(contentOf(0x200D) == former) << c.name;
    EXPECT_EQ(number(0x20130005), width) << c.name;
  }
  region(788, 813);
  EXPECT_ANA(ANA_BADARG, run(2));
  setCounts(std::vector<double>(1024, 0));
  EXPECT_ANA(ANA_NOCOUNTS, run());
  EXPECT_TRUE(contentOf(0x200D) == former);
}

TEST_F(RegionFile, LimitsOfALine) {
  const struct {
    const char* name;
    FLAG use_calibration;
    ULONG channel;
    REAL energy;
    LONG status;
    ULONG first, last;
  } cases[] = {
      {"calibrated", 1, 800, 0, ANA_OK, 788, 812},                 // 3 times 4 channels
      {"width of another energy", 1, 800, 100, ANA_OK, 791, 809},  // 1.5 keV there: 3 channels
      {"low end", 1, 2, 400, ANA_OK, 1, 14},
      {"high end", 1, 1020, 400, ANA_OK, 1008, 1024},
      {"channel 0", 1, 0, 0, ANA_OUTSIDE, 0, 0},
      {"past the end", 1, 1025, 0, ANA_OUTSIDE, 0, 0},
      {"huge", 0, 0xFFFFFFFFu, 0, ANA_OUTSIDE, 0, 0},
      {"energy NaN", 1, 800, kNan, ANA_BADARG, 0, 0},
      {"no line there", 0, 400, 0, ANA_NOPEAK, 0, 0},
  };
  for (const auto& c : cases) {
    ULONG first = 77;
    ULONG last = 78;
    EXPECT_ANA(c.status, ulUtlRoi(file_, c.use_calibration, c.channel, c.energy, &first, &last)) << c.name;
    EXPECT_EQ(first, c.status == ANA_OK ? c.first : 77u) << c.name;
    EXPECT_EQ(last, c.status == ANA_OK ? c.last : 78u) << c.name;
  }
  // From the counts: the width within 15 %.
  ULONG first = 0;
  ULONG last = 0;
  ASSERT_ANA(ANA_OK, ulUtlRoi(file_, 0, 800, 0, &first, &last));
  EXPECT_NEAR(static_cast<double>(last - first), 24, 4);
  EXPECT_ANA(ANA_BADARG, ulUtlRoi(file_, 0, 800, 0, nullptr, &last));
  put(0x20000048, 0.0);
  put(0x20000049, 0.0);
  EXPECT_ANA(ANA_NOFWHMCAL, ulUtlRoi(file_, 1, 800, 0, &first, &last));
  put(0x20000021, 0.0);
  EXPECT_ANA(ANA_NOENERGYCAL, ulUtlRoi(file_, 1, 800, 0, &first, &last));
}

}  // namespace
