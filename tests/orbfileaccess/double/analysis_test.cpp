// The analysis operations: what they ask of the service and of the routines, in which order, and what becomes of it.
#include <cmath>
#include <future>
#include <system_error>

#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

/// Every parameter is a text here, so that a value in a call reads as it is.
class AnalysisTest : public DoubleTest {
 protected:
  AnalysisTest() {
    service().others = Parameter{"P", 14, 24, 24};
    open(file_, "a.dat");
    service().watched = {&file_};
  }

  static void store(ULONG code, const std::string& text) {
    service().values[code] = bytesOf(text.data(), text.size() + 1);
  }

  /// The calls since the last look, without dictionary look-ups and reads unless these are asked for; puts with their
  /// texts: "put 20020028 1 1 DUAL".
  Lines calls(bool with_reads = false) {
    Lines lines;
    for (const std::string& text : service().textsOfWork()) {
      if (text.rfind("AioGetParam", 0) == 0 && !with_reads) continue;
      lines.push_back(text.rfind("AioPutParam", 0) == 0 ? readablePut(text) : text);
    }
    for (const Call& call : service().calls) EXPECT_EQ(call.locks, "L") << call.text;
    service().calls.clear();
    return lines;
  }

  /// What an evaluation throws; 0 when it throws nothing.
  std::uint32_t thrownBy(EvaluationOption option) const {
    try {
      file_.evaluate(option, 661, false);
      return 0;
    } catch (unsigned int status) {
      return status;
    }
  }

