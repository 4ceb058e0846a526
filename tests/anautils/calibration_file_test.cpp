// Energy and shape calibration through the C interface, on real files.
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "analysis_file.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

double energyOf(double x) {
  return 1.5 + 0.25 * x + 1e-7 * x * x;
}

class CalibrationFile : public AnalysisFile {
 protected:
  void SetUp() override {
    AnalysisFile::SetUp();
    ASSERT_STATUS(AIO_OK, AioCreatePHA(file_, 1, 8192, 1));
  }
  void setFit(int flags, int terms) {
    put(kFlags, flags);
    put(kTerms, terms);
  }
  void setEnergyPoint(USHORT record, double channel, double energy, double u = 0.05) {
    put(0x200D0002, channel, record);
    put(0x200D0003, energy, record);
    put(0x200D0007, u, record);
  }
  void setEnergyPoints(const std::vector<double>& channels) {
    for (const double x : channels) setEnergyPoint(++n_energy_points_, x, energyOf(x));
  }
  void setShapePoint(USHORT record, double energy, ULONG code, double value, double u) {
    put(0x20130004, energy, record);
    put(code, value, record);
    put(code + 1, u, record);
  }
  /// Widths 1 + 0.03 sqrt(E) and tails 0.5 + 0.001 E, as many of each as wanted, in shared records.
  void setShapePoints(int n_widths, int n_tails) {
    for (int i = 0; i < std::max(n_widths, n_tails); ++i) {
      const double energy = 100.0 * (i + 1);
      const auto record = static_cast<USHORT>(i + 1);
      if (i < n_widths) setShapePoint(record, energy, 0x20130005, 1 + 0.03 * std::sqrt(energy), 0.02);
      if (i < n_tails) setShapePoint(record, energy, 0x20130007, 0.5 + 0.001 * energy, 0.1);
    }
  }
  /// The same value in the first three records.
  void putInAll(ULONG code, double value) {
    for (USHORT record = 1; record <= 3; ++record) put(code, value, record);
  }
  LONG fit() { return lEncal2(file_, 1, nullptr, nullptr); }
  stAEncalEq_T equation(SHORT kind) {
    stAEncalEq_T result{};
    EXPECT_ANA(ANA_OK, lGetEneq(file_, kind, 1, &result)) << kind;
    return result;
  }

  static constexpr ULONG kFlags = 0x2000001F;
  static constexpr ULONG kTerms = 0x2000006C;
  USHORT n_energy_points_ = 0;
};

}  // namespace

TEST_F(CalibrationFile, AllThreeFitsLeaveEverythingTheyFound) {
  setEnergyPoints({100, 1000, 2500, 4000, 8000});
  setEnergyPoint(6, 5000, 1000.0);  // taken out: 253 keV off
  put(0x200D000A, 1, 6);
  setEnergyPoint(7, 0, 0);  // empty
  setShapePoints(6, 4);
  setFit(7, 3);
  ASSERT_ANA(ANA_OK, fit());

  const stAEncalEq_T energy = equation(ANA_ENERGY);
  EXPECT_EQ(energy.ulNofC, 3u);
  EXPECT_NEAR(rEval(4096, &energy), energyOf(4096), 1e-3);
  EXPECT_NEAR(rPEn2Chan(static_cast<REAL>(energyOf(4096)), &energy), 4096, 1e-3);
  for (const ULONG unused : {0x20000023u, 0x20000024u, 0x20000025u, 0x20000033u, 0x20000039u})
    EXPECT_EQ(number(unused), 0.0) << hex(unused);
  EXPECT_GT(number(0x20000030), 0.0);
  EXPECT_GT(number(0x20000037), 0.0);
  EXPECT_NEAR(number(0x20000019), 0.0, 1e-15);
  EXPECT_EQ(whole(0x2000003A), 2);
  EXPECT_EQ(number(0x2000003B), 100);
  EXPECT_EQ(number(0x2000003C), 8000);
  EXPECT_EQ(whole(kTerms), 3);  // a setting stays
  EXPECT_NEAR(number(0x200D0006, 5), 0.0, 1e-9);
  EXPECT_NEAR(number(0x200D0006, 6), 1000 - energyOf(5000), 1e-9);
  double ignored;
  EXPECT_STATUS(AIO_NOVALUE, get(file_, 0x200D0006, 7, 0, ignored));

  EXPECT_NEAR(number(0x20000048), 1.0, 1e-10);
  EXPECT_NEAR(number(0x20000049), 0.03, 1e-12);
  EXPECT_EQ(whole(0x20000074), 6);
  EXPECT_EQ(whole(0x2000004A), 4);
  EXPECT_EQ(number(0x20000071), 600);
  EXPECT_EQ(number(0x20000076), 0.0);
  EXPECT_NEAR(number(0x20000065), 0.5, 1e-10);
  EXPECT_NEAR(number(0x20000066), 0.001, 1e-12);
  EXPECT_EQ(whole(0x20000075), 4);
  EXPECT_EQ(number(0x20000073), 400);
  EXPECT_NEAR(number(0x2013000E, 6), 0.0, 1e-10);
  EXPECT_STATUS(AIO_NOVALUE, get(file_, 0x2013000F, 6, 0, ignored));  // that record has no tail

  for (const ULONG time : {0x20000046u, 0x20000064u, 0x200D00F2u, 0x201300F2u}) {
    EXPECT_GT(number(time), 5.1e16) << hex(time);  // after 2020
    EXPECT_LT(number(time), 9.9e16) << hex(time);
  }
  EXPECT_EQ(got<std::string>(file_, 0x200D00F0), "lEncal2");
  EXPECT_EQ(got<std::string>(file_, 0x201300F3), "flags=7\nterms=3\n");
  EXPECT_EQ(countOf(file_, 0x200D), 7);  // no record more
  EXPECT_EQ(countOf(file_, 0x2013), 6);
}

