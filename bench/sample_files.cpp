#include "sample_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "orbparams.h"

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

AioParamInfo_T describe(ULONG code) {
  AioParamInfo_T info;
  require(AioUtilParamInfo(nullptr, code, &info), "AioUtilParamInfo");
  return info;
}

/// Stores some value of the parameter's type.
void putSomething(void* file, ULONG code) {
  const AioParamInfo_T info = describe(code);
  const bool is_text = info.lReturnType == AIO_T_TEXT || info.lReturnType == AIO_T_NAME;
  const double number = static_cast<double>(code & 0xFFFFu);
  char buffer[16] = "text";
  USHORT size = 4;
  if (!is_text) {
    size = static_cast<USHORT>(info.lReturnLength);
    std::memcpy(buffer, &number, size);
  }
  require(AioPutParam(file, code, 0, 0, buffer, &size), "AioPutParam");
}

std::vector<ULONG> headerCodes() {
  std::vector<ULONG> codes;
  for (ULONG code = 0; AioUtilNextParam(nullptr, code, &code) == AIO_OK;)
    if (describe(code).ulLevel == AIO_IN_HEADER) codes.push_back(code);
  return codes;
}

std::vector<ULONG> doubleCodes() {
  std::vector<ULONG> codes;
  for (const ULONG code : headerCodes())
    if (describe(code).lReturnType == AIO_T_DOUBLE) codes.push_back(code);
  return codes;
}

void makeSampleFile(const std::string& path, ULONG channels) {
  void* file = nullptr;
  require(AioCreate(&file, path.c_str(), 0, nullptr, nullptr, nullptr), "AioCreate");
  for (const ULONG code : headerCodes()) putSomething(file, code);
  const LONG n_channels = static_cast<LONG>(channels);
  const USHORT size = sizeof n_channels;
  require(AioPutParam(file, ORB_L_CHANNELS, 0, 0, &n_channels, &size), "AioPutParam");
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
