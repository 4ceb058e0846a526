// Reads arbitrary bytes as the journal of a dead writer. Byte 0 chooses the size of a page, byte 1 the pages of the
// file.
#include <cstdint>
#include <fstream>

#include "fuzz_support.h"
#include "journal.h"
#include "scratch_folder.h"
#include "status.h"

using fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orbtest::ScratchFolder scratch;
  if (size < 2) return 0;
  const std::uint32_t page_bytes = 512u << (data[0] % 8);
  const std::uint64_t file_bytes = std::uint64_t{data[1]} * page_bytes;
  std::ofstream(scratch / "fuzz.dat", std::ios::binary)
      .write(reinterpret_cast<const char*>(data) + 2, static_cast<std::streamsize>(size) - 2);
  try {
    const porb::Journal journal = porb::readJournal(porb::JournalFile(scratch / "fuzz.dat"), page_bytes, file_bytes);
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