TEST_F(CalibrationFile, FlagsAndTermsChooseWhatIsFitted) {
  setEnergyPoints({100, 4000, 8000});
  setShapePoints(3, 3);
  struct Case {
    int flags, terms;
    bool energy, width, tail;
  };
  for (const Case& c :
       {Case{0, 2, false, false, false}, Case{1, 2, true, false, false}, Case{1, 0, false, false, false},
        Case{1, -1, false, false, false}, Case{2, 2, false, true, false}, Case{4, 3, false, false, true},
        Case{7, -1, false, true, true}}) {
    for (const ULONG coefficient : {0x20000021u, 0x20000049u, 0x20000066u}) put(coefficient, 77.0);
    setFit(c.flags, c.terms);
    ASSERT_ANA(ANA_OK, fit()) << c.flags << " " << c.terms;
    EXPECT_EQ(number(0x20000021) != 77, c.energy) << c.flags << " " << c.terms;
    EXPECT_EQ(number(0x20000049) != 77, c.width) << c.flags << " " << c.terms;
    EXPECT_EQ(number(0x20000066) != 77, c.tail) << c.flags << " " << c.terms;
  }
}

TEST_F(CalibrationFile, AFitOfTheGainKeepsTheOffset) {
  put(0x20000020, 1.5);
  put(0x20000022, 5.0);
  setEnergyPoint(1, 1000, 501.5);
  setFit(1, 1);
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_EQ(number(0x20000020), 1.5);
  EXPECT_NEAR(number(0x20000021), 0.5, 1e-14);
  EXPECT_EQ(number(0x20000022), 0.0);
}

TEST_F(CalibrationFile, TailPointsStandWhereTheyHappenToStand) {
  // Without FWHM points; with an empty record among them; and more of them than there are FWHM points.
  setFit(4, 2);
  setShapePoints(0, 3);
  ASSERT_STATUS(AIO_OK, AioInsertRecord(file_, 0x2013, 1));
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_EQ(whole(0x20000075), 3);
  EXPECT_NEAR(number(0x20000066), 0.001, 1e-12);

  ASSERT_STATUS(AIO_OK, AioDeleteBlock(file_, 0x2013));
  setShapePoints(2, 5);
  put(0x2013000B, 1, 5);  // taken out
  put(0x20130007, kNaN, 5);
  setFit(6, 2);
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_EQ(whole(0x20000074), 2);
  EXPECT_EQ(whole(0x20000075), 4);
}

TEST_F(CalibrationFile, TheScatterOfTheWidthsIsInPercent) {
  const double widths[] = {0.98, 1.02, 1.96, 2.04};  // 2 % about 1 and 2, without uncertainties
  for (USHORT i = 0; i < 4; ++i) setShapePoint(static_cast<USHORT>(i + 1), i < 2 ? 100 : 400, 0x20130005, widths[i], 0);
  setFit(2, 0);
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_NEAR(number(0x20000076), 2 * std::sqrt(2.0), 1e-9);  // four residuals, two degrees of freedom
}

