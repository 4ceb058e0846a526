// A data file whose every number can be worked by hand, and the engines that work on it, loaded from their libraries.
#pragma once
#include <gmock/gmock.h>
#include <stdlib.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "FileAccess.h"
#include "comdefs.h"
#include "scratch_folder.h"

namespace orbtest {

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

struct LibraryLine {
  const char* nuclide;
  double energy, probability;  ///< keV, %
  bool is_key;
  double half_life_s = 0, probability_u = 0;
  const char* kind = "gamma";
};

/// 1000 channels, energy = channel in keV, FWHM 0.2 sqrt(E) keV; live time 1000 s, real time 3600 s; efficiency 0.01
/// everywhere, exact; an empty peak table. Libraries lie in the folder that ORB_DATA_DIR names.
class EngineFileTest : public testing::Test {
 protected:
  void SetUp() override {
    ::unsetenv("ORBDB");
    ::setenv("ORB_DATA_DIR", folder_.path().c_str(), 1);
    ASSERT_EQ(file_.create(folder_ / "spectrum.dat", 1000, false), 0u);
    for (const auto& [code, value] : std::initializer_list<std::pair<std::uint32_t, double>>{{0x20000020, 0},
                                                                                             {0x20000021, 1},
                                                                                             {0x20000022, 0},
                                                                                             {0x20000048, 0},
                                                                                             {0x20000049, 0.2},
                                                                                             {0x20000005, 1000},
                                                                                             {0x20000006, 3600}})
      put(code, value);
    ASSERT_EQ(file_.createBlock(ORB_CLS_PEAKS << 16, 0, 1, 1), 0u);
    setText(0x20020028, "INTERPOL");
    for (const std::uint16_t record : {std::uint16_t{1}, std::uint16_t{2}}) {
      put(0x20020020, record == 1 ? 50 : 900, record);
      put(0x20020021, 0.01, record);
      put(0x20020022, 0, record);
    }
    put(0x20020011, 0);  // uncertainty that all efficiencies share
    for (const std::uint32_t code : {0x2010004Au, 0x20100072u}) setText(code, "test.lib");
  }
  void TearDown() override {
    file_.close(com::norvale::orb::NOFLUSH);
    ::unsetenv("ORB_DATA_DIR");
  }

  std::uint32_t runEngine(const char* entry_point, const char* library) {
    return file_.execute(entry_point, std::string(ENGINES_FOLDER "/") + library, 1);
  }

  void put(std::uint32_t code, double value, std::uint16_t record = 0) {
    ASSERT_EQ(file_.setParameter(code, Variant(value), record, 0), 0u) << std::hex << code;
  }
  void setText(std::uint32_t code, const std::string& text, std::uint16_t record = 0) {
    ASSERT_EQ(file_.setParameter(code, Variant(text), record, 0), 0u) << std::hex << code;
  }
  void putTime(std::uint32_t code, std::int64_t seconds) {
    com::norvale::datatypes::xtime_t time;
    time.dateTime = seconds;
    ASSERT_EQ(file_.setParameter(code, Variant(time), 0, 0), 0u) << std::hex << code;
  }
  void setCounts(const std::vector<unsigned>& counts) { ASSERT_EQ(file_.setSpectrum(counts, 1, 1), 0u); }
  void addPeak(double channel, double area, double area_u) {
    std::uint16_t record = 0;
    file_.countItems(0x2006000A, record, 0);
    ++record;
    put(0x2006000A, channel, record);
    put(0x20060007, channel, record);
    put(0x2006000C, area, record);
    put(0x2006000D, area_u, record);
    put(0x20060024, 0.2 * std::sqrt(channel), record);
  }
  void makeLibrary(const std::vector<LibraryLine>& lines) {
    std::filesystem::remove(folder_ / "test.lib");
    FileAccess library;
    ASSERT_EQ(library.create(folder_ / "test.lib", 16, false), 0u);
    ASSERT_EQ(library.createBlock(0x20070000, 0, 1, 1), 0u);
    std::uint16_t record = 0;
    for (const LibraryLine& line : lines) {
      ++record;
      ASSERT_EQ(library.setParameter(0x20070001, Variant(std::string(line.nuclide)), record, 0), 0u);
      library.setParameter(0x20070002, Variant(line.energy), record, 0);
      library.setParameter(0x20070004, Variant(line.probability), record, 0);
      library.setParameter(0x20070005, Variant(line.probability_u), record, 0);
      library.setParameter(0x20070006, Variant(line.half_life_s), record, 0);
      library.setParameter(0x20070009, Variant(line.is_key), record, 0);
      library.setParameter(0x2007000A, Variant(std::string(line.kind)), record, 0);
    }
    ASSERT_EQ(library.close(com::norvale::orb::FLUSH), 0u);
  }

  std::int64_t seconds(std::uint32_t code) {
    Variant value;
    EXPECT_EQ(file_.getParameter(code, value, 0, 0), 0u) << std::hex << code;
    return value.toXtime_t().dateTime;
  }
  double number(std::uint32_t code, std::uint16_t record = 1) {
    Variant value;
    EXPECT_EQ(file_.getParameter(code, value, record, 0), 0u) << std::hex << code;
    return value.toDouble();
  }
  std::string text(std::uint32_t code, std::uint16_t record) {
    Variant value;
    file_.getParameter(code, value, record, 0);
    return value.toString();
  }
  bool hasValue(std::uint32_t code, std::uint16_t record = 1) {
    Variant value;
    return file_.getParameter(code, value, record, 0) == 0 && value.hasValue();
  }
  /// Of all records.
  std::vector<std::string> texts(std::uint32_t code) {
    std::uint16_t n = 0;
    file_.countItems(code, n, 0);
    std::vector<std::string> found;
    for (std::uint16_t record = 1; record <= n; ++record) found.push_back(text(code, record));
    return found;
  }

  ScratchFolder folder_;
  FileAccess file_;
};

}  // namespace orbtest
