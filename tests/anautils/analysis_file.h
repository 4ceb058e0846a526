/// An open data file of a test of the analysis routines, with short ways to its values.
#pragma once
#include <cmath>
#include <map>
#include <tuple>

#include "../porb/service_fixture.h"
#include "comdefs.h"
#include "failures.h"
#include "simulated_region.h"

using namespace porbtest;
using namespace anautilstest;

class AnalysisFile : public ServiceTest {
 protected:
  void SetUp() override {
    environment_.set("ORBDB", std::nullopt);
    file_ = File::create(path());
  }
  void reopen(ULONG access = AIO_READ_WRITE) {
    file_.close();
    file_ = File::open(path(), access);
  }
  /// Energy = 0.5 keV times the channel, FWHM = 1 keV + 0.05 keV times the root of the energy: at channel 800 (400 keV)
  /// 2 keV, or 4 channels.
  void calibrate() {
    put(0x20000021, 0.5);
    put(0x20000048, 1.0);
    put(0x20000049, 0.05);
  }
  static double widthAt(double channel) { return (1 + 0.05 * std::sqrt(0.5 * channel)) / 0.5; }

  void setCounts(const std::vector<double>& counts) {
    const std::vector<float> raw(counts.begin(), counts.end());
    const auto n = static_cast<ULONG>(raw.size());
    const ULONG status = AioDeleteBlock(file_, ORB_CLS_SPECTRUM);
    ASSERT_TRUE(status == AIO_OK || status == AIO_NOBLOCK);
    ASSERT_STATUS(AIO_OK, AioCreatePHA(file_, 1, n, 1));
    ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, raw.data(), AIO_FORMAT_FLOAT, n, 1, 1, 1));
  }
  template <typename T>
  void put(ULONG code, const T& value, int record = 0) {
    ASSERT_STATUS(AIO_OK, porbtest::put(file_, code, static_cast<USHORT>(record), 0, value)) << hex(code);
  }
  double number(ULONG code, int record = 0) { return got<double>(file_, code, static_cast<USHORT>(record)); }
  int whole(ULONG code, int record = 0) { return got<int>(file_, code, static_cast<USHORT>(record)); }

  /// Every value of a block.
  using Values = std::map<std::tuple<ULONG, USHORT, USHORT>, std::string>;
  Values contentOf(USHORT cls) {
    Values values;
    USHORT records = 0;
    AioCount(file_, cls, 0, 0, &records);
    for (USHORT record = 0; record <= records; ++record) {
      std::vector<AioValueInfo_T> infos(200);
      ULONG count = 0;
      if (AioListValues(file_, cls, record, infos.data(), 200, &count) != AIO_OK) continue;
      infos.resize(count);
      for (const AioValueInfo_T& info : infos)
        getBytes(file_, info.ulCode, record, info.usEntry, AIO_MAX_VALUE_BYTES,
                 values[{info.ulCode, record, info.usEntry}]);
    }
    return values;
  }
  /// Of all blocks that a calibration has to do with.
  std::vector<Values> snapshot() {
    std::vector<Values> all;
    for (const int cls : {0x2000, 0x2002, 0x200D, 0x2013, 0x2029}) all.push_back(contentOf(static_cast<USHORT>(cls)));
    return all;
  }

  File file_;
};