  static bool contains(const Lines& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  FileAccess file_;

 private:
  static std::string readablePut(const std::string& call) {
    char code[16], hex[128] = "";
    unsigned record = 0, entry = 0;
    std::sscanf(call.c_str(), "AioPutParam(A, %15[0-9A-F], %u, %u, %127[0-9A-F])", code, &record, &entry, hex);
    std::string text;
    for (const char* at = hex; at[0] != '\0' && at[1] != '\0' && std::string(at, 2) != "00"; at += 2)
      text += static_cast<char>(std::stoi(std::string(at, 2), nullptr, 16));
    return std::string("put ") + code + " " + std::to_string(record) + " " + std::to_string(entry) + " " + text;
  }
};

TEST_F(AnalysisTest, EnergyTypeEquationsAreFetchedByKindAndEvaluated) {
  const struct {
    EvaluationOption option;
    Lines calls;
    float value;
  } rows[] = {{CHANNEL2ENERGY, {"lGetEneq(A, 1, 1, cleared)", "rEval(5, kind 1)"}, 500},
              {ENERGY2CHANNEL, {"lGetEneq(A, 1, 1, cleared)", "rPEn2Chan(5, kind 1)"}, 0.05f},
              {ENERGY2FWHM, {"lGetEneq(A, 2, 1, cleared)", "rEval(5, kind 2)"}, 500},
              {ENERGY2LOWTAIL, {"lGetEneq(A, 3, 1, cleared)", "rEval(5, kind 3)"}, 500}};
  for (const auto& row : rows) {
    const auto result = file_.evaluate(row.option, 5, false);
    EXPECT_EQ(result.value, row.value);
    EXPECT_EQ(result.uncertainty, 0);
    EXPECT_EQ(calls(), row.calls);
  }
  service().refuse("lGetEneq", 0x0062005A);
  EXPECT_EQ(thrownBy(ENERGY2FWHM), 0x0062005Au);
  service().refuse("lGetEneq", 0x0062005A);
  EXPECT_EQ(file_.evaluate(ENERGY2FWHM, 5, true).value, 0);
  service().calls.clear();
  EXPECT_EQ(file_.evaluate(static_cast<EvaluationOption>(11), 5, false).value, 0);
  EXPECT_EQ(calls(true), Lines{});
  EXPECT_FALSE(file_.hasBeenModified());
  EXPECT_EQ(log, Lines{});
}

TEST_F(AnalysisTest, AForcedEfficiencyModelIsPutBack) {
  store(0x20020028, "LINEAR");
  const std::pair<EvaluationOption, std::string> words[] = {
      {ENERGY2EMPIRICAL, "EMPIRICA"}, {ENERGY2LINEAR, "LINEAR"},   {ENERGY2INTERPOL, "INTERPOL"},
      {ENERGY2DUAL, "DUAL"},          {ENERGY2AVERAGE, "AVERAGE"}, {ENERGY2PEAK2TOTAL, "PTCAL"}};
  for (const auto& [option, word] : words) {
    const auto result = file_.evaluate(option, 661, false);
    EXPECT_FLOAT_EQ(result.value, 0.02f);
    EXPECT_FLOAT_EQ(result.uncertainty, 0.001f);
    EXPECT_EQ(calls(true),
              (Lines{"AioGetParam(A, 20020028, 1, 1, 25)", "put 20020028 1 1 " + word, "lGetEfeq(A, 1, 0 points)",
                     "lEffic(661, 7, 2, 79)", "lEffvar(661, 0.02, 7, 2, 80)", "put 20020028 1 1 LINEAR"}));
  }
  EXPECT_FLOAT_EQ(file_.evaluate(ENERGY2DEFAULTEFF, 661, false).value, 0.02f);
  EXPECT_EQ(calls(true), (Lines{"lGetEfeq(A, 1, 0 points)", "lEffic(661, 7, 2, 79)", "lEffvar(661, 0.02, 7, 2, 80)"}));
}

TEST_F(AnalysisTest, AFailureAfterTheModelWasForcedLeavesIt) {
  store(0x20020028, "LINEAR");
  for (const char* routine : {"lGetEfeq", "lEffic", "lEffvar"}) {
    service().refuse(routine, 0x00620082);
    EXPECT_EQ(thrownBy(ENERGY2DUAL), 0x00620082u) << routine;
    const Lines made = calls();
    EXPECT_EQ(made.front(), "put 20020028 1 1 DUAL");
    EXPECT_NE(made.back().rfind("put", 0), 0u) << routine;
  }
  service().refuse("lGetEfeq");
  EXPECT_EQ(file_.evaluate(ENERGY2DUAL, 661, true).value, 0);
  EXPECT_EQ(calls(), (Lines{"put 20020028 1 1 DUAL", "lGetEfeq(A, 1, 0 points)"}));
  service().refuse("lEffic");
  EXPECT_EQ(file_.evaluate(ENERGY2DUAL, 661, true).uncertainty, 0);
  EXPECT_EQ(calls().size(), 5u);
  service().values.clear();
  EXPECT_FLOAT_EQ(file_.evaluate(ENERGY2DUAL, 661, true).value, 0.02f);  // the selector has no value
  EXPECT_EQ(calls().back(), "put 20020028 1 1 ");
  EXPECT_EQ(log, Lines{});
}

TEST_F(AnalysisTest, AModelThatCannotBeReadForcedOrPutBackEndsTheEvaluationUnlessIgnored) {
  const auto accept = [] {};
  store(0x20020028, "LINEAR");
  const struct {
    std::function<void()> script;
    std::size_t calls_until_throw;
    std::string line;
  } rows[] = {{[] { service().refuse("AioGetParam"); }, 1, "getParameter: File: a.dat. Failed to get"},
              {[] { service().refuse("AioPutParam"); }, 2, "setParameter: File: a.dat. Failed to set"},
              {[&] { service().onNext("AioPutParam", accept), service().refuse("AioPutParam"); }, 6,
               "setParameter: File: a.dat. Failed to set"}};
  for (const auto& row : rows) {
    log.clear();
    row.script();
    EXPECT_EQ(thrownBy(ENERGY2DUAL), kRefusedCode);
    EXPECT_EQ(calls(true).size(), row.calls_until_throw);
    row.script();
    EXPECT_FLOAT_EQ(file_.evaluate(ENERGY2DUAL, 661, true).uncertainty, 0.001f);
    EXPECT_EQ(calls(true).size(), 6u);
    ASSERT_EQ(log.size(), 2u);  // the operation's own line each time, none of the evaluation
    for (const std::string& line : log)
      EXPECT_EQ(line, "FileAccess::" + row.line + " parameter: P20020028 Record: 1 Entry: 1 (0xEBE81232)");
  }
}

TEST_F(AnalysisTest, ARegionIsAskedForWithANegativeEnergyAs0) {
  const std::pair<float, const char*> energies[] = {{661.5f, "661.5"}, {-5.0f, "0"}, {-0.0f, "-0"}, {NAN, "nan"}};
  for (const auto& [energy, shown] : energies) {
    EXPECT_EQ(file_.determineRegion(100, energy, true), std::make_pair(90u, 110u));
    EXPECT_EQ(calls(), Lines{std::string("ulUtlRoi(A, 1, 100, ") + shown + ")"});
  }
  service().refuse("ulUtlRoi", 0x0062003A);
  EXPECT_EQ(file_.determineRegion(100, 0, false), std::make_pair(0u, 0u));
  EXPECT_EQ(log, Lines{"FileAccess::determineRegion: File: a.dat. Error returned from 'ulUtlRoi' (0x0062003A)"});
}

TEST_F(AnalysisTest, ASingleRegionIsFittedAndTheFirstPointPutBack) {
  store(0x200D0002, "17");
  const auto results = file_.estimateRegionParameters(90, 110, VARIABLE_CONTINUUM, STEP, 4.7f, true);
  EXPECT_EQ(results.size(), 14u);
  const Lines made = calls();
  EXPECT_EQ(Lines(made.begin(), made.begin() + 9),
            (Lines{"put 2000001F 1 0 7", "put 20030028 1 0 STEP", "put 200300C3 1 0 1", "put 200300C4 1 0 4.7",
                   "put 200D000C 1 0 1", "put 2013000C 1 0 90", "put 2013000D 1 0 110", "lEncal1(A, 1, 0, 0)",
                   "put 200D0002 1 0 17"}));
  EXPECT_EQ(made.size(), 7 + 1 + 12u);
  EXPECT_TRUE(file_.hasBeenModified());

  service().refuse("lEncal1", 0x006200BA);
  EXPECT_TRUE(file_.estimateRegionParameters(90, 110, USE_DEFAULT_OPTIONS, STEP, 1, false).empty());
  EXPECT_EQ(calls(), (Lines{"put 2000001F 1 0 3", "put 200D000C 1 0 1", "put 2013000C 1 0 90", "put 2013000D 1 0 110",
                            "lEncal1(A, 1, 0, 0)"}));
  EXPECT_EQ(log,
            Lines{"FileAccess::estimateRegionParameters: File: a.dat. Error returned from 'lEncal1' (0x006200BA)"});
  service().refuse("AioPutParam");
  EXPECT_TRUE(file_.estimateRegionParameters(90, 110, USE_DEFAULT_OPTIONS, STEP, 1, false).empty());
  EXPECT_EQ(calls().back().rfind("put", 0), 0u);  // no routine ran
}

TEST_F(AnalysisTest, TheFirstPointIsPutBackAlsoWithoutResults) {
  store(0x20130007, "1.5");  // a tail, which is no result of a fit without one
  EXPECT_TRUE(file_.estimateRegionParameters(90, 110, USE_DEFAULT_OPTIONS, STEP, 1, false).empty());
  const Lines made = calls();
  EXPECT_EQ(made.size(), 4 + 1 + 12u);
  EXPECT_TRUE(contains(made, "put 20130007 1 0 1.5"));
  EXPECT_EQ(log, Lines{});
}

TEST_F(AnalysisTest, AFileWithoutPointTablesGetsThemForASingleRegion) {
  service().refuse("AioCreateBlock");  // the fit is tried all the same
  EXPECT_TRUE(
      file_.estimateRegionParameters(90, 110, FIXED_CONTINUUM, static_cast<ContinuumType>(9), 4.7f, false).empty());
  EXPECT_EQ(calls(), (Lines{"AioInsertRecord(A, 200D, 1)", "AioCreateBlock(A, 200D, 0)", "AioCreateBlock(A, 2013, 0)",
                            "put 200D0002 0 0 0", "put 20130004 0 0 0", "put 2000001F 1 0 3", "put 20030026 1 0 4",
                            "put 20030028 1 0 NONE", "put 200300C3 1 0 0", "put 200D000C 1 0 1", "put 2013000C 1 0 90",
                            "put 2013000D 1 0 110", "lEncal1(A, 1, 0, 0)"}));
}

TEST_F(AnalysisTest, AContinuumWidthIsCutToChannelsWithinTheNumbersThereAre) {
  const std::pair<float, const char*> widths[] = {
      {3.9f, "3"}, {-2.5f, "0"}, {NAN, "0"}, {1e30f, "4294967296"}, {INFINITY, "4294967296"}, {-INFINITY, "0"}};
  for (const auto& [width, shown] : widths) {
    file_.quantifyRegion(1, 2, FIXED_CONTINUUM, LINEAR, width, false);
    const Lines made = calls();
    EXPECT_TRUE(contains(made, std::string("put 20030026 1 0 ") + shown)) << width << ::testing::PrintToString(made);
    EXPECT_TRUE(contains(made, "put 20000059 1 0 " + Variant(width).toString())) << width;
  }
  file_.quantifyRegion(1, 2, VARIABLE_CONTINUUM, static_cast<ContinuumType>(7), 3.9f, false);
  const Lines made = calls();
  for (const char* line : {"put 200300C4 1 0 3.9", "put 200300C3 1 0 1", "put 20030028 1 0 NONE"})
    EXPECT_TRUE(contains(made, line)) << line;
}

TEST_F(AnalysisTest, TheLinesOfARegionAreLocatedFittedAndRead) {
  service().count = 3;
  store(0x2006000A, "100.5");
  for (const auto& [tail, n_values] : {std::pair(false, 19u), std::pair(true, 21u)}) {
    const auto peaks = file_.quantifyRegion(90, 110, USE_DEFAULT_OPTIONS, LINEAR, 2.5f, tail);
    ASSERT_EQ(peaks.size(), 3u);
    EXPECT_EQ(peaks[1].size(), n_values);
    EXPECT_EQ(peaks[1].at(0x2006000A).toString(), "100.5");
    EXPECT_EQ(calls(), (Lines{"AioDeleteLevel(A, 20)", "put 20000059 1 0 2.5", "put 20030008 1 0 90",
                              "put 20030009 1 0 110", "put 20030010 1 0 1", "put 20030028 1 0 LINEAR",
                              "put 20030046 1 0 90", "put 20030047 1 0 110", "put 200300C3 1 0 0", "put 2006007A 1 0 1",
                              "AA_2nd_Diff_Peak_Loc(A, 0, 0, 0)", "lPANolin(A, 0, 0, 0)", "AioCount(A, 2006, 0, 0)"}));
  }
  service().values.clear();
  EXPECT_TRUE(file_.quantifyRegion(90, 110, VARIABLE_CONTINUUM, LINEAR, 2.5f, false).empty());  // no record has a value
  EXPECT_EQ(log, Lines{});
  for (const char* routine : {"AA_2nd_Diff_Peak_Loc", "lPANolin"}) {
    service().refuse(routine, 0x006200CA);
    EXPECT_TRUE(file_.quantifyRegion(90, 110, USE_DEFAULT_OPTIONS, LINEAR, 2.5f, false).empty());
    EXPECT_EQ(log.back(), std::string("FileAccess::quantifyRegion: File: a.dat. Error returned from '") + routine +
                              "' (0x006200CA)");
  }
}

TEST_F(AnalysisTest, ALineWhoseRecordCannotBeReadIsLeftOut) {
  service().count = 3;
  store(0x2006000A, "100.5");
  for (int i = 0; i < 19; ++i) service().onNext("AioGetParam", [] {});
  for (int i = 0; i < 19; ++i) service().refuse("AioGetParam", AIO_NOVALUE);
  EXPECT_EQ(file_.quantifyRegion(90, 110, USE_DEFAULT_OPTIONS, LINEAR, 2.5f, false).size(), 2u);
  const Lines made = calls(true);
  EXPECT_TRUE(contains(made, "AioGetParam(A, 20060034, 3, 0, 25)"));
  EXPECT_EQ(log, Lines{});
}

TEST_F(AnalysisTest, ARegionWhoseSettingsAreRefusedIsNotQuantified) {
  service().refuse("AioPutParam");
  service().refuse("AioDeleteLevel");  // of no consequence
  EXPECT_TRUE(file_.quantifyRegion(90, 110, USE_DEFAULT_OPTIONS, LINEAR, 2.5f, false).empty());
  EXPECT_EQ(calls().back(), "put 2006007A 1 0 1");  // all are tried, no routine runs
  EXPECT_EQ(log, Lines{"FileAccess::setParameter: File: a.dat. Failed to set parameter: P20000059 Record: 1 Entry: 0 "
                       "(0xEBE81232)"});
}

CalibrationPoints points(std::initializer_list<std::pair<float, float>> list) {
  CalibrationPoints made;
  for (const auto& [position, value] : list) made.push_back({{position, 9}, {value, 0.5f}});
  return made;
}

TEST_F(AnalysisTest, PointsAreWrittenAndFitted) {
  const auto energies = points({{100, 30}, {200, 60}});
  EXPECT_EQ(file_.energyShapeCalibration(energies, points({{30, 1}}), points({{30, 2}, {60, 3}}), 7).size(), 14u);
  EXPECT_EQ(calls(), (Lines{"AioDeleteBlock(A, 200D)",    "AioDeleteBlock(A, 2013)",     "AioCreateBlock(A, 200D, 0)",
                            "AioCreateBlock(A, 2013, 0)", "put 2000006C 0 0 4",          "put 20000061 0 0 POLY",
                            "put 2000001F 0 0 7",         "AioInsertRecord(A, 200D, 1)", "put 200D0002 1 0 100",
                            "put 200D0003 1 0 30",        "put 200D0007 1 0 0.5",        "AioInsertRecord(A, 200D, 2)",
                            "put 200D0002 2 0 200",       "put 200D0003 2 0 60",         "put 200D0007 2 0 0.5",
                            "put 2000006B 0 0 SQRT",      "AioInsertRecord(A, 2013, 1)", "put 20130004 1 0 30",
                            "put 20130005 1 0 1",         "put 20130006 1 0 0.5",        "put 2013000B 1 0 0",
                            "put 20130004 1 0 30",        "put 20130007 1 0 2",          "put 20130008 1 0 0.5",
                            "put 20130004 2 0 60",        "put 20130007 2 0 3",          "put 20130008 2 0 0.5",
                            "lEncal2(A, 1, null, null)"}));
  // Without FWHM points a tail point's record is inserted at its index from 0 and written at the index from 1.
  EXPECT_EQ(file_.energyShapeCalibration({}, {}, points({{30, 2}}), 0).size(), 3u);
  const Lines made = calls();
  EXPECT_EQ(Lines(made.begin() + 4, made.end()),
            (Lines{"put 2000006C 0 0 -1", "put 20000061 0 0 POLY", "put 2000001F 0 0 4", "AioInsertRecord(A, 2013, 0)",
                   "put 20130004 1 0 30", "put 20130007 1 0 2", "put 20130008 1 0 0.5", "lEncal2(A, 1, null, null)"}));
}

TEST_F(AnalysisTest, TermsFollowThePointsWhenNoneAreAskedFor) {
  const std::pair<std::size_t, const char*> rows[] = {{0, "-1"}, {3, "2"}, {5, "4"}, {9, "4"}};
  for (const auto& [n, terms] : rows) {
    EXPECT_EQ(file_.energyShapeCalibration(CalibrationPoints(n), {}, {}, 0).size(), n == 0 ? 0u : 8u);
    EXPECT_EQ(calls()[4], std::string("put 2000006C 0 0 ") + terms);
  }
}

TEST_F(AnalysisTest, APointThatCannotBeStoredIsLoggedAndTheFitRuns) {
  const auto two = points({{100, 30}, {200, 60}});
  const std::string insertion = "FileAccess::insertItem: File: a.dat. Failed to insert parameter ";
  const std::string here = "FileAccess::energyShapeCalibration: File: a.dat. Error inserting ";
  const std::string code = " (0xEBE81232)";
  const struct {
    CalibrationPoints energy, fwhm, tail;
    Lines log;
    const char* left_out;
    const char* written;
  } rows[] = {{two,
               {},
               {},
               {insertion + "200d0007" + code, here + "ecal pts" + code},
               "put 200D0002 1 0 100",
               "put 200D0002 2 0 200"},
              {{},
               two,
               {},
               {insertion + "20130004" + code, here + "fcal pts" + code},
               "put 20130004 1 0 100",
               "put 20130004 2 0 200"},
              {{}, {}, two, {insertion + "20130004" + code}, "nothing", "put 20130004 1 0 100"}};
  for (const auto& row : rows) {
    log.clear();
    service().refuse("AioInsertRecord");
    file_.energyShapeCalibration(row.energy, row.fwhm, row.tail, 2);
    EXPECT_EQ(log, row.log);
    const Lines made = calls();
    EXPECT_FALSE(contains(made, row.left_out));
    EXPECT_TRUE(contains(made, row.written));
    EXPECT_EQ(made.back(), "lEncal2(A, 1, null, null)");
  }
  for (int i = 0; i < 3; ++i) service().onNext("AioPutParam", [] {});  // the settings
  service().refuse("AioPutParam");
  file_.energyShapeCalibration({}, {}, two, 2);
  EXPECT_EQ(log.back(), "FileAccess::energyShapeCalibration: File: a.dat. Error inserting lcal pts (0xEBE81232)");
  service().refuse("lEncal2", 0x0062008A);
  EXPECT_TRUE(file_.energyShapeCalibration(two, {}, {}, 2).empty());
  EXPECT_EQ(log.back(), "FileAccess::energyShapeCalibration: File: a.dat. Error returned from 'lEncal2' (0x0062008A)");
}

TEST_F(AnalysisTest, PointsBeyondTheLastRecordNumberAreLeftOut) {
  service().watched.clear();  // asking for the lock at every call takes long
  file_.energyShapeCalibration({}, {}, CalibrationPoints(65537), 2);
  const std::string line = "FileAccess::energyShapeCalibration: File: a.dat. Error inserting lcal pts (0xECE99D7D)";
  EXPECT_EQ(log, (Lines{line, line}));
  // Behind four calls and three settings: each point's record and its three values, the fit, the three results.
  const Lines made = service().textsOfWork();
  ASSERT_EQ(made.size(), 4 + 3 + 65535u * 4 + 1 + 3);
  EXPECT_EQ(made[made.size() - 8], "AioInsertRecord(A, 2013, 65534)");
  EXPECT_EQ(made[made.size() - 5].rfind("AioPutParam(A, 20130008, 65535, 0, ", 0), 0u) << made[made.size() - 5];
}

TEST_F(AnalysisTest, ANuclideSearchSetsTheRecordOnlyWhenItFails) {
  const struct {
    std::optional<USHORT> left;
    ULONG status;
    std::uint32_t code;
    std::uint16_t record;
  } rows[] = {{12, AIO_OK, 0, 77}, {12, kRefused, kRefusedCode, 12}, {std::nullopt, kRefused, kRefusedCode, 0}};
  for (const auto& row : rows) {
    service().found = row.left;
    for (int i = 0; i < 2; ++i) service().refuse("AioFindRecord", row.status);
    std::uint16_t by_energy = 77, by_name = 77;
    EXPECT_EQ(file_.findNuclide(661.5f, 0, by_energy, 3), row.code);
    EXPECT_EQ(file_.findNuclide("Cs-137", by_name, 4), row.code);
    EXPECT_EQ(by_energy, row.record);
    EXPECT_EQ(by_name, row.record);
    EXPECT_EQ(calls(), (Lines{"AioFindRecord(A, 2007, 4, 661.5 +- 0, 3)", "AioFindRecord(A, 2007, 2, Cs-137, 4)"}));
  }
  EXPECT_EQ(log, Lines{});
}

TEST_F(AnalysisTest, AConstObjectIsMarkedAsModifiedByWhatWritesToItsFile) {
  const struct {
    const char* name;
    std::function<void(const FileAccess&)> run;
    bool modifies;
  } rows[] = {
      {"channel to energy", [](const FileAccess& f) { f.evaluate(CHANNEL2ENERGY, 1, false); }, false},
      {"default efficiency", [](const FileAccess& f) { f.evaluate(ENERGY2DEFAULTEFF, 1, false); }, false},
      {"forced efficiency", [](const FileAccess& f) { f.evaluate(ENERGY2LINEAR, 1, true); }, true},
      {"limits", [](const FileAccess& f) { f.determineRegion(1, 1, true); }, false},
      {"estimate", [](const FileAccess& f) { f.estimateRegionParameters(1, 2, FIXED_CONTINUUM, STEP, 1, true); }, true},
      {"quantify", [](const FileAccess& f) { f.quantifyRegion(1, 2, FIXED_CONTINUUM, STEP, 1, true); }, true},
      {"calibrate", [](const FileAccess& f) { f.energyShapeCalibration({}, {}, {}, 2); }, true},
      {"search",
       [](const FileAccess& f) {
         std::uint16_t r = 0;
         f.findNuclide("x", r, 1);
       },
       false}};
  for (const auto& row : rows) {
    const FileAccess attached(kA);
    row.run(attached);
    EXPECT_EQ(attached.hasBeenModified(), row.modifies) << row.name;
  }
}

TEST_F(AnalysisTest, AnExceptionInsideAnAnalysisIsLoggedAndGivesNothing) {
  // A dictionary that holds texts to be numbers: writing one throws.
  for (const ULONG code : {0x20030028u, 0x20000061u}) service().dictionary[code] = Parameter{"NUMBER", 8, 4, 4};
  const std::pair<std::string, std::function<bool()>> rows[] = {
      {"estimateRegionParameters",
       [&] { return file_.estimateRegionParameters(1, 2, FIXED_CONTINUUM, STEP, 1, true).empty(); }},
      {"quantifyRegion", [&] { return file_.quantifyRegion(1, 2, FIXED_CONTINUUM, STEP, 1, true).empty(); }},
      {"energyShapeCalibration", [&] {
         return file_.energyShapeCalibration(points({{1, 2}}), {}, {}, 2).empty();
       }}};
  for (const auto& [name, gives_nothing] : rows) {
    log.clear();
    EXPECT_TRUE(gives_nothing()) << name;
    ASSERT_EQ(log.size(), 1u) << name;
    EXPECT_EQ(log[0].rfind("FileAccess::" + name + ": Caught STL Exception.  Description: ", 0), 0u) << log[0];
    EXPECT_NE(log[0].find("(0xECE99F6D)"), std::string::npos) << log[0];
    EXPECT_TRUE(
        std::async(std::launch::async,
                   [&] { return std::unique_lock<std::recursive_mutex>(file_.mutex(), std::try_to_lock).owns_lock(); })
            .get())
        << name;
  }
  service().onNext("AioDeleteBlock", [] { throw std::system_error(EAGAIN, std::generic_category()); });
  EXPECT_THROW(file_.energyShapeCalibration({}, {}, {}, 2), std::system_error);  // as a lock does that cannot be had
}

TEST_F(AnalysisTest, AClosedFileIsRefusedWithoutACall) {
  FileAccess closed;
  std::uint16_t record = 77;
  EXPECT_THROW(closed.evaluate(ENERGY2DUAL, 1, false), unsigned int);
  EXPECT_EQ(closed.evaluate(static_cast<EvaluationOption>(99), 1, true).value, 0);
  EXPECT_EQ(closed.determineRegion(1, 1, true), std::make_pair(0u, 0u));
  EXPECT_TRUE(closed.estimateRegionParameters(1, 2, FIXED_CONTINUUM, STEP, 1, true).empty());
  EXPECT_TRUE(closed.quantifyRegion(1, 2, FIXED_CONTINUUM, STEP, 1, true).empty());
  EXPECT_TRUE(closed.energyShapeCalibration({}, {}, {}, 2).empty());
  EXPECT_EQ(closed.findNuclide(1, 1, record, 1), 0xEBE81389u);
  EXPECT_EQ(closed.findNuclide("x", record, 1), 0xEBE81389u);
  EXPECT_EQ(record, 77);
  Lines expected;
  for (const char* where : {"evaluate", "evaluate", "determineRegion", "estimateRegionParameters", "quantifyRegion",
                            "energyShapeCalibration", "findNuclideByEnergy", "findNuclideByEnergy"})
    expected.push_back(std::string("FileAccess::") + where + ": File: (unknown). File is not open (0xEBE81389)");
  EXPECT_EQ(log, expected);
  EXPECT_EQ(service().texts(), Lines{});
}

}  // namespace
}  // namespace orbtest
