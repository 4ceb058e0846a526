/// What the fault tests share: scratch folders, two states of a data file, and the whole content of a file as
/// a value that can be compared.
#pragma once
#include <map>
#include <string>
#include <vector>

#include "aiolib.h"
#include "scratch_folder.h"

namespace faults {

/// Distance of the points at which a fault is tried. The thread sanitizer makes each of them ten times as slow and sees
/// nothing in one thread that the other runs do not, so it gets a sample.
#ifdef __SANITIZE_THREAD__
constexpr int kStride = 7;
#else
constexpr int kStride = 1;
#endif

using ScratchDir = orbtest::ScratchFolder;

/// Bytes of a file; empty when there is none.
std::string readBytes(const std::string& path);
void writeBytes(const std::string& path, const std::string& bytes);
bool exists(const std::string& path);
/// Names in a folder, ascending, separated by blanks.
std::string namesIn(const std::string& dir);

/// An open data file; closes without flush.
class File {
 public:
  File() = default;
  explicit File(const std::string& path, ULONG access = AIO_READ_WRITE)
      : status_(AioOpen2(&handle_, path.c_str(), access, 0, 0)) {}
  ~File() { close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  void close() {
    if (handle_ != nullptr) AioClose2(handle_, AIO_CLOSE_NOFLUSH);
    handle_ = nullptr;
  }
  void** out() { return &handle_; }
  operator void*() const { return handle_; }
  ULONG status() const { return status_; }

 private:
  void* handle_ = nullptr;
  ULONG status_ = AIO_OK;
};

template <typename T>
ULONG put(void* handle, ULONG code, USHORT record, USHORT entry, T value) {
  const USHORT size = sizeof value;
  return AioPutParam(handle, code, record, entry, &value, &size);
}
ULONG put(void* handle, ULONG code, USHORT record, USHORT entry, const std::string& text);
template <typename T>
ULONG get(void* handle, ULONG code, USHORT record, USHORT entry, T& value) {
  USHORT size = sizeof value;
  return AioGetParam(handle, code, record, entry, &value, &size);
}

/// Everything that can be read of one block: its shape, its values and its spectra, or why they cannot be
/// read.
struct BlockContent {
  ULONG status = AIO_OK;
  std::string text;
};

/// Everything that can be read of a file.
struct Content {
  ULONG status = AIO_OK;  ///< of listing the blocks
  std::map<USHORT, BlockContent> blocks;
};
Content contentOf(void* handle);
/// Content of the file that a path names; a file that does not open has the status of that.
Content contentOf(const std::string& path);

/// Where two contents differ, in few words; empty when they are equal.
std::string difference(const Content& found, const Content& expected);
/// As above, but a block or a file that was refused with a status is no difference.
std::string wrongValues(const Content& found, const Content& expected);

/// State A of the test file, built in a file without blocks: header values, records, entries, texts of all
/// lengths, values that have no native form in a database, and spectra in both formats.
void writeStateA(void* handle);
/// Turns state A into state B: values, records and entries change, come and go in several blocks, as do
/// blocks and spectra.
void writeStateB(void* handle);

/// The two states, as bytes of files and as content. Made once.
struct States {
  std::string file_a;
  std::string file_b;
  Content a;
  Content b;
};
const States& states();

/// Name of a status, for messages.
inline std::string nameOf(ULONG status) {
  return AioStatusName(status);
}

}  // namespace faults
