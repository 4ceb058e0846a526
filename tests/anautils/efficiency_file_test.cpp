// Efficiency calibration through the C interface, on real files.
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "analysis_file.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

double curve(double energy) {
  const double x = std::log(energy / 300);
  return 0.01 * std::exp(-0.8 * x - 0.1 * x * x);
}

/// What lGetEfeq hands over.
struct Fetched {
  stEfEq_T equation{};
  int n = -1;
  REAL energies[ANA_MAX_EFF_POINTS] = {};
  REAL efficiencies[ANA_MAX_EFF_POINTS] = {};
  REAL uncertainties[ANA_MAX_EFF_POINTS] = {};
  LONG status = ANA_OK;

  explicit Fetched(void* handle) : status(lGetEfeq(handle, 1, &equation, &n, energies, efficiencies, uncertainties)) {}
  REAL value(REAL energy) const {
    REAL result = -1;
    EXPECT_ANA(ANA_OK, lEffic(energy, &equation, n, energies, efficiencies, &result)) << energy;
    return result;
  }
  REAL uncertainty(REAL energy) const {
    REAL result = -1;
    EXPECT_ANA(ANA_OK, lEffvar(energy, value(energy), &equation, n, energies, uncertainties, &result)) << energy;
    return result;
  }
};

class EfficiencyFile : public AnalysisFile {
 protected:
  static constexpr ULONG kModel = 0x20020028;

  void setPoint(ULONG first_code, USHORT record, double energy, double value, double u) {
    put(first_code, energy, record);
    put(first_code + 1, value, record);
    put(first_code + 2, u, record);
  }
  /// n points from 40 keV on, in descending order of energy.
  void setPoints(int n, ULONG first_code = 0x20020020) {
    for (int i = 0; i < n; ++i) {
      const double energy = 40 * std::pow(50.0, (n - 1.0 - i) / (n - 1.0));
      setPoint(first_code, static_cast<USHORT>(i + 1), energy, curve(energy), 0.02 * curve(energy));
    }
  }
  LONG fit() { return lEfcal(file_, 1, nullptr, nullptr); }
};

}  // namespace

TEST_F(EfficiencyFile, EveryModelIsFittedKeptAndEvaluated) {
  setPoints(12);
  setPoints(12, 0x20290020);
  put(0x20020011, 3.0f);  // common uncertainty [%]
  put(0x20020030, 200.0);
  put(0x20020031, 3);
  put(0x20020032, 3);
  put(0x20290031, 3);
  struct Case {
    const char* word;
    USHORT model;
    double value_tolerance;  // relative, at 500 keV
    double common;
  };
  for (const Case& c :
       {Case{"DUA", ANA_EFF_DUAL, 1e-6, 0.03}, Case{"linear", ANA_EFF_LINEAR, 0.2, 0.03},
        Case{"E", ANA_EFF_EMPIRICAL, 1e-6, 0.03}, Case{" Interp", ANA_EFF_INTERPOLATED, 0.01, 0.03},
        Case{"AVERAGE", ANA_EFF_AVERAGE, 0.99, 0.03}, Case{"PTCAL", ANA_EFF_PEAK_TO_TOTAL, 1e-6, 0.0}}) {
    put(kModel, c.word);
    if (c.model != ANA_EFF_INTERPOLATED) {
      EXPECT_ANA(ANA_NOEFFICIENCY, Fetched(file_).status) << c.word;
    }
    ASSERT_ANA(ANA_OK, fit()) << c.word;
    ASSERT_STATUS(AIO_OK, AioFlush(file_));
    reopen();
    const Fetched fetched(file_);
    ASSERT_ANA(ANA_OK, fetched.status) << c.word;
    EXPECT_EQ(fetched.equation.usType, c.model);
    ASSERT_EQ(fetched.n, 12);
    EXPECT_TRUE(std::is_sorted(fetched.energies, fetched.energies + 12));
    EXPECT_NEAR(fetched.uncertainties[0], 0.02, 1e-7);
    EXPECT_NEAR(fetched.value(500) / curve(500), 1.0, c.value_tolerance) << c.word;
    EXPECT_GT(fetched.uncertainty(500), c.common) << c.word;
    EXPECT_GT(fetched.uncertainty(5000), 0.2 * std::log(2.5)) << c.word;
    EXPECT_NEAR(fetched.equation.u.sRange.dLow, 40.0, 1e-4);
    EXPECT_NEAR(fetched.equation.u.sRange.dHigh, 2000.0, 1e-3);
    const ULONG time = c.model == ANA_EFF_PEAK_TO_TOTAL ? 0x20290002 : 0x20020002;
    EXPECT_GT(number(time), 5.1e16);
  }
}

