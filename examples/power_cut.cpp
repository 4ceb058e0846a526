// What is left of a data file when its program is killed: everything that was flushed, nothing that was not.
//   power_cut write FILE COUNTS TITLE   fills FILE with the counts (one a line), flushes, changes the title
//   without
//                                       flushing and waits to be killed
//   power_cut read FILE                 prints what the file holds
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

#include "FileAccess.h"
#include "orbparams.h"

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

namespace {

int fail(const char* what, std::uint32_t code) {
  std::fprintf(stderr, "power_cut: %s failed with 0x%08X\n", what, code);
  return 1;
}

int writeAndWait(const std::string& path, const std::string& counts_path, const std::string& title) {
  std::ifstream input(counts_path);
  const std::vector<int> counts{std::istream_iterator<int>(input), {}};
  FileAccess file;
  if (const auto code = file.create(path, static_cast<std::uint32_t>(counts.size()), false); code != 0)
    return fail("create", code);
  if (const auto code = file.setSpectrum(counts, 1, 1); code != 0) return fail("setSpectrum", code);
  if (const auto code = file.setParameter(ORB_T_CTITLE, Variant(title), 0, 0); code != 0)
    return fail("setParameter", code);
  if (const auto code = file.flush(); code != 0) return fail("flush", code);
  file.setParameter(ORB_T_CTITLE, Variant("this was never flushed"), 0, 0);
  std::printf("flushed\n");
  std::fflush(stdout);
  for (;;) pause();
}

int read(const std::string& path) {
  FileAccess file;
  if (const auto code = file.open(path, com::norvale::orb::READONLY); code != 0) return fail("open", code);
  Variant title;
  std::vector<int> counts;
  file.getParameter(ORB_T_CTITLE, title, 0, 0);
  if (const auto code = file.getSpectrum(counts, 1, 1); code != 0) return fail("getSpectrum", code);
  std::printf("  title:    %s\n  channels: %zu\n  counts:   %lld\n", title.toString().c_str(), counts.size(),
              std::accumulate(counts.begin(), counts.end(), 0LL));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "write" && argc == 5) return writeAndWait(argv[2], argv[3], argv[4]);
  if (mode == "read" && argc == 3) return read(argv[2]);
  std::fprintf(stderr, "usage: power_cut write FILE COUNTS TITLE | power_cut read FILE\n");
  return 2;
}
