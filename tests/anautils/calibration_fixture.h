/// An open data file of a test, with short ways to its values.
#pragma once
#include <functional>
#include <map>
#include <tuple>

#include "../porb/service_fixture.h"
#include "failures.h"

using namespace porbtest;
using namespace anautilstest;

class CalibrationTest : public ServiceTest {
 protected:
  void SetUp() override {
    environment_.set("ORBDB", std::nullopt);
    file_ = File::create(path());
  }
  void reopen(ULONG access = AIO_READ_WRITE) {
    file_.close();
    file_ = File::open(path(), access);
  }
  void put(ULONG code, double value, USHORT record = 0) {
    ASSERT_STATUS(AIO_OK, porbtest::put(file_, code, record, 0, value)) << hex(code);
  }
  void put(ULONG code, int value, USHORT record = 0) {
    ASSERT_STATUS(AIO_OK, porbtest::put(file_, code, record, 0, value)) << hex(code);
  }
  void putText(ULONG code, const std::string& text) {
    ASSERT_STATUS(AIO_OK, porbtest::put(file_, code, 0, 0, text)) << hex(code);
  }
  double number(ULONG code, USHORT record = 0) { return got<double>(file_, code, record); }

  /// Every value of every block.
  std::map<std::tuple<ULONG, USHORT>, std::string> snapshot() {
    std::map<std::tuple<ULONG, USHORT>, std::string> values;
    for (const USHORT cls : kClasses)
      for (USHORT record = 0, n = records(cls); record <= n; ++record)
        for (const AioValueInfo_T& info : listed(cls, record))
          getBytes(file_, info.ulCode, record, 0, AIO_MAX_VALUE_BYTES, values[{info.ulCode, record}]);
    return values;
  }

  File file_;

 private:
  static constexpr USHORT kClasses[] = {0x2000, 0x2002, 0x200D, 0x2013, 0x2029};

  USHORT records(USHORT cls) {
    USHORT count = 0;
    AioCount(file_, cls, 0, 0, &count);
    return count;
  }
  std::vector<AioValueInfo_T> listed(USHORT cls, USHORT record) {
    std::vector<AioValueInfo_T> values(200);
    ULONG count = 0;
    const ULONG status = AioListValues(file_, cls, record, values.data(), 200, &count);
    values.resize(status == AIO_OK ? count : 0);
    return values;
  }
};
