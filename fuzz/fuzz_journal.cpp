// Reads arbitrary bytes as the journal of a dead writer. Byte 0 chooses the size of a page, byte 1 the pages of the
// file.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "journal.h"
#include "status.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

/// A file of this process; it goes with the process.
class Scratch {
 public:
  Scratch() {
    path_ = (std::filesystem::temp_directory_path() / "orb_fuzz_XXXXXX").string();
    descriptor_ = ::mkostemp(path_.data(), O_CLOEXEC);
    require(descriptor_ >= 0);
  }
  ~Scratch() {
    ::close(descriptor_);
    ::unlink(path_.c_str());
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  const std::string& path() const { return path_; }
  void hold(const std::uint8_t* data, std::size_t size) const {
    require(::ftruncate(descriptor_, 0) == 0 && ::pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size));
  }

 private:
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Scratch scratch;
  if (size < 2) return 0;
  const std::uint32_t page_bytes = 512u << (data[0] % 8);
  const std::uint64_t file_bytes = std::uint64_t{data[1]} * page_bytes;
  scratch.hold(data + 2, size - 2);
  try {
    const porb::Journal journal = porb::readJournal(porb::JournalFile(scratch.path()), page_bytes, file_bytes);
    if (!journal.is_hot) return 0;
    require(journal.page_bytes == page_bytes && journal.pages <= data[1]);
    for (const auto& [number, at] : journal.originals) {
      require(number >= 1 && number <= journal.pages && at + page_bytes <= size - 2);
    }
  } catch (const porb::Failure& failure) {
    require(failure.status() == AIO_BADJOURNAL);
  }
  return 0;
}