TEST_F(CalibrationFile, AFailureLeavesTheFileAsItWas) {
  struct Case {
    const char* name;
    LONG status;
    std::function<void()> change;
  };
  const Case cases[] = {
      {"no energy points", ANA_TOOFEWPOINTS, [&] { AioDeleteBlock(file_, 0x200D); }},
      {"energy at one position", ANA_EQUALPOINTS, [&] { putInAll(0x200D0002, 50.0); }},
      {"no number", ANA_BADPOINT, [&] { put(0x200D0003, kNaN, 2); }},
      {"infinite", ANA_BADPOINT, [&] { put(0x200D0002, kInfinity, 1); }},
      {"negative position", ANA_BADPOINT, [&] { put(0x200D0002, -4.0, 1); }},
      {"negative uncertainty", ANA_BADPOINT, [&] { put(0x200D0007, -0.1, 3); }},
      {"falling", ANA_NOTRISING, [&] { put(0x200D0003, 9000.0, 1); }},
      {"falls after the points", ANA_NOTRISING, [&] { put(0x200D0003, 300.0, 3); }},
      {"five terms", ANA_BADSETTING, [&] { put(kTerms, 5); }},
      {"flags of more than there is", ANA_BADSETTING, [&] { put(kFlags, 8); }},
      {"another type of energy equation", ANA_BADSETTING, [&] { put(0x20000061, "SPLINE"); }},
      {"another type of FWHM equation", ANA_BADSETTING, [&] { put(0x2000006B, "LIN"); }},
      {"one tail", ANA_TOOFEWPOINTS,
       [&] {
         put(0x20130007, 0.0, 1);
         put(0x20130007, 0.0, 2);
       }},
      {"tails at one energy", ANA_EQUALPOINTS,
       [&] {
         putInAll(0x20130004, 70.0);
         put(kFlags, 5);
       }},
      {"negative tail", ANA_BADPOINT, [&] { put(0x20130007, -1.0, 2); }},
      {"falling widths", ANA_BADCAL, [&] { put(0x20130005, 9.0, 1); }},
      {"no widths", ANA_TOOFEWPOINTS, [&] { putInAll(0x20130005, 0.0); }},
  };
  setEnergyPoints({100, 4000, 8000});
  setShapePoints(3, 3);
  setFit(7, 3);
  ASSERT_STATUS(AIO_OK, AioFlush(file_));
  for (const Case& c : cases) {
    reopen();
    ASSERT_ANA(ANA_OK, fit());
    c.change();
    const auto before = snapshot();
    EXPECT_ANA(c.status, fit()) << c.name;
    EXPECT_EQ(before, snapshot()) << c.name;
  }
}

TEST_F(CalibrationFile, WhatIsNotAFileOrMayNotBeWrittenSaysSo) {
  setEnergyPoints({100, 4000});
  setFit(1, 2);
  ASSERT_STATUS(AIO_OK, AioFlush(file_));
  EXPECT_ANA(ANA_BADARG, lEncal2(file_, 2, nullptr, nullptr));
  EXPECT_ANA(ANA_BADARG, lEncal2(file_, 1, &n_energy_points_, nullptr));
  EXPECT_ANA(AIO_BADHANDLE, lEncal2(nullptr, 1, nullptr, nullptr));
  reopen(AIO_READ_ONLY);
  EXPECT_ANA(AIO_READONLY, fit());
  stAEncalEq_T result{};
  EXPECT_ANA(AIO_BADHANDLE, lGetEneq(nullptr, ANA_ENERGY, 1, &result));
  EXPECT_ANA(ANA_BADARG, lGetEneq(file_, ANA_ENERGY, 0, &result));
  EXPECT_ANA(ANA_BADARG, lGetEneq(file_, ANA_ENERGY, 1, nullptr));
  EXPECT_ANA(ANA_UNKNOWNKIND, lGetEneq(file_, 4, 1, &result));
}