TEST_F(EfficiencyFile, CoefficientsAreThoseOfTheDictionary) {
  setPoints(9);
  setPoints(9, 0x20290020);
  // ln(eff) = ln(0.01) - 0.8 (L - L0) - 0.1 (L - L0)^2 with L = ln(E), L0 = ln(300)
  const double l0 = std::log(300.0);
  const double c0 = std::log(0.01) + 0.8 * l0 - 0.1 * l0 * l0;
  const double c1 = -0.8 + 0.2 * l0;
  put(kModel, "DUAL");
  ASSERT_ANA(ANA_OK, fit());
  put(kModel, "PTCAL");
  ASSERT_ANA(ANA_OK, fit());
  for (const ULONG first : {0x2002003Cu, 0x20290036u}) {
    EXPECT_NEAR(number(first), c0, 1e-8) << hex(first);
    EXPECT_NEAR(number(first + 1), c1, 1e-8) << hex(first);
    EXPECT_NEAR(number(first + 2), -0.1, 1e-8) << hex(first);
    EXPECT_NEAR(number(first + 3), 0.0, 1e-8) << hex(first);
  }
  // Covariances of c0 and c1 have opposite signs in powers of ln(E), all energies being above 1 keV.
  EXPECT_LT(number(0x20020121), 0.0);
  EXPECT_LT(number(0x20290101), 0.0);
  put(kModel, "EMP");
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_NEAR(number(0x20020059), std::sqrt(40.0 * 2000.0), 1e-9);  // the scale that it chose
  put(0x20020059, 300.0);
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_NEAR(number(0x2002005A), std::log(0.01), 1e-10);
  EXPECT_NEAR(number(0x2002005B), 0.8, 1e-10);
}

TEST_F(EfficiencyFile, TheSelectorTakesAnyUnmistakableBeginning) {
  setPoints(5);
  for (const char* bad : {"X", "DUALS", "EFF", "LINE R"}) {
    put(kModel, bad);
    EXPECT_ANA(ANA_UNKNOWNKIND, fit()) << bad;
  }
  for (const char* none : {"", "  "}) {
    put(kModel, none);
    EXPECT_ANA(ANA_NOEFFICIENCY, fit());
  }
}

TEST_F(EfficiencyFile, PointsTakenOutDoNotCountButHaveResiduals) {
  setPoints(6);
  put(0x20020021, 5 * curve(40.0), 6);  // the point at 40 keV
  put(0x20020024, 1, 6);
  setPoint(0x20020020, 7, 0.0, 0.0, 0.0);  // empty
  put(0x20020020, kNaN, 8);                // not possible, but taken out
  put(0x20020024, 1, 8);
  put(kModel, "EMPIRICA");
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_EQ(Fetched(file_).n, 5);
  EXPECT_NEAR(number(0x20020026, 1), 0.0, 1e-8);
  EXPECT_NEAR(number(0x20020026, 6), std::log(5.0) / (0.02 / 5), 1e-6);
  EXPECT_GT(number(0x20020006), 80.0);  // the range without it
  double ignored;
  EXPECT_STATUS(AIO_NOVALUE, get(file_, 0x20020026, 8, 0, ignored));
}

TEST_F(EfficiencyFile, EightyPointsAreTheMost) {
  setPoints(80);
  put(kModel, "LIN");
  ASSERT_ANA(ANA_OK, fit());
  EXPECT_EQ(Fetched(file_).n, 80);
  setPoint(0x20020020, 81, 3000, curve(3000), 0.01);
  const auto before = snapshot();
  EXPECT_ANA(ANA_TOOMANYPOINTS, fit());
  EXPECT_ANA(ANA_TOOMANYPOINTS, Fetched(file_).status);
  EXPECT_EQ(Fetched(file_).n, -1);
  EXPECT_EQ(before, snapshot());
  put(0x20020024, 1, 81);
  EXPECT_ANA(ANA_OK, fit());
}

TEST_F(EfficiencyFile, AFailureLeavesTheFileAsItWas) {
  struct Case {
    const char* name;
    LONG status;
    std::function<void()> change;
  };
  const Case cases[] = {
      {"no number", ANA_BADPOINT, [&] { put(0x20020021, kNaN, 2); }},
      {"no efficiency", ANA_BADPOINT, [&] { put(0x20020021, 0.0, 2); }},
      {"negative energy", ANA_BADPOINT, [&] { put(0x20020020, -5.0, 2); }},
      {"infinite uncertainty", ANA_BADPOINT, [&] { put(0x20020022, HUGE_VAL, 2); }},
      {"no points", ANA_TOOFEWPOINTS,
       [&] {
         for (USHORT i = 1; i <= 6; ++i) put(0x20020024, 1, i);
       }},
      {"one energy", ANA_EQUALPOINTS,
       [&] {
         for (USHORT i = 1; i <= 6; ++i) put(0x20020020, 60.0, i);
       }},
      {"all above the crossover", ANA_TOOFEWPOINTS, [&] { put(0x20020030, 10.0); }},
      {"negative crossover", ANA_BADSETTING, [&] { put(0x20020030, -1.0); }},
      {"seven terms", ANA_BADSETTING, [&] { put(0x20020032, 7); }},
      {"half free", ANA_BADSETTING, [&] { put(0x20020080, 2); }},
  };
  setPoints(6);
  put(kModel, "D");
  ASSERT_STATUS(AIO_OK, AioFlush(file_));
  for (const Case& c : cases) {
    reopen();
    ASSERT_ANA(ANA_OK, fit());
    c.change();
    const auto before = snapshot();
    EXPECT_ANA(c.status, fit()) << c.name;
    EXPECT_EQ(before, snapshot()) << c.name;
  }
  reopen(AIO_READ_ONLY);
  EXPECT_ANA(AIO_READONLY, fit());
}

