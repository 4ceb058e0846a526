// Writes the seeds of the fuzz targets: make_seeds FOLDER makes FOLDER/deserialize and FOLDER/open_file.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "FileAccess.h"

namespace orb = com::norvale::orb;

namespace {

/// One stream for each return type, in the form that fuzz_deserialize reads.
void makeStreams(const std::filesystem::path& folder) {
  for (const int type : {2, 3, 6, 7, 8, 9, 10, 14, 24, 27, 35, 99, 192}) {
    std::ofstream out(folder / std::to_string(type), std::ios::binary);
    const char head[] = {static_cast<char>(type), 6};
    out.write(head, 2);
    out.write("\xFE\x01 text\0\x7F", 8);
  }
}

/// A file without blocks, one as it is created, and one with a table of records and entries.
bool makeFiles(const std::filesystem::path& folder) {
  orb::FileAccess empty;
  orb::FileAccess plain;
  orb::FileAccess table;
  std::uint32_t failures = empty.open((folder / "empty.dat").string(), orb::CREATE);
  failures |= plain.create((folder / "plain.dat").string(), 16, false);
  failures |= plain.setSpectrum(std::vector<float>(16, 0.5f), 1, 1);
  failures |= table.create((folder / "table.dat").string(), 16, true);
  for (std::uint16_t record = 1; record <= 3; ++record) {
    failures |= table.setParameter(0x20060048, true, record, 0);
    failures |= table.setParameter(0x20060071, 0.5 * record, record, 1);
  }
  for (orb::FileAccess* file : {&empty, &plain, &table}) failures |= file->close(orb::FLUSH);
  return failures == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::filesystem::path root = argv[1];
  std::filesystem::remove_all(root);
  std::filesystem::create_directories(root / "deserialize");
  std::filesystem::create_directories(root / "open_file");
  makeStreams(root / "deserialize");
  if (makeFiles(root / "open_file")) return 0;
  std::fprintf(stderr, "the service refused to make a seed\n");
  return 1;
}
