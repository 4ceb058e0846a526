// Reads arbitrary bytes as the table of a nuclide library.
#include <cmath>
#include <cstdint>
#include <string>

#include "failure.h"
#include "fuzz_support.h"
#include "nuclide_csv.h"
#include "parts.h"

using fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const auto lines = orb::tool::readNuclideCsv({reinterpret_cast<const char*>(data), size}, "fuzz");
    require(!lines.empty());
    for (const orb::tool::NuclideLine& line : lines) {
      require(!line.nuclide.empty() && line.nuclide.size() <= 16 && line.reference.size() <= 128);
      require(std::isfinite(line.half_life_s) && line.half_life_s > 0);
      require(line.energy_keV > 0 && line.energy_unc_keV >= 0 && line.probability > 0 && line.probability_unc >= 0);
    }
  } catch (const orb::tool::Failure& failure) {
    require(std::string(failure.what()).starts_with("fuzz: "));
  }
  return 0;
}
