// Reads arbitrary bytes as an IAEA ASCII spectrum, and writes and reads again what came out.
#include "check_spectrum.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::run(data, size, orb::formats::readSpe, orb::formats::writeSpe);
}
