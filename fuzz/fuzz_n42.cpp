// Reads arbitrary bytes as N42 XML, and writes and reads again what came out.
#include "check_spectrum.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::run(data, size, orb::formats::readN42, [](const fuzz::SpectrumData& spectrum) {
    return orb::formats::writeN42({&spectrum, 1});
  });
}