TEST_F(CalibrationFile, EquationsThatTheFileDoesNotHave) {
  stAEncalEq_T result{};
  EXPECT_ANA(ANA_NOENERGYCAL, lGetEneq(file_, ANA_ENERGY, 1, &result));
  EXPECT_ANA(ANA_NOFWHMCAL, lGetEneq(file_, ANA_FWHM, 1, &result));
  EXPECT_ANA(ANA_NOTAILCAL, lGetEneq(file_, ANA_LOWTAIL, 1, &result));
  put(0x20000020, 3.0);
  put(0x20000021, 0.0);
  EXPECT_ANA(ANA_NOENERGYCAL, lGetEneq(file_, ANA_ENERGY, 1, &result));
  put(0x20000021, 0.5);
  put(0x20000025, 1e200);  // too large for the equation
  EXPECT_ANA(ANA_BADCAL, lGetEneq(file_, ANA_ENERGY, 1, &result));
  put(0x20000025, kNaN);
  EXPECT_ANA(ANA_BADCAL, lGetEneq(file_, ANA_ENERGY, 1, &result));
  put(0x20000049, -0.5);
  EXPECT_ANA(ANA_BADCAL, lGetEneq(file_, ANA_FWHM, 1, &result));
  EXPECT_EQ(result.usType, 0);  // untouched by all of that
}

TEST_F(CalibrationFile, LowerBoundsKeepTheWidthPositiveAndTheTailFromTurning) {
  put(0x20000048, -7.0);  // what a new file of a scintillator has
  put(0x20000049, 2.0);
  const stAEncalEq_T width = equation(ANA_FWHM);
  EXPECT_EQ(width.usType, ANA_EQ_SQRT);
  EXPECT_NEAR(rEval(661.66f, &width), -7 + 2 * std::sqrt(661.66), 1e-4);
  EXPECT_NEAR(rEval(0, &width), 0.7, 1e-5);
  EXPECT_NEAR(rEval(-100, &width), 0.7, 1e-5);
  put(0x20000065, -1.0);
  put(0x20000066, 0.01);
  const stAEncalEq_T tail = equation(ANA_LOWTAIL);
  EXPECT_NEAR(rEval(50, &tail), 0.0, 1e-6);
  EXPECT_NEAR(rEval(200, &tail), 1.0, 1e-6);
}

TEST_F(CalibrationFile, EvaluationUsesAllSixCoefficients) {
  for (ULONG i = 0; i < 6; ++i) put(0x20000020 + i, std::pow(10.0, -3.0 * i));
  put(kTerms, 2);
  const stAEncalEq_T energy = equation(ANA_ENERGY);
  EXPECT_EQ(energy.ulNofC, 6u);
  EXPECT_NEAR(rEval(1000, &energy), 6.0, 1e-5);
  EXPECT_NEAR(rPEn2Chan(6.0f, &energy), 1000.0, 1e-3);
  EXPECT_NEAR(rPEn2Chan(0.999f, &energy), -1.001, 1e-4);  // a little below channel 0
}

TEST(Equation, UnusableOnesGiveNoNumber) {
  const stAEncalEq_T line = {ANA_EQ_POLYNOMIAL, 2, {-2, 0.5f}, 0, 0};
  EXPECT_EQ(rEval(8, &line), 2.0f);
  EXPECT_EQ(rPEn2Chan(2, &line), 8.0f);
  const REAL no_number = std::numeric_limits<REAL>::quiet_NaN();
  EXPECT_TRUE(std::isnan(rEval(no_number, &line)));
  EXPECT_TRUE(std::isnan(rPEn2Chan(no_number, &line)));
  EXPECT_TRUE(std::isnan(rEval(1, nullptr)));
  EXPECT_TRUE(std::isnan(rPEn2Chan(1, nullptr)));
  for (const stAEncalEq_T& bad :
       {stAEncalEq_T{}, stAEncalEq_T{3, 2, {1, 1}, 0, 0}, stAEncalEq_T{ANA_EQ_POLYNOMIAL, 7, {1, 1}, 0, 0},
        stAEncalEq_T{ANA_EQ_POLYNOMIAL, 2, {1, no_number}, 0, 0}, stAEncalEq_T{ANA_EQ_SQRT, 1, {1}, 0, 0},
        stAEncalEq_T{ANA_EQ_POLYNOMIAL, 2, {1, 1}, no_number, 1}}) {
    EXPECT_TRUE(std::isnan(rEval(1, &bad)));
    EXPECT_TRUE(std::isnan(rPEn2Chan(1, &bad)));
  }
  DOUBLE position = 5;
  const stAEncalEq_T falling = {ANA_EQ_POLYNOMIAL, 2, {2, -0.5f}, 0, 0};
  EXPECT_ANA(ANA_NOROOT, lPEn2Chan(1, &falling, &position));
  EXPECT_ANA(ANA_BADARG, lPEn2Chan(1, &line, nullptr));
  EXPECT_EQ(position, 5);
}
