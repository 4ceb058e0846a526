#include "library_operations.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "FileAccess.h"
#include "aiolib.h"
#include "anautils.h"
#include "operations.h"

namespace content {
namespace {

namespace orb = com::norvale::orb;
using com::norvale::datatypes::Variant;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

std::vector<AioBlockInfo_T> blocksOf(void* file) {
  std::vector<AioBlockInfo_T> blocks(100);
  ULONG n = 0;
  if (AioListBlocks(file, blocks.data(), 100, &n) != AIO_OK) return {};
  blocks.resize(n < 100 ? n : 100);
  return blocks;
}

/// A value that is listed can be read, unless the dictionary has another mind about it.
void readRecord(const orb::FileAccess& file, USHORT cls, USHORT record) {
  std::vector<AioValueInfo_T> values(300);
  ULONG n = 0;
  if (AioListValues(file.handle(), cls, record, values.data(), 300, &n) != AIO_OK) return;
  values.resize(n < 300 ? n : 300);
  for (const AioValueInfo_T& info : values) {
    Variant value;
    const std::uint32_t code = file.getParameter(info.ulCode, value, record, info.usEntry);
    require(code == 0 || !value.hasValue(), "a failed read gives no value");
    value.toString();
    double number = 0;
    ULONG found = 0;
    AioGetNumbers(file.handle(), info.ulCode, record, info.usEntry, 1, &number, &found);
  }
}

/// What was flushed can be read again, block by block.
void requireWhole(orb::FileAccess& file, bool was_whole) {
  const bool flushed = file.close(orb::FLUSH) == 0;
  if (!was_whole || !flushed) return;
  void* handle = nullptr;
  require(AioOpen2(&handle, kHostileCopy, AIO_READ_ONLY, 0, 0) == AIO_OK, "a flushed file can be opened");
  const auto report = [](void*, USHORT cls, ULONG status, const char* text) {
    if (status == AIO_BADCONTENT || status == AIO_CORRUPT) std::fprintf(stderr, "0x%04X: %s\n", cls, text);
    require(status != AIO_BADCONTENT && status != AIO_CORRUPT, "a flushed file is whole");
  };
  AioCheck(handle, report, nullptr);
  AioClose2(handle, AIO_CLOSE_NOFLUSH);
}

bool openCopy(orb::FileAccess& file, bool& was_whole) {
  if (file.open(kHostileCopy, orb::READWRITE) != 0) return false;
  was_whole = AioCheck(file.handle(), nullptr, nullptr) == AIO_OK;
  return true;
}

void evaluateAll(const orb::FileAccess& file) {
  static constexpr float kArguments[] = {0, -1, 1e-30f, 1, 59.54f, 661.66f, 1e5f, 3e38f, INFINITY, NAN};
  for (std::uint32_t option = 0; option <= orb::ENERGY2PEAK2TOTAL; ++option) {
    for (const float at : kArguments) {
      file.evaluate(static_cast<orb::EvaluationOption>(option), at, true);
      try {
        file.evaluate(static_cast<orb::EvaluationOption>(option), at, false);
      } catch (unsigned int) {  // the documented failure
      }
    }
  }
}

void fitRegions(const orb::FileAccess& file) {
  static constexpr std::uint32_t kLimits[][2] = {{1, 1},     {0, 50},   {100, 160},
                                                 {160, 100}, {1, 4096}, {0xFFFFFFF0, 0xFFFFFFFF}};
  int n = 0;
  for (const auto& [first, last] : kLimits) {
    const auto options = static_cast<orb::ContinuumOptions>(n % 3);
    const auto type = static_cast<orb::ContinuumType>(n++ % 3);
    file.estimateRegionParameters(first, last, options, type, 2.5f, n % 2 == 0);
    file.quantifyRegion(first, last, options, type, 3, n % 2 != 0);
    file.determineRegion(first, 661.66f, n % 2 == 0);
  }
  std::vector<double> continuum(1 << 16);
  std::vector<double> model(1 << 16);
  for (LONG region = 0; region < 5; ++region) {
    ULONG first = 0;
    ULONG channels = 0;
    lFittedRegion(file.handle(), region, 1 << 16, &first, &channels, continuum.data(), model.data());
  }
}

}  // namespace

void readByService() {
  orb::FileAccess file;
  if (file.open(kHostile, orb::READONLY) != 0) return;
  AioCheck(file.handle(), nullptr, nullptr);
  for (const AioBlockInfo_T& block : blocksOf(file.handle())) {
    for (unsigned record = 0; record <= block.usRecords; record += 1 + record / 20)
      readRecord(file, block.usClass, static_cast<USHORT>(record));
    std::uint16_t n = 0;
    file.countItems(ULONG{block.usClass} << 16, n, 1);
  }
  std::vector<int> counts;
  std::vector<float> rates;
  for (std::uint32_t i = 0; i < 3; ++i) {
    file.getSpectrum(counts, i, 1);
    file.getSpectrum(rates, 1, i);
  }
  std::uint16_t record = 0;
  file.findNuclide(661.66f, 1, record, 1);
  file.findNuclide("Cs-137", record, 0);
  require(file.close(orb::NOFLUSH) == 0, "a reader can be closed");
}

void analyseByFileObject() {
  orb::FileAccess file;
  bool was_whole = false;
  if (!openCopy(file, was_whole)) return;
  evaluateAll(file);
  lEncal2(file.handle(), 1, nullptr, nullptr);
  lEfcal(file.handle(), 1, nullptr, nullptr);
  AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0);
  lPANolin(file.handle(), 0, 0, 0);
  fitRegions(file);
  const orb::CalibrationPoints points = {{{100, 1}, {200, 1}}, {{300, 1}, {600, 1}}, {{500, 1}, {1000, 1}}};
  file.energyShapeCalibration(points, points, points, 3);
  file.energyShapeCalibration(points, {}, points, 0);
  evaluateAll(file);
  requireWhole(file, was_whole);
}

void changeByFileObject() {
  orb::FileAccess file;
  bool was_whole = false;
  if (!openCopy(file, was_whole)) return;
  orb::FileAccess good;
  require(good.open(kGood, orb::READONLY) == 0, "the good file can be opened");
  for (const AioBlockInfo_T& block : blocksOf(file.handle())) {
    const ULONG code = ULONG{block.usClass} << 16;
    file.insertItem(code, 1, 0);
    file.insertItem(code, 1, 2);
    file.deleteItem(code, 2, 0);
    file.deleteItem(code, 1, 1);
    good.moveTo(file, block.usClass, 1, block.usRecords);
    good.copyTo(file, block.usClass % 2 != 0 ? block.usClass : code);
  }
  good.copyCalibrationsTo(file, orb::ALL);
  good.copySequenceTo(file);
  const std::vector<float> rates(300, 2.5f);
  file.setSpectrum(rates, 1, 1);
  requireWhole(file, was_whole);
}

}  // namespace content
