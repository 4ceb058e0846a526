// Opens arbitrary bytes as a data file and reads everything that the file object can read.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "FileAccess.h"
#include "aiolib.h"
#include "fuzz_support.h"
#include "scratch_folder.h"
#include "silent_log.h"

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

namespace {

/// Every parameter of the dictionary, in the header, in the first records and in their first entries.
void readValues(const FileAccess& file) {
  Variant value;
  ULONG code = 0;
  while (AioUtilNextParam(file.handle(), code, &code) == AIO_OK) {
    for (std::uint16_t record = 0; record < 3; ++record) {
      for (std::uint16_t entry = 0; entry < 2; ++entry) {
        fuzz::require(file.getParameter(code, value, record, entry) == 0 || !value.hasValue());
      }
    }
    std::uint16_t n = 0;
    file.countItems(code, n, 0);
    file.countItems(code, n, 1);
  }
}

void readSpectra(const FileAccess& file) {
  std::vector<int> counts;
  std::vector<float> rates;
  for (std::uint32_t row = 0; row < 3; ++row) {
    file.getSpectrum(counts, 1, row);
    file.getSpectrum(rates, row, 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orbtest::ScratchFolder scratch;
  const std::string path = scratch / "fuzz.dat";
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  FileAccess file;
  if (file.open(path, com::norvale::orb::READONLY) != 0) return 0;
  readValues(file);
  readSpectra(file);
  fuzz::require(file.close(com::norvale::orb::NOFLUSH) == 0);
  return 0;
}