TEST_F(EfficiencyFile, FreeSidesTellTheirJump) {
  setPoints(8);
  put(0x20020021, 1.2 * number(0x20020021, 1), 1);
  put(0x20020030, 250.0);
  put(0x20020080, 1);
  put(kModel, "DUAL");
  ASSERT_ANA(ANA_OK, fit());
  const Fetched fetched(file_);
  EXPECT_NEAR(number(0x20020035), 100 * (fetched.value(250) / fetched.value(249.99f) - 1), 0.05);
  EXPECT_GT(std::abs(number(0x20020035)), 0.1);
}

TEST_F(EfficiencyFile, InterpolationNeedsTwoEnergies) {
  put(kModel, "INTERPOL");
  EXPECT_ANA(ANA_NOEFFICIENCY, Fetched(file_).status);
  setPoint(0x20020020, 1, 100, 0.1, 0.01);
  setPoint(0x20020020, 2, 100, 0.2, 0.02);
  EXPECT_ANA(ANA_TOOFEWPOINTS, Fetched(file_).status);
  EXPECT_ANA(ANA_EQUALPOINTS, fit());
  setPoint(0x20020020, 3, 50, 0.05, 0.01);
  const Fetched fetched(file_);
  ASSERT_ANA(ANA_OK, fetched.status);
  EXPECT_EQ(fetched.n, 2);
  EXPECT_FLOAT_EQ(fetched.value(50), 0.05f);
  EXPECT_FLOAT_EQ(fetched.value(100), 0.12f);  // the weighted mean of the two
  EXPECT_FLOAT_EQ(fetched.uncertainty(50), 0.2f);
  EXPECT_EQ(fetched.equation.u.sRange.dLow, 50);  // of the points: nothing was fitted
  EXPECT_EQ(fetched.equation.u.sRange.dHigh, 100);
}

TEST_F(EfficiencyFile, DamagedEquationsAndArguments) {
  setPoints(6);
  put(kModel, "LINEAR");
  ASSERT_ANA(ANA_OK, fit());
  const Fetched good(file_);
  REAL out = 7;
  const auto value = [&](REAL energy, const stEfEq_T& equation, int n = 0) {
    return lEffic(energy, &equation, n, nullptr, nullptr, &out);
  };
  for (const REAL energy : {0.0f, -5.0f, std::numeric_limits<REAL>::quiet_NaN(), std::numeric_limits<REAL>::infinity()})
    EXPECT_ANA(ANA_BADENERGY, value(energy, good.equation)) << energy;
  EXPECT_ANA(ANA_BADARG, value(100, good.equation, 81));
  EXPECT_ANA(ANA_BADARG, value(100, good.equation, 3));  // three points, but no arrays
  EXPECT_ANA(ANA_BADARG, lEffic(100, nullptr, 0, nullptr, nullptr, &out));
  EXPECT_ANA(ANA_NOEFFICIENCY, value(100, stEfEq_T{}));
  stEfEq_T bad{};
  bad.usType = 9;
  EXPECT_ANA(ANA_UNKNOWNKIND, value(100, bad));
  bad.usType = ANA_EFF_DUAL;
  bad.u.sDual.usNofHigh = 7;
  EXPECT_ANA(ANA_BADCAL, value(100, bad));
  bad.u.sDual.usNofHigh = 1;
  bad.u.sDual.dHigh[0] = 1000;  // exp of it is too large
  EXPECT_ANA(ANA_BADCAL, value(100, bad));
  bad.usType = ANA_EFF_INTERPOLATED;
  EXPECT_ANA(ANA_TOOFEWPOINTS, value(100, bad));
  EXPECT_EQ(out, 7);

  put(0x20020054, kNaN);
  EXPECT_ANA(ANA_BADCAL, Fetched(file_).status);
  put(0x20020054, 0.0);
  put(0x20020011, -1.0f);
  EXPECT_ANA(ANA_BADSETTING, Fetched(file_).status);
  EXPECT_ANA(ANA_BADARG, lGetEfeq(file_, 1, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_ANA(AIO_BADHANDLE, Fetched(nullptr).status);
}
