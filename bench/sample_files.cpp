#include "sample_files.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

class Folder {
 public:
  Folder() : path_(std::filesystem::current_path() / "bench-files") {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

}  // namespace

std::string samplePath(const std::string& name) {
  static const Folder folder;
  return folder / name;
}

void require(ULONG status, const char* what) {
  if (status == AIO_OK) return;
  std::fprintf(stderr, "%s: %s\n", what, AioStatusText(status));
  std::exit(1);
}

std::vector<ULONG> doubleCodes() {
  std::vector<ULONG> codes;
  AioParamInfo_T info;
  for (ULONG code = 0; AioUtilNextParam(nullptr, code, &code) == AIO_OK;) {
    require(AioUtilParamInfo(nullptr, code, &info), "AioUtilParamInfo");
    if (info.ulLevel == AIO_IN_HEADER && info.lReturnType == AIO_T_DOUBLE) codes.push_back(code);
  }
  return codes;
}

void makeSampleFile(const std::string& path, ULONG channels) {
  void* file = nullptr;
  require(AioCreate(&file, path.c_str(), 0, nullptr, nullptr, nullptr), "AioCreate");
  double value = 0.5;
  USHORT size = sizeof value;
  for (const ULONG code : doubleCodes()) {
    require(AioPutParam(file, code, 0, 0, &value, &size), "AioPutParam");
    value += 1.25;
  }
  const LONG n_channels = static_cast<LONG>(channels);
  size = sizeof n_channels;
  require(AioPutParam(file, 0x20000007, 0, 0, &n_channels, &size), "AioPutParam");
  std::vector<LONG> counts(channels);
  for (ULONG i = 0; i < channels; ++i) counts[i] = static_cast<LONG>(i % 997);
  require(AioCreatePHA(file, 1, channels, 1), "AioCreatePHA");
  require(AioWriteSpectrum2(file, counts.data(), AIO_FORMAT_LONG, channels, 1, 1, 1), "AioWriteSpectrum2");
  require(AioClose2(file, AIO_CLOSE_FLUSH), "AioClose2");
}

void makeLibraryFile(const std::string& path) {
  void* file = nullptr;
  require(AioCreate(&file, path.c_str(), 0, nullptr, nullptr, nullptr), "AioCreate");
  double value = 46.5;
  const USHORT size = sizeof value;
  for (unsigned record = 1; record <= kLibraryRecords; ++record) {
    for (const ULONG code : kLineCodes) {
      require(AioPutParam(file, code, static_cast<USHORT>(record), 0, &value, &size), "AioPutParam");
      value += 0.0625;
    }
  }
  require(AioClose2(file, AIO_CLOSE_FLUSH), "AioClose2");
}
