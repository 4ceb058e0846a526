// Creates a data file, writes a spectrum, closes the file, opens it again and reads the spectrum back.
#include <FileAccess.h>
#include <orbparams.h>

#include <cstdio>
#include <numeric>

namespace orb = com::norvale::orb;

int main(int argc, char** argv) {
  const char* const path = argc > 1 ? argv[1] : "first.dat";
  std::vector<unsigned int> counts(4096, 3);  // a flat background ...
  counts[1323] = 1000;                        // ... and one line, in channel 1324

  orb::FileAccess file;
  std::uint32_t code = file.create(path, 4096, false);
  if (code == 0) code = file.setParameter(ORB_D_LIVETIME, 600.0, 0, 0);  // live time [s]
  if (code == 0) code = file.setSpectrum(counts, 1, 1);
  if (code == 0) code = file.close(orb::FLUSH);

  std::vector<unsigned int> read;
  com::norvale::datatypes::Variant live_s;
  if (code == 0) code = file.open(path, orb::READONLY);
  if (code == 0) code = file.getSpectrum(read, 1, 1);
  if (code == 0) code = file.getParameter(ORB_D_LIVETIME, live_s, 0, 0);
  if (code != 0) {
    std::fprintf(stderr, "%s: failed with code 0x%08X\n", path, static_cast<unsigned>(code));
    return 1;
  }
  const unsigned int total = std::accumulate(read.begin(), read.end(), 0u);
  std::printf("%zu channels, %u counts in %s s\n", read.size(), total, live_s.toString().c_str());
}
