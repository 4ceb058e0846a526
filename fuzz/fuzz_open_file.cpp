// Opens arbitrary bytes as a data file and reads everything that the file object can read.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "FileAccess.h"
#include "aiolib.h"
#include "writelog.h"

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

namespace {

/// The scratch file of this process; it goes with the process.
class Scratch {
 public:
  Scratch() {
    char pattern[] = "/tmp/orb_fuzz_XXXXXX";
    if (::mkdtemp(pattern) == nullptr) std::abort();
    folder_ = pattern;
  }
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string path() const { return folder_ + "/fuzz.dat"; }

 private:
  std::string folder_;
};

/// Refused files are the rule here: their log lines would only cost time.
bool silenceLog() {
  com::norvale::application::vyx::routeLog([](const com::norvale::application::vyx::LogLine&) {});
  return true;
}

void writeFile(const std::string& path, const std::uint8_t* data, std::size_t size) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  if (size != 0 && std::fwrite(data, 1, size, file) != size) std::abort();
  std::fclose(file);
}

/// Every parameter of the dictionary, in the header, in the first records and in their first entries.
void readValues(const FileAccess& file) {
  Variant value;
  ULONG code = 0;
  while (AioUtilNextParam(file.handle(), code, &code) == AIO_OK) {
    for (std::uint16_t record = 0; record < 3; ++record) {
      for (std::uint16_t entry = 0; entry < 2; ++entry) {
        if (file.getParameter(code, value, record, entry) != 0 && value.hasValue()) std::abort();
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
  static const bool silent = silenceLog();
  static const Scratch scratch;
  (void)silent;
  const std::string path = scratch.path();
  writeFile(path, data, size);
  FileAccess file;
  if (file.open(path, com::norvale::orb::READONLY) != 0) return 0;
  readValues(file);
  readSpectra(file);
  if (file.close(com::norvale::orb::NOFLUSH) != 0) std::abort();
  return 0;
}
